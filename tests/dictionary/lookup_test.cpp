// What the dictionary answers of tags and VRs.
#include <gtest/gtest.h>

#include <cstdio>

#include "fresh_dict.h"
#include "orvkit/dict.h"
#include "orvkit/tags.h"

namespace {

class Lookup : public FreshDict {};

struct TagCase {
    unsigned int tag;
    int result;
    unsigned int recordTag;
    DICT_VR vr;
    const char* code;
    int vm;
    const char* name;
};

const TagCase tagCases[] = {
    {0x00080016, 0, 0x00080016, VR_UI, "UI", 1, "T_0008_0016_sopClassUid"},
    {0x00000901, 0, 0x00000901, VR_AT, "AT", 0, "T_0000_0901_offendingElement"},
    {0x7FE00010, 0, 0x7FE00010, VR_OX, "OX", 1, "T_7fe0_0010_pixelData"},
    {0xFFFEE000, 0, 0xFFFEE000, VR_SI, "SI", 1, "T_fffe_e000_item"},
    // Repeating groups: any even group, and the definition itself.
    {0x60023000, 0, 0x60FF3000, VR_OX, "OX", 1, "T_60xx_3000_overlayData"},
    {0x50000005, 0, 0x50FF0005, VR_US, "US", 1, "T_50xx_0005_curveDimension"},
    {0x60FF3000, 0, 0x60FF3000, VR_OX, "OX", 1, "T_60xx_3000_overlayData"},
    {0x60FF0010, 0, 0x60FF0010, VR_US, "US", 1, "T_60xx_0010_overlayRows"},
    // Answered by rule.
    {0x00280000, 0, 0x00280000, VR_UL, "UL", 1, "T_0028_0000_groupLength"},
    {0x00090000, 0, 0x00090000, VR_UL, "UL", 1, "T_0009_0000_groupLength"},
    {0x00090010, 0, 0x00090010, VR_LO, "LO", 1, "T_0009_0010_privateCreatorId"},
    {0x00090001, 0, 0x00090001, VR_LO, "LO", 1, "T_0009_0001_privateCreatorId"},
    {0x600100FF, 0, 0x600100FF, VR_LO, "LO", 1, "T_6001_00ff_privateCreatorId"},
    // Unknown.
    {0x00091010, 5122, 0x00091010, VR_UN, "UN", 1, "T_0009_1010"},
    {0x0028FFFE, 5122, 0x0028FFFE, VR_UN, "UN", 1, "T_0028_fffe"},
    {0x60020001, 5122, 0x60020001, VR_UN, "UN", 1, "T_6002_0001"},
    {0xFFFFFFFF, 5122, 0xFFFFFFFF, VR_UN, "UN", 1, "T_ffff_ffff"},
};

TEST_F(Lookup, AnswersEveryQuestionAboutATagAlike) {
    for (const TagCase& c : tagCases) {
        SCOPED_TRACE(c.name);
        const auto group = static_cast<unsigned short>(c.tag >> 16);
        const auto element = static_cast<unsigned short>(c.tag & 0xFFFF);

        DcDictElemInfo info{};
        EXPECT_EQ(Dict.getElemInfo(group, element, &info), c.result);
        EXPECT_EQ(info.tag, c.recordTag);
        EXPECT_EQ(info.tagDef, c.recordTag);
        EXPECT_EQ(info.vr, c.vr);
        EXPECT_EQ(info.vm, c.vm);
        EXPECT_STREQ(info.name, c.name);
        EXPECT_EQ(Dict.getElemInfo(c.tag, nullptr), c.result);

        char text[64] = "?";
        EXPECT_EQ(Dict.getDesc(group, element, text), c.result);
        EXPECT_STREQ(text, c.name);
        EXPECT_EQ(Dict.getVr(group, element, text), c.result);
        EXPECT_STREQ(text, c.code);
        DICT_VR vr{};
        EXPECT_EQ(Dict.getVrDef(group, element, vr), c.result);
        EXPECT_EQ(vr, c.vr);
        int vm = -1000;
        EXPECT_EQ(Dict.getVm(group, element, vm), c.result);
        EXPECT_EQ(vm, c.vm);
        unsigned int tagDef = 0;
        EXPECT_EQ(Dict.getTagDef(group, element, tagDef), c.result);
        EXPECT_EQ(tagDef, c.recordTag);
        unsigned short defGroup = 0;
        unsigned short defElement = 0;
        EXPECT_EQ(Dict.getTag(tagDef, defGroup, defElement), c.result);
        EXPECT_EQ(defGroup, c.recordTag >> 16);
        EXPECT_EQ(defElement, c.recordTag & 0xFFFF);

        const DcDictFacts facts = Dict.facts(c.tag);
        EXPECT_EQ(facts.vr, c.vr);
        EXPECT_EQ(facts.vm, c.vm);
        EXPECT_EQ(facts.known, c.result == 0);
    }
    EXPECT_TRUE(log.lines().empty());
}

struct VrCase {
    DICT_VR vr;
    const char* code;
    int length;
    DICT_VR_SIZE size;
};

TEST_F(Lookup, TellsThePropertiesOfVrs) {
    const VrCase cases[] = {
        {VR_AE, "AE", 16, VR_SIZE_CHAR},  {VR_AT, "AT", 4, VR_SIZE_32},       {VR_FL, "FL", 4, VR_SIZE_FLOAT},
        {VR_FD, "FD", 8, VR_SIZE_DOUBLE}, {VR_LT, "LT", 10240, VR_SIZE_CHAR}, {VR_OF, "OF", 0, VR_SIZE_FLOAT},
        {VR_PN, "PN", 324, VR_SIZE_CHAR}, {VR_SQ, "SQ", 0, VR_SIZE_NONE},     {VR_UN, "UN", 0, VR_SIZE_CHAR},
        {VR_OX, "OX", 0, VR_SIZE_16},     {VR_XS, "XS", 2, VR_SIZE_16},       {VR_SI, "SI", 0, VR_SIZE_NONE},
    };
    for (const VrCase& c : cases) {
        SCOPED_TRACE(c.code);
        char code[4];
        EXPECT_EQ(Dict.getVr(c.vr, code), 0);
        EXPECT_STREQ(code, c.code);
        DICT_VR vr{};
        EXPECT_EQ(Dict.getVrDef(c.code, vr), 0);
        EXPECT_EQ(vr, c.vr);
        EXPECT_EQ(DcDict::vrOfCode(c.code[0], c.code[1]), c.vr);
        int length = -1;
        EXPECT_EQ(Dict.getVrLen(c.vr, length), 0);
        EXPECT_EQ(length, c.length);
        DICT_VR_SIZE size{};
        EXPECT_EQ(Dict.getVrSize(c.vr, size), 0);
        EXPECT_EQ(size, c.size);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Lookup, RefusesVrsWithoutProperties) {
    int length = -1;
    DICT_VR_SIZE size = VR_SIZE_CHAR;
    EXPECT_EQ(Dict.getVrLen(VR_RT, length), 5122);
    EXPECT_EQ(length, 0);
    expectLog(LOG_NOTICE, "DcDict::getVrLen", "Retired Data Element");
    EXPECT_EQ(Dict.getVrSize(VR_RT, size), 5122);
    EXPECT_EQ(size, VR_SIZE_NONE);
    expectLog(LOG_NOTICE, "DcDict::getVrSize", "Retired Data Element");

    for (const int number : {32, 33, 0, -1, 36}) {
        const auto vr = static_cast<DICT_VR>(number);
        char text[80];
        std::snprintf(text, sizeof text, "Enum constant VR %d (0x%x) is not in dictionary", number,
                      static_cast<unsigned int>(number));
        EXPECT_EQ(Dict.getVrLen(vr, length = -1), 5122);
        EXPECT_EQ(length, 0);
        expectLog(LOG_NOTICE, "DcDict::getVrLen", text);
        EXPECT_EQ(Dict.getVrSize(vr, size), 5122);
        EXPECT_EQ(size, VR_SIZE_NONE);
        expectLog(LOG_NOTICE, "DcDict::getVrSize", text);
    }
}

TEST_F(Lookup, GivesTheUnknownVrPropertiesButNoCode) {
    int length = -1;
    DICT_VR_SIZE size = VR_SIZE_NONE;
    EXPECT_EQ(Dict.getVrLen(VR_UNKNOWN, length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(Dict.getVrSize(VR_UNKNOWN, size), 0);
    EXPECT_EQ(size, VR_SIZE_CHAR);
    char code[4] = "?";
    EXPECT_EQ(Dict.getVr(VR_UNKNOWN, code), 5122);
    EXPECT_STREQ(code, "");
    expectLog(LOG_NOTICE, "DcDict::getVr", "Enum constant VR 35 (0x23) is not in dictionary");
}

TEST_F(Lookup, TakesOnlyWholeCodes) {
    for (const char* code : {"", "A", "ae", "AB", "AEX", "\xC1\xC5"}) {
        DICT_VR vr{};
        EXPECT_EQ(Dict.getVrDef(code, vr), 5122) << code;
        EXPECT_EQ(vr, VR_UNKNOWN);
    }
    EXPECT_EQ(DcDict::vrOfCode('Z', 'Z'), DICT_VR{});
    EXPECT_EQ(DcDict::vrOfCode('\0', '\0'), DICT_VR{});
    EXPECT_EQ(DcDict::vrOfCode('\xFF', 'A'), DICT_VR{});
}

TEST_F(Lookup, RefusesNullTexts) {
    char* const none = nullptr;
    DICT_VR vr{};
    const char* const message = "Null argument passed";
    EXPECT_EQ(Dict.getDesc(T_0008_0016_sopClassUid, none), 5123);
    expectLog(LOG_VALIDATION, "DcDict::getDesc", message);
    EXPECT_EQ(Dict.getVr(T_0008_0016_sopClassUid, none), 5123);
    expectLog(LOG_VALIDATION, "DcDict::getVr", message);
    EXPECT_EQ(Dict.getVrDef(none, vr), 5123);
    expectLog(LOG_VALIDATION, "DcDict::getVrDef", message);
    EXPECT_EQ(Dict.getSqTagList(T_0008_0016_sopClassUid, nullptr), 5123);
    expectLog(LOG_VALIDATION, "DcDict::getSqTagList", message);
}

TEST_F(Lookup, GivesTheTextsOfMessages) {
    char text[64];
    EXPECT_EQ(Dict.getDesc(DICT_MSG_C_STORE_RQ, text), 0);
    EXPECT_STREQ(text, "C-STORE-RQ");
    EXPECT_EQ(Dict.getDesc(DICT_MSG_N_DELETE_RSP, text), 0);
    EXPECT_STREQ(text, "N-DELETE-RSP");
    EXPECT_EQ(Dict.getDesc(static_cast<DICT_MSG>(0x31), text), 5122);
    EXPECT_STREQ(text, "");
    expectLog(LOG_NOTICE, "DcDict::getDesc", "Enum constant MSG 49 (0x31) is not in dictionary");
}

}  // namespace
