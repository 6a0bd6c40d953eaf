// Directory records: which may stand where, their order, copies, files, and encoding.

#include "media/dir_tree.h"
#include "orvkit/tags.h"
#include "support/system.h"

TEST(DirRec, StandsOnlyBelowTheTypesThatTakeIt) {
    const DIR_REC beyond = static_cast<DIR_REC>(39);
    const struct {
        DIR_REC parent, child;
        bool taken;
    } rows[] = {{DIR_REC_SERIES, DIR_REC_IMAGE, true},   {DIR_REC_PATIENT, DIR_REC_IMAGE, false},
                {DIR_REC_IMAGE, DIR_REC_PRIVATE, true},  {DIR_REC_MRDR, DIR_REC_PRIVATE, false},
                {DIR_REC_UNKNOWN, DIR_REC_IMAGE, false}, {beyond, DIR_REC_PRIVATE, false},
                {beyond, DIR_REC_UNKNOWN, true}};
    for (const auto& row : rows) {
        const CaptureLog log;
        DcDirRec top(row.parent);
        const DcDirRec* const added = top.add(new DcDirRec(row.child));
        EXPECT_EQ(added != nullptr, row.taken) << row.parent << ' ' << row.child;
        EXPECT_TRUE(top.first() == added && (added == nullptr || added->parent() == &top));
        EXPECT_EQ(log.lines().empty(), row.taken);
    }
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
    const auto typed = [](const char* type) {
        return Stream().us(0x00041410, 0xFFFF).elem(0x00041430, "CS", type);
    };
    const auto withFile = [&](const char* id) { return typed("IMAGE ").elem(0x00041500, "CS", id); };
    const std::pair<Stream, std::string> cases[] = {
        {Stream().elem(0x00041430, "CS", "IMAGE "), "T_0004_1410_recordInUseFlag missing or invalid"},
        {Stream().us(0x00041410, 0xFFFF), "T_0004_1430_recordType missing or invalid"},
        {typed("NOTHING "), "invalid Record Type - 'NOTHING'"},
        {typed("PRIVATE "), "T_0004_1432_privateRecordUid missing or invalid"},
        {withFile(""), "Zero length File ID"},
        {withFile("A\\B\\C\\D\\E\\F\\G\\H\\I "),
         "File ID 'A\\B\\C\\D\\E\\F\\G\\H\\I' exceeds limit in T_0004_1500_referencedFileId"},
        {withFile("A ").ui(0x00041510, "1.2.3").ui(0x00041511, "1.2.3"),
         "T_0004_1512_referencedFileXferSynUid missing or invalid"}};
    CaptureLog log;
    for (const auto& [content, text] : cases) {
        Stream s;
        s.raw("xx").item(content.size()).add(content);
        DcDirRec r(nullptr, s.data(), s.size(), 2);
        log.expect(LOG_ERROR, "DcDirRec::parse", "Offset - 2 (0x000002), " + text);
        // A record without a file is one all the same.
        DIR_REC type;
        r.getType(type);
        EXPECT_EQ(type, text == "Zero length File ID" ? DIR_REC_IMAGE : DIR_REC_UNKNOWN);
    }
    DcDirRec(nullptr, Stream().item(0).data(), 8, 0);
    log.expect(LOG_ERROR, "DcDirRec::parse", "Offset - 0 (0x000000), " + cases[0].second);
    DcDirRec(nullptr, Stream().raw("1234567").data(), 7, 0);
    log.expect(LOG_ERROR, "DcDirRec::parse", "Offset 0 (0x000000) exceeds buffer length 7 (0x000007)");
    DcDirRec(nullptr, Stream().raw("12345678").data(), 8, 20);
    log.expect(LOG_ERROR, "DcDirRec::parse", "Offset 20 (0x000014) exceeds buffer length 8 (0x000008)");
}

TEST(DirRec, TakesWhatJustFits) {
    const CaptureLog quiet;
    DcDirRec record(DIR_REC_PATIENT);
    EXPECT_EQ(record.setPvtRecUid(("1." + std::string(63, '2')).c_str()), DIR_STRING_SIZE);
    EXPECT_EQ(record.setPvtRecUid(("1." + std::string(62, '2')).c_str()), RESULT_OK);
    std::vector<unsigned char> room(1000);
    unsigned int used = 0;
    const auto framed = [&](unsigned int size) {
        return record.frame(room.data(), size, used, DIR_WITHOUT_CHILD);
    };
    ASSERT_EQ(framed(1000), RESULT_OK);
    unsigned int fits = 0;
    while (framed(fits) != RESULT_OK) ++fits;
    unsigned int size = 0;
    record.firstElem()->getBufSize(size, nullptr);
    EXPECT_EQ(fits, 58 + size);
}

TEST(DirRec, RefersOnlyToFilesBelowTheRootPath) {
    const TempDir root;
    const std::string longest = "LONGNAM1/LONGNAM2/LONGNAM3/LONGNAM4/LONGNAM5/LONGNAM6/LONGNAM7/LONGNAM8";
    makeImage(root, "A/B", "1.2.9");
    makeImage(root, longest, "1.2.8");
    makeImage(root, "B/B/C/D/E/F/G/H/I", "1.2.7");
    writeWhole(root / "TEXT", "no DICOM file");
    DcDirDicomDir set((root / "").c_str());
    DcDirRec* const image = addImagePath(set);
    DcDirRec* const other = addImagePath(set);
    const CaptureLog log;
    EXPECT_EQ(image->setRefFile("A/B"), RESULT_OK);
    EXPECT_EQ(image->setRefFile("A\\B"), RESULT_OK);  // once more its own
    DcDirRecInfo info;
    image->getInfo(info);
    EXPECT_STREQ(info.refFileId, "A\\B");
    EXPECT_STREQ(info.refFileSopInstance, "1.2.9");
    EXPECT_EQ(info.refFileSopClass, UID_CT_IMAGE_STORAGE);
    EXPECT_EQ(info.refFileXferSyn, UID_LITTLE_ENDIAN_EXPLICIT);
    char part[20];
    EXPECT_EQ(image->firstElem()->getValue(part, 16, ELEM_INDEX_NEXT), RESULT_OK);
    image->getInfo(info);
    EXPECT_STREQ(info.refFileId, "A\\B") << "whatever was read of it";
    EXPECT_EQ(other->setRefFile(longest.c_str()), RESULT_OK);
    EXPECT_TRUE(log.lines().empty());
    for (const char* id : {"B\\B\\C\\D\\E\\F\\G\\H\\I", "A\\ABCDEFGHI", "A\\b", "A\\..\\A\\B", "/A/B",
                           "A\\NONE", "A/B", "TEXT"}) {
        EXPECT_EQ(other->setRefFile(id), DIR_FILE_ID) << id;
    }
    EXPECT_EQ(image->setRefFile(""), RESULT_OK);
    EXPECT_EQ(image->firstElem(), nullptr);
    EXPECT_EQ(other->setRefFile("A/B"), RESULT_OK);
    EXPECT_EQ(DcDirRec(DIR_REC_IMAGE).setRefFile("A/B"), DIR_LEVEL_RULE);
}

TEST(DirRec, PrintsItsKindAndFileAndThoseAroundIt) {
    DcDirRec study(DIR_REC_STUDY);
    DcDirRec odd(static_cast<DIR_REC>(99));
    auto* const series = study.add(new DcDirRec(DIR_REC_SERIES));
    auto* const fileId = new DcElem(T_0004_1500_referencedFileId, "A");
    series->add(fileId);
    ASSERT_EQ(fileId->addValue("B"), RESULT_OK);
    const auto print = [](const DcDirRec& record, int (DcDirRec::*how)(FILE*) const) {
        return printed([&](FILE* file) { return (record.*how)(file); });
    };
    const auto at = [](const void* where) {
        char text[40];
        std::snprintf(text, sizeof text, "%p ", where);
        return std::string(text);
    };
    const std::string none = at(nullptr), prev = none + "prev                \n";
    EXPECT_EQ(print(study, &DcDirRec::printNodeList),
              none + "parent              \n" + prev + at(&study) + "this   STUDY        \n" + none +
                  "next                \n" + at(series) + "child  SERIES       A\\B\n" + none +
                  "mrdr                \n\n" + at(&study) + "parent STUDY        \n" + prev + at(series) +
                  "this   SERIES       A\\B\n" + none + "next                \n" + none +
                  "child               \n" + none + "mrdr                \n");
    EXPECT_EQ(print(study, &DcDirRec::printNodeTree), "   STUDY\n+--   SERIES\n");
    const CaptureLog quiet;
    EXPECT_EQ(print(odd, &DcDirRec::printNodeTree), "   \n");
}
