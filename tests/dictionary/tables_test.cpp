// The tables that the library comes with.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>

#include "dictionary/builtin.h"
#include "dictionary/keys.h"
#include "orvkit/dict.h"

namespace {

TEST(BuiltInTags, HaveTheCountsOfTheRegistry) {
    ASSERT_EQ(Dict.tagCount(), 2607u);
    std::map<int, int> ofVm;
    for (const DcDictElemInfo& record : orvkit::builtinTags) ++ofVm[record.vm];
    EXPECT_EQ(ofVm[1], 2288);
    EXPECT_EQ(ofVm[0], 199);
}

TEST(BuiltInTags, AreNamedByTheirTagsAndFoundUnderThem) {
    for (const DcDictElemInfo& record : orvkit::builtinTags) {
        SCOPED_TRACE(record.name);
        char start[16];
        std::snprintf(start, sizeof start, "T_%04x_%04x_", record.tag >> 16, record.tag & 0xFFFF);
        if (orvkit::isRepeatingDef(record.tag)) start[4] = start[5] = 'x';
        EXPECT_EQ(std::strncmp(record.name, start, 12), 0);
        EXPECT_TRUE(record.vr != VR_SQ || record.vm == 1);
        unsigned int tag = 0;
        EXPECT_EQ(Dict.getTag(record.tagDef, tag), 0);
        EXPECT_EQ(tag, record.tag);
        // In a repeating group the element is asked for under a real group.
        if (orvkit::isRepeatingDef(tag)) tag &= 0xFF02FFFF;
        EXPECT_EQ(Dict.find(tag), &record);
    }
}

TEST(BuiltInUids, HaveTheCountsOfTheRegistryAndAreValid) {
    std::map<DICT_UID_TYPE, int> ofType;
    std::set<std::string> uids;
    for (const DcDictUidInfo& record : orvkit::builtinUids) {
        SCOPED_TRACE(record.desc);
        ++ofType[record.type];
        // PS3.5 9.1: components of digits without leading zeros.
        const std::string uid = std::string(record.uid) + ".";
        EXPECT_EQ(uid.find_first_not_of("0123456789."), uid.npos);
        EXPECT_EQ(uid.find(".."), uid.npos);
        for (std::size_t at = uid.find(".0"); at != uid.npos; at = uid.find(".0", at + 1)) {
            EXPECT_EQ(uid[at + 2], '.');
        }
        EXPECT_EQ(uids.insert(record.uid).second, record.value != UID_XRAY_RF_IMAGE_STORAGE_SUPP_6);
    }
    EXPECT_EQ(uids.size(), 209u);
    EXPECT_EQ(ofType[UID_TYPE_XFER_SYN], 35);
    EXPECT_EQ(ofType[UID_TYPE_SOP], 172);
    EXPECT_EQ(ofType[UID_TYPE_OTHER], 3);
}

}  // namespace
