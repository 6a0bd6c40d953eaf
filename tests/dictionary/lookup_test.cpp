// What the dictionary answers of tags and VRs.
#include <gtest/gtest.h>

#include "fresh_dict.h"
#include "orvkit/dict.h"
#include "orvkit/tags.h"

namespace {

class Lookup : public FreshDict {};

const struct {
    unsigned int tag;
    int result;
    unsigned int recordTag;
    DICT_VR vr;
    int vm;
    const char* name;
} tagCases[] = {
    {0x00000901, 0, 0x00000901, VR_AT, 0, "T_0000_0901_offendingElement"},
    {0xFFFEE000, 0, 0xFFFEE000, VR_SI, 1, "T_fffe_e000_item"},
    // Repeating groups: any even group, and the definition itself.
    {0x60023000, 0, 0x60FF3000, VR_OX, 1, "T_60xx_3000_overlayData"},
    {0x50000005, 0, 0x50FF0005, VR_US, 1, "T_50xx_0005_curveDimension"},
    {0x60FF0010, 0, 0x60FF0010, VR_US, 1, "T_60xx_0010_overlayRows"},
    // Answered by rule.
    {0x00090000, 0, 0x00090000, VR_UL, 1, "T_0009_0000_groupLength"},
    {0x00090001, 0, 0x00090001, VR_LO, 1, "T_0009_0001_privateCreatorId"},
    {0x600100FF, 0, 0x600100FF, VR_LO, 1, "T_6001_00ff_privateCreatorId"},
    // Unknown.
    {0x00091010, 5122, 0x00091010, VR_UN, 1, "T_0009_1010"},
    {0x60020001, 5122, 0x60020001, VR_UN, 1, "T_6002_0001"},
    {0xFFFFFFFF, 5122, 0xFFFFFFFF, VR_UN, 1, "T_ffff_ffff"},
};

TEST_F(Lookup, AnswersEveryQuestionAboutATagAlike) {
    for (const auto& c : tagCases) {
        SCOPED_TRACE(c.name);
        const auto group = static_cast<unsigned short>(c.tag >> 16);
        const auto element = static_cast<unsigned short>(c.tag & 0xFFFF);

        DcDictElemInfo info{};
        EXPECT_EQ(Dict.getElemInfo(group, element, &info), c.result);
        EXPECT_EQ(info.tag, c.recordTag);
        EXPECT_EQ(info.vr, c.vr);
        EXPECT_EQ(info.vm, c.vm);
        EXPECT_STREQ(info.name, c.name);
        char text[64] = "?";
        EXPECT_EQ(Dict.getDesc(group, element, text), c.result);
        EXPECT_STREQ(text, c.name);
        EXPECT_EQ(Dict.getVr(group, element, text), c.result);
        EXPECT_STREQ(text, DcDict::vrName(c.vr));
        int vm = -1000;
        EXPECT_EQ(Dict.getVm(group, element, vm), c.result);
        EXPECT_EQ(vm, c.vm);
        unsigned int tagDef = 0;
        EXPECT_EQ(Dict.getTagDef(group, element, tagDef), c.result);
        EXPECT_EQ(tagDef, c.recordTag);
        EXPECT_EQ(Dict.facts(c.tag).known, c.result == 0);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Lookup, TellsThePropertiesOfVrs) {
    const struct {
        DICT_VR vr;
        const char* code;
        int length;
        DICT_VR_SIZE size;
    } cases[] = {
        {VR_AT, "AT", 4, VR_SIZE_32}, {VR_OF, "OF", 0, VR_SIZE_FLOAT}, {VR_PN, "PN", 324, VR_SIZE_CHAR},
        {VR_OX, "OX", 0, VR_SIZE_16}, {VR_XS, "XS", 2, VR_SIZE_16},    {VR_SI, "SI", 0, VR_SIZE_NONE},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        char code[4];
        EXPECT_EQ(Dict.getVr(c.vr, code), 0);
        EXPECT_STREQ(code, c.code);
        DICT_VR vr{};
        EXPECT_EQ(Dict.getVrDef(c.code, vr), 0);
        EXPECT_EQ(vr, c.vr);
        int length = -1;
        EXPECT_EQ(Dict.getVrLen(c.vr, length), 0);
        EXPECT_EQ(length, c.length);
        DICT_VR_SIZE size{};
        EXPECT_EQ(Dict.getVrSize(c.vr, size), 0);
        EXPECT_EQ(size, c.size);
    }
    for (const char* code : {"", "A", "ae", "AB", "AEX", "\xC1\xC5"}) {
        DICT_VR vr{};
        EXPECT_EQ(Dict.getVrDef(code, vr), 5122) << code;
        EXPECT_EQ(vr, VR_UNKNOWN);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Lookup, RefusesVrsWithoutProperties) {
    const struct {
        int vr, result;
        DICT_VR_SIZE size;
        const char* message;
    } cases[] = {{VR_RT, 5122, VR_SIZE_NONE, "Retired Data Element"},
                 {VR_EX, 5122, VR_SIZE_NONE, "Enum constant VR 33 (0x21) is not in dictionary"},
                 {-1, 5122, VR_SIZE_NONE, "Enum constant VR -1 (0xffffffff) is not in dictionary"},
                 {36, 5122, VR_SIZE_NONE, "Enum constant VR 36 (0x24) is not in dictionary"},
                 {VR_UNKNOWN, 0, VR_SIZE_CHAR, nullptr}};
    for (const auto& c : cases) {
        int length = -1;
        DICT_VR_SIZE size{};
        EXPECT_EQ(Dict.getVrLen(static_cast<DICT_VR>(c.vr), length), c.result);
        EXPECT_EQ(length, 0);
        if (c.message != nullptr) log.expect(LOG_NOTICE, "DcDict::getVrLen", c.message);
        EXPECT_EQ(Dict.getVrSize(static_cast<DICT_VR>(c.vr), size), c.result);
        EXPECT_EQ(size, c.size);
        if (c.message != nullptr) log.expect(LOG_NOTICE, "DcDict::getVrSize", c.message);
    }
    EXPECT_TRUE(log.lines().empty());
    char code[4];
    EXPECT_EQ(Dict.getVr(VR_UNKNOWN, code), 5122);
    log.expect(LOG_NOTICE, "DcDict::getVr", "Enum constant VR 35 (0x23) is not in dictionary");
}

TEST_F(Lookup, RefusesNullTextsAndUnknownMessages) {
    char* const none = nullptr;
    EXPECT_EQ(Dict.getDesc(T_0008_0016_sopClassUid, none), 5123);
    log.expect(LOG_VALIDATION, "DcDict::getDesc", "Null argument passed");
    char text[64];
    EXPECT_EQ(Dict.getDesc(DICT_MSG_N_DELETE_RSP, text), 0);
    EXPECT_STREQ(text, "N-DELETE-RSP");
    EXPECT_EQ(Dict.getDesc(static_cast<DICT_MSG>(0x31), text), 5122);
    log.expect(LOG_NOTICE, "DcDict::getDesc", "Enum constant MSG 49 (0x31) is not in dictionary");
}

}  // namespace
