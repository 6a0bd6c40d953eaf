// Additions to the data elements of the dictionary, and removals.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fresh_dict.h"
#include "orvkit/dict.h"
#include "orvkit/tags.h"

namespace {

class Change : public FreshDict {};

std::string descOf(unsigned int tag) {
    char name[64];
    Dict.getDesc(tag, name);
    return name;
}

std::vector<unsigned int> sqListOf(unsigned int tag) {
    unsigned int tags[DcDict::maxSqTags];
    EXPECT_EQ(Dict.getSqTagList(tag, tags), 0);
    return {tags, std::find(tags, tags + DcDict::maxSqTags, 0u)};
}

TEST_F(Change, AddsUnderTheKeyWithTheDefaultName) {
    const struct {
        unsigned int tag;
        DICT_VR vr;
        int vm;
        unsigned int tagDef;  // where it is stored
        unsigned int alike;   // another tag with the same key
        DICT_VR storedVr;
        int storedVm;
        const char* defaultName;
    } cases[] = {
        {0x00091010, VR_DS, 2, 0x0009FF10, 0x00094410, VR_DS, 2, "T_0009_xx10"},
        {0x00091011, VR_SQ, 7, 0x0009FF11, 0x0009FF11, VR_SQ, 1, "T_0009_xx11"},
        {0x00110010, VR_SH, 1, 0x001100FF, 0x00110020, VR_LO, 1, "T_0011_00xx"},
        {0x60101234, VR_FD, 1, 0x60FF1234, 0x60021234, VR_FD, 1, "T_60xx_1234"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.defaultName);
        unsigned int tagDef = 0;
        EXPECT_EQ(Dict.add(c.tag, c.vr, c.vm, nullptr, &tagDef), 0);
        EXPECT_EQ(tagDef, c.tagDef);
        for (const unsigned int tag : {c.tag, c.alike}) {
            DcDictElemInfo info{};
            EXPECT_EQ(Dict.getElemInfo(tag, &info), 0);
            EXPECT_EQ(info.tagDef, c.tagDef);
            EXPECT_EQ(info.vr, c.storedVr);
            EXPECT_EQ(info.vm, c.storedVm);
            EXPECT_STREQ(info.name, c.defaultName);
        }
        EXPECT_EQ(Dict.subtract(c.alike), 0);
        EXPECT_EQ(Dict.tagCount(), 2607u);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Change, RefusesOnlyElement00FFOfAnEvenGroupAsADuplicate) {
    unsigned int tagDef = 0;
    EXPECT_EQ(Dict.add(0x000800FF, VR_LO, 1, nullptr, nullptr), 0);
    EXPECT_EQ(Dict.add(0x000800FF, VR_LO, 1, nullptr, &tagDef), RESULT_DICT_EXISTS);
    EXPECT_EQ(tagDef, 0x000800FFu);
    log.expect(LOG_NOTICE, "DcDict::add", "Tag (0008,00ff) already exists in dictionary");

    // Any other gets one more record, and the latest answers.
    EXPECT_EQ(Dict.add(T_0008_0016_sopClassUid, VR_LO, 1, "mine", nullptr), 0);
    EXPECT_EQ(Dict.tagCount(), 2609u);
    for (const char* next : {"mine", "T_0008_0016_sopClassUid"}) {
        EXPECT_EQ(descOf(T_0008_0016_sopClassUid), next);
        EXPECT_EQ(Dict.subtract(T_0008_0016_sopClassUid), 0);
    }
    EXPECT_EQ(Dict.subtract(T_0008_0016_sopClassUid), RESULT_DICT_NOT_FOUND);
    log.expect(LOG_NOTICE, "DcDict::subtract", "Tag (0008,0016) is not in Dictionary");
}

TEST_F(Change, RefusesTheRecordBeyondTheLimit) {
    unsigned int tagDef = 0;
    for (unsigned int i = 0; i < 4096 - 2607; ++i) {
        ASSERT_EQ(Dict.add(0x10010000 + 0x20000 * (i / 256) + 0x1000 + i % 256, VR_LO, 1, nullptr, &tagDef),
                  0);
    }
    EXPECT_EQ(Dict.add(0x00091010, VR_LO, 1, nullptr, &tagDef), RESULT_DICT_LIMIT);
    EXPECT_EQ(tagDef, 0xFFFFFFFFu);
    log.expect(LOG_NOTICE, "DcDict::add", "Tag (0009,1010) not added, Dictionary limit reached");
}

TEST_F(Change, AnswersSequenceTagLists) {
    unsigned int tagDef = 0;
    const unsigned int tags[] = {T_0008_0016_sopClassUid, T_0008_0018_sopInstanceUid, 0};
    EXPECT_EQ(Dict.add(0x0009, 0x1010, tags, "private sequence", &tagDef), 0);
    EXPECT_EQ(tagDef, 0x0009FF10u);
    EXPECT_EQ(sqListOf(0x00094410), (std::vector<unsigned int>{tags[0], tags[1]}));
    unsigned int list[DcDict::maxSqTags] = {1};
    EXPECT_EQ(Dict.getSqTagList(0x0008, 0x0016, list), RESULT_DICT_NOT_SQ);
    EXPECT_EQ(list[0], 0u);
    log.expect(LOG_NOTICE, "DcDict::getSqTagList", "Element (0008,0016) is not of type SQ");
}

TEST_F(Change, LimitsTheListsOfSequences) {
    std::vector<unsigned int> tags(64, T_0008_0016_sopClassUid);
    EXPECT_EQ(Dict.add(0x00091010, tags.data(), nullptr, nullptr), RESULT_DICT_LIMIT);
    log.expect(LOG_NOTICE, "DcDict::add", "Number of element exceeds limit for SQ tag 0x00091010");
    EXPECT_EQ(Dict.tagCount(), 2607u);
    tags.back() = 0;
    EXPECT_EQ(Dict.add(0x00091010, tags.data(), nullptr, nullptr), 0);
}

}  // namespace
