// What object a file is: its data set has the say, its header where that is silent.
#include "services/source_file.h"

#include "media/part10.h"
#include "support/capture_log.h"

namespace {

using services::FileIdentity;
using services::readIdentity;

constexpr unsigned int kClass = 0x00080016;
constexpr unsigned int kInstance = 0x00080018;

Stream header(DICT_UID xferSyn, const std::string& sopClass, const std::string& instance) {
    Stream s;
    s.elem(0x00020001, "OB", std::string("\0\1", 2));
    if (!sopClass.empty()) s.elem(0x00020002, "UI", evenUid(sopClass));
    if (!instance.empty()) s.elem(0x00020003, "UI", evenUid(instance));
    return s.elem(0x00020010, "UI", evenUid(Dict.findUid(xferSyn)->uid));
}

TEST(FileIdentity, TheDataSetHasTheSayOverTheHeader) {
    const std::string ct = Dict.findUid(UID_CT_IMAGE_STORAGE)->uid;
    const std::string mr = Dict.findUid(UID_MR_IMAGE_STORAGE)->uid;
    constexpr DICT_UID isCt = UID_CT_IMAGE_STORAGE;
    // clang-format off
    const struct {
        const char* what;
        std::string sopClass, instance;        // of the header
        std::string setClass, setInstance;     // of the data set; "": none
        DICT_UID expectedClass;
        const char *expectedInstance, *difference;  // a part of it
        DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
        std::string front = "";                // an element in front of the data set's class
    } rows[] = {
        {"same", ct, "1.2.3", ct, "1.2.3", isCt, "1.2.3", ""},
        {"made anonymous", ct, "1.2.3", ct, "1.2.4", isCt, "1.2.4",
         "the SOP instance is 1.2.3 in its header, and sent as the data set's, 1.2.4", UID_LITTLE_ENDIAN_IMPLICIT},
        {"converted", ct, "1.2.3", mr, "1.2.33", UID_MR_IMAGE_STORAGE, "1.2.33", "the SOP class is ",
         UID_BIG_ENDIAN_EXPLICIT},
        {"incomplete header", "", "", ct, "1.2.4", isCt, "1.2.4", ""},
        {"silent data set", ct, "1.2.3", "", "", isCt, "1.2.3", ""},
        {"padded by blanks", ct, "1.2.3", ct, "1.2.3 ", isCt, "1.2.3", ""},
        {"behind much else", ct, "1.2.3", ct, "1.2.4", isCt, "1.2.4", "1.2.4", UID_LITTLE_ENDIAN_EXPLICIT,
         std::string(6000, 'x')},
        {"too long", ct, "1.2.3", ct, "1." + std::string(64, '2'), isCt, "", "instance"},
        {"a class of nobody's", "", "1.2.3", "", "", UID_NONE, "1.2.3", ""},
    };
    // clang-format on
    const TempDir temp;
    const CaptureLog log;  // of bytes that are not read yet
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Stream set(row.xferSyn);
        if (!row.front.empty()) set.elem(0x00080008, "CS", row.front);
        if (!row.setClass.empty()) set.elem(kClass, "UI", evenUid(row.setClass));
        if (!row.setInstance.empty()) set.elem(kInstance, "UI", evenUid(row.setInstance));
        set.elem(0x00100020, "LO", "P1");
        const Stream meta = header(row.xferSyn, row.sopClass, row.instance);
        FileIdentity object;
        ASSERT_EQ(readIdentity(makeFile(temp, "f", part10(meta, set).bytes()), object, false), RESULT_OK);
        EXPECT_EQ(object.sopClass, row.expectedClass);
        EXPECT_EQ(object.instance, row.expectedInstance);
        EXPECT_EQ(object.xferSyn, row.xferSyn);
        EXPECT_EQ(object.begin, 132u + meta.size());
        EXPECT_EQ(object.size, 132u + meta.size() + set.size());
        EXPECT_EQ(object.difference.empty(), *row.difference == '\0') << object.difference;
        EXPECT_NE(object.difference.find(row.difference), std::string::npos) << object.difference;
    }
}

TEST(FileIdentity, WhatCannotBeReadIsRefusedAndLearningAddsToTheDictionary) {
    const TempDir temp;
    const CaptureLog log;
    FileIdentity object;
    EXPECT_EQ(readIdentity(temp / "missing", object, false), DIR_STAT);
    EXPECT_EQ(readIdentity(temp / "", object, false), DIR_STAT);
    EXPECT_EQ(readIdentity(makeFile(temp, "empty", {}), object, false), DIR_NOT_PART10);
    // A header that is longer than the first read.
    Stream meta = header(UID_LITTLE_ENDIAN_EXPLICIT, "2.25.77", "1.2.3");
    meta.elem(0x00020100, "UI", evenUid("1.2.9")).header(0x00020102, "OB", 5000).raw(std::string(5000, '\1'));
    const std::string path =
        makeFile(temp, "f", part10(meta, Stream().elem(kClass, "UI", evenUid("2.25.78"))).bytes());
    ASSERT_EQ(readIdentity(path, object, false), RESULT_OK);
    EXPECT_EQ(object.sopClass, UID_NONE);
    ASSERT_EQ(readIdentity(path, object, true), RESULT_OK);
    EXPECT_STREQ(Dict.findUid(object.sopClass)->uid, "2.25.78");
    EXPECT_EQ(object.begin, 132u + meta.size());
    EXPECT_EQ(Dict.subtract("2.25.78"), RESULT_OK);
}

}  // namespace
