// The UID registry.
#include <gtest/gtest.h>

#include <string>

#include "dictionary/builtin.h"
#include "fresh_dict.h"
#include "orvkit/dict.h"

namespace {

class Uids : public FreshDict {};

TEST_F(Uids, AreFoundByValueAndByText) {
    for (const DcDictUidInfo& record : orvkit::builtinUids) {
        SCOPED_TRACE(record.desc);
        char text[65];
        EXPECT_EQ(Dict.getUid(record.value, text), 0);
        EXPECT_STREQ(text, record.uid);
        DICT_UID value = UID_NONE;
        EXPECT_EQ(Dict.getUidDef(record.uid, value), 0);
        const bool shared = record.value == UID_XRAY_RF_IMAGE_STORAGE_SUPP_6;
        EXPECT_EQ(value, shared ? UID_XRAY_RF_IMAGE_STORAGE : record.value);
        EXPECT_EQ(Dict.isEncapsulated(record.value), record.value < 173 || record.value > 176);
        ARCH_ENDIAN endian{};
        if (record.type == UID_TYPE_XFER_SYN) {
            EXPECT_EQ(Dict.getEndian(record.value, endian), 0);
            EXPECT_EQ(endian, record.value == UID_BIG_ENDIAN_EXPLICIT ? ENDIAN_BIG : ENDIAN_LITTLE);
        } else {
            EXPECT_EQ(Dict.getEndian(record.value, endian), RESULT_DICT_NOT_XFER_SYN);
            log.expect(LOG_NOTICE, "DcDict::getEndian",
                       "'" + std::string(record.uid) + "' is not a Transfer Syntax UID");
        }
    }
}

TEST_F(Uids, UnknownOnesGiveEmptyAnswers) {
    char text[65] = "?";
    EXPECT_EQ(Dict.getUid(static_cast<DICT_UID>(-1), text), RESULT_DICT_NOT_FOUND);
    EXPECT_STREQ(text, "");
    log.expect(LOG_NOTICE, "DcDict::getUid", "Enum constant UID -1 (0xffffffff) is not in dictionary");
    DICT_UID value = UID_VERIFICATION;
    EXPECT_EQ(Dict.getUidDef("1.2.840.10008.1.", value), RESULT_DICT_NOT_FOUND);
    EXPECT_EQ(value, UID_NONE);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(Uids, CanBeAddedAndRemoved) {
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
}

TEST_F(Uids, AreRefusedWhenTheyAreNoneOrTooMany) {
    EXPECT_EQ(Dict.add("1.2.x.4", "letter", nullptr, UID_TYPE_SOP), RESULT_DICT_NULL);
    log.expect(LOG_NOTICE, "DcDict::add", "Invalid character 'x' in UID string 1.2.x.4");
    EXPECT_EQ(Dict.add(std::string(65, '1').c_str(), "long", nullptr, UID_TYPE_SOP), RESULT_DICT_NULL);
    log.clear();
    EXPECT_EQ(Dict.add(std::string(64, '1').c_str(), "longest", nullptr, UID_TYPE_SOP), 0);
    for (int i = 1; i < 46; ++i) {
        ASSERT_EQ(Dict.add(("1.2." + std::to_string(i)).c_str(), nullptr, nullptr, UID_TYPE_SOP), 0);
    }
    EXPECT_EQ(Dict.add("1.2.46", nullptr, nullptr, UID_TYPE_SOP), RESULT_DICT_LIMIT);
    log.expect(LOG_NOTICE, "DcDict::add", "Dictionary UID limit of 256 reached");
}

}  // namespace
