#include "services/received_set.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <new>

#include "orvkit/log.h"
#include "orvkit/result.h"
#include "services/file_id.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/same_object.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

constexpr auto kBetweenTries = std::chrono::seconds(10);

bool isThere(const std::string& path) {
    std::error_code error;
    return fs::symlink_status(pathOf(path), error).type() != fs::file_type::not_found;
}

std::string joined(const FileSet::Faults& faults) {
    std::string all;
    for (const std::string& fault : faults) all += (all.empty() ? "" : "; ") + fault;
    return all;
}

}  // namespace

std::string ReceivedSet::pathOfFile(const std::string& fileId) const {
    return pathOfFileId(root_, fileId);
}

// ---- the set as it is found -------------------------------------------------------------------------------

bool ReceivedSet::open(const std::string& directory, bool sync, const Tell& tell) {
    if (directory.size() > DIR_ROOT_PATH_LIMIT) {
        return complain("%s: the path of a file set has at most %d bytes", directory.c_str(),
                        DIR_ROOT_PATH_LIMIT);
    }
    root_ = directory;
    sync_ = sync;
    if (!lockFileSet(directory, lock_)) return false;
    std::error_code error;
    if (!fs::exists(pathOf(pathOfFile("DICOMDIR")), error)) {
        (void)directory_.read(directory.c_str());  // finds nothing, and keeps the path
    } else if (!readDicomdir(directory_, directory, true)) {
        return false;
    }
    set_ = std::make_unique<FileSet>(directory_);
    journal_ = ReceivedJournal(directory);
    return takeUp(tell);
}

bool ReceivedSet::takeUp(const Tell& tell) {
    int count = 0, leftOut = 0;
    const auto noted = journal_.read();
    if (!noted) {
        return complain("%s: what was received last cannot be read: %s", root_.c_str(), std::strerror(errno));
    }
    for (const std::string& fileId : *noted) {
        if (set_->references(fileId) || leadsOutOfRoot(root_, fileId) || !isThere(pathOfFile(fileId)))
            continue;
        FileSet::Faults faults;
        const FileSet::Added added = set_->add(fileId, faults);
        const bool taken = added == FileSet::Added::whole || added == FileSet::Added::told;
        ++(taken ? count : leftOut);
        if (!faults.empty()) tell(fileId + ": " + joined(faults));
    }
    if (count > 0) {
        tell(std::to_string(count) +
             " objects that a server stored before it was killed are in the file set now");
    }
    leftOut_ = leftOut > 0;
    std::string fault;
    if (!write(fault)) tell("the DICOMDIR is not written: " + fault);
    return true;
}

// ---- what comes -------------------------------------------------------------------------------------------

// The File ID of an instance that the set has; a record whose file is gone makes room.
std::string ReceivedSet::listed(const std::string& instance) {
    std::string fileId = set_->fileOf(instance);
    if (fileId.empty() || isThere(pathOfFile(fileId))) return fileId;
    (void)set_->remove(fileId);
    return {};
}

bool ReceivedSet::moveIn(StoreFile& file, Entry& entry) {
    const std::string path = pathOfFile(entry.fileId);
    for (auto end = entry.fileId.find('\\'); end != std::string::npos;
         end = entry.fileId.find('\\', end + 1)) {
        std::string folder = entry.fileId.substr(0, end);
        if (!durable_.contains(folder)) entry.folders.push_back(std::move(folder));
    }
    entry.journal = journal_.note(entry.fileId);
    if (entry.journal == nullptr) return false;
    std::error_code error;
    fs::create_directories(pathOf(path).parent_path(), error);
    errno = error.value();
    return !error && file.moveTo(path);
}

bool ReceivedSet::enter(StoreFile& file, SourceFile& source, Entry& entry, FileSet::Faults& faults) {
    const FileSet::Placed placed = set_->place(source, faults);
    if (placed.leaf == nullptr) return false;
    bool moved = false;
    try {
        entry.fileId = set_->freeFileId(placed, faults);
        moved = !entry.fileId.empty() && moveIn(file, entry);
        if (moved && set_->settle(placed, source, entry.fileId, faults) != FileSet::Added::leftOut)
            return true;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    if (moved) {
        (void)platform::remove(pathOfFile(entry.fileId).c_str());
    } else {
        if (!entry.fileId.empty()) faults.push_back(pathOfFile(entry.fileId) + ": " + std::strerror(errno));
        set_->undo(placed);
    }
    removeEmptyFolders(root_, entry.fileId);
    return false;
}

bool ReceivedSet::syncEntries(const Entry& entry) {
    if (!sync_) return true;
    for (const std::string& folder : entry.folders) {
        if (!platform::syncEntry(pathOfFile(folder).c_str())) return false;
    }
    if (!ReceivedJournal::sync(*entry.journal) || !platform::syncEntry(pathOfFile(entry.fileId).c_str())) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    durable_.insert(entry.folders.begin(), entry.folders.end());
    return true;
}

// What cannot be brought to the disk is not confirmed, and does not stay.
void ReceivedSet::withdraw(const Entry& entry) {
    const std::lock_guard lock(mutex_);
    (void)set_->remove(entry.fileId);
    (void)platform::remove(pathOfFile(entry.fileId).c_str());
    removeEmptyFolders(root_, entry.fileId);
}

unsigned short ReceivedSet::again(const StoreFile& file, const std::string& fileId, std::string& told) const {
    if (isSameObject(file.temporaryPath(), pathOfFile(fileId))) {
        told = fileId + "; the same object was there before";
        return kStoreSuccess;
    }
    told = "another object of this SOP instance is in the file set, as " + fileId;
    return kStoreProcessingFailure;
}

unsigned short ReceivedSet::place(StoreFile& file, std::string& told) {
    SourceFile source;
    const SourceFile::Kind kind = readSource(file.temporaryPath(), source);
    FileSet::Faults faults;
    if (!source.fault.empty()) faults.push_back(source.fault);
    Entry entry;
    std::string there;
    bool entered = false;
    if (kind == SourceFile::Kind::dicom) {
        const std::lock_guard lock(mutex_);
        there = listed(source.sopInstance());
        if (there.empty()) entered = enter(file, source, entry, faults);
    }
    if (!there.empty()) return again(file, there, told);
    if (entered && !syncEntries(entry)) {
        faults.push_back(pathOfFile(entry.fileId) + ": " + std::strerror(errno));
        withdraw(entry);
        entered = false;
    }
    if (entered) faults.insert(faults.begin(), entry.fileId);
    told = joined(faults);
    if (!entered) told = "no place in the file set; " + told;
    return entered ? kStoreSuccess : kStoreProcessingFailure;
}

// ---- the DICOMDIR -----------------------------------------------------------------------------------------

bool ReceivedSet::write(std::string& fault) {
    const std::lock_guard lock(mutex_);
    failed_ = set_->changed() && set_->write() != RESULT_OK;
    failedAt_ = std::chrono::steady_clock::now();
    if (failed_) fault = MsgBuf;
    if (!failed_ && !leftOut_) journal_.clear();
    return !failed_;
}

bool ReceivedSet::isOverdue() {
    const std::lock_guard lock(mutex_);
    return failed_ && std::chrono::steady_clock::now() - failedAt_ >= kBetweenTries;
}

}  // namespace services
