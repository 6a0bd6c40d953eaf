// Membership, copies, framing rules and the other parsers of data sets.

#include <map>
#include <random>

#include "dataset/elemlist_access.h"
#include "orvkit/util.h"
#include "support/dataset.h"
#include "support/system.h"

using std::string;

namespace {

int parseElem(DcElemList& list, Stream& s, DICT_UID xferSyn, unsigned int& used, unsigned int from = 0) {
    return orvkit::ElemListAccess::parseElem(list, s.data() + from, s.size() - from, xferSyn, used);
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
            default:
                EXPECT_EQ(list.getElem(tag, &found) == RESULT_OK, model.contains(tag));
                EXPECT_EQ(found, found != nullptr ? model[tag] : nullptr);
        }
    }
    auto expected = model.begin();
    for (DcElem* e = list.first(); e != nullptr; e = e->next(), ++expected) EXPECT_EQ(e, expected->second);
    EXPECT_EQ(list.count(), static_cast<int>(model.size()));
    for (const auto& [tag, e] : model) {
        DcElem* found = nullptr;
        EXPECT_EQ(list.getElem(tag, &found), RESULT_OK);
        EXPECT_EQ(found, e);
        list.subtract(found);
        delete found;
        EXPECT_EQ(list.getElem(tag, &found), ELEM_NOT_FOUND);
    }
}

TEST(ElemList, GroupLengthsThatArePresentAreRecomputed) {
    for (const DICT_UID x : kSyntaxes) {
        DcElemList list;
        list + new DcElem(0x00080000u, 999u) + new DcElem(0x00080070u, "ABC") + new DcElem(0x00100010u, "A");
        list + new DcElem(0x7FE00000u, 1u) + raw(0x7FE00010, VR_OW, "pixels");
        (void)frame(list, x);
        unsigned int length = 0;
        EXPECT_EQ(list.getValue(0x00080000u, length, 0), RESULT_OK);
        EXPECT_EQ(length, 12u);
        EXPECT_EQ(list.getValue(0x7FE00000u, length, 0), RESULT_OK);
        EXPECT_EQ(length, 6u + (x == kImplicit ? 8u : 12u));
        EXPECT_EQ(list.count(), 5);
    }
}

TEST(ElemList, RawValuesComeInTheStreamsByteOrder) {
    const string words("\x01\x02\x03\x04", 4);
    const string swapped("\x02\x01\x04\x03", 4);
    for (const DICT_UID from : {kExplicit, kBig}) {
        DcElemList list;
        list + new DcElem(0x00280100u, static_cast<unsigned short>(16));
        list + raw(0x60003000, VR_OW, words, from) + raw(0x7FE00010, VR_OX, words, from);
        for (const DICT_UID to : kSyntaxes) {
            const bool swap = (from == kBig) != (to == kBig);
            const auto out = frame(list, to);
            EXPECT_EQ(string(out.end() - 4, out.end()), swap ? swapped : words) << from << to;
        }
    }
}

TEST(ElemList, PixelAndWaveformDataGetTheirVrWhereverValueCountersStand) {
    for (const auto& [bits, xferSyn] : {std::pair{16, kExplicit}, {8, kExplicit}, {16, UID_JPEG_BASELINE}}) {
        DcElemList list;
        list + new DcElem(0x00280100u, bits) + new DcElem(0x54001004u, bits);
        list + raw(0x7FE00010, VR_OX, "ab") + raw(0x54001010, VR_OX, "ab");
        unsigned short value = 0;
        ASSERT_EQ(list.getValue(0x00280100u, value, ELEM_INDEX_NEXT), RESULT_OK);
        (void)frame(list, xferSyn);
        const DICT_VR vr = bits == 16 && xferSyn == kExplicit ? VR_OW : VR_OB;
        EXPECT_EQ(elemAt(list, 0x7FE00010)->getVr(), vr);
        EXPECT_EQ(elemAt(list, 0x54001010)->getVr(), vr);
        EXPECT_EQ(list.getValue(0x00280100u, value, ELEM_INDEX_NEXT), ELEM_NO_MORE_VALUES);
    }
}

TEST(ElemList, WhatIsLargerThanALengthCanTellIsNotFramed) {
    CaptureLog log;
    DcElemList list;
    list + new DcElem(0x00080070u, string(60, 'A').c_str());
    DcBuf claims(utilNew(16), 16, kExplicit);
    claims.setLen(0xFFFFFFFF - 40);  // never read
    list + new DcElem(0x7FE00010u, &claims);
    unsigned char out[128];
    unsigned int length = 0;
    (void)list.getBufSize(length, TAG_LIST_END);
    EXPECT_EQ(length, 0xFFFFFFFF);
    EXPECT_EQ(list.frame(out, length, kExplicit), ELEM_VALUE_REFUSED);
    log.expect(LOG_ERROR, "DcElemList::frame", "Data set is larger than 0xffffffff bytes");
}

TEST(ElemList, DuplicateCopiesAllButPixels) {
    DcElemList list;
    list + new DcElem(0x00100010u, "A") + new DcElem(0x00100020u, "B") + new DcElemSq(0x00081140u);
    list + raw(0x7FE00010, VR_OW, "pixels");
    DcElemList all;
    EXPECT_EQ(list.duplicate(&all, nullptr), RESULT_OK);
    EXPECT_EQ(all.count(), 3);
    EXPECT_EQ(list.count(), 4);
    unsigned int tags[] = {0x00100020, 0x7FE00010, 0x00200010, TAG_LIST_END};
    DcElemList some;
    EXPECT_EQ(list.duplicate(&some, tags), RESULT_OK);
    EXPECT_EQ(some.count(), 1);
    all.changeValue(0x00100010u, "Z", 0);
    EXPECT_EQ(text(list, 0x00100010), "A");
}

TEST(ElemList, BufferListsAreJoinedAndDiskBuffersBecomePixels) {
    Stream in;
    in.elem(0x00100010, "PN", "Doe^Jane").elem(0x00100020, "LO", "ID");
    const string bytes(in.bytes().begin(), in.bytes().end());
    for (std::size_t cut = 1; cut < bytes.size(); ++cut) {
        DcElemList list;
        list + memory(bytes.substr(0, cut), kExplicit);
        list + new DcBuf(nullDevice, 0, 44, kExplicit);
        list + memory(bytes.substr(cut), kExplicit);
        ASSERT_EQ(list.parse(), RESULT_OK);
        EXPECT_EQ(text(list, 0x00100010) + text(list, 0x00100020), "Doe^JaneID");
        DcBuf buf;
        ASSERT_EQ(list.getValue(0x7FE00010u, buf, 0), RESULT_OK);
        EXPECT_EQ(buf.getLen(), 44u);
    }
}

// ---- sequences alone -----------------------------------------------------------------------------------

TEST(Sequence, ValuesAreReadItemByItem) {
    CaptureLog log;
    Stream in, bad;
    in.item(12).elem(0x00081150, "UI", "1.23").endItem();  // a stray delimitation
    in.item(Stream::undefined).elem(0x00081150, "UI", "1.24").endItem();
    DcElemSq sq(0x00081140u, in.data(), in.size(), kExplicit, VR_SQ);
    ASSERT_EQ(sq.count(), 2);
    EXPECT_EQ(text(sq.last()->getElemList(), 0x00081150), "1.24");
    EXPECT_TRUE(log.take().empty());
    EXPECT_EQ(sq.parseVal(in.data(), Stream::undefined, kExplicit), ELEM_VALUE_REFUSED);
    bad.elem(0x00081150, "UI", "1.24");
    EXPECT_EQ(sq.parseVal(bad.data(), bad.size(), kExplicit), ELEM_VALUE_REFUSED);
    EXPECT_EQ(log.take().size(), 2u);
}

TEST(Sequence, KnownTagsOfAnotherVrAreWarnedOfAndTakeNoItems) {
    CaptureLog log;
    DcElemSq sq(0x00100010u, nullptr, 0, UID_NONE, VR_IM);
    EXPECT_TRUE(log.has(LOG_VALIDATION, "DcElemSq::DcElemSq", "Element 0x00100010 is not of type SQ"));
    EXPECT_EQ(sq.add(new DcElemSqItem()), nullptr);
}

TEST(Sequence, IconsOfNativeLengthAreNative) {
    for (const DICT_UID xferSyn : {UID_JPEG_BASELINE, kBig}) {
        Stream icon(xferSyn);
        icon.header(0x00280010, "US", 2).u16(2).header(0x00280011, "US", 2).u16(2);
        icon.header(0x00280101, "US", 2).u16(12).elem(0x7FE00010, xferSyn == kBig ? "OW" : "OB", "12345678");
        Stream in(xferSyn);
        in.item(icon.size()).add(icon);
        DcElemSq sq(0x00880200u, in.data(), in.size(), xferSyn, VR_SQ);
        DcElemList& list = sq.first()->getElemList();
        EXPECT_EQ(list.last()->getVr(), VR_OW);
        EXPECT_EQ(list.last()->getXferSyn(), kExplicit);
        EXPECT_EQ(rawBytes(*list.last()), xferSyn == kBig ? "21436587" : "12345678");
    }
}

// ---- the element-at-a-time parser ----------------------------------------------------------------------

TEST(ElemParser, ReadsOneElementAndSaysWhatItTook) {
    for (const DICT_UID x : kSyntaxes) {
        CaptureLog log;
        Stream in(x);
        in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined).elem(0x00081150, "UI", "1.23");
        in.endItem().endSequence();
        const unsigned int first = in.size();
        in.elem(0x00100010, "PN", "AB");
        DcElemList list;
        unsigned int used = 0;
        EXPECT_EQ(parseElem(list, in, x, used), RESULT_OK);
        EXPECT_EQ(used, first);
        EXPECT_EQ(parseElem(list, in, x, used, first), RESULT_OK);
        EXPECT_EQ(used, in.size() - first);
        EXPECT_EQ(text(list, 0x00100010), "AB");
        EXPECT_EQ(parseElem(list, in, x, used, first), ELEM_VALUE_REFUSED) << "out of sequence";
        // Stray delimiters, retired elements and missing ends.
        Stream stray(x), open(x);
        stray.elem(0x00100020, "LO", "AB").endSequence();
        open.header(0x7FE00010, "OB", Stream::undefined).raw("to the end");
        for (Stream* s : {&stray, &open}) {
            EXPECT_EQ(parseElem(list, *s, x, used), RESULT_OK);
            EXPECT_EQ(used, s->size());
        }
        EXPECT_EQ(rawBytes(list, 0x7FE00010), "to the end");
    }
}
