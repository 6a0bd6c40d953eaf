// orvkit dicomdir check: a DICOMDIR against itself and its files.
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <unordered_set>

#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/file_id.h"
#include "services/file_set.h"
#include "services/file_set_jobs.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/progress.h"
#include "services/record_fill.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

class Check {
  public:
    explicit Check(const DicomdirOptions& options) : root_(options.directory) {}

    int run() {
        if (!readDicomdir(set_, root_, false)) return EXIT_FAILED;
        findings_ += errorsLogged() + (isImplicitDirectory(root_) ? 1 : 0);
        muteLog();
        checkHeader();
        checkRecords();
        checkFolder();
        const std::string found = findings_ == 0 ? "no findings" : "findings " + std::to_string(findings_);
        std::printf("%s: records %d, files %zu, %s\n", pathOfFileId(root_, "DICOMDIR").c_str(), records_,
                    referenced_.size(), found.c_str());
        return findings_ == 0 ? EXIT_OK : EXIT_FAILED;
    }

  private:
    void finding(const std::string& where, const std::string& what) {
        ++findings_;
        std::printf("%s: %s\n", withEscapes(where).c_str(), withEscapes(what).c_str());
    }

    void checkHeader();
    void checkRecords();
    void checkRecord(const DcDirRec& record);
    void checkFile(const DcDirRec& record, const DcDirRecInfo& info);
    void checkIdentity(const DcDirRec& record, SourceFile& source, const std::string& where);
    void checkFolder();

    std::string root_;
    DcDirDicomDir set_;
    int findings_ = 0;
    int records_ = 0;
    unsigned int items_ = 0;  // in use, in the file
    std::unordered_set<std::string> referenced_;
    std::unordered_set<std::string> instances_;
};

std::string placeOf(const DcDirRec& record) {
    return typeName(record) + " record at offset " + std::to_string(offsetOf(record));
}

// The offsets that the records were not reached by, and the records that no offset leads to.
void Check::checkHeader() {
    const std::string path = pathOfFileId(root_, "DICOMDIR");
    DcDirDicomDirInfo info;
    set_.getInfo(info);
    if (info.consistencyFlag != DIR_FILESET_IS_CONSISTENT)
        finding(path, "the file set is marked as inconsistent");
    DcDirMetaInfo meta;
    DcElemList file;
    DcElemSq* sequence = nullptr;
    if (dirReadFile(path.c_str(), meta, file) != RESULT_OK) finding(path, "the data set is damaged");
    if (file.getElem(T_0004_1220_directoryRecordSequence, &sequence) == RESULT_OK) {
        for (DcElemSqItem* item = sequence->first(); item != nullptr; item = item->next()) {
            unsigned short inUse = 0;
            item->getElemList().getValue(T_0004_1410_recordInUseFlag, inUse);
            items_ += inUse != 0 ? 1 : 0;
        }
    }
    unsigned int first = 0;
    unsigned int last = 0;
    file.getValue(T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirector, first);
    file.getValue(T_0004_1202_offsetOfTheLastDirectoryRecordOfTheRootDirectory, last);
    // Multi-referenced records may stand behind the last that the root leads to.
    bool firstFits = set_.first() == nullptr;
    bool lastFits = firstFits && last == 0;
    for (const DcDirRec* r = set_.last(); r != nullptr && !lastFits; r = r->previous()) {
        lastFits = offsetOf(*r) == last;
        if (typeOf(*r) != DIR_REC_MRDR) break;
    }
    if (const DcDirRec* r = set_.first()) firstFits = offsetOf(*r) == first;
    if (!firstFits) finding(path, "the first record of the root is not at offset " + std::to_string(first));
    if (!lastFits) finding(path, "the last record of the root is not at offset " + std::to_string(last));
}

void Check::checkRecords() {
    unsigned int reached = 0;
    int level = 0;
    for (DcDirRec* r = set_.first(); r != nullptr; r = nextRecord(set_, r, level)) {
        ++records_;
        if (infoOf(*r).inUseFlag != DIR_REC_NOT_IN_USE) ++reached;
    }
    if (reached < items_) {
        finding(pathOfFileId(root_, "DICOMDIR"),
                std::to_string(items_ - reached) + " records in use that no offset leads to");
    }
    Progress progress("checking", static_cast<std::size_t>(records_));
    for (DcDirRec* r = set_.first(); r != nullptr; r = nextRecord(set_, r, level)) {
        progress.step();
        checkRecord(*r);
    }
}

void Check::checkRecord(const DcDirRec& record) {
    const DcDirRecInfo info = infoOf(record);
    if (info.inUseFlag == DIR_REC_NOT_IN_USE) return;
    FileSet::Faults faults;
    checkKeys(record, faults);
    for (const std::string& fault : faults) finding(placeOf(record), fault);
    if (info.refFileId[0] == '\0') return;
    const bool fresh = referenced_.insert(info.refFileId).second;
    if (mrdrOf(record) != nullptr) return;  // its file is the MRDR's
    if (!fresh && typeOf(record) != DIR_REC_MRDR)
        finding(info.refFileId, "is referenced by more than one record");
    if (!instances_.insert(info.refFileSopInstance).second) {
        finding(placeOf(record),
                std::string("SOP instance ") + info.refFileSopInstance + " is referenced twice");
    }
    checkFile(record, info);
}

void Check::checkFile(const DcDirRec& record, const DcDirRecInfo& info) {
    const std::string where = info.refFileId;
    if (leadsOutOfRoot(root_, where))
        return finding(where, "leads out of the file set; it was not looked at");
    if (const std::string fault = fileIdFault(where); !fault.empty()) finding(where, fault);
    const std::string path = pathOfFileId(root_, where);
    std::error_code error;
    const fs::file_status status = fs::symlink_status(pathOf(path), error);
    if (!fs::exists(status)) return finding(where, "there is no such file");
    if (!fs::is_regular_file(status)) return finding(where, "is not a regular file");
    SourceFile source;
    const SourceFile::Kind kind = readSource(path, source);
    if (kind == SourceFile::Kind::notDicom) return finding(where, "is not a DICOM Part 10 file");
    if (!source.fault.empty()) finding(where, source.fault);
    if (kind == SourceFile::Kind::damaged) return;
    checkIdentity(record, source, where);
    FileSet::Faults faults;
    for (const DcDirRec* r = &record; r != nullptr && r != &set_; r = r->parent())
        compareKeys(*r, source, faults);
    for (const std::string& fault : faults) finding(where, fault);
}

void Check::checkIdentity(const DcDirRec& record, SourceFile& source, const std::string& where) {
    const DcDirRecInfo info = infoOf(record);
    const std::string recorded = textOf(record, T_0004_1510_referencedFileClassUid);
    if (source.sopClass() != recorded || source.meta.sopClassUid != info.refFileSopClass) {
        finding(where, "SOP class is " + source.sopClass() + ", in its record " + recorded);
    }
    if (source.sopInstance() != info.refFileSopInstance) {
        finding(where,
                "SOP instance is " + source.sopInstance() + ", in its record " + info.refFileSopInstance);
    }
    if (source.meta.transferSyntax != info.refFileXferSyn) {
        finding(where, "transfer syntax is " + describeUid(source.meta.transferSyntax) + ", in its record " +
                           textOf(record, T_0004_1512_referencedFileXferSynUid));
    }
}

void Check::checkFolder() {
    const FolderContent content = walkFolder(root_);
    for (const std::string& other : content.others) finding(root_, other);
    for (const std::string& name : content.files) {
        if (referenced_.contains(normalFileId(name))) continue;
        DcDirMetaInfo meta;
        unsigned int end = 0;
        const int result = dirReadFileMetaInfo(pathOfFileId(root_, name).c_str(), meta, end);
        if (result == DIR_OPEN) {
            finding(name, resultText(result));
        } else if (result == RESULT_OK) {
            finding(name, "is a DICOM file that no record references");
        }
    }
}

}  // namespace

int checkDicomdir(const DicomdirOptions& options) {
    return Check(options).run();
}

}  // namespace services
