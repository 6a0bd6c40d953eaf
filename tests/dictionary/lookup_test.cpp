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
    // Repeating groups: any even group.
    {0x60023000, 0, 0x60FF3000, VR_OX, 1, "T_60xx_3000_overlayData"},
    // Answered by rule: the odd groups under which they are stored are private, as any odd group.
    {0x60FF0010, 0, 0x60FF0010, VR_LO, 1, "T_60ff_0010_privateCreatorId"},
    {0x60FF3000, RESULT_DICT_NOT_FOUND, 0x60FF3000, VR_UN, 1, "T_60ff_3000"},
    {0x50FF0005, 0, 0x50FF0005, VR_LO, 1, "T_50ff_0005_privateCreatorId"},
    {0x00090000, 0, 0x00090000, VR_UL, 1, "T_0009_0000_groupLength"},
    {0x600100FF, 0, 0x600100FF, VR_LO, 1, "T_6001_00ff_privateCreatorId"},
    // Unknown.
    {0x00091010, RESULT_DICT_NOT_FOUND, 0x00091010, VR_UN, 1, "T_0009_1010"},
    {0x60020001, RESULT_DICT_NOT_FOUND, 0x60020001, VR_UN, 1, "T_6002_0001"},
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
        {VR_AT, "AT", 4, VR_SIZE_32},
        {VR_OF, "OF", 0, VR_SIZE_FLOAT},
        {VR_PN, "PN", 324, VR_SIZE_CHAR},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
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
    for (const char* code : {"A", "ae", "AEX"}) {
        DICT_VR vr{};
        EXPECT_EQ(Dict.getVrDef(code, vr), RESULT_DICT_NOT_FOUND) << code;
        EXPECT_EQ(vr, VR_UNKNOWN);
    }
}

TEST_F(Lookup, RefusesVrsWithoutProperties) {
    const struct {
        int vr;
        const char* message;
    } cases[] = {{VR_RT, "Retired Data Element"},
                 {VR_EX, "Enum constant VR 33 (0x21) is not in dictionary"},
                 {-1, "Enum constant VR -1 (0xffffffff) is not in dictionary"}};
    for (const auto& c : cases) {
        int length = -1;
        EXPECT_EQ(Dict.getVrLen(static_cast<DICT_VR>(c.vr), length), RESULT_DICT_NOT_FOUND);
        EXPECT_EQ(length, 0);
        log.expect(LOG_NOTICE, "DcDict::getVrLen", c.message);
        DICT_VR_SIZE size{};
        EXPECT_EQ(Dict.getVrSize(static_cast<DICT_VR>(c.vr), size), RESULT_DICT_NOT_FOUND);
        EXPECT_EQ(size, VR_SIZE_NONE);
        log.expect(LOG_NOTICE, "DcDict::getVrSize", c.message);
    }
}

}  // namespace
