// The files of an archive, as its index wants them.
#ifndef ORVKIT_SERVICES_ARCHIVE_FILES_H
#define ORVKIT_SERVICES_ARCHIVE_FILES_H

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>

#include "orvkit/file.h"
#include "orvkit/index.h"

namespace services {

// Names in the directory of an archive, which those who look through it pass over (platform/new_file.h).
inline constexpr char kIndexFile[] = ".orvkit-index.sqlite";
inline constexpr char kGraveFolder[] = ".orvkit-grave";

// The place of an archive's index: what was given, or that in its directory.
std::string indexPlace(const std::string& directory, const std::string& given);
// The path of a file below the directory, and in a grave.
std::string archivePath(const std::string& directory, const std::string& path);
std::string gravePath(const std::string& directory, unsigned long long grave, const std::string& path);

// What an index stores of a file, all but its path.
struct ArchiveFile {
    DcElemList dataset;  // Pixel Data stays in the file
    std::string xferSyn;
    std::uint64_t size = 0;
    bool isCut = false;  // in its pixels
};
// RESULT_OK, or the code of dirReadAroundPixels: DIR_NOT_PART10 for what is no DICOM file.
int readArchiveFile(const std::string& path, ArchiveFile& file);
// Reads a file and stores it, with its path below the directory. RESULT_OK, the code of either.
int storeArchiveFile(DcIndex& index, const std::string& directory, const std::string& path,
                     INDEX_DUPLICATE duplicate, DcIndexStored& stored);

// Whether the index has the instance in the file at that path.
bool isStored(DcIndex& index, const std::string& instance, const std::string& path);

// The regular files below a directory, one after another, in no order; from any thread. Symbolic links are
// not followed, and what writers keep for themselves is passed over.
class ArchiveWalk {
  public:
    explicit ArchiveWalk(const std::string& directory);
    // With slashes, from the directory. False: there are no more.
    bool next(std::string& path, std::uint64_t& size);
    // What could not be looked at, "" when there is nothing of that.
    const std::string& fault() const { return fault_; }

  private:
    void probe(const std::filesystem::path& folder);

    std::mutex mutex_;
    std::filesystem::path root_;
    std::filesystem::recursive_directory_iterator at_;
    std::string fault_;
};

// Moves files that were taken out of the index, and still stand where they were, to their grave: what a
// deletion had begun when its program ended is brought to its end. False, with a complaint, when that fails.
[[nodiscard]] bool finishGraves(DcIndex& index, const std::string& directory);

}  // namespace services

#endif
