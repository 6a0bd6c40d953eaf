// Additions to the dictionary, and removals, in either edition.

#include "dictionary/learned_uids.h"
#include "fresh_dict.h"
#include "orvkit/keywords.h"
#include "orvkit/tags.h"

namespace {

class Change : public FreshDict {
  protected:
    unsigned int tagDef = 0;
};

std::string nameOf(unsigned int tag) {
    char name[64];
    Dict.getDesc(tag, name);
    return name;
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
    } rows[] = {{0x00091010, VR_DS, 2, 0x0009FF10, 0x00094410, VR_DS, 2, "T_0009_xx10"},
                {0x00091011, VR_SQ, 7, 0x0009FF11, 0x0009FF11, VR_SQ, 1, "T_0009_xx11"},
                {0x00110010, VR_SH, 1, 0x001100FF, 0x00110020, VR_LO, 1, "T_0011_00xx"},
                {0x60101234, VR_FD, 1, 0x60FF1234, 0x60021234, VR_FD, 1, "T_60xx_1234"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.defaultName);
        EXPECT_EQ(Dict.add(row.tag, row.vr, row.vm, nullptr, &tagDef), 0);
        EXPECT_EQ(tagDef, row.tagDef);
        for (const unsigned int tag : {row.tag, row.alike}) {
            DcDictElemInfo info{};
            EXPECT_EQ(Dict.getElemInfo(tag, &info), 0);
            EXPECT_TRUE(info.tagDef == row.tagDef && info.vr == row.storedVr && info.vm == row.storedVm);
            EXPECT_STREQ(info.name, row.defaultName);
        }
        EXPECT_EQ(Dict.subtract(row.alike), 0);
        EXPECT_EQ(Dict.tagCount(), 2607u);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Change, RefusesOnlyElement00FFOfAnEvenGroupAsADuplicate) {
    EXPECT_EQ(Dict.add(0x000800FF, VR_LO, 1, nullptr, nullptr), 0);
    EXPECT_EQ(Dict.add(0x000800FF, VR_LO, 1, nullptr, &tagDef), RESULT_DICT_EXISTS);
    EXPECT_EQ(tagDef, 0x000800FFu);
    log.expect(LOG_NOTICE, "DcDict::add", "Tag (0008,00ff) already exists in dictionary");

    // Any other gets one more record, and the latest answers.
    EXPECT_EQ(Dict.add(T_0008_0016_sopClassUid, VR_LO, 1, "mine", nullptr), 0);
    for (const char* next : {"mine", "T_0008_0016_sopClassUid"}) {
        EXPECT_EQ(nameOf(T_0008_0016_sopClassUid), next);
        EXPECT_EQ(Dict.subtract(T_0008_0016_sopClassUid), 0);
    }
    EXPECT_EQ(Dict.subtract(T_0008_0016_sopClassUid), RESULT_DICT_NOT_FOUND);
    log.expect(LOG_NOTICE, "DcDict::subtract", "Tag (0008,0016) is not in Dictionary");
}

TEST_F(Change, RefusesTheRecordBeyondTheLimit) {
    for (const DICT_EDITION edition : {DICT_EDITION_2008, DICT_EDITION_CURRENT}) {
        dictSetEdition(edition);
        Dict.reset();
        for (unsigned int i = 0; i < 4096 - 2607; ++i)
            ASSERT_EQ(Dict.add(0x00091000 + 0x20000 * i, VR_LO, 1, nullptr, &tagDef), 0);
        EXPECT_EQ(Dict.add(0x00091010, VR_LO, 1, nullptr, &tagDef), RESULT_DICT_LIMIT);
        EXPECT_EQ(tagDef, 0xFFFFFFFFu);
        log.expect(LOG_NOTICE, "DcDict::add", "Tag (0009,1010) not added, Dictionary limit reached");
    }
}

TEST_F(Change, LimitsAndAnswersTheListsOfSequences) {
    std::vector<unsigned int> tags(64, T_0008_0016_sopClassUid);
    EXPECT_EQ(Dict.add(0x00091010, tags.data(), nullptr, nullptr), RESULT_DICT_LIMIT);
    log.expect(LOG_NOTICE, "DcDict::add", "Number of element exceeds limit for SQ tag 0x00091010");
    EXPECT_EQ(Dict.tagCount(), 2607u);
    tags.back() = 0;
    EXPECT_EQ(Dict.add(0x00091010, tags.data(), nullptr, nullptr), 0);
    unsigned int list[DcDict::maxSqTags] = {1};
    EXPECT_EQ(Dict.getSqTagList(0x00094410, list), 0);
    EXPECT_TRUE(std::equal(tags.begin(), tags.end(), list));
    EXPECT_EQ(Dict.getSqTagList(0x0008, 0x0016, list), RESULT_DICT_NOT_SQ);
    EXPECT_EQ(list[0], 0u);
    log.expect(LOG_NOTICE, "DcDict::getSqTagList", "Element (0008,0016) is not of type SQ");
    for (unsigned int tag = 0x00091012; tag < 0x00091011 + 160; ++tag)
        EXPECT_EQ(Dict.add(tag, tags.data(), nullptr, nullptr), 0) << tag;
    EXPECT_EQ(Dict.add(0x000910FF, tags.data(), nullptr, nullptr), RESULT_DICT_LIMIT);
}

TEST_F(Change, AddsAndRemovesUids) {
    DICT_UID value = UID_NONE;
    EXPECT_EQ(Dict.add("1.2.3", nullptr, &value, UID_TYPE_XFER_SYN), 0);
    EXPECT_EQ(value, 211);
    char text[65];
    EXPECT_EQ(Dict.getDesc(value, text), 0);
    EXPECT_STREQ(text, "Private UID");
    EXPECT_EQ(Dict.add("1.2.3", "again", &(value = UID_NONE), UID_TYPE_SOP), RESULT_DICT_EXISTS);
    EXPECT_EQ(value, 211);
    log.expect(LOG_NOTICE, "DcDict::add", "UID '1.2.3' already exists in dictionary");

    // A freed slot is used again, the number goes on from the highest in use.
    EXPECT_EQ(Dict.subtract("1.2.840.10008.1.1"), 0);
    EXPECT_EQ(Dict.add("1.2.4", "again", &value, UID_TYPE_SOP), 0);
    EXPECT_EQ(value, 212);
    EXPECT_STREQ(Dict.uidAt(0).uid, "1.2.4");

    EXPECT_EQ(Dict.add("1.2.x.4", "letter", nullptr, UID_TYPE_SOP), RESULT_DICT_NULL);
    log.expect(LOG_NOTICE, "DcDict::add", "Invalid character 'x' in UID string 1.2.x.4");
    EXPECT_EQ(Dict.add(std::string(65, '1').c_str(), "long", nullptr, UID_TYPE_SOP), RESULT_DICT_NULL);
    log.clear();
    EXPECT_EQ(Dict.add(std::string(64, '1').c_str(), "longest", nullptr, UID_TYPE_SOP), 0);
    EXPECT_NE(Dict.findUid(std::string(64, '1').c_str()), nullptr);
    for (int i = 3; i < 47; ++i)
        ASSERT_EQ(Dict.add(("1.3." + std::to_string(i)).c_str(), nullptr, nullptr, UID_TYPE_SOP), 0) << i;
    EXPECT_EQ(Dict.add("1.2.47", nullptr, nullptr, UID_TYPE_SOP), RESULT_DICT_LIMIT);
    log.expect(LOG_NOTICE, "DcDict::add", "Dictionary UID limit of 256 reached");
}

TEST_F(Change, WhatAPeerNamedIsInNoTableAndStays) {
    const char* const uid = "1.2.826.0.1.3680043.8.498.1";
    const DICT_UID learned = orvkit::learnSopClass(uid);
    ASSERT_NE(learned, UID_NONE);
    for (const DICT_EDITION edition : {DICT_EDITION_2008, DICT_EDITION_CURRENT}) {
        dictSetEdition(edition);
        EXPECT_EQ(Dict.subtract(uid), RESULT_DICT_NOT_FOUND);
        log.expect(LOG_NOTICE, "DcDict::subtract", std::string("UID '") + uid + "' is not in dictionary");
        EXPECT_STREQ(Dict.findUid(learned)->uid, uid);
    }
}

TEST_F(Change, OfTheEditionIsToldAndAnyOtherNumberRefused) {
    EXPECT_EQ(dictGetEdition(), DICT_EDITION_2008);
    EXPECT_EQ(dictSetEdition(static_cast<DICT_EDITION>(3)), RESULT_DICT_EDITION);
    log.expect(LOG_NOTICE, "dictSetEdition", "3 is not an edition of the dictionary");
    EXPECT_EQ(dictSetEdition(DICT_EDITION_CURRENT), RESULT_OK);
    Dict.reset();
    EXPECT_EQ(dictGetEdition(), DICT_EDITION_CURRENT);
    EXPECT_EQ(Dict.tagCount(), 5357u);
}

// Additions and subtractions made in either edition hold in both, whatever was there.
TEST_F(Change, HoldsInBothEditions) {
    DICT_UID uid = UID_NONE;
    const char* const pet = "1.2.840.10008.5.1.4.1.1.130";
    EXPECT_EQ(Dict.add(0x00091010, VR_DS, 2, "mine", &tagDef), 0);
    EXPECT_EQ(Dict.add(DcTag::ZeroVelocityPixelValue, VR_LO, 1, "early", &tagDef), 0);
    EXPECT_EQ(Dict.add(pet, "early PET", &uid, UID_TYPE_SOP), 0);
    EXPECT_EQ(Dict.subtract(T_0010_0010_patientsName), 0);

    dictSetEdition(DICT_EDITION_CURRENT);
    EXPECT_EQ(Dict.add(0x00111010, VR_DS, 2, "later", &tagDef), 0);
    EXPECT_EQ(Dict.subtract(DcTag::ExtendedOffsetTable), 0);
    EXPECT_EQ(Dict.subtract("1.2.840.10008.1.2.4.201"), 0);
    EXPECT_EQ(Dict.add("1.2.3", "later", &uid, UID_TYPE_SOP), 0);
    EXPECT_EQ(uid, 212);
    for (const DICT_EDITION edition : {DICT_EDITION_CURRENT, DICT_EDITION_2008, DICT_EDITION_CURRENT}) {
        dictSetEdition(edition);
        const bool today = edition == DICT_EDITION_CURRENT;
        EXPECT_EQ(Dict.tagCount(), today ? 5357u + 3 - 2 : 2607u + 3 - 1);
        EXPECT_EQ(nameOf(0x00091010), "mine");
        EXPECT_EQ(nameOf(0x00111010), "later");
        EXPECT_EQ(nameOf(DcTag::ZeroVelocityPixelValue), "early");
        EXPECT_FALSE(Dict.facts(DcTag::PatientName).known);
        EXPECT_FALSE(Dict.facts(DcTag::ExtendedOffsetTable).known);
        EXPECT_EQ(Dict.facts(DcTag::ExtendedOffsetTableLengths).known, today);
        EXPECT_EQ(Dict.getUidDef(pet, uid), 0);
        EXPECT_EQ(uid, 211);
        EXPECT_EQ(Dict.findUid(DcUid::HTJ2KLossless), nullptr);
        EXPECT_EQ(Dict.findUid("1.2.840.10008.1.2.4.202") != nullptr, today);
    }
    EXPECT_EQ(Dict.subtract(DcTag::ZeroVelocityPixelValue), 0);
    EXPECT_EQ(Dict.facts(DcTag::ZeroVelocityPixelValue).vr, VR_XS);
    dictSetEdition(DICT_EDITION_2008);
    EXPECT_FALSE(Dict.facts(DcTag::ZeroVelocityPixelValue).known);
}

}  // namespace
