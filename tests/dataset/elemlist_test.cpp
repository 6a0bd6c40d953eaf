// Membership, copies, framing rules and the other parsers of data sets.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/util.h"
#include "support/capture_log.h"
#include "support/stream.h"

using std::string;

namespace {

string text(DcElemList& list, unsigned int tag) {
    char buffer[128];
    return list.getValue(tag, buffer, 127, 0) == RESULT_OK ? buffer : "<none>";
}

std::vector<unsigned char> frame(DcElemList& list, DICT_UID xferSyn) {
    unsigned int size = 0;
    list.getBufSize(size, static_cast<unsigned int*>(nullptr));
    std::vector<unsigned char> out(size);
    unsigned int used = 0;
    EXPECT_EQ(list.frame(out.data(), used, xferSyn), RESULT_OK);
    out.resize(used);
    return out;
}

DcElem* raw(unsigned int tag, DICT_VR vr, const string& bytes, DICT_UID xferSyn) {
    auto* e = new DcElem(tag, nullptr, 0u, UID_NONE, vr, 0);
    EXPECT_EQ(e->addValue(bytes.data(), static_cast<unsigned int>(bytes.size()), xferSyn), RESULT_OK);
    return e;
}

DcBuf* memory(const string& bytes, DICT_UID xferSyn) {
    void* block = utilNew(static_cast<int>(bytes.size()));
    std::memcpy(block, bytes.data(), bytes.size());
    return new DcBuf(block, static_cast<unsigned int>(bytes.size()), xferSyn);
}

}  // namespace

TEST(ElemList, AgreesWithAMapUnderRandomOperations) {
    CaptureLog log;
    std::mt19937 random(7);
    DcElemList list;
    std::map<unsigned int, DcElem*> model;
    for (int step = 0; step < 20000; ++step) {
        const unsigned int tag = 0x00110010u + static_cast<unsigned int>(random() % 700);
        DcElem* found = nullptr;
        switch (random() % 6) {
            case 0:
            case 1: {
                auto* e = new DcElem(tag, nullptr, 0u, UID_NONE, VR_LO, 0);
                EXPECT_EQ(list.add(e), e);
                model[tag] = e;
                break;
            }
            case 2:
                EXPECT_EQ(list.getElem(tag, &found) == RESULT_OK, model.contains(tag));
                if (found != nullptr) {
                    list.subtract(found);
                    delete found;
                    model.erase(tag);
                }
                break;
            case 3: {  // behind the data set's back
                if (model.empty()) break;
                DcElem* e = model.begin()->second;
                static_cast<DcList&>(list).subtract(e);
                model.erase(model.begin());
                delete e;
                break;
            }
            default:
                EXPECT_EQ(list.getElem(tag, &found) == RESULT_OK, model.contains(tag));
                EXPECT_EQ(found, found != nullptr ? model[tag] : nullptr);
        }
    }
    auto expected = model.begin();
    for (DcElem* e = list.first(); e != nullptr; e = e->next(), ++expected) EXPECT_EQ(e, expected->second);
    EXPECT_EQ(list.count(), static_cast<int>(model.size()));
    EXPECT_EQ(list.index(model.rbegin()->first), list.count() - 1);
    EXPECT_EQ(list.index(0x00000001u), -1);
}

TEST(ElemList, RelabelledElementsAreFoundUnderTheirNewTag) {
    DcElemList list;
    list + new DcElem(0x00100010u, "A") + new DcElem(0x00100020u, "B");
    DcElem* e = nullptr;
    ASSERT_EQ(list.getElem(0x00100010u, &e), RESULT_OK);
    e->setTag(0x00101000u);
    EXPECT_EQ(list.getElem(0x00100010u, &e), ELEM_NOT_FOUND);
    EXPECT_EQ(e, nullptr);
    EXPECT_EQ(list.getElem(0x00101000u, &e), RESULT_OK);
    EXPECT_EQ(list.getElem(0x00100020u, &e), RESULT_OK);
}

TEST(ElemList, AddingAgainReplacesAndWarns) {
    CaptureLog log;
    DcElemList list;
    list + new DcElem(0x00100010u, "A") + new DcElem(0x00100010u, "B");
    EXPECT_EQ(text(list, 0x00100010), "B");
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElemList::add",
                             "Element (0010,0010) added again, previous instance deleted"));
    EXPECT_EQ(list.add(static_cast<DcElemList*>(nullptr)), nullptr);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcCmd::add", "Null argument passed for element list"));
    auto* other = new DcElemList();
    *other + new DcElem(0x00100010u, "C") + new DcElem(0x00100020u, "D");
    EXPECT_NE(list.add(other), nullptr);
    EXPECT_EQ(text(list, 0x00100010) + text(list, 0x00100020), "CD");
}

TEST(ElemList, SequenceLookUpTellsWhatIsWrong) {
    CaptureLog log;
    DcElemList list;
    list + new DcElem(0x00100010u, "A") + new DcElemSq(0x00081140u);
    DcElemSq* sq = nullptr;
    EXPECT_EQ(list.getElem(0x00081140u, &sq), RESULT_OK);
    EXPECT_NE(sq, nullptr);
    EXPECT_EQ(list.getElem(0x00081199u, &sq), ELEM_NOT_FOUND);
    EXPECT_EQ(list.getElem(0x00100010u, &sq), ELEM_NOT_SEQUENCE);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcElemList::getElem", "Element 0x00100010 is not a Sequence"));
    EXPECT_EQ(list.getElem(0x00100010u, static_cast<DcElemSq**>(nullptr)), ELEM_NULL_ARGUMENT);
    list + new DcElem(0x00081155u, nullptr, 0u, UID_NONE, VR_SQ, 1);  // the flag alone makes none
    EXPECT_EQ(list.getElem(0x00081155u, &sq), ELEM_NOT_SEQUENCE);
}

TEST(ElemList, FailedLookUpsEmptyTheirOutput) {
    DcElemList list;
    char buffer[8] = "old";
    int number = 7;
    DcElemValueDA date;
    date.year = 1999;
    EXPECT_EQ(list.getValue(0x00100010u, buffer, 7, 0), ELEM_NOT_FOUND);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(list.getValue(0x0028, 0x0010, number, 0), ELEM_NOT_FOUND);
    EXPECT_EQ(number, 0);
    EXPECT_EQ(list.getValue(0x00080020u, date, 0), ELEM_NOT_FOUND);
    EXPECT_EQ(date.year, 0);
    EXPECT_EQ(list.getValueCount(0x00100010), -1);
}

TEST(ElemList, GroupLengthsThatArePresentAreRecomputed) {
    for (const DICT_UID x :
         {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        DcElemList list;
        list + new DcElem(0x00080000u, 999u) + new DcElem(0x00080070u, "ABC") + new DcElem(0x00100010u, "A");
        list + new DcElem(0x7FE00000u, 1u) + raw(0x7FE00010, VR_OW, "pixels", UID_LITTLE_ENDIAN_EXPLICIT);
        (void)frame(list, x);
        unsigned int length = 0;
        EXPECT_EQ(list.getValue(0x00080000u, length, 0), RESULT_OK);
        EXPECT_EQ(length, 12u);
        EXPECT_EQ(list.getValue(0x7FE00000u, length, 0), RESULT_OK);
        EXPECT_EQ(length, 6u + (x == UID_LITTLE_ENDIAN_IMPLICIT ? 8u : 12u));
        EXPECT_EQ(list.count(), 5);
    }
}

TEST(ElemList, RawValuesComeInTheStreamsByteOrder) {
    const string words("\x01\x02\x03\x04", 4);
    const string swapped("\x02\x01\x04\x03", 4);
    for (const DICT_UID from : {UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        DcElemList list;
        list + new DcElem(0x00280100u, static_cast<unsigned short>(16));
        list + raw(0x60003000, VR_OW, words, from) + raw(0x7FE00010, VR_OX, words, from);
        for (const DICT_UID to :
             {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
            const bool swap = (from == UID_BIG_ENDIAN_EXPLICIT) != (to == UID_BIG_ENDIAN_EXPLICIT);
            const auto out = frame(list, to);
            EXPECT_EQ(string(out.end() - 4, out.end()), swap ? swapped : words) << from << to;
            DcElemList back;
            auto length = static_cast<unsigned int>(out.size());
            EXPECT_EQ(back.decode(const_cast<unsigned char*>(out.data()), length, to), RESULT_OK);
            EXPECT_EQ(frame(back, to), out);
        }
    }
}

TEST(ElemList, NativePixelsStayNativeInAnEncapsulatedStream) {
    DcElemList list;
    list + raw(0x7FE00010, VR_OW, "12345678", UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(frame(list, UID_JPEG_BASELINE).size(), 12u + 8u);
    DcElemList other;
    other + raw(0x7FE00010, VR_OB, "12345678", UID_JPEG_BASELINE);
    EXPECT_EQ(frame(other, UID_JPEG_BASELINE).size(), 12u + 8u + 8u);
}

TEST(ElemList, PixelAndWaveformDataGetTheirVr) {
    struct Case {
        unsigned short bits;
        DICT_UID xferSyn;
        DICT_VR vr;
    };
    for (const Case& c : {Case{16, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW},
                          {8, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB},
                          {16, UID_JPEG_BASELINE, VR_OB}}) {
        DcElemList list;
        list + new DcElem(0x00280100u, c.bits) + new DcElem(0x54001004u, c.bits);
        DcElem* pixels =
            raw(0x7FE00010, VR_OX, "ab", UID_NONE == c.xferSyn ? UID_NONE : UID_LITTLE_ENDIAN_EXPLICIT);
        DcElem* wave = raw(0x54001010, VR_OX, "ab", UID_LITTLE_ENDIAN_EXPLICIT);
        list + pixels + wave;
        (void)frame(list, c.xferSyn);
        EXPECT_EQ(pixels->getVr(), c.vr);
        EXPECT_EQ(wave->getVr(), c.vr);
    }
}

TEST(ElemList, TheVrOfPixelsDoesNotDependOnAValueCounter) {
    DcElemList list;
    unsigned short bits = 0;
    list + new DcElem(0x00280100u, static_cast<unsigned short>(16));
    list + raw(0x7FE00010, VR_OX, "ab", UID_LITTLE_ENDIAN_EXPLICIT);
    ASSERT_EQ(list.getValue(0x00280100u, bits, ELEM_INDEX_NEXT), RESULT_OK);
    (void)frame(list, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(list.last()->getVr(), VR_OW);
    EXPECT_EQ(list.getValue(0x00280100u, bits, ELEM_INDEX_NEXT), ELEM_NO_MORE_VALUES);
}

TEST(ElemList, WhatIsLargerThanALengthCanTellIsNotFramed) {
    CaptureLog log;
    auto* list = new DcElemList();
    *list + new DcElem(0x00080070u, string(60, 'A').c_str());
    DcBuf claims(utilNew(16), 16, UID_LITTLE_ENDIAN_EXPLICIT);
    claims.setLen(0xFFFFFFFF - 40);  // never read
    *list + new DcElem(0x7FE00010u, &claims);
    unsigned char out[128];
    unsigned int length = 0;
    (void)list->getBufSize(length, TAG_LIST_END);
    EXPECT_EQ(length, 0xFFFFFFFF);
    EXPECT_EQ(list->frame(out, length, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VALUE_REFUSED);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcElemList::frame", "Data set is larger than 0xffffffff bytes"));
    DcElemSq outer(0x00081140u);
    outer + &(*new DcElemSqItem() + list);
    EXPECT_EQ(outer.frame(out, length, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VALUE_REFUSED);
}

TEST(ElemList, DuplicateCopiesAllButPixels) {
    DcElemList list;
    list + new DcElem(0x00100010u, "A") + new DcElem(0x00100020u, "B") + new DcElemSq(0x00081140u);
    list + raw(0x7FE00010, VR_OW, "pixels", UID_LITTLE_ENDIAN_EXPLICIT);
    DcElemSq* sq = nullptr;
    ASSERT_EQ(list.getElem(0x00081140u, &sq), RESULT_OK);
    *sq + &(*new DcElemSqItem() + new DcElem(0x00081150u, "1.2"));
    DcElemList all;
    EXPECT_EQ(list.duplicate(&all, nullptr), RESULT_OK);
    EXPECT_EQ(all.count(), 3);
    EXPECT_EQ(list.count(), 4);
    unsigned int tags[] = {0x00100020, 0x7FE00010, 0x00200010, TAG_LIST_END};
    DcElemList some;
    EXPECT_EQ(list.duplicate(&some, tags), RESULT_OK);
    EXPECT_EQ(some.count(), 1);
    EXPECT_EQ(list.duplicate(nullptr, nullptr), ELEM_NULL_ARGUMENT);
    all.changeValue(0x00100010u, "Z", 0);
    EXPECT_EQ(text(list, 0x00100010), "A");
}

TEST(ElemList, BufferListsAreJoinedAndDiskBuffersBecomePixels) {
    Stream in;
    in.elem(0x00100010, "PN", "Doe^Jane").elem(0x00100020, "LO", "ID");
    const string bytes(in.bytes().begin(), in.bytes().end());
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
        DcElemList list;
        list + memory(bytes.substr(0, cut), UID_LITTLE_ENDIAN_EXPLICIT);
        list + new DcBuf("/dev/null", 0, 44, UID_LITTLE_ENDIAN_EXPLICIT);
        list + memory(bytes.substr(cut), UID_LITTLE_ENDIAN_EXPLICIT);
        ASSERT_EQ(list.parse(), RESULT_OK);
        EXPECT_EQ(text(list, 0x00100010) + text(list, 0x00100020), "Doe^JaneID");
        DcBuf buf;
        ASSERT_EQ(list.getValue(0x7FE00010u, buf, 0), RESULT_OK);
        EXPECT_EQ(buf.getLen(), 44u);
    }
    DcElemList list;
    EXPECT_EQ(list.parse(static_cast<DcBufList*>(nullptr)), ELEM_NULL_ARGUMENT);
}

TEST(ElemList, ExceptionLevelZeroInstallsTheAcceptingCallback) {
    CaptureLog log;
    Stream in;
    in.elem(0x00080020, "DA", "tomorrow").elem(0x00080060, "CS", "ct-scan");
    unsigned int length = in.size();
    DcElemList strict(in.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(text(strict, 0x00080020), "<none>");
    elemListSetValueExceptionLevel(0);
    DcElemList tolerant(in.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
    elemListSetValueExceptionLevel(-1);
    EXPECT_EQ(text(tolerant, 0x00080020), "tomorrow");
    EXPECT_EQ(text(tolerant, 0x00080060), "ct-scan");
}

TEST(ElemList, NoTagIsLeftOutOfTheSizeByTheListsEnd) {
    DcElemList list;
    list + new DcElem(0xFFFFFFFFu, nullptr, 0u, UID_NONE, VR_LO, 0);
    unsigned int size = 0;
    EXPECT_EQ(list.getBufSize(size, TAG_LIST_END), RESULT_OK);
    EXPECT_EQ(size, 12u);
}

TEST(ElemList, FrameRefusesWhatIsNoTransferSyntax) {
    CaptureLog log;
    DcElemList list;
    unsigned char buf[8];
    unsigned int length = 0;
    EXPECT_EQ(list.frame(buf, length, UID_VERIFICATION), ELEM_XFER_SYNTAX);
    EXPECT_TRUE(
        log.tookOnly(LOG_NOTICE, "DcElemList::frame", "'1.2.840.10008.1.1' is not a Transfer Syntax UID"));
    EXPECT_EQ(list.frame(nullptr, length, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(list.decode(nullptr, length, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_NULL_ARGUMENT);
    EXPECT_TRUE(log.has(LOG_ERROR, "utilGetElemInfo", "null argument passed"));
}

// ---- sequences alone
// ----------------------------------------------------------------------------------------

TEST(Sequence, ValuesAreReadItemByItem) {
    CaptureLog log;
    Stream in;
    in.item(12).elem(0x00081150, "UI", "1.23").endItem();  // a stray delimitation
    in.item(Stream::undefined).elem(0x00081150, "UI", "1.24").endItem();
    DcElemSq sq(0x00081140u, in.data(), in.size(), UID_LITTLE_ENDIAN_EXPLICIT, VR_SQ);
    ASSERT_EQ(sq.count(), 2);
    EXPECT_EQ(text(sq.last()->getElemList(), 0x00081150), "1.24");
    EXPECT_TRUE(log.take().empty());

    EXPECT_EQ(sq.parseVal(in.data(), Stream::undefined, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VALUE_REFUSED);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElemSq::parseVal",
                             "Element (0008,1140) - Data error, undefined length encountered"));
    Stream bad;
    bad.elem(0x00081150, "UI", "1.24");
    EXPECT_EQ(sq.parseVal(bad.data(), bad.size(), UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VALUE_REFUSED);
    EXPECT_TRUE(
        log.tookOnly(LOG_VALIDATION, "DcElemSq::parseVal",
                     "Element (0008,1140) - Data error, did not find the expected sequence item tag"));
}

TEST(Sequence, KnownTagsOfAnotherVrAreWarnedOfAndTakeNoItems) {
    CaptureLog log;
    DcElemSq sq(0x00100010u, nullptr, 0, UID_NONE, VR_IM);
    EXPECT_TRUE(log.has(LOG_VALIDATION, "DcElemSq::DcElemSq", "Element 0x00100010 is not of type SQ"));
    EXPECT_EQ(sq.add(new DcElemSqItem()), nullptr);
    DcElemSq priv(0x00091001u);
    EXPECT_NE(priv.add(new DcElemSqItem()), nullptr);
}

TEST(Sequence, IconsOfNativeLengthAreNative) {
    Stream icon;
    icon.elem(0x00280010, "US", string("\2\0", 2)).elem(0x00280011, "US", string("\2\0", 2));
    icon.elem(0x00280101, "US", string("\x0C\0", 2)).elem(0x7FE00010, "OB", "12345678");
    Stream in;
    in.item(icon.size()).add(icon);
    DcElemSq sq(0x00880200u, in.data(), in.size(), UID_JPEG_BASELINE, VR_SQ);
    DcElem* pixels = nullptr;
    ASSERT_EQ(sq.first()->getElemList().getElem(0x7FE00010u, &pixels), RESULT_OK);
    EXPECT_EQ(pixels->getVr(), VR_OW);

    Stream big(UID_BIG_ENDIAN_EXPLICIT);
    big.elem(0x00280010, "US", string("\0\1", 2)).elem(0x00280011, "US", string("\0\2", 2));
    big.elem(0x00280101, "US", string("\0\x0C", 2)).elem(0x7FE00010, "OW", "1234");
    Stream bigItem(UID_BIG_ENDIAN_EXPLICIT);
    bigItem.item(big.size()).add(big);
    DcElemSq bigSq(0x00880200u, bigItem.data(), bigItem.size(), UID_BIG_ENDIAN_EXPLICIT, VR_SQ);
    EXPECT_EQ(frame(bigSq.first()->getElemList(), UID_BIG_ENDIAN_EXPLICIT), big.bytes());
    CaptureLog log;
    Stream bare;
    bare.item(20).elem(0x7FE00010, "OB", "12345678");
    DcElemSq none(0x00880200u, bare.data(), bare.size(), UID_JPEG_BASELINE, VR_SQ);
    EXPECT_EQ(log.lines().size(), 3u);
    EXPECT_TRUE(log.has(LOG_VALIDATION, "DcElemSqItem::processIconImage",
                        "Missing or invalid T_0028_0101_bitsStored"));
}

// ---- the element-at-a-time parser
// ---------------------------------------------------------------------------

TEST(ElemParser, ReadsOneElementAndSaysWhatItTook) {
    for (const DICT_UID x :
         {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        CaptureLog log;
        Stream in(x);
        in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined).elem(0x00081150, "UI", "1.23");
        in.endItem().endSequence();
        const unsigned int first = in.size();
        in.elem(0x00100010, "PN", "AB");
        const unsigned int second = in.size() - first;
        DcElemList list;
        unsigned int used = 0;
        EXPECT_EQ(orvkit::ElemListAccess::parseElem(list, in.data(), in.size(), x, used), RESULT_OK);
        EXPECT_EQ(used, first);
        EXPECT_EQ(orvkit::ElemListAccess::parseElem(list, in.data() + first, second, x, used), RESULT_OK);
        EXPECT_EQ(used, second);
        EXPECT_EQ(text(list, 0x00100010), "AB");
        DcElemSq* sq = nullptr;
        ASSERT_EQ(list.getElem(0x00081140u, &sq), RESULT_OK);
        EXPECT_EQ(sq->count(), 1);

        EXPECT_EQ(orvkit::ElemListAccess::parseElem(list, in.data() + first, second, x, used),
                  ELEM_VALUE_REFUSED);
        EXPECT_TRUE(log.has(LOG_ERROR, "DcElemList::parseElem",
                            "Elements out of sequence, this - 0x00100010, last - 0x00100010"));
        for (unsigned int cut = 0; cut < first; ++cut) {
            DcElemList none;
            EXPECT_NE(orvkit::ElemListAccess::parseElem(none, in.data(), cut, x, used), RESULT_OK) << cut;
            EXPECT_EQ(used, 0u);
        }
    }
}

TEST(ElemParser, StrayDelimitersAreSkippedAndRetiredElementsIgnored) {
    CaptureLog log;
    Stream in;
    in.elem(0x00100010, "PN", "AB").endSequence();
    DcElemList list;
    unsigned int used = 0;
    EXPECT_EQ(orvkit::ElemListAccess::parseElem(list, in.data(), in.size(), UID_LITTLE_ENDIAN_EXPLICIT, used),
              RESULT_OK);
    EXPECT_EQ(used, in.size());
    Stream retired;
    retired.elem(0x00100020, "RT", "AB");
    EXPECT_EQ(orvkit::ElemListAccess::parseElem(list, retired.data(), retired.size(),
                                                UID_LITTLE_ENDIAN_EXPLICIT, used),
              RESULT_OK);
    EXPECT_EQ(used, retired.size());
    EXPECT_EQ(list.count(), 1);
    EXPECT_TRUE(log.tookOnly(LOG_NOTICE, "DcElemList::parseElem", "Ignored retired element (0010,0020)"));
}
