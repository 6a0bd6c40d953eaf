#include "services/folder.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <system_error>

#include "orvkit/file.h"
#include "orvkit/result.h"
#include "platform/new_file.h"
#include "services/file_id.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

void take(const fs::directory_entry& entry, const fs::path& root, FolderContent& content) {
    std::error_code error;
    const std::string name = entry.path().lexically_relative(root).generic_string();
    const fs::file_status status = entry.symlink_status(error);
    if (error) {
        content.others.push_back(name + ": " + error.message());
    } else if (status.type() == fs::file_type::symlink) {
        content.others.push_back(name + ": is a symbolic link, which no file set can hold");
    } else if (status.type() == fs::file_type::regular) {
        const std::string own = nameOf(entry.path().filename());
        if (orvkit::platform::isInTheMaking(own)) {
            content.unfinished.push_back(name);
        } else if (!orvkit::platform::isUnfinished(own) && name != "DICOMDIR") {
            content.files.push_back(name);
        }
    }
}

}  // namespace

FolderContent walkFolder(const std::string& directory) {
    FolderContent content;
    const fs::path root = pathOf(directory);
    std::vector<fs::path> open{root};
    while (!open.empty()) {
        const fs::path folder = open.back();
        open.pop_back();
        std::error_code error;
        fs::directory_iterator each = openFolder(folder, error);
        for (; !error && each != fs::directory_iterator(); each.increment(error)) {
            std::error_code ignored;
            take(*each, root, content);
            if (fs::is_directory(each->symlink_status(ignored))) open.push_back(each->path());
        }
        if (error == std::errc::not_enough_memory) throw std::bad_alloc();  // no fault of the folder
        if (error) {
            content.others.push_back(folder.lexically_relative(root).generic_string() + ": " +
                                     error.message());
        }
    }
    for (auto* list : {&content.files, &content.others, &content.unfinished})
        std::sort(list->begin(), list->end());
    return content;
}

void removeEmptyFolders(const std::string& root, std::string fileId) {
    std::error_code error;
    for (auto end = fileId.rfind('\\'); end != std::string::npos; end = fileId.rfind('\\')) {
        fileId.resize(end);
        if (!fs::remove(pathOf(pathOfFileId(root, fileId)), error)) break;
    }
}

bool lockFileSet(const std::string& directory, orvkit::platform::FileHandle& lock) {
    lock = orvkit::platform::lockFolder(directory.c_str(), orvkit::platform::FolderUse::alone);
    if (lock || errno != EWOULDBLOCK) return true;
    return complain("%s: another program is at work in this file set", directory.c_str());
}

bool isImplicitDirectory(const std::string& directory) {
    DcDirMetaInfo meta;
    unsigned int end = 0;
    const std::string path = pathOfFileId(directory, "DICOMDIR");
    return dirReadFileMetaInfo(path.c_str(), meta, end) == RESULT_OK &&
           meta.transferSyntax == UID_LITTLE_ENDIAN_IMPLICIT;
}

bool readDicomdir(DcDirDicomDir& set, const std::string& directory, bool written) {
    const std::string path = pathOfFileId(directory, "DICOMDIR");
    std::error_code error;
    if (!fs::exists(pathOf(path), error)) return complain("%s: there is no DICOMDIR", path.c_str());
    (void)dirSetImplicitDirectory(1);
    const int result = set.read(directory.c_str());
    if (result != DIR_META_INFO && isImplicitDirectory(directory))
        complain("%s: directory in implicit VR", path.c_str());
    DcDirDicomDirInfo info;
    set.getInfo(info);
    if (result != RESULT_OK && (written || set.first() == nullptr)) {
        return complain("%s: %s%s", path.c_str(), resultText(result).c_str(),
                        written ? "; writing it would lose what was not read" : "");
    }
    if (written && info.consistencyFlag != DIR_FILESET_IS_CONSISTENT)
        return complain("%s: it is marked as inconsistent: make it anew", path.c_str());
    return true;
}

}  // namespace services
