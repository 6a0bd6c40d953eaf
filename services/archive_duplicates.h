// Instances that come to an archive again.
#ifndef ORVKIT_SERVICES_ARCHIVE_DUPLICATES_H
#define ORVKIT_SERVICES_ARCHIVE_DUPLICATES_H

#include <string>
#include <vector>

#include "services/archive_files.h"

namespace services {

// What becomes of another object of an instance that its series has already. The same object again is a
// success that changes nothing, whatever it says here.
enum class OnDuplicate : unsigned char {
    keep,     // a success for its sender, and it is dropped
    replace,  // it takes the place of the one that is there
    reject,   // its sender hears that the instance is there
    both,     // both are there
};

// Where the index has an instance: in the series and study of the object, and elsewhere.
struct KnownPaths {
    std::vector<std::string> same;
    std::vector<std::string> others;
    bool has(const std::string& path) const;
};
KnownPaths pathsOf(DcIndex& index, const ArchiveFile& object, const std::string& instance);

// What an object has otherwise than another: "another StudyDate, PatientName and 3 more".
std::string differencesTo(const ArchiveFile& object, const ArchiveFile& other);

}  // namespace services

#endif
