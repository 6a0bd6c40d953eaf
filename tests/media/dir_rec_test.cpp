// Directory records: which may stand where, their order, copies, files, and encoding.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>

#include "media/dir_tree.h"
#include "orvkit/result.h"
#include "support/capture_log.h"

namespace {

// The level rules, typed as the table is printed.
const std::map<std::string, std::string> kChildren = {
    {"DICOMDIR", "HANGING PROTOCOL, MRDR, PATIENT, PRINT QUEUE, TOPIC, PRIVATE"},
    {"PATIENT", "HL7 STRUC DOC, STUDY, PRIVATE"},
    {"STUDY", "BASIC FILM SESSION, RESULTS, SERIES, STUDY COMPONENT, VISIT, PRIVATE"},
    {"SERIES",
     "CURVE, ENCAP_DOC, FIDUCIAL, IMAGE, KEY OBJECT DOC, MODALITY LUT, OVERLAY, PRESENTATION, RAW DATA, "
     "REGISTRATION, RT DOSE, RT PLAN, RT STRUCTURE SET, RT TREAT RECORD, SPECTROSCOPY, SR DOCUMENT, "
     "STEREOMETRIC, STORED PRINT, "
     "VALUE MAP, VOI LUT, WAVEFORM, PRIVATE"},
    {"TOPIC",
     "CURVE, FIDUCIAL, BASIC FILM SESSION, IMAGE, KEY OBJECT DOC, MODALITY LUT, OVERLAY, PRESENTATION, RAW "
     "DATA, REGISTRATION, RT DOSE, RT PLAN, RT STRUCTURE SET, RT TREAT RECORD, SERIES, SPECTROSCOPY, SR "
     "DOCUMENT, "
     "STORED PRINT, STUDY, VOI LUT, WAVEFORM, PRIVATE"},
    {"PRINT QUEUE", "BASIC FILM SESSION, PRIVATE"},
    {"BASIC FILM SESSION", "BASIC FILM BOX, PRIVATE"},
    {"BASIC FILM BOX", "BASIC IMAGE BOX, PRIVATE"},
    {"RESULTS", "INTERPRETATION, PRIVATE"},
    {"MRDR", ""},
    {"UNKNOWN", ""},
};

std::string nameOf(int type) {
    char text[32] = "";
    dirGetDesc(static_cast<DIR_REC>(type), text);
    return text;
}

std::set<std::string> childrenOf(const std::string& parent) {
    const auto row = kChildren.find(parent);
    std::istringstream in(row != kChildren.end() ? row->second : "PRIVATE");
    std::set<std::string> names{"UNKNOWN"};
    for (std::string name; std::getline(in >> std::ws, name, ',');) names.insert(name);
    return names;
}

}  // namespace

TEST(DirRec, StandsOnlyBelowTheTypesThatTakeIt) {
    for (int parent = 0; parent <= 38; ++parent) {
        const auto accepted = childrenOf(nameOf(parent));
        for (int child = 0; child <= 38; ++child) {
            CaptureLog log;
            DcDirRec top(static_cast<DIR_REC>(parent));
            DcDirRec* const added = top.add(new DcDirRec(static_cast<DIR_REC>(child)));
            ASSERT_EQ(added != nullptr, accepted.count(nameOf(child)) == 1)
                << nameOf(child) << " below " << nameOf(parent);
            if (added != nullptr) {
                ASSERT_TRUE(log.take().empty());
                ASSERT_TRUE(added->parent() == &top && top.first() == added);
            } else {
                ASSERT_TRUE(log.tookOnly(
                    LOG_ERROR, "DcDirRec::checkLevel",
                    "'" + nameOf(child) + "' cannot be a lower level entity to '" + nameOf(parent) + "'"));
                ASSERT_EQ(top.first(), nullptr);
            }
        }
    }
    DcDirRec beyond(static_cast<DIR_REC>(39));
    CaptureLog log;
    EXPECT_EQ(beyond.add(new DcDirRec(DIR_REC_PRIVATE)), nullptr);
    EXPECT_NE(beyond.add(new DcDirRec(DIR_REC_UNKNOWN)), nullptr);
    EXPECT_EQ(beyond.add(static_cast<DcDirRec*>(nullptr)), nullptr);
}

TEST(DirRec, MrdrsStayAtTheEnd) {
    DcDirRec top(DIR_REC_DICOMDIR);
    auto* mrdr = new DcDirRec(DIR_REC_MRDR);
    top + mrdr + new DcDirRec(DIR_REC_PATIENT) + new DcDirRec(DIR_REC_MRDR) + new DcDirRec(DIR_REC_TOPIC);
    EXPECT_EQ(shapeOf(top), "PATIENT,TOPIC,MRDR,MRDR");
    EXPECT_EQ(top.first()->next()->next(), mrdr);
    EXPECT_EQ(top.subtract(mrdr), top.last());
    delete mrdr;
    top.first()->add(new DcDirRec(DIR_REC_STUDY));
    top.first()->add(new DcDirRec(DIR_REC_HL7_STRUC_DOC));
    top.reverse(DIR_WITHOUT_CHILD);
    EXPECT_EQ(shapeOf(top), "TOPIC,PATIENT(STUDY,HL7 STRUC DOC),MRDR");
    top.reverse(DIR_WITH_CHILD);
    EXPECT_EQ(shapeOf(top), "PATIENT(HL7 STRUC DOC,STUDY),TOPIC,MRDR");
}

TEST(DirRec, TakesNoRecordTwiceAndNoneAboveItself) {
    DcDirRec top(DIR_REC_PRIVATE);
    DcDirRec* const middle = top.add(new DcDirRec(DIR_REC_PRIVATE));
    DcDirRec* const low = middle->add(new DcDirRec(DIR_REC_PRIVATE));
    EXPECT_EQ(top.add(middle), middle);
    EXPECT_EQ(low->add(middle), nullptr);
    EXPECT_EQ(low->add(low), nullptr);
    EXPECT_EQ(top.add(low), low);  // moves
    EXPECT_EQ(shapeOf(top), "PRIVATE,PRIVATE");
    EXPECT_EQ(middle->first(), nullptr);
}

TEST(DirRec, CopiesAreDeep) {
    DcDirRec top(DIR_REC_DICOMDIR);
    top.add(new DcDirRec(DIR_REC_PATIENT))->add(new DcElem(0x00100010u, "A^B"));
    top.first()->add(new DcDirRec(DIR_REC_STUDY))->setInUseFlag(DIR_REC_NOT_IN_USE);
    const auto before = recordsOf(top);
    DcDirRec copy(top);
    EXPECT_EQ(copy.first()->parent(), &copy);
    DcDirRec* patient = top.first();
    top - patient;
    delete patient;
    EXPECT_EQ(recordsOf(copy), before);
    copy = *copy.first();  // from below itself
    EXPECT_EQ(shapeOf(copy), "STUDY");
}

TEST(DirRec, TellsWhatItCannotParse) {
    const auto head = [] { return Stream().header(0x00041410, "US", 2).u16(0xFFFF); };
    const auto typed = [&](const char* type) { return head().elem(0x00041430, "CS", type); };
    const std::string uid = evenUid("1.2.3");
    const auto withFile = [&](const char* id) { return typed("IMAGE ").elem(0x00041500, "CS", id); };
    const std::pair<Stream, std::string> cases[] = {
        {Stream().elem(0x00041430, "CS", "IMAGE "), "T_0004_1410_recordInUseFlag missing or invalid"},
        {head(), "T_0004_1430_recordType missing or invalid"},
        {typed("NOTHING "), "invalid Record Type - 'NOTHING'"},
        {typed("PRIVATE "), "T_0004_1432_privateRecordUid missing or invalid"},
        {withFile(""), "Zero length File ID"},
        {withFile("A\\B\\C\\D\\E\\F\\G\\H\\I "),
         "File ID 'A\\B\\C\\D\\E\\F\\G\\H\\I' exceeds limit in T_0004_1500_referencedFileId"},
        {withFile("A "), "T_0004_1510_referencedFileClassUid missing or invalid"},
        {withFile("A ").elem(0x00041510, "UI", uid),
         "T_0004_1511_referencedFileInstanceUid missing or invalid"},
        {withFile("A ").elem(0x00041510, "UI", uid).elem(0x00041511, "UI", uid),
         "T_0004_1512_referencedFileXferSynUid missing or invalid"},
    };
    for (const auto& [content, text] : cases) {
        Stream s;
        s.raw("xx").item(content.size()).add(content);
        CaptureLog log;
        DcDirRec r(nullptr, s.data(), s.size(), 2);
        EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcDirRec::parse", "Offset - 2 (0x000002), " + text)) << text;
        // A record without a file is one all the same.
        EXPECT_EQ(recordsOf(r).size(), 0u);
        DIR_REC type;
        r.getType(type);
        EXPECT_EQ(type, text == "Zero length File ID" ? DIR_REC_IMAGE : DIR_REC_UNKNOWN);
    }
    CaptureLog log;
    Stream s;
    s.raw("12345678");
    DcDirRec r(nullptr, s.data(), s.size(), 20);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcDirRec::parse",
                             "Offset 20 (0x000014) exceeds buffer length 8 (0x000008)"));
}

TEST(DirRec, RefersOnlyToFilesBelowTheRootPath) {
    const TempDir root;
    makeImage(root, "A/B", "1.2.9");
    makeImage(root, "C");
    writeWhole(root / "TEXT", "no DICOM file");
    DcDirDicomDir set((root / "").c_str());
    DcDirRec* const image = addImagePath(set);
    DcDirRec* const other = addImagePath(set);
    const std::string at = (root / "").substr(0, (root / "").size() - 1) + "/";
    CaptureLog log;
    EXPECT_EQ(image->setRefFile("A/B"), RESULT_OK);
    EXPECT_EQ(image->setRefFile("A\\B"), RESULT_OK);  // once more its own
    DcDirRecInfo info;
    image->getInfo(info);
    EXPECT_STREQ(info.refFileId, "A\\B");
    EXPECT_STREQ(info.refFileSopInstance, "1.2.9");
    EXPECT_EQ(info.refFileSopClass, UID_CT_IMAGE_STORAGE);
    EXPECT_EQ(info.refFileXferSyn, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_TRUE(log.take().empty());
    const std::pair<const char*, std::string> refused[] = {
        {"A\\B\\C\\D\\E\\F\\G\\H\\I", "Number of Entities exceeds 8 in 'A\\B\\C\\D\\E\\F\\G\\H\\I'"},
        {"A\\ABCDEFGHI", "Record ID string 'ABCDEFGHI' exceeds 8 char limit"},
        {"A\\b", "Invalid character - 'b' in string 'b'"},
        {"A\\..\\C", "Invalid character - '.' in string '..'"},
        {"/A/B", "Invalid character - '\\' in string '/A/B'"},
        {"A\\NONE", "File '" + at + "A/NONE' not found"},
        {"A/B", "File ID 'A/B' is already in use"},
        {"TEXT", "File '" + at + "TEXT', invalid Meta Info"},
    };
    for (const auto& [id, text] : refused) {
        EXPECT_EQ(other->setRefFile(id), DIR_FILE_ID) << id;
        EXPECT_TRUE(log.has(LOG_ERROR, "DcDirRec::setRefFile", text)) << id;
        log.clear();
    }
    EXPECT_EQ(image->setRefFile(""), RESULT_OK);
    EXPECT_EQ(image->firstElem(), nullptr);
    EXPECT_EQ(other->setRefFile("A/B"), RESULT_OK);
    log.clear();
    DcDirRec alone(DIR_REC_IMAGE);
    EXPECT_EQ(alone.setRefFile("C"), DIR_LEVEL_RULE);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcDirRec::getRootPath",
                             "Topmost object in hierarchy is 'IMAGE', expecting DICOMDIR"));
}

TEST(DirRec, PrivateRecordUidsHaveALimit) {
    DcDirRec r(DIR_REC_PRIVATE);
    DcDirRecInfo info;
    const std::string longest(64, '1');
    EXPECT_EQ(r.setPvtRecUid(longest.c_str()), RESULT_OK);
    CaptureLog log;
    EXPECT_EQ(r.setPvtRecUid((longest + "1").c_str()), DIR_STRING_SIZE);
    EXPECT_TRUE(
        log.tookOnly(LOG_ERROR, "DcDirRec::setPvtRecUid", "Private Record UID string exceeds 64 char limit"));
    r.getInfo(info);
    EXPECT_EQ(info.privateRecordUid, longest);
    EXPECT_EQ(r.setPvtRecUid(""), RESULT_OK);
    EXPECT_EQ(r.firstElem(), nullptr);
}
