// orvkit dicomdir make, update and remove.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <new>
#include <system_error>

#include "orvkit/log.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/new_file.h"
#include "services/file_id.h"
#include "services/file_set.h"
#include "services/file_set_jobs.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/progress.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

// Adds files to a set, tells what is wrong with them, and counts.
class Builder {
  public:
    Builder(DcDirDicomDir& directory, const DicomdirOptions& options)
        : options_(options), set_(directory, options.icons), directory_(directory) {}

    FileSet& set() { return set_; }

    void addOwn() {
        const FolderContent content = walkFolder(options_.directory);
        tellOthers(options_.directory, content);
        removeLeftovers(content);
        Progress progress("reading", content.files.size());
        for (const std::string& name : content.files) {
            progress.step();
            if (set_.references(name)) continue;
            FileSet::Faults faults;
            const FileSet::Added added = set_.add(name, faults);
            tell(pathOfFileId(options_.directory, name), added, faults, progress);
        }
    }

    bool copy() {
        if (options_.copyFrom.empty()) return true;
        if (overlap(options_.copyFrom, options_.directory)) {
            return complain("%s and %s: one lies in the other", options_.copyFrom.c_str(),
                            options_.directory.c_str());
        }
        const FolderContent content = walkFolder(options_.copyFrom);
        tellOthers(options_.copyFrom, content);
        Progress progress("copying", content.files.size());
        for (const std::string& name : content.files) {
            progress.step();
            const std::string path = pathOfFileId(options_.copyFrom, name);
            FileSet::Faults faults;
            const FileSet::Added added = set_.adopt(path, faults);
            tell(path, added, faults, progress);
        }
        return true;
    }

    // What cannot be looked at may well be there.
    static bool isGone(const fs::path& path) {
        std::error_code error;
        return fs::status(path, error).type() == fs::file_type::not_found;
    }
    // Records of files that are gone go, too.
    void prune() {
        std::vector<std::string> gone;
        int level = 0;
        for (DcDirRec* r = directory_.first(); r != nullptr; r = nextRecord(directory_, r, level)) {
            const DcDirRecInfo info = infoOf(*r);
            if (info.refFileId[0] == '\0') continue;
            if (leadsOutOfRoot(options_.directory, info.refFileId) ||
                isGone(pathOf(pathOfFileId(options_.directory, info.refFileId)))) {
                gone.emplace_back(info.refFileId);
            }
        }
        for (const std::string& fileId : gone) pruned_ += set_.remove(fileId) ? 1 : 0;
    }

    int write() {
        const std::string path = pathOfFileId(options_.directory, "DICOMDIR");
        const int result = set_.write();
        if (result != RESULT_OK) return failed("%s: %s; it is as it was before", path.c_str(), MsgBuf);
        summarize(path);
        return ok_ ? EXIT_OK : EXIT_FAILED;
    }
    void summarize(const std::string& path) {
        int counts[39] = {};
        int files = 0;
        int level = 0;
        for (DcDirRec* r = directory_.first(); r != nullptr; r = nextRecord(directory_, r, level)) {
            ++counts[typeOf(*r)];
            if (elementOf(*r, T_0004_1500_referencedFileId) != nullptr) ++files;
        }
        std::printf("%s: patients %d, studies %d, series %d, files %d", path.c_str(), counts[DIR_REC_PATIENT],
                    counts[DIR_REC_STUDY], counts[DIR_REC_SERIES], files);
        if (pruned_ != 0) std::printf("; records dropped: %d", pruned_);
        if (leftOut_ != 0) std::printf("; DICOM files left out: %d", leftOut_);
        if (notDicom_ != 0) std::printf("; other files: %d", notDicom_);
        std::printf("\n");
    }
    bool ok() const { return ok_; }

  private:
    static fs::path realPath(const std::string& name) {
        std::error_code error;
        fs::path path = fs::canonical(pathOf(name), error);
        if (error == std::errc::not_enough_memory) throw std::bad_alloc();
        return path;
    }
    static bool overlap(const std::string& one, const std::string& other) {
        const fs::path a = realPath(one);
        const fs::path b = realPath(other);
        const auto [inA, inB] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
        return inA == a.end() || inB == b.end();
    }

    void tellOthers(const std::string& root, const FolderContent& content) {
        for (const std::string& other : content.others) {
            complain("%s", pathOfFileId(root, other).c_str());
            ok_ = false;
        }
    }

    // What a killed writer left behind.
    void removeLeftovers(const FolderContent& content) {
        for (const std::string& name : content.unfinished) {
            const std::string path = pathOfFileId(options_.directory, name);
            (void)orvkit::platform::removeAbandoned(path.c_str());
        }
    }

    void tell(const std::string& path, FileSet::Added added, const FileSet::Faults& faults,
              Progress& progress) {
        if (added == FileSet::Added::notDicom) ++notDicom_;
        if (added == FileSet::Added::leftOut) ++leftOut_;
        if (faults.empty()) return;
        ok_ = false;
        progress.clear();
        for (const std::string& fault : faults) complain("%s: %s", path.c_str(), fault.c_str());
        if (added == FileSet::Added::leftOut) complain("%s: left out", path.c_str());
    }

    const DicomdirOptions& options_;
    FileSet set_;
    DcDirDicomDir& directory_;
    int leftOut_ = 0;
    int notDicom_ = 0;
    int pruned_ = 0;
    bool ok_ = true;
};

bool setId(DcDirDicomDir& directory, const std::string& id) {
    if (id.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 _") == std::string::npos &&
        directory.setFilesetId(id.c_str()) == RESULT_OK) {
        return true;
    }
    return complain("--id %s: at most 16 of A-Z, 0-9, blank and _", id.c_str());
}

// An empty file set with this root path, whatever stands there now.
void startAnew(DcDirDicomDir& directory, const std::string& root) {
    DcDirMetaInfo meta;
    const DcDirDicomDir fresh;
    fresh.getMetaInfo(meta);
    (void)directory.read(root.c_str());
    directory.setMetaInfo(meta);
    while (DcDirRec* record = directory.first()) {
        directory.subtract(record);
        delete record;
    }
    while (DcElem* element = directory.firstElem()) {
        directory.subtract(element);
        delete element;
    }
    const char none[8][13] = {};
    directory.setFilesetId("");
    directory.setDescriptorFileId(none);
    directory.setCharset("");
    directory.setConsistencyFlag(DIR_FILESET_IS_CONSISTENT);
}

bool rootFits(const std::string& root) {
    if (root.size() <= DIR_ROOT_PATH_LIMIT) return true;
    return complain("%s: the path of a file set has at most %d bytes", root.c_str(), DIR_ROOT_PATH_LIMIT);
}

}  // namespace

int makeDicomdir(const DicomdirOptions& options) {
    if (!rootFits(options.directory)) return EXIT_FAILED;
    std::error_code error;
    fs::create_directories(pathOf(options.directory), error);
    if (!fs::is_directory(pathOf(options.directory))) {
        return failed("%s: %s", options.directory.c_str(),
                      error ? error.message().c_str() : "not a directory");
    }
    orvkit::platform::FileHandle lock;
    if (!lockFileSet(options.directory, lock)) return EXIT_FAILED;
    muteLog();
    DcDirDicomDir directory;
    startAnew(directory, options.directory);
    if (!setId(directory, options.id)) return EXIT_USAGE;
    Builder builder(directory, options);
    builder.addOwn();
    return builder.copy() ? builder.write() : EXIT_USAGE;
}

// The DICOMDIR of a file set that is changed, while the lock is held.
bool openToChange(DcDirDicomDir& directory, const std::string& root, orvkit::platform::FileHandle& lock) {
    if (!rootFits(root) || !lockFileSet(root, lock) || !readDicomdir(directory, root, true)) return false;
    muteLog();
    return true;
}

int updateDicomdir(const DicomdirOptions& options) {
    orvkit::platform::FileHandle lock;
    DcDirDicomDir directory;
    if (!openToChange(directory, options.directory, lock)) return EXIT_FAILED;
    if (!options.id.empty() && !setId(directory, options.id)) return EXIT_USAGE;
    Builder builder(directory, options);
    if (options.prune) builder.prune();
    builder.addOwn();
    if (!builder.copy()) return EXIT_USAGE;
    if (builder.set().changed() || !options.id.empty()) return builder.write();
    builder.summarize(pathOfFileId(options.directory, "DICOMDIR"));
    return builder.ok() ? EXIT_OK : EXIT_FAILED;
}

int removeFromDicomdir(const DicomdirOptions& options) {
    orvkit::platform::FileHandle lock;
    DcDirDicomDir directory;
    if (!openToChange(directory, options.directory, lock)) return EXIT_FAILED;
    Builder builder(directory, options);
    (void)orvkit::platform::removeUnfinished(options.directory);
    for (const std::string& fileId : options.fileIds) {
        if (builder.set().remove(fileId)) continue;
        return failed("%s: no record references it; nothing was changed", fileId.c_str());
    }
    if (const int status = builder.write(); status != EXIT_OK || !options.deleteFiles) return status;
    // Only now: a file without a record harms nobody.
    int status = EXIT_OK;
    for (const std::string& fileId : options.fileIds) {
        const std::string path = pathOfFileId(options.directory, fileId);
        std::error_code error;
        if (leadsOutOfRoot(options.directory, fileId)) {
            complain("%s: lies outside of the file set and is not deleted", fileId.c_str());
        } else if (!fs::remove(pathOf(path), error)) {
            complain("%s: cannot be deleted: %s", path.c_str(),
                     error ? error.message().c_str() : "there is no such file");
        } else {
            continue;
        }
        status = EXIT_FAILED;
    }
    return status;
}

}  // namespace services
