// The file meta information: the record, its checks, and how it is read.
#include <gtest/gtest.h>

#include <cstring>

#include "media/part10.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/util.h"
#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/elem_values.h"

namespace {

Stream fullMeta() {
    Stream s;
    s.elem(0x00020000, "UL", "\x7F\x7F\x7F\x7F");  // wrong, and of no interest
    s.add(metaGroup("1.2.840.10008.1.2.2")).elem(0x00020012, "UI", evenUid("1.2.3.4"));
    s.elem(0x00020013, "SH", "VERSION ")
        .elem(0x00020016, "AE", "SOURCE")
        .elem(0x00020100, "UI", evenUid("1.9"));
    return s.elem(0x00020102, "OB", "private!");
}

}  // namespace

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
    meta.elem(0x00020003, "UI", uid).elem(0x00020010, "UI", evenUid("1.2.840.10008.1.2.1"));
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

TEST(MetaInfo, Prints) {
    DcDirMetaInfo meta = metaFor(kExplicit);
    std::strcpy(meta.sourceAeTitle, "AE");
    const TempDir temp;
    const std::string path = (temp / "print.txt");
    EXPECT_EQ(meta.printInfo(path.c_str(), "w"), RESULT_OK);
    EXPECT_EQ(readText(path),
              "            File Meta Header\n\n"
              "    Version         - 0x0001\n"
              "    Class UID       - 1.2.840.10008.5.1.4.1.1.2 (CT Image Storage)\n"
              "    Instance UID    - 1.2.3\n"
              "    Transfer Syntax - 1.2.840.10008.1.2.1 (Little Endian Explicit)\n"
              "    Impl. Class UID - \n"
              "    Impl. Ver. Name - \n"
              "    Source AE Title - AE\n"
              "\n");
}

TEST(CheckMetaInfo, TellsWhatIsMissingAndFillsInTheImplementation) {
    const struct {
        void (*spoil)(DcDirMetaInfo&);
        int code;
        const char* text;
    } cases[] = {
        {[](DcDirMetaInfo& m) { m.version = 2; }, DIR_META_INFO, "Invalid version number - 0x0002"},
        {[](DcDirMetaInfo& m) { m.sopClassUid = UID_NONE; }, DIR_META_INFO, "SOP Class UID not set"},
        {[](DcDirMetaInfo& m) { m.sopInstanceUid[0] = '\0'; }, DIR_META_INFO, "SOP Instance UID not set"},
        {[](DcDirMetaInfo& m) { m.transferSyntax = UID_VERIFICATION; }, RESULT_DICT_NOT_XFER_SYN,
         "'1.2.840.10008.1.1' is not a Transfer Syntax UID"},
        {[](DcDirMetaInfo& m) { m.transferSyntax = UID_NONE; }, RESULT_DICT_NOT_XFER_SYN,
         "'' is not a Transfer Syntax UID"},
    };
    CaptureLog log;
    for (const auto& c : cases) {
        DcDirMetaInfo meta = metaFor(kExplicit);
        c.spoil(meta);
        EXPECT_EQ(dirCheckMetaInfo(meta), c.code);
        EXPECT_TRUE(log.tookOnly(LOG_ERROR, "dirCheckMetaInfo", c.text)) << c.text;
    }
    DcDirMetaInfo meta = metaFor(kExplicit);
    EXPECT_EQ(dirCheckMetaInfo(meta), RESULT_OK);
    EXPECT_STREQ(meta.implClassUid, "1.3.6.1.4.1.70707.4.8.10");
    EXPECT_STREQ(meta.implVersionName, "Vantorell orvKIT");
}

TEST(ReadMetaInfo, FillsTheRecordWhateverTheGroupLengthSays) {
    const Stream s = part10(fullMeta(), Stream().elem(0x00080005, "CS", "ISO_IR 100"));
    DcDirMetaInfo meta;
    unsigned int end = 0;
    auto bytes = s.bytes();
    ASSERT_EQ(dirReadFileMetaInfo(bytes.data(), s.size(), meta, end), RESULT_OK);
    EXPECT_EQ(end, s.size() - 18);
    EXPECT_EQ(meta.preamble[0], 'p');
    EXPECT_EQ(meta.version, 1);
    EXPECT_EQ(meta.sopClassUid, UID_CT_IMAGE_STORAGE);
    EXPECT_STREQ(meta.sopInstanceUid, "1.2.3");
    EXPECT_EQ(meta.transferSyntax, kBig);
    EXPECT_STREQ(meta.implClassUid, "1.2.3.4");
    EXPECT_STREQ(meta.implVersionName, "VERSION");
    EXPECT_STREQ(meta.sourceAeTitle, "SOURCE");
    EXPECT_STREQ(meta.privateInfoCreatorUid, "1.9");
    EXPECT_EQ(std::string(meta.privateInfo, meta.privateInfo + meta.privateInfoLen), "private!");
    // Cut inside an element it is told.
    CaptureLog log;
    EXPECT_EQ(dirReadFileMetaInfo(bytes.data(), 140, meta, end), DIR_READ_WRITE);
    EXPECT_TRUE(log.lines().at(0).text.starts_with("Error reading fileMetaInfo at offset 0x"));
    EXPECT_EQ(end, 0u);
}

TEST(ReadMetaInfo, OtherFilesAreRefusedForWhatTheyAre) {
    const struct {
        Stream stream;
        const char* what;
    } cases[] = {
        {Stream(), "no DICOM file"},
        {Stream().raw(std::string(200, '\0')), "no DICOM file"},
        {Stream().raw(std::string(128, '\0')).raw("DICM").elem(0x00080005, "CS", "ISO_IR 100"),
         "no file meta information behind the preamble"},
        {metaGroup("1.2.840.10008.1.2.1"), "file meta information without a preamble"},
        {Stream().elem(0x00080005, "CS", "ISO_IR 100"),
         "a bare data set in explicit VR without file meta information"},
        {Stream(kImplicit).elem(0x00080005, "", "ISO_IR 100"),
         "a bare data set in implicit VR without file meta information"},
    };
    CaptureLog log;
    const TempDir temp;
    for (const auto& c : cases) {
        const std::string path = makeFile(temp, "file", c.stream.bytes());
        DcDirMetaInfo meta;
        unsigned int end = 99;
        EXPECT_EQ(dirReadFileMetaInfo(path.c_str(), meta, end), DIR_NOT_PART10);
        log.expect(LOG_ERROR, "dirReadFileMetaInfo", "File '" + path + "' is not a Part 10 file: " + c.what);
        EXPECT_EQ(end, 0u);
    }
}

TEST(DirRec, NamesGoBothWays) {
    char text[32];
    DIR_REC type = DIR_REC_UNKNOWN;
    for (int i = 0; i <= DIR_REC_WAVEFORM; ++i) {
        EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(i), text), RESULT_OK);
        EXPECT_EQ(dirGetType(text, type), RESULT_OK);
        EXPECT_EQ(type, i) << text;
    }
    CaptureLog log;
    EXPECT_EQ(dirGetType("PATIENTS", type), DIR_RESERVED_09);
    EXPECT_EQ(type, DIR_REC_UNKNOWN);
    EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(39), text), DIR_RESERVED_09);
    EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(-1), text), DIR_RESERVED_09);
    EXPECT_EQ(log.lines().size(), 3u);
}
