// The parts of `orvkit dicomdir`.
#ifndef ORVKIT_TOOLS_DICOMDIR_H
#define ORVKIT_TOOLS_DICOMDIR_H

#include <string>
#include <vector>

#include "orvkit/dicomdir.h"

namespace tools {

struct DicomdirOptions {
    std::string directory;
    std::string copyFrom;              // files to copy into the set, "" for none
    std::string id;                    // File-set ID
    std::vector<std::string> fileIds;  // to remove
    bool icons = false;
    bool prune = false;
    bool deleteFiles = false;
    bool json = false;
};

// Each gives the exit status.
int makeDicomdir(const DicomdirOptions& options);
int updateDicomdir(const DicomdirOptions& options);
int removeFromDicomdir(const DicomdirOptions& options);
int listDicomdir(const DicomdirOptions& options);
int checkDicomdir(const DicomdirOptions& options);

// Reads the DICOMDIR of a folder; false, with a complaint, when there is none or nothing of it can be read.
// One that lost records in reading is refused when it is to be `written`.
bool readDicomdir(DcDirDicomDir& set, const std::string& directory, bool written);

// The regular files below a folder, sorted, as paths with slashes relative to it. Symbolic links are not
// followed: they are told in `others`, with what else cannot be looked at. The DICOMDIR of the folder itself
// is left out, and so are temporary files of its writers, which go to `leftovers`.
struct FolderContent {
    std::vector<std::string> files;
    std::vector<std::string> others;
    std::vector<std::string> leftovers;
};
FolderContent walkFolder(const std::string& root);

}  // namespace tools

#endif
