// The jobs of `orvkit dicomdir`.
#ifndef ORVKIT_SERVICES_FILE_SET_JOBS_H
#define ORVKIT_SERVICES_FILE_SET_JOBS_H

#include <string>
#include <vector>

namespace services {

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

}  // namespace services

#endif
