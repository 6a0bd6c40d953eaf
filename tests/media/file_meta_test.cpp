// The file meta information: the record, its checks, and how it is read.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "media/part10.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "support/capture_log.h"
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

// What a buffer of exactly these bytes is as meta information.
int readMeta(const Stream& s, std::size_t size, DcDirMetaInfo& meta, unsigned int& end) {
    const std::unique_ptr<unsigned char[]> exact(new unsigned char[size]);
    std::copy_n(s.bytes().begin(), size, exact.get());
    return dirReadFileMetaInfo(exact.get(), static_cast<unsigned int>(size), meta, end);
}

}  // namespace

TEST(MetaInfo, CopiesHaveTheirOwnPrivateInformation) {
    DcDirMetaInfo source = metaFor(kExplicit);
    source.privateInfo = new unsigned char[3]{1, 2, 3};
    source.privateInfoLen = 3;
    DcDirMetaInfo copy(source);
    DcDirMetaInfo assigned;
    assigned.privateInfo = new unsigned char[9];
    assigned.privateInfoLen = 9;
    assigned = source;
    auto& self = assigned;
    assigned = self;
    source.privateInfo[0] = 9;
    source.reset();
    EXPECT_EQ(source.version, 0);
    EXPECT_EQ(source.transferSyntax, UID_NONE);
    EXPECT_STREQ(source.sopInstanceUid, "");
    EXPECT_EQ(source.privateInfo, nullptr);
    for (const DcDirMetaInfo* m : {&copy, &assigned}) {
        EXPECT_STREQ(m->sopInstanceUid, "1.2.3");
        ASSERT_EQ(m->privateInfoLen, 3u);
        EXPECT_EQ(std::string(m->privateInfo, m->privateInfo + 3), "\1\2\3");
    }
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
    EXPECT_EQ(readWhole(path),
              "            File Meta Header\n\n"
              "    Version         - 0x0001\n"
              "    Class UID       - 1.2.840.10008.5.1.4.1.1.2 (CT Image Storage)\n"
              "    Instance UID    - 1.2.3\n"
              "    Transfer Syntax - 1.2.840.10008.1.2.1 (Little Endian Explicit)\n"
              "    Impl. Class UID - \n"
              "    Impl. Ver. Name - \n"
              "    Source AE Title - AE\n"
              "\n");
    CaptureLog log;
    EXPECT_EQ(meta.printInfo(nullptr), DIR_NULL_ARGUMENT);
    EXPECT_EQ(meta.printInfo((temp / "no/such").c_str(), "w"), DIR_OPEN);
    EXPECT_EQ(log.lines().size(), 2u);
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
    std::strcpy(meta.implVersionName, "MINE");
    EXPECT_EQ(dirCheckMetaInfo(meta), RESULT_OK);
    EXPECT_STREQ(meta.implVersionName, "MINE");
}

TEST(ReadMetaInfo, FillsTheRecordWhateverTheGroupLengthSays) {
    const Stream s = part10(fullMeta(), Stream().elem(0x00080005, "CS", "ISO_IR 100"));
    DcDirMetaInfo meta;
    unsigned int end = 0;
    ASSERT_EQ(readMeta(s, s.size(), meta, end), RESULT_OK);
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

    // The record as elements and back.
    DcElemList group;
    EXPECT_EQ(dirFileMetaInfoToElemList(meta, group), RESULT_OK);
    DcDirMetaInfo again;
    EXPECT_EQ(dirElemListToFileMetaInfo(group, again), RESULT_OK);
    EXPECT_EQ(again.version, 1);
    EXPECT_EQ(again.transferSyntax, kBig);
    EXPECT_STREQ(again.privateInfoCreatorUid, "1.9");
    EXPECT_EQ(std::string(again.privateInfo, again.privateInfo + again.privateInfoLen), "private!");
}

// Complete elements are read, an incomplete one is an error, and the end of the file between two is an end.
TEST(ReadMetaInfo, EveryTruncationIsAnEndOrTold) {
    const Stream s = part10(fullMeta());
    CaptureLog log;
    int clean = 0;
    for (unsigned int size = 0; size <= s.size(); ++size) {
        log.clear();
        DcDirMetaInfo meta;
        unsigned int end = 99;
        const int result = readMeta(s, size, meta, end);
        if (result == RESULT_OK) {
            ++clean;
            EXPECT_EQ(end, size);
            EXPECT_TRUE(log.lines().empty());
            continue;
        }
        EXPECT_EQ(end, 0u);
        EXPECT_EQ(result, size < 136 ? DIR_NOT_PART10 : DIR_READ_WRITE) << size;
        ASSERT_EQ(log.lines().size(), 1u) << size;
        EXPECT_EQ(log.lines()[0].reporter, "dirReadFileMetaInfo");
        EXPECT_EQ(log.lines()[0].text.starts_with("Error reading fileMetaInfo at offset 0x"), size >= 136);
    }
    EXPECT_EQ(clean, 10);
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
    for (int i = 0; i <= DIR_REC_WAVEFORM; ++i) {
        DIR_REC type = DIR_REC_UNKNOWN;
        EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(i), text), RESULT_OK);
        EXPECT_EQ(dirGetType(text, type), RESULT_OK);
        EXPECT_EQ(type, i) << text;
    }
    EXPECT_EQ(dirGetDesc(DIR_REC_ENCAP_DOC, text), RESULT_OK);
    EXPECT_STREQ(text, "ENCAP_DOC");
    EXPECT_EQ(dirGetDesc(DIR_REC_PATIENT, text), RESULT_OK);
    EXPECT_STREQ(text, "PATIENT");
    CaptureLog log;
    DIR_REC type = DIR_REC_PATIENT;
    EXPECT_EQ(dirGetType("PATIENTS", type), 22537);
    EXPECT_EQ(type, DIR_REC_UNKNOWN);
    EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(39), text), 22537);
    EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(-1), text), 22537);
    EXPECT_EQ(dirGetDesc(DIR_REC_PATIENT, nullptr), DIR_NULL_ARGUMENT);
    EXPECT_EQ(dirGetType(nullptr, type), DIR_NULL_ARGUMENT);
    EXPECT_EQ(log.lines().size(), 5u);
}
