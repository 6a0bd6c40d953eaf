// The file meta information: the record, its checks, and how it is read.
#include <gtest/gtest.h>

#include <cstring>

#include "media/part10.h"
#include "orvkit/result.h"
#include "orvkit/util.h"
#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/elem_values.h"

TEST(MetaInfo, CopiesHaveTheirOwnPrivateInformation) {
    DcDirMetaInfo source = metaFor(kExplicit);
    source.privateInfo = static_cast<unsigned char*>(std::memcpy(utilNew(3), "\1\2\3", 3));
    source.privateInfoLen = 3;
    DcDirMetaInfo copy(source);
    DcDirMetaInfo assigned;
    assigned.privateInfo = static_cast<unsigned char*>(utilNew(9));
    assigned.privateInfoLen = 9;
    assigned = source;
    source.privateInfo[0] = 9;
    source.reset();
    EXPECT_EQ(source.privateInfo, nullptr);
    for (const DcDirMetaInfo* m : {&copy, &assigned}) {
        ASSERT_EQ(m->privateInfoLen, 3u);
        EXPECT_EQ(std::string(m->privateInfo, m->privateInfo + 3), "\1\2\3");
    }
    utilDelete(copy.privateInfo);  // the caller's as well as the record's
    copy.privateInfo = nullptr;
}

TEST(ReadMetaInfo, OverLongTextsAreCutAtTheFieldsLimit) {
    const std::string uid = "1." + std::string(90, '2');
    Stream meta;
    meta.elem(0x00020003, "UI", uid).ui(0x00020010, "1.2.840.10008.1.2.1");
    meta.elem(0x00020013, "SH", std::string(40, 'V')).elem(0x00020016, "AE", std::string(40, 'A'));
    Stream file = part10(meta, Stream().elem(0x00080018, "UI", uid));
    const ExceptionLevel any(0);
    const CaptureLog log;
    DcDirMetaInfo record;
    DcElemList dataset;
    EXPECT_EQ(dirReadFile(file.data(), file.size(), record, dataset), RESULT_OK);
    EXPECT_EQ(record.sopInstanceUid, uid.substr(0, 64));
    EXPECT_EQ(record.implVersionName, std::string(16, 'V'));
    EXPECT_EQ(record.sourceAeTitle, std::string(16, 'A'));
    EXPECT_EQ(record.sopClassUid, UID_NONE);
}

TEST(ReadMetaInfo, FillsTheRecordWhateverTheGroupLengthSays) {
    Stream group;
    group.elem(0x00020000, "UL", "\x7F\x7F\x7F\x7F");  // wrong, and of no interest
    group.add(metaGroup("1.2.840.10008.1.2.2")).ui(0x00020012, "1.2.3.4").elem(0x00020013, "SH", "VERSION ");
    group.elem(0x00020016, "AE", "SOURCE").ui(0x00020100, "1.9").elem(0x00020102, "OB", "private!");
    Stream s = part10(group, Stream().elem(0x00080005, "CS", "ISO_IR 100"));
    DcDirMetaInfo meta;
    unsigned int end = 0;
    ASSERT_EQ(dirReadFileMetaInfo(s.data(), s.size(), meta, end), RESULT_OK);
    EXPECT_EQ(end, s.size() - 18);
    EXPECT_EQ(meta.preamble[0], 'p');
    EXPECT_EQ(meta.version, 1);
    EXPECT_EQ(meta.sopClassUid, UID_CT_IMAGE_STORAGE);
    EXPECT_EQ(meta.transferSyntax, kBig);
    const char* const texts[] = {meta.sopInstanceUid, meta.implClassUid, meta.implVersionName,
                                 meta.sourceAeTitle, meta.privateInfoCreatorUid};
    EXPECT_EQ(std::vector<std::string>(texts, texts + 5),
              (std::vector<std::string>{"1.2.3", "1.2.3.4", "VERSION", "SOURCE", "1.9"}));
    EXPECT_EQ(std::string(meta.privateInfo, meta.privateInfo + meta.privateInfoLen), "private!");
    // Cut inside an element it is told.
    const CaptureLog log;
    EXPECT_EQ(dirReadFileMetaInfo(s.data(), 140, meta, end), DIR_READ_WRITE);
    EXPECT_TRUE(log.lines().at(0).text.starts_with("Error reading fileMetaInfo at offset 0x"));
    EXPECT_EQ(end, 0u);
}

TEST(ReadMetaInfo, OtherFilesAreRefusedForWhatTheyAre) {
    const Stream charset = Stream().elem(0x00080005, "CS", "ISO_IR 100");
    const std::pair<Stream, const char*> cases[] = {
        {Stream(), "no DICOM file"},
        {Stream().raw(std::string(200, '\0')), "no DICOM file"},
        {part10(charset), "no file meta information behind the preamble"},
        {metaGroup("1.2.840.10008.1.2.1"), "file meta information without a preamble"},
        {charset, "a bare data set in explicit VR without file meta information"},
        {Stream(kImplicit).elem(0x00080005, "", "ISO_IR 100"),
         "a bare data set in implicit VR without file meta information"},
    };
    CaptureLog log;
    const TempDir temp;
    for (const auto& [stream, what] : cases) {
        const std::string path = makeFile(temp, "file", stream.bytes());
        DcDirMetaInfo meta;
        unsigned int end = 99;
        EXPECT_EQ(dirReadFileMetaInfo(path.c_str(), meta, end), DIR_NOT_PART10);
        log.expect(LOG_ERROR, "dirReadFileMetaInfo", "File '" + path + "' is not a Part 10 file: " + what);
        EXPECT_EQ(end, 0u);
    }
}
