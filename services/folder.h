// The folder of a file set: its files and its DICOMDIR.
#ifndef ORVKIT_SERVICES_FOLDER_H
#define ORVKIT_SERVICES_FOLDER_H

#include <string>
#include <vector>

#include "orvkit/dicomdir.h"
#include "platform/file.h"

namespace services {

// Has a file set for one writer alone, for as long as `lock` lives; false, with a complaint, where another is
// at work there. Take it before the DICOMDIR is read: what another writes in between would be lost. File
// systems that keep no locks are written without.
bool lockFileSet(const std::string& directory, orvkit::platform::FileHandle& lock);

// Reads the DICOMDIR of a folder; false, with a complaint, when there is none or nothing of it can be read.
// One that lost records in reading is refused when it is to be `written`. One in implicit VR is read, and
// told on standard error.
[[nodiscard]] bool readDicomdir(DcDirDicomDir& set, const std::string& directory, bool written);
// Whether the DICOMDIR of a folder says that it is in implicit VR, which PS3.10 8.6 rules out.
bool isImplicitDirectory(const std::string& directory);

// The regular files below a folder, sorted, as paths with slashes relative to it. Symbolic links are not
// followed: they are told in `others`, with what else cannot be looked at. The DICOMDIR of the folder itself
// is left out, and so is what writers keep for themselves (platform/new_file.h); of that, files in the making
// go to `unfinished`.
struct FolderContent {
    std::vector<std::string> files;
    std::vector<std::string> others;
    std::vector<std::string> unfinished;
};
FolderContent walkFolder(const std::string& root);

// Removes the folders of a File ID, from below, as far as nothing is in them.
void removeEmptyFolders(const std::string& root, std::string fileId);

}  // namespace services

#endif
