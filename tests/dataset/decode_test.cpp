// The block decoder: layouts, leniencies, refusals, and inputs made to be slow or deep.
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/system.h"

using std::string;

namespace {

DICT_VR vrOf(const DcElemList& list, unsigned int tag) {
    DcElem* const e = elemAt(list, tag);
    return e != nullptr ? e->getVr() : VR_UNKNOWN;
}

struct Fault {
    int result;
    unsigned int offset;
    std::vector<unsigned int> path;
    string text;
};

class Faults {
  public:
    Faults() {
        elemListRegisterFaultCB(this, [](void* self, const DcElemFault& f) {
            static_cast<Faults*>(self)->all.push_back(
                {f.result, f.offset, {f.path, f.path + f.pathLength}, f.text});
        });
    }
    ~Faults() { elemListRegisterFaultCB(nullptr, nullptr); }
    std::vector<Fault> all;
};

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

TEST(Decode, GroupsWithASyntaxOfTheirOwn) {
    Stream in(kBig);
    in.add(Stream(kImplicit).elem(0x00000100, "US", string("\x30\0", 2)));
    in.add(Stream().elem(0x00020010, "UI", "1.22"));
    in.elem(0x00280010, "US", string("\x01\x02", 2));
    DcElemList list;
    ASSERT_EQ(decode(list, in, kBig), RESULT_OK);
    unsigned short v = 0;
    EXPECT_EQ(list.getValue(0x00000100u, v, 0), RESULT_OK);
    EXPECT_EQ(v, 0x30);
    EXPECT_EQ(text(list, 0x00020010), "1.22");
    EXPECT_EQ(list.getValue(0x00280010u, v, 0), RESULT_OK);
    EXPECT_EQ(v, 0x0102);
    EXPECT_EQ(frame(list, kBig), in.bytes());
}

// Those groups under which repeating elements are stored in the dictionary are private as all odd ones.
TEST(Decode, PrivateElementsOfTheGroups50FFAnd60FFKeepTheirValues) {
    Stream in(kImplicit);
    for (const unsigned int group : {0x50FF0000u, 0x60FF0000u}) {
        in.elem(group | 0x0010, "", "ACME CORP ").elem(group | 0x1010, "", "12345678");
        in.elem(group | 0x3000, "", "abc!");
    }
    DcElemList list;
    ASSERT_EQ(decode(list, in, kImplicit), RESULT_OK);
    EXPECT_EQ(elemAt(list, 0x60FF0010)->getVr(), VR_LO);
    EXPECT_EQ(elemAt(list, 0x50FF3000)->getVr(), VR_UN);
    EXPECT_EQ(frame(list, kImplicit), in.bytes());
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

TEST(Decode, LettersThatAreNoVr) {
    CaptureLog log;
    Stream in;
    in.tag(0x00080070).raw("??").u16(4).raw("ACME");
    in.tag(0x00091001).raw("ZZ").u16(0).u32(2).raw("ab");
    in.elem(0x00100010, "PN", "AB");
    DcElemList list;
    EXPECT_EQ(decode(list, in, kExplicit), RESULT_OK);
    EXPECT_EQ(text(list, 0x00080070), "ACME");
    EXPECT_EQ(vrOf(list, 0x00091001), VR_UN);
    EXPECT_EQ(rawBytes(list, 0x00091001), "ab");
    EXPECT_EQ(text(list, 0x00100010), "AB");
    log.expect(LOG_VALIDATION, "processElemListDM",
               "Invalid VR for T_0008_0070_manufacturer, substituted VR from Dictionary");
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
    Faults faults;
    Stream in;
    in.header(0x00081140, "SQ", Stream::undefined).item(8).elem(0x00081150, "UI", "").item(100);
    DcElemList list;
    EXPECT_EQ(decode(list, in, kExplicit), ELEM_VALUE_REFUSED);
    ASSERT_EQ(faults.all.size(), 1u);
    EXPECT_EQ(faults.all[0].path, (std::vector<unsigned int>{0x00081140, 1, 0xFFFEE000}));
    EXPECT_EQ(faults.all[0].offset, 12u + 8u + 8u);
    EXPECT_NE(sequenceAt(list, 0x00081140), nullptr);

    Stream value;
    value.header(0x00081140, "SQ", 8 + 12).item(12).elem(0x00080020, "DA", "2024");
    DcElemList other;
    faults.all.clear();
    EXPECT_EQ(decode(other, value, kExplicit), RESULT_OK);
    ASSERT_EQ(faults.all.size(), 1u);
    EXPECT_EQ(faults.all[0].path, (std::vector<unsigned int>{0x00081140, 1, 0x00080020}));
    EXPECT_EQ(faults.all[0].offset, 20u);
    EXPECT_EQ(faults.all[0].text, "Element (0008,0020) - short string '2024', should be 8 digits");
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

TEST(DecodeHostile, AHundredThousandLevelsAreRefused) {
    for (const DICT_UID x : kSyntaxes) {
        Stream in(x);
        for (int i = 0; i < 100000; ++i)
            in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined);
        CaptureLog log;
        DcElemList list;
        EXPECT_EQ(decode(list, in, x), ELEM_VALUE_REFUSED);
        EXPECT_EQ(log.lines().size(), 1u);
    }
}

TEST(DecodeHostile, AThousandLevelsAreReadWrittenAndPrinted) {
    for (const DICT_UID x : kSyntaxes) {
        Stream in(x);
        for (int i = 0; i < 1000; ++i) in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined);
        in.elem(0x00100010, "PN", "AB");
        for (int i = 0; i < 1000; ++i) in.endItem().endSequence();
        DcElemList list;
        ASSERT_EQ(decode(list, in, x), RESULT_OK);
        EXPECT_GT(frame(list, x).size(), 16000u);
        EXPECT_EQ(list.printNodeList(nullDevice, "w", PRINT_NODE_TREE), RESULT_OK);
        EXPECT_EQ(list.printNodeList(nullDevice, "w", PRINT_NODE_FLAT), RESULT_OK);
    }
}

TEST(DecodeHostile, NestedFailuresDoNotMultiply) {
    // Each sequence fails behind an inner one, and what lies behind the first delimiter is read again by
    // every level.
    logActivate(LOG_NOTICE, LOG_OFF);
    logActivate(LOG_ERROR, LOG_OFF);
    logActivate(LOG_VALIDATION, LOG_OFF);
    for (const int levels : {20, 1000}) {
        Stream in(kImplicit);
        for (int i = 0; i < levels; ++i) {
            in.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined);
            in.header(0x00081199, "SQ", Stream::undefined).raw("bad!bad!").endSequence();
        }
        in.raw(string(20000, 'x'));
        DcElemList list;
        const auto start = std::chrono::steady_clock::now();
        (void)decode(list, in, kImplicit);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20)) << levels;
    }
    for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_ON);
}

TEST(DecodeHostile, DelimitersThatAreNowhereAreNotSearchedForAgainAndAgain) {
    Stream inner(kImplicit);
    inner.item(Stream::undefined).header(0x00091002, "", Stream::undefined).raw("xxxxxxxx");
    Stream in(kBig);
    for (unsigned int i = 0; i < 55000; ++i) {
        in.header(0x00091000 + i, "UN", Stream::undefined).add(inner).endSequence();
    }
    DcElemList list;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(decode(list, in, kBig), RESULT_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_EQ(list.count(), 55000);
}
