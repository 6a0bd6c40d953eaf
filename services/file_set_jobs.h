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
[[nodiscard]] int makeDicomdir(const DicomdirOptions& options);
[[nodiscard]] int updateDicomdir(const DicomdirOptions& options);
[[nodiscard]] int removeFromDicomdir(const DicomdirOptions& options);
[[nodiscard]] int listDicomdir(const DicomdirOptions& options);
[[nodiscard]] int checkDicomdir(const DicomdirOptions& options);

}  // namespace services

#endif
