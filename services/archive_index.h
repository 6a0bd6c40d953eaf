// What `orvkit index` does. Each tells on standard output what came of it, on standard error what went wrong,
// and gives the exit status.
#ifndef ORVKIT_SERVICES_ARCHIVE_INDEX_H
#define ORVKIT_SERVICES_ARCHIVE_INDEX_H

#include <string>

#include "services/query_keys.h"

namespace services {

struct ArchiveOptions {
    std::string directory;
    std::string index;  // its place, or "": in the directory
    unsigned int jobs = 2;
    bool repair = false;
    bool json = false;
    int undo = 0;   // the number of a grave
    int empty = 0;  // the same
    QueryOptions query;
    bool anyCase = false;
    bool anyAccent = false;
};

// Makes the index from the headers of all files. The one that is there stays in use until the new one is
// whole.
[[nodiscard]] int rebuildIndex(const ArchiveOptions& options);
// Compares index and files, both ways. EXIT_FAILED when anything was found, and not mended.
[[nodiscard]] int checkIndex(const ArchiveOptions& options);
[[nodiscard]] int findInIndex(const ArchiveOptions& options);
[[nodiscard]] int showIndex(const ArchiveOptions& options);
// Compares the index with itself.
[[nodiscard]] int verifyIndex(const ArchiveOptions& options);
// Takes what the keys select into a grave; or takes a grave back, or empties it; or lists graves.
[[nodiscard]] int deleteFromIndex(const ArchiveOptions& options);

// Copies one index into another, which is made if absent, also while a server stores into the first; again
// when more has come meanwhile. EXIT_FAILED when they do not have the same number of instances then.
[[nodiscard]] int copyIndex(const std::string& from, const std::string& to);

}  // namespace services

#endif
