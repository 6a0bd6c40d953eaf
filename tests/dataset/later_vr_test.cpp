// The seven value representations that came after 2008 (PS3.5 6.2): what today's edition makes of them, and
// that the edition of 2008 knows none.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "orvkit/edition.h"
#include "orvkit/keywords.h"
#include "support/capture_log.h"
#include "support/dataset.h"

namespace {

class LaterVrs : public ::testing::Test {
  protected:
    LaterVrs() { dictSetEdition(DICT_EDITION_CURRENT); }
    ~LaterVrs() override { dictSetEdition(DICT_EDITION_2008); }

    CaptureLog log;
};

TEST_F(LaterVrs, AreKnownInTodaysEditionAlone) {
    for (const char* letters : {"OD", "OL", "OV", "SV", "UC", "UR", "UV"}) {
        SCOPED_TRACE(letters);
        DICT_VR vr{};
        char code[4];
        DICT_VR_SIZE size{};
        dictSetEdition(DICT_EDITION_CURRENT);
        EXPECT_EQ(Dict.getVrDef(letters, vr), RESULT_OK);
        EXPECT_EQ(Dict.getVr(vr, code), RESULT_OK);
        EXPECT_STREQ(code, letters);
        EXPECT_EQ(Dict.getVrSize(vr, size), RESULT_OK);
        const DICT_VR known = vr;
        dictSetEdition(DICT_EDITION_2008);
        EXPECT_EQ(Dict.getVrDef(letters, vr), RESULT_DICT_NOT_FOUND);
        EXPECT_EQ(Dict.getVr(known, code), RESULT_DICT_NOT_FOUND);
        EXPECT_EQ(Dict.getVrSize(known, size), RESULT_DICT_NOT_FOUND);
    }
}

TEST_F(LaterVrs, PassThroughEverySyntaxWithTheirValues) {
    const std::string eight("\1\2\3\4\5\6\7\x8", 8);
    const std::string swapped8("\x8\7\6\5\4\3\2\1", 8);
    const std::string uri(70000, 'u');
    for (const DICT_UID syntax : kSyntaxes) {
        SCOPED_TRACE(syntax);
        DcElemList list;
        list.add(raw(DcTag::ExtendedOffsetTable, VR_IM, eight));
        list.add(raw(DcTag::TrackPointIndexList, VR_IM, eight));
        list.add(raw(DcTag::DoubleFloatPixelData, VR_IM, eight));
        auto* e = new DcElem(DcTag::FileOffsetInContainer, nullptr, 0, UID_NONE, VR_IM, 0);  // UV
        EXPECT_EQ(e->addValue(std::numeric_limits<unsigned long long>::max()), RESULT_OK);
        list.add(e);
        e = new DcElem(DcTag::SelectorSVValue, nullptr, 0, UID_NONE, VR_IM, 0);
        EXPECT_EQ(e->addValue("-9223372036854775808\\7"), RESULT_OK);
        EXPECT_EQ(e->addValue(-5), RESULT_OK);
        list.add(e);
        list.add(new DcElem(DcTag::LongCodeValue, "  two words\\second "));
        list.add(new DcElem(DcTag::RetrieveURI, uri.c_str()));

        const std::vector<unsigned char> bytes = frame(list, syntax);
        DcElemList again;
        unsigned int length = static_cast<unsigned int>(bytes.size());
        ASSERT_EQ(again.decode(const_cast<unsigned char*>(bytes.data()), length, syntax), RESULT_OK);
        EXPECT_EQ(frame(again, syntax), bytes);

        const bool big = syntax == kBig;
        EXPECT_EQ(rawBytes(again, DcTag::ExtendedOffsetTable), big ? swapped8 : eight);
        EXPECT_EQ(rawBytes(again, DcTag::DoubleFloatPixelData), big ? swapped8 : eight);
        EXPECT_EQ(rawBytes(again, DcTag::TrackPointIndexList),
                  big ? std::string("\4\3\2\1\x8\7\6\5", 8) : eight);
        unsigned long long most = 0;
        EXPECT_EQ(elemAt(again, DcTag::FileOffsetInContainer)->getValue(most), RESULT_OK);
        EXPECT_EQ(most, std::numeric_limits<unsigned long long>::max());
        long long least = 0;
        DcElem& selector = *elemAt(again, DcTag::SelectorSVValue);
        EXPECT_EQ(selector.getValueCount(), 3);
        EXPECT_EQ(selector.getValue(least), RESULT_OK);
        EXPECT_EQ(least, std::numeric_limits<long long>::min());
        EXPECT_EQ(selector.getValue(least, 2), RESULT_OK);
        EXPECT_EQ(least, -5);
        char text[64];
        DcElem& code = *elemAt(again, DcTag::LongCodeValue);
        EXPECT_EQ(code.getValueCount(), 1);  // VM 1: the newest
        EXPECT_EQ(elemAt(again, DcTag::RetrieveURI)->getVr(), VR_UR);
        EXPECT_EQ(code.getValue(text, 63), RESULT_OK);
    }
}

TEST_F(LaterVrs, RefuseWhatTheyCannotHold) {
    DcElem signed64(DcTag::SelectorSVValue, nullptr, 0, UID_NONE, VR_IM, 0);
    EXPECT_EQ(signed64.addValue(std::numeric_limits<unsigned long long>::max()), ELEM_VALUE_REFUSED);
    EXPECT_EQ(signed64.addValue("9223372036854775808"), ELEM_VALUE_REFUSED);
    EXPECT_EQ(signed64.addValue("12x"), ELEM_ILLEGAL_CHAR);
    EXPECT_EQ(signed64.addValue("1-2"), ELEM_VALUE_REFUSED);
    EXPECT_EQ(signed64.getValueCount(), 0);
    DcElem unsigned64(DcTag::SelectorUVValue, nullptr, 0, UID_NONE, VR_IM, 0);
    EXPECT_EQ(unsigned64.addValue(-1), ELEM_VALUE_REFUSED);
    EXPECT_EQ(unsigned64.addValue(1.5), ELEM_VALUE_REFUSED);
    EXPECT_EQ(unsigned64.addValue("18446744073709551615"), RESULT_OK);
    long long narrow = 0;
    EXPECT_EQ(unsigned64.getValue(narrow), ELEM_VALUE_REFUSED);
    EXPECT_EQ(narrow, std::numeric_limits<long long>::max());
    char text[32];
    EXPECT_EQ(unsigned64.getValue(text, 31), RESULT_OK);
    EXPECT_STREQ(text, "18446744073709551615");
    DcElem uri(DcTag::RetrieveURI, nullptr, 0, UID_NONE, VR_IM, 0);
    EXPECT_EQ(uri.addValue("http://a/b?c=%20\\d"), ELEM_ILLEGAL_CHAR);
    EXPECT_EQ(uri.addValue(" http://a"), ELEM_ILLEGAL_CHAR);
    EXPECT_EQ(uri.addValue("http://[::1]/a?b#c "), RESULT_OK);
    EXPECT_EQ(uri.getValue(text, 31), RESULT_OK);
    EXPECT_STREQ(text, "http://[::1]/a?b#c");
}

// Beyond the 65,534 bytes of a short header (PS3.5 6.2.2).
TEST_F(LaterVrs, LeaveRoomForLongValuesOfEarlierOnesAsUn) {
    DcElemList list;
    auto* many = new DcElem(DcTag::SimpleFrameList, nullptr, 0, UID_NONE, VR_IM, 0);  // UL, 1-n
    for (int i = 0; i < 20000; ++i) EXPECT_EQ(many->addValue(i), RESULT_OK);
    list.add(many);
    for (const DICT_UID syntax : kSyntaxes) {
        SCOPED_TRACE(syntax);
        const std::vector<unsigned char> bytes = frame(list, syntax);
        EXPECT_EQ(std::string(bytes.begin() + 4, bytes.begin() + 6) == "UN", syntax != kImplicit);
        DcElemList again;
        unsigned int length = static_cast<unsigned int>(bytes.size());
        ASSERT_EQ(again.decode(const_cast<unsigned char*>(bytes.data()), length, syntax), RESULT_OK);
        int last = 0;
        EXPECT_EQ(elemAt(again, DcTag::SimpleFrameList)->getValue(last, 19999), RESULT_OK);
        EXPECT_EQ(last, 19999);
    }
    dictSetEdition(DICT_EDITION_2008);
    std::vector<unsigned char> room(100000);
    unsigned int used = 0;
    EXPECT_EQ(list.frame(room.data(), used, kExplicit), ELEM_VALUE_REFUSED);
}

TEST_F(LaterVrs, StandingInAStreamWinOverTheDictionarys) {
    Stream s;
    s.tag(0x00189430).raw("US").u16(2).u16(7);
    s.tag(0x0074100A).raw("ST").u16(4).raw("text");
    s.tag(0x00751010).raw("UV").u16(0).u32(8).raw(std::string("\1\0\0\0\0\0\0\0", 8));
    DcElemList list;
    ASSERT_EQ(decode(list, s, kExplicit), RESULT_OK);
    EXPECT_EQ(elemAt(list, 0x00189430)->getVr(), VR_US);
    EXPECT_EQ(elemAt(list, 0x0074100A)->getVr(), VR_ST);
    EXPECT_EQ(elemAt(list, 0x00751010)->getVr(), VR_UV);
    unsigned long long value = 0;
    EXPECT_EQ(elemAt(list, 0x00751010)->getValue(value), RESULT_OK);
    EXPECT_EQ(value, 1u);
}

}  // namespace
