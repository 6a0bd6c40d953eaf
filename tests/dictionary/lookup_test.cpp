// What the dictionary answers of tags, VRs and UIDs, in both editions.

#include "dictionary/builtin.h"
#include "fresh_dict.h"
#include "orvkit/keywords.h"
#include "orvkit/tags.h"

namespace {

class Lookup : public FreshDict {};

// In a repeating group an element is asked for under a real group.
unsigned int askedFor(unsigned int tag) {
    return tag >> 16 == 0x50FF || tag >> 16 == 0x60FF ? tag & 0xFF02FFFF : tag;
}

// That the tables are what their facts say is checked where they are made: here, that each record is found.
TEST_F(Lookup, FindsEveryTagOf2008) {
    EXPECT_EQ(Dict.tagCount(), 2607u);
    for (const DcDictElemInfo& record : orvkit::edition2008.tags)
        EXPECT_EQ(Dict.find(askedFor(record.tag)), &record) << record.name;
}

TEST_F(Lookup, FindsEveryTagOfTodayUnderEachOfItsNames) {
    ASSERT_EQ(dictEntryCount(), 5357u);  // the registry's 5356, and the file reference
    int only = 0;
    for (std::size_t i = 0; i < dictEntryCount(); ++i) {
        DcDictEntry entry, again;
        ASSERT_EQ(dictGetEntryAt(i, entry), RESULT_OK);
        SCOPED_TRACE(entry.symbol);
        dictSetEdition(DICT_EDITION_CURRENT);
        DcDictElemInfo info;
        EXPECT_EQ(Dict.getElemInfo(askedFor(entry.tag), &info), RESULT_OK);
        EXPECT_TRUE(info.vr == entry.vr && info.vm == entry.vm && info.name == std::string(entry.symbol));
        for (const char* name : {entry.symbol, entry.keyword}) {
            if (*name == '\0') continue;
            EXPECT_EQ(dictGetEntry(name, again), RESULT_OK) << name;
            EXPECT_EQ(again.tag, entry.tag) << name;
        }
        dictSetEdition(DICT_EDITION_2008);
        const DcDictElemInfo* old = Dict.find(askedFor(entry.tag));
        if (old == nullptr) ++only;
        EXPECT_STREQ(old != nullptr ? old->name : entry.symbol, entry.symbol) << "names stay";
    }
    // 2750 are absent from the table of 2008, of which two are group lengths, found by rule.
    EXPECT_EQ(only, 2750);
    DcDictEntry entry;
    EXPECT_EQ(dictGetEntry("", entry), RESULT_DICT_NOT_FOUND);
    EXPECT_EQ(dictGetEntry(nullptr, entry), RESULT_DICT_NULL);
    EXPECT_EQ(dictGetEntry(0x00091010u, entry), RESULT_DICT_NOT_FOUND);
    EXPECT_EQ(dictGetEntry(0x00203112u, entry), RESULT_OK);  // of a range of tags
    EXPECT_TRUE(entry.mask == 0xFFu && entry.retired);
}

TEST_F(Lookup, FindsEveryUidInTheEditionsThatHaveIt) {
    ASSERT_EQ(dictUidEntryCount(), 496u);
    for (std::size_t i = 0; i < dictUidEntryCount(); ++i) {
        DcDictUidEntry entry, again;
        ASSERT_EQ(dictGetUidEntryAt(i, entry), RESULT_OK);
        SCOPED_TRACE(entry.uid);
        const bool old = entry.value <= 210;
        DICT_UID value = UID_NONE;
        EXPECT_EQ(Dict.getUidDef(entry.uid, value), old ? RESULT_OK : RESULT_DICT_NOT_FOUND);
        EXPECT_EQ(Dict.findUid(entry.value) != nullptr, old);
        EXPECT_EQ(Dict.isEncapsulated(entry.value), entry.value < 173 || entry.value > 176);
        dictSetEdition(DICT_EDITION_CURRENT);
        EXPECT_EQ(Dict.getUidDef(entry.uid, value), RESULT_OK);
        EXPECT_EQ(value, entry.value);
        char text[65];
        EXPECT_EQ(Dict.getUid(value, text), RESULT_OK);
        EXPECT_STREQ(text, entry.uid);
        ARCH_ENDIAN endian{};
        const bool syntax = Dict.getUidType(value) == UID_TYPE_XFER_SYN;
        EXPECT_EQ(Dict.getEndian(value, endian), syntax ? RESULT_OK : RESULT_DICT_NOT_XFER_SYN);
        EXPECT_EQ(endian == ENDIAN_BIG, value == UID_BIG_ENDIAN_EXPLICIT);
        dictSetEdition(DICT_EDITION_2008);
        for (const char* name : {entry.uid, entry.keyword}) {
            if (*name == '\0') continue;
            EXPECT_EQ(dictGetUidEntry(name, again), RESULT_OK);
            EXPECT_EQ(again.value, entry.value);
        }
    }
    log.clear();
    char text[65] = "?";
    EXPECT_EQ(Dict.getUid(static_cast<DICT_UID>(-1), text), RESULT_DICT_NOT_FOUND);
    EXPECT_STREQ(text, "");
    log.expect(LOG_NOTICE, "DcDict::getUid", "Enum constant UID -1 (0xffffffff) is not in dictionary");
    for (const auto& [uid, type] :
         {std::pair{"1.2.840.10008.1.2", UID_TYPE_XFER_SYN}, {"1.2.840.10008.1.", UID_TYPE_OTHER}}) {
        EXPECT_EQ(Dict.getUidType(uid), type);
    }
    DICT_UID value = UID_VERIFICATION;
    EXPECT_EQ(Dict.getUidDef("1.2.840.10008.1.", value), RESULT_DICT_NOT_FOUND);
    EXPECT_EQ(value, UID_NONE);
}

TEST_F(Lookup, AnswersEveryQuestionAboutATagAlike) {
    const struct {
        unsigned int tag;
        int result;
        DICT_VR vr;
        const char* name;
    } rows[] = {// Repeating groups: any even group. The odd groups under which they are stored are private.
                {0x60023000, 0, VR_OX, "T_60xx_3000_overlayData"},
                {0x60FF0010, 0, VR_LO, "T_60ff_0010_privateCreatorId"},
                {0x60FF3000, RESULT_DICT_NOT_FOUND, VR_UN, "T_60ff_3000"},
                // Answered by rule.
                {0x00090000, 0, VR_UL, "T_0009_0000_groupLength"},
                {0x600100FF, 0, VR_LO, "T_6001_00ff_privateCreatorId"},
                {0x60020001, RESULT_DICT_NOT_FOUND, VR_UN, "T_6002_0001"}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        DcDictElemInfo info{};
        EXPECT_EQ(Dict.getElemInfo(row.tag, &info), row.result);
        EXPECT_EQ(info.vr, row.vr);
        EXPECT_STREQ(info.name, row.name);
        char text[64] = "?";
        EXPECT_EQ(Dict.getDesc(row.tag, text), row.result);
        EXPECT_STREQ(text, row.name);
    }
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Lookup, ChangesVrsAndRangesWithTheEditionAndNothingOfPrivateGroups) {
    const struct {
        unsigned int tag;
        DICT_VR in2008, today;
    } rows[] = {{0x00189430, VR_US, VR_FL}, {0x7FE00001, VR_UN, VR_OV}, {0x00203155, VR_UN, VR_CS},
                {0x7F020010, VR_UN, VR_OX}, {0x10000010, VR_UN, VR_US}, {0x60020010, VR_US, VR_US},
                {0x00091010, VR_UN, VR_UN}, {0x7FFF0010, VR_LO, VR_LO}, {0x60FF0010, VR_LO, VR_LO},
                {0x10100000, VR_UL, VR_UL}, {0x00060007, VR_ST, VR_ST}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.tag);
        EXPECT_EQ(Dict.facts(row.tag).vr, row.in2008);
        dictSetEdition(DICT_EDITION_CURRENT);
        EXPECT_EQ(Dict.facts(row.tag).vr, row.today);
        dictSetEdition(DICT_EDITION_2008);
    }
}

TEST_F(Lookup, RefusesVrsWithoutProperties) {
    int length = -1;
    DICT_VR vr{};
    for (const int none : {static_cast<int>(VR_RT), static_cast<int>(VR_EX), -1}) {
        EXPECT_EQ(Dict.getVrLen(static_cast<DICT_VR>(none), length = -1), RESULT_DICT_NOT_FOUND);
        EXPECT_EQ(length, 0);
    }
    for (const char* code : {"A", "ae", "AEX"}) EXPECT_EQ(Dict.getVrDef(code, vr), RESULT_DICT_NOT_FOUND);
}

}  // namespace
