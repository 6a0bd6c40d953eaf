#include "services/received_set.h"

#include <filesystem>

#include "orvkit/log.h"
#include "orvkit/result.h"
#include "services/file_id.h"
#include "services/folder.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {

bool ReceivedSet::open(const std::string& directory) {
    if (directory.size() > DIR_ROOT_PATH_LIMIT) {
        complain("%s: the path of a file set has at most %d bytes", directory.c_str(), DIR_ROOT_PATH_LIMIT);
        return false;
    }
    std::error_code error;
    if (!std::filesystem::exists(pathOf(pathOfFileId(directory, "DICOMDIR")), error)) {
        (void)directory_.read(directory.c_str());  // finds nothing, and keeps the path
    } else if (!readDicomdir(directory_, directory, true)) {
        return false;
    }
    set_ = std::make_unique<FileSet>(directory_);
    return true;
}

bool ReceivedSet::place(StoreFile& file, std::string& told) {
    FileSet::Faults faults;
    std::string fileId;
    FileSet::Added added;
    {
        const std::lock_guard lock(mutex_);
        added = set_->adopt(file.temporaryPath(), FileSet::Transfer::move, faults, &fileId);
    }
    const bool kept = added == FileSet::Added::whole || added == FileSet::Added::told;
    if (kept) file.release();
    told = kept ? fileId : "no place in the file set";
    for (const std::string& fault : faults) told += "; " + fault;
    return kept;
}

bool ReceivedSet::write(std::string& fault) {
    const std::lock_guard lock(mutex_);
    if (!set_->changed() || set_->write() == RESULT_OK) return true;
    fault = MsgBuf;
    return false;
}

}  // namespace services
