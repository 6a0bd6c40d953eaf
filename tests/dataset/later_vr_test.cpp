// The seven value representations that came after 2008 (PS3.5 6.2): what today's edition makes of them, and
// that the edition of 2008 knows none.

#include <limits>

#include "dataset/elemlist_access.h"
#include "orvkit/edition.h"
#include "orvkit/keywords.h"
#include "support/dataset.h"

namespace {

class LaterVrs : public ::testing::Test {
  protected:
    LaterVrs() { dictSetEdition(DICT_EDITION_CURRENT); }
    ~LaterVrs() override { dictSetEdition(DICT_EDITION_2008); }

    CaptureLog log;
};

// What stands in a list, written in a syntax and read again.
void reread(DcElemList& list, DICT_UID syntax, DcElemList& again) {
    std::vector<unsigned char> bytes = frame(list, syntax);
    auto length = static_cast<unsigned int>(bytes.size());
    ASSERT_EQ(again.decode(bytes.data(), length, syntax), RESULT_OK);
    EXPECT_EQ(frame(again, syntax), bytes);
}

TEST_F(LaterVrs, PassThroughEverySyntaxWithTheirValues) {
    const std::string eight("\1\2\3\4\5\6\7\x8", 8);
    for (const DICT_UID syntax : kSyntaxes) {
        SCOPED_TRACE(syntax);
        DcElemList list, again;
        list.add(raw(DcTag::ExtendedOffsetTable, VR_IM, eight));
        list.add(raw(DcTag::TrackPointIndexList, VR_IM, eight));
        list.add(raw(DcTag::DoubleFloatPixelData, VR_IM, eight));
        list.add(new DcElem(DcTag::FileOffsetInContainer, "18446744073709551615"));  // UV
        list.add(new DcElem(DcTag::SelectorSVValue, "-9223372036854775808\\7"));
        EXPECT_EQ(elemAt(list, DcTag::SelectorSVValue)->addValue(-5), RESULT_OK);
        list.add(new DcElem(DcTag::LongCodeValue, "  two words\\second "));
        list.add(new DcElem(DcTag::RetrieveURI, std::string(70000, 'u').c_str()));
        reread(list, syntax, again);

        const bool big = syntax == kBig;
        const std::string swapped(eight.rbegin(), eight.rend());
        EXPECT_EQ(rawBytes(again, DcTag::ExtendedOffsetTable), big ? swapped : eight);
        EXPECT_EQ(rawBytes(again, DcTag::DoubleFloatPixelData), big ? swapped : eight);
        EXPECT_EQ(rawBytes(again, DcTag::TrackPointIndexList), big ? "\4\3\2\1\x8\7\6\5" : eight);
        EXPECT_EQ(text(again, DcTag::FileOffsetInContainer), "18446744073709551615");
        long long value = 0;
        EXPECT_EQ(elemAt(again, DcTag::SelectorSVValue)->getValue(value), RESULT_OK);
        EXPECT_EQ(value, std::numeric_limits<long long>::min());
        EXPECT_EQ(elemAt(again, DcTag::SelectorSVValue)->getValue(value, 2), RESULT_OK);
        EXPECT_EQ(value, -5);
        EXPECT_EQ(text(again, DcTag::LongCodeValue), "second");  // VM 1: the newest
        EXPECT_EQ(elemAt(again, DcTag::RetrieveURI)->getVr(), VR_UR);
    }
}

TEST_F(LaterVrs, RefuseWhatTheyCannotHold) {
    const struct {
        unsigned int tag;
        const char* text;
        int code;
    } rows[] = {{DcTag::SelectorSVValue, "9223372036854775808", ELEM_VALUE_REFUSED},
                {DcTag::SelectorSVValue, "12x", ELEM_ILLEGAL_CHAR},
                {DcTag::SelectorSVValue, "1-2", ELEM_VALUE_REFUSED},
                {DcTag::SelectorUVValue, "-1", ELEM_VALUE_REFUSED},
                {DcTag::RetrieveURI, "http://a/b?c=%20\\d", ELEM_ILLEGAL_CHAR},
                {DcTag::RetrieveURI, " http://a", ELEM_ILLEGAL_CHAR},
                {DcTag::RetrieveURI, "http://[::1]/a?b#c ", RESULT_OK}};
    for (const auto& row : rows) {
        DcElem e(row.tag, nullptr, 0, UID_NONE, VR_IM, 0);
        EXPECT_EQ(e.addValue(row.text), row.code) << row.text;
        EXPECT_EQ(e.getValueCount(), row.code == RESULT_OK ? 1 : 0) << row.text;
    }
    constexpr auto most = std::numeric_limits<unsigned long long>::max();
    EXPECT_EQ(DcElem(DcTag::SelectorSVValue, "1").addValue(most), ELEM_VALUE_REFUSED);
    DcElem unsigned64(DcTag::SelectorUVValue, nullptr, 0, UID_NONE, VR_IM, 0);
    EXPECT_EQ(unsigned64.addValue(-1), ELEM_VALUE_REFUSED);
    EXPECT_EQ(unsigned64.addValue(1.5), ELEM_VALUE_REFUSED);
    EXPECT_EQ(unsigned64.addValue(most), RESULT_OK);
    long long narrow = 0;
    EXPECT_EQ(unsigned64.getValue(narrow), ELEM_VALUE_REFUSED);
    EXPECT_EQ(narrow, std::numeric_limits<long long>::max());
}

// Beyond the 65,534 bytes of a short header (PS3.5 6.2.2).
TEST_F(LaterVrs, LeaveRoomForLongValuesOfEarlierOnesAsUn) {
    DcElemList list;
    list.add(new DcElem(DcTag::SimpleFrameList, nullptr, 0, UID_NONE, VR_IM, 0));  // UL, 1-n
    for (int i = 0; i < 20000; ++i) EXPECT_EQ(list.last()->addValue(i), RESULT_OK);
    for (const DICT_UID syntax : kSyntaxes) {
        SCOPED_TRACE(syntax);
        const std::vector<unsigned char> bytes = frame(list, syntax);
        EXPECT_EQ(std::string(bytes.begin() + 4, bytes.begin() + 6) == "UN", syntax != kImplicit);
        DcElemList again;
        reread(list, syntax, again);
        int last = 0;
        EXPECT_EQ(elemAt(again, DcTag::SimpleFrameList)->getValue(last, 19999), RESULT_OK);
        EXPECT_EQ(last, 19999);
    }
    unsigned int size = 0, used = 0;
    std::vector<unsigned char> room(100000);
    {
        const ExceptionLevel whole(0);
        DcElem name(DcTag::PatientName, std::string(70000, 'A').c_str());
        EXPECT_EQ(name.getBufSize(size, nullptr), RESULT_OK);
        EXPECT_EQ(name.frame(room.data(), used, kExplicit), RESULT_OK);
        EXPECT_EQ(size, 12u + 70000u);
        EXPECT_EQ(used, size);
    }
    dictSetEdition(DICT_EDITION_2008);
    DICT_VR vr{};
    for (const char* letters : {"OD", "OL", "OV", "SV", "UC", "UR", "UV"})
        EXPECT_EQ(Dict.getVrDef(letters, vr), RESULT_DICT_NOT_FOUND);
    EXPECT_EQ(list.frame(room.data(), used, kExplicit), ELEM_VALUE_REFUSED);
}

TEST_F(LaterVrs, StandingInAStreamWinOverTheDictionarys) {
    Stream s;
    s.elem(0x00189430, "US", "\7\1").elem(0x0074100A, "ST", "text");
    s.tag(0x00751010).raw("UV").u16(0).u32(8).raw("12345678");
    DcElemList list;
    ASSERT_EQ(decode(list, s, kExplicit), RESULT_OK);
    EXPECT_EQ(elemAt(list, 0x00189430)->getVr(), VR_US);
    EXPECT_EQ(elemAt(list, 0x0074100A)->getVr(), VR_ST);
    EXPECT_EQ(elemAt(list, 0x00751010)->getVr(), VR_UV);
    EXPECT_EQ(text(list, 0x00751010), std::to_string(0x3837363534333231));
}

// Two capitals that stand for no VR have the long header of VRs to come (PS3.5 7.1.2), whatever the
// dictionary says of the tag; other letters do not.
TEST_F(LaterVrs, ToComeAreKeptWithTheirLetters) {
    for (const DICT_UID syntax : {kExplicit, kBig}) {
        SCOPED_TRACE(syntax);
        Stream s(syntax);
        for (const unsigned int tag : {0x00091010u, 0x00100010u, 0x00109999u})
            s.tag(tag).raw("ZQ").u16(0).u32(4).raw("abcd");
        s.tag(0x00109A99).raw("ZR").u16(0).u32(0);
        const std::vector<unsigned char> bytes = s.bytes();
        DcElemList list;
        ASSERT_EQ(decode(list, s, syntax), RESULT_OK);
        DcElemList strict;
        unsigned int length = s.size();
        unsigned int used = 0;
        EXPECT_EQ(orvkit::ElemListAccess::parseElem(strict, s.data(), length, syntax, used), RESULT_OK);
        EXPECT_EQ(used, 16u);
        char code[4] = "";
        DcElem& name = *elemAt(list, DcTag::PatientName);
        EXPECT_EQ(name.getVr(), VR_UN);
        EXPECT_EQ(name.getVrCode(code), RESULT_OK);
        EXPECT_STREQ(code, "ZQ");
        EXPECT_EQ(elemAt(strict, 0x00091010)->getVrCode(code), RESULT_OK);
        EXPECT_STREQ(code, "ZQ");
        EXPECT_EQ(rawBytes(name), "abcd");
        EXPECT_EQ(frame(list, syntax), bytes);
        // Nobody knows how to turn the value around.
        const std::vector<unsigned char> turned = frame(list, syntax == kBig ? kExplicit : kBig);
        EXPECT_EQ(std::string(turned.begin() + 4, turned.begin() + 6), "UN");
        EXPECT_EQ(std::string(turned.begin() + 12, turned.begin() + 16), "abcd");

        dictSetEdition(DICT_EDITION_2008);
        DcElemList old;
        (void)decode(old, s, syntax);
        EXPECT_EQ(elemAt(old, 0x00091010)->getVrCode(code), RESULT_OK);
        EXPECT_STREQ(code, "UN");
        dictSetEdition(DICT_EDITION_CURRENT);
    }
    Stream s;
    s.tag(0x00100010).raw("zq").u16(4).raw("abcd");
    DcElemList list;
    EXPECT_EQ(decode(list, s, kExplicit), RESULT_OK);
    EXPECT_EQ(text(list, DcTag::PatientName), "abcd");
}

}  // namespace
