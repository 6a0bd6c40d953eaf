// The file meta information: the record, its checks, and how it is read.

#include "media/part10.h"
#include "orvkit/dicomdir.h"
#include "orvkit/edition.h"
#include "orvkit/util.h"
#include "support/dataset.h"

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
         "a bare data set in implicit VR without file meta information"}};
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

TEST(DirRec, NamesGoBothWaysInTheirEdition) {
    char text[32];
    DIR_REC type = DIR_REC_UNKNOWN;
    for (const DICT_EDITION edition : {DICT_EDITION_CURRENT, DICT_EDITION_2008}) {
        dictSetEdition(edition);
        const bool today = edition == DICT_EDITION_CURRENT;
        CaptureLog log;
        for (int i = 0; i <= DIR_REC_WF_PRESENTATION; ++i) {
            const bool known = today || i <= DIR_REC_WAVEFORM;
            EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(i), text), known ? RESULT_OK : DIR_RESERVED_09);
            if (!known) continue;
            EXPECT_EQ(dirGetType(text, type), RESULT_OK);
            EXPECT_EQ(type, i) << text;
        }
        (void)dirGetDesc(DIR_REC_ENCAP_DOC, text);
        EXPECT_STREQ(text, today ? "ENCAP DOC" : "ENCAP_DOC");
        EXPECT_EQ(dirGetType("ENCAP_DOC", type), RESULT_OK);
        EXPECT_EQ(dirGetType("ENCAP DOC", type), today ? RESULT_OK : DIR_RESERVED_09);
        DcDirRec series(DIR_REC_SERIES);
        EXPECT_EQ(series.add(new DcDirRec(DIR_REC_MEASUREMENT)) != nullptr, today);
        EXPECT_EQ(series.add(new DcDirRec(DIR_REC_IMPLANT)), nullptr);
    }
    CaptureLog log;
    EXPECT_EQ(dirGetType("PATIENTS", type), DIR_RESERVED_09);
    EXPECT_EQ(type, DIR_REC_UNKNOWN);
    EXPECT_EQ(dirGetDesc(static_cast<DIR_REC>(-1), text), DIR_RESERVED_09);
    EXPECT_EQ(log.lines().size(), 2u);
}

// Both sides of a transfer stand in the meta information of today's files, for which its record has no place.
TEST(FileMeta, KeepsTheRouteOfAFileInTodaysEdition) {
    const TempDir temp;
    for (const DICT_EDITION edition : {DICT_EDITION_CURRENT, DICT_EDITION_2008}) {
        dictSetEdition(edition);
        const bool today = edition == DICT_EDITION_CURRENT;
        DcElemList dataset;
        dataset.add(new DcElem(0x00020016, "OTHER"));
        dataset.add(new DcElem(0x00020017, "SENDER"));
        dataset.add(new DcElem(0x00020026, "dicom://here:104"));
        dataset.add(new DcElem(0x00080016, UID_CT_IMAGE_STORAGE));
        dataset.add(new DcElem(0x00080018, "9.8.7"));
        DcDirMetaInfo meta = metaFor(kExplicit);
        ASSERT_EQ(dirWriteFile((temp / "f").c_str(), meta, dataset), RESULT_OK);
        EXPECT_NE(elemAt(dataset, 0x00020017), nullptr) << "it is still where it was";
        DcElemList group, read;
        DcDirAround around;
        around.meta = &group;
        ASSERT_EQ(dirReadAroundPixels((temp / "f").c_str(), meta, read, around), RESULT_OK);
        EXPECT_EQ(text(group, 0x00020017), today ? "SENDER" : "<none>");
        EXPECT_EQ(text(group, 0x00020026), today ? "dicom://here:104" : "<none>");
        EXPECT_NE(text(group, 0x00020016), "OTHER");
        EXPECT_EQ(elemAt(read, 0x00020017), nullptr);
    }
    dictSetEdition(DICT_EDITION_2008);
}
