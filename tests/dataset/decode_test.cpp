// The block decoder: layouts, leniencies, refusals, and inputs made to be slow or deep.

#include <ctime>

#include "orvkit/scan.h"
#include "support/dataset.h"
#include "support/system.h"

using std::string;

namespace {

DICT_VR vrOf(const DcElemList& list, unsigned int tag) {
    DcElem* const e = elemAt(list, tag);
    return e != nullptr ? e->getVr() : VR_UNKNOWN;
}

}  // namespace

TEST(Decode, UndefinedLengthsBecomeDefinedOnes) {
    for (const DICT_UID x : kSyntaxes) {
        Stream in(x);
        in.elem(0x00080005, "CS", "ISO_IR 100");
        in.header(0x00081140, "SQ", Stream::undefined);
        in.item(Stream::undefined).elem(0x00081150, "UI", string("1.2\0", 4));
        in.header(0x00081199, "SQ", Stream::undefined).item(0).endSequence();
        in.endItem().item(12).elem(0x00081155, "UI", "1.23").endSequence();
        in.elem(0x00100010, "PN", "Doe^J ");

        Stream out(x);
        out.elem(0x00080005, "CS", "ISO_IR 100");
        Stream first(x);
        first.elem(0x00081150, "UI", string("1.2\0", 4)).header(0x00081199, "SQ", 8).item(0);
        out.header(0x00081140, "SQ", first.size() + 8 + 8 + 12).item(first.size()).add(first);
        out.item(12).elem(0x00081155, "UI", "1.23").elem(0x00100010, "PN", "Doe^J ");

        DcElemList list;
        ASSERT_EQ(decode(list, in, x), RESULT_OK);
        EXPECT_EQ(frame(list, x), out.bytes()) << x;
    }
}

TEST(Decode, OrderIsForgivenForKnownTagsOnly) {
    CaptureLog log;
    DcElemList list;
    Stream in;
    in.elem(0x00100020, "LO", "ID").elem(0x00100010, "PN", "AB").elem(0x00100010, "PN", "CD");
    EXPECT_EQ(decode(list, in, kExplicit), RESULT_OK);
    EXPECT_EQ(text(list, 0x00100010), "CD");
    EXPECT_EQ(list.count(), 2);
    log.expect(LOG_VALIDATION, "DcElemList::add",
               "Element (0010,0010) added again, previous instance deleted");
    in.elem(0x00091011, "LO", "XY").elem(0x00091010, "LO", "XY").elem(0x00280010, "US", "AB");
    DcElemList cut;
    EXPECT_EQ(decode(cut, in, kExplicit), ELEM_VALUE_REFUSED);
    EXPECT_EQ(cut.count(), 2);
    EXPECT_TRUE(log.has(LOG_ERROR, "processElemListDM",
                        "Elements out of order, last - 0x00100010, this - 0x00091011"));
}

TEST(Decode, ImplicitSequencesAreWhatLooksLikeOneAndOthersAreKeptAsBytes) {
    CaptureLog log;
    Stream in(kImplicit);
    in.header(0x00081140, "SQ", 12).raw("this is none");
    in.header(0x00081199, "SQ", Stream::undefined).raw("nor this").endSequence();
    in.elem(0x00090010, "LO", "CREATOR ");
    in.header(0x00091001, "", 18).item(10).elem(0x00080070, "", "AB");
    in.elem(0x00091002, "", "plain bytes!").elem(0x00100010, "", "AB");
    DcElemList list;
    EXPECT_EQ(decode(list, in, kImplicit), RESULT_OK);
    EXPECT_EQ(rawBytes(list, 0x00081199), "nor this");
    EXPECT_EQ(vrOf(list, 0x00090010), VR_LO);
    ASSERT_NE(sequenceAt(list, 0x00091001), nullptr);
    EXPECT_EQ(text(sequenceAt(list, 0x00091001)->first()->getElemList(), 0x00080070), "AB");
    EXPECT_EQ(rawBytes(list, 0x00091002), "plain bytes!");
    EXPECT_EQ(text(list, 0x00100010), "AB");
    EXPECT_TRUE(log.has(LOG_NOTICE, "processSqValueDM",
                        "Invalid tag 0x68747369, expecting Sequence Item at offset 0x8"));
}

TEST(Decode, AFailedSequenceInAnExplicitStreamIsLeftWhereItsLengthIsKnown) {
    CaptureLog log;
    for (const std::uint32_t length : {12u + 8u + 12u, Stream::undefined}) {
        Stream in;
        in.header(0x00081140, "SQ", length).item(Stream::undefined);
        in.header(0x00081199, "SQ", Stream::undefined).raw("this is none").elem(0x00100010, "PN", "AB");
        DcElemList list;
        const bool known = length != Stream::undefined;
        EXPECT_EQ(decode(list, in, kExplicit), known ? RESULT_OK : UTIL_MALFORMED);
        EXPECT_EQ(text(list, 0x00100010), known ? "AB" : "<none>");
        ASSERT_NE(sequenceAt(list, 0x00081140), nullptr);
        EXPECT_EQ(sequenceAt(list, 0x00081140)->count(), 1);
    }
}

TEST(Decode, ValuesOfUndefinedLengthAreMeasured) {
    Stream jpeg;
    jpeg.header(0x7FE00010, "OB", Stream::undefined).item(0).item(4).raw("jpeg").endSequence();
    DcElemList list;
    ASSERT_EQ(decode(list, jpeg, UID_JPEG_BASELINE), RESULT_OK);
    EXPECT_EQ(rawBytes(list, 0x7FE00010).size(), 8u + 12u);
    EXPECT_EQ(frame(list, UID_JPEG_BASELINE), jpeg.bytes());
    EXPECT_EQ(list.last()->getXferSyn(), UID_JPEG_BASELINE);
    // UN holds a whole sequence; an item outside of sequences is an element like any other.
    Stream inner(kImplicit);
    inner.item(Stream::undefined).header(0x00081140, "", Stream::undefined).item(0).endSequence().endItem();
    Stream in;
    in.header(0x00091001, "UN", Stream::undefined).add(inner).endSequence().elem(0x00100010, "PN", "AB");
    in.elem(0x7FE00010, "OB", string(30000, 'x'));
    in.header(0xFFFEE000, "UN", Stream::undefined).raw("abcd").endSequence();
    ASSERT_EQ(decode(list, in, kExplicit), RESULT_OK);
    EXPECT_EQ(rawBytes(list, 0x00091001).size(), inner.size());
    EXPECT_EQ(text(list, 0x00100010), "AB");
    EXPECT_EQ(rawBytes(list, 0xFFFEE000), "abcd");
}

TEST(Decode, FaultsAreToldWithPathAndOffset) {
    CaptureLog log;
    std::vector<string> faults;
    elemListRegisterFaultCB(&faults, [](void* all, const DcElemFault& f) {
        string path;
        for (int i = 0; i < f.pathLength; ++i) path += std::to_string(f.path[i]) + '/';
        static_cast<std::vector<string>*>(all)->push_back(path + std::to_string(f.offset) + ' ' + f.text);
    });
    Stream in;
    in.header(0x00081140, "SQ", 8 + 12).item(12).elem(0x00080020, "DA", "2024");
    in.header(0x00081140, "SQ", Stream::undefined).item(8).elem(0x00081150, "UI", "").item(100);
    DcElemList list;
    EXPECT_EQ(decode(list, in, kExplicit), ELEM_VALUE_REFUSED);
    elemListRegisterFaultCB(nullptr, nullptr);
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0], std::to_string(0x00081140) + "/1/" + std::to_string(0x00080020) +
                             "/20 Element (0008,0020) - short string '2024', should be 8 digits");
    EXPECT_TRUE(faults[1].starts_with(std::to_string(0x00081140) + "/1/" + std::to_string(0xFFFEE000) + '/' +
                                      std::to_string(32 + 12 + 8 + 8) + ' '))
        << faults[1];
    EXPECT_NE(sequenceAt(list, 0x00081140), nullptr);
}

// ---- made to hurt --------------------------------------------------------------------------------------

// Where a length is added to a place, the sum fits no 32 bits.
TEST(DecodeHostile, LengthsUpToFourGigabytes) {
    for (const DICT_UID x : kSyntaxes) {
        for (const unsigned int length : {0x7FFFFFFEu, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFEu}) {
            const CaptureLog log;
            for (const char* vr : {"OB", "SQ", "UN"}) {
                DcElemList list;
                Stream in = Stream(x).elem(0x00100010, "PN", "Doe^J ");
                EXPECT_EQ(decode(list, in.header(0x00700009, vr, length).raw("value"), x),
                          ELEM_VALUE_REFUSED);
                EXPECT_NE(elemAt(list, 0x00100010), nullptr);
            }
            DcElemList list;
            Stream item = Stream(x).header(0x00081140, "SQ", Stream::undefined).item(length).raw("value");
            EXPECT_EQ(decode(list, item, x), x == kImplicit ? RESULT_OK : ELEM_VALUE_REFUSED);  // bytes then
        }
    }
}

// The scanners stand on the same walk.
TEST(DecodeHostile, AThousandLevelsAreReadWrittenAndPrintedAndMoreAreRefused) {
    for (const DICT_UID x : kSyntaxes) {
        for (const int levels : {1024, 1025, 100000}) {
            Stream in(x);
            for (int i = 0; i < levels; ++i)
                in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined);
            in.elem(0x00100010, "PN", "AB");
            for (int i = 0; i < levels; ++i) in.endItem().endSequence();
            in.elem(0x00280010, "US", "ab");
            CaptureLog log;
            DcElemList list;
            unsigned int offset = 0;
            EXPECT_EQ(decode(list, in, x), levels == 1024 ? RESULT_OK : ELEM_VALUE_REFUSED) << levels;
            EXPECT_EQ(utilGetElemOffset(in.data(), in.size(), x, 0x00280010, offset),
                      levels == 1024 ? RESULT_OK : UTIL_LENGTH_FIELD);
            EXPECT_EQ(log.lines().size(), levels == 1024 ? 0u : 2u);
            if (levels > 1024) continue;
            EXPECT_GT(frame(list, x).size(), 16000u);
            EXPECT_EQ(list.printNodeList(nullDevice, "w", PRINT_NODE_TREE), RESULT_OK);
            EXPECT_EQ(list.printNodeList(nullDevice, "w", PRINT_NODE_FLAT), RESULT_OK);
        }
    }
}

TEST(DecodeHostile, NestedFailuresDoNotMultiply) {
    // Each sequence fails behind an inner one, and what lies behind the first delimiter is read again by
    // every level.
    const QuietLog quiet;
    for (const int levels : {20, 1000}) {
        Stream in(kImplicit);
        for (int i = 0; i < levels; ++i) {
            in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined);
            in.header(0x00081199, "SQ", Stream::undefined).raw("bad!bad!").endSequence();
        }
        in.raw(string(20000, 'x'));
        DcElemList list;
        const std::clock_t start = std::clock();  // processor time: the machine may be busy
        (void)decode(list, in, kImplicit);
        EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC) << levels;
    }
}

TEST(DecodeHostile, DelimitersThatAreNowhereAreNotSearchedForAgainAndAgain) {
    Stream inner(kImplicit);
    inner.item(Stream::undefined).header(0x00091002, "", Stream::undefined).raw("xxxxxxxx");
    Stream in(kBig);
    for (unsigned int i = 0; i < 55000; ++i)
        in.header(0x00091000 + i, "UN", Stream::undefined).add(inner).endSequence();
    DcElemList list;
    const std::clock_t start = std::clock();  // processor time: the machine may be busy
    EXPECT_EQ(decode(list, in, kBig), RESULT_OK);
    EXPECT_LT(std::clock() - start, 10 * CLOCKS_PER_SEC);
    EXPECT_EQ(list.count(), 55000);
}
