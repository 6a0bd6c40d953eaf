#include "services/archive_arrivals.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/archive_files.h"
#include "services/elements.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

constexpr char kFolder[] = ".orvkit-arriving";
constexpr char kSlash = '%';  // no path of an archive has it

std::string noteOf(const std::string& directory, std::string path) {
    std::ranges::replace(path, '/', kSlash);
    return archivePath(directory, std::string(kFolder) + "/" + path);
}

// Paths of what is noted.
bool readNotes(const std::string& directory, std::vector<std::string>& paths) {
    std::error_code error;
    fs::directory_iterator at(pathOf(archivePath(directory, kFolder)), error);
    for (; !error && at != fs::directory_iterator(); at.increment(error)) {
        std::string path = nameOf(at->path().filename());
        std::ranges::replace(path, kSlash, '/');
        paths.push_back(std::move(path));
    }
    return !error || error == std::errc::no_such_file_or_directory ||
           complain("%s: %s", archivePath(directory, kFolder).c_str(), error.message().c_str());
}

// False, with a complaint: it is to be looked at again, as it may be another time.
bool finish(DcIndex& index, const std::string& directory, const std::string& path, FinishedArrivals& done) {
    const std::string whole = archivePath(directory, path);
    std::error_code error;
    if (!fs::exists(pathOf(whole), error)) return !error;
    ArchiveFile file;
    int result = readArchiveFile(whole, file);
    if (result != RESULT_OK && result != DIR_NOT_PART10)
        return complain("%s: %s", whole.c_str(), resultText(result).c_str());
    if (result == RESULT_OK) {
        if (isStored(index, textOf(file.dataset, T_0008_0018_sopInstanceUid), path)) return true;
        DcIndexStored stored;
        result = storeArchiveFile(index, directory, path, INDEX_KEEP, stored);
        if (result == RESULT_OK && stored.what != INDEX_STORED_KEPT) {
            ++done.finished;
            return true;
        }
        if (result != RESULT_OK && result != INDEX_IDENTITY) return complain("%s", DcIndex::fault());
    }
    if (!fs::remove(pathOf(whole), error)) return complain("%s: %s", whole.c_str(), error.message().c_str());
    ++done.removed;
    return true;
}

}  // namespace

bool Arrival::begin(const std::string& directory, const std::string& path) {
    end();
    std::string note = noteOf(directory, path);
    file_ = platform::createTemporary(note.c_str(), nullptr);
    if (file_) note_ = std::move(note);
    return static_cast<bool>(file_);
}

void Arrival::end() noexcept {
    if (!note_.empty()) (void)platform::remove(note_.c_str());
    note_.clear();
    file_.reset();
}

bool prepareArrivals(const std::string& directory) {
    const std::string folder = archivePath(directory, kFolder);
    std::error_code error;
    fs::create_directories(pathOf(folder), error);
    return !error || complain("%s: %s", folder.c_str(), error.message().c_str());
}

bool isArriving(const std::string& directory, const std::string& path) {
    std::error_code error;
    return fs::exists(pathOf(noteOf(directory, path)), error);
}

bool finishArrivals(DcIndex& index, const std::string& directory, FinishedArrivals& done) {
    std::vector<std::string> paths;
    if (!readNotes(directory, paths)) return false;
    for (const std::string& path : paths) {
        Arrival again;
        // Whose maker is at work stays his.
        if (!platform::removeAbandoned(noteOf(directory, path).c_str()) || !again.begin(directory, path))
            continue;
        if (finish(index, directory, path, done)) continue;
        again.leave();
    }
    return true;
}

}  // namespace services
