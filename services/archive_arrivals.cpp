#include "services/archive_arrivals.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>
#include <string_view>
#include <system_error>
#include <utility>

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
constexpr std::size_t kLongestNote = 200;  // bytes of a name
constexpr char kGoesOn = '+';  // begins the name in the folder of that name that a longer one goes on in

struct Escape {
    char byte;
    std::string_view written;
};
constexpr Escape kEscapes[] = {{'/', "%"}, {'%', "=25"}, {'=', "=3d"}};

std::string noteOf(const std::string& directory, const std::string& path) {
    std::string flat;
    for (const char c : path) {
        const auto* const at = std::ranges::find(kEscapes, c, &Escape::byte);
        if (at == std::end(kEscapes)) {
            flat += c;
        } else {
            flat += at->written;
        }
    }
    std::string note = archivePath(directory, std::string(kFolder) + "/");
    while (flat.size() > kLongestNote) {
        std::size_t length = kLongestNote;
        while ((static_cast<unsigned char>(flat[length]) & 0xC0) == 0x80) --length;  // no half of a character
        note += flat.substr(0, length) + "/" + kGoesOn;
        flat.erase(0, length);
    }
    return note + flat;
}

// `name`: from the folder of notes.
std::string pathOfNote(std::string name) {
    for (std::size_t at = 0; (at = name.find(std::string("/") + kGoesOn, at)) != std::string::npos;)
        name.erase(at, 2);
    std::string path;
    for (std::string_view rest = name; !rest.empty();) {
        const auto* const at = std::ranges::find_if(
            kEscapes, [rest](const Escape& one) { return rest.starts_with(one.written); });
        path += at == std::end(kEscapes) ? rest.front() : at->byte;
        rest.remove_prefix(at == std::end(kEscapes) ? 1 : at->written.size());
    }
    return path;
}

// Paths of what is noted.
bool readNotes(const std::string& directory, std::vector<std::string>& paths) {
    const fs::path folder = pathOf(archivePath(directory, kFolder));
    std::error_code error;
    fs::recursive_directory_iterator at(folder, error);
    for (; !error && at != fs::recursive_directory_iterator(); at.increment(error)) {
        std::error_code gone;
        if (platform::isInTheMaking(nameOf(at->path().filename())) || at->is_directory(gone)) continue;
        std::string path = pathOfNote(nameOf(at->path().lexically_relative(folder)));
        // What leads out of the archive no writer has noted.
        if (("/" + path + "/").find("/../") == std::string::npos) paths.push_back(std::move(path));
    }
    return !error || error == std::errc::no_such_file_or_directory ||
           complain("%s: %s", archivePath(directory, kFolder).c_str(), error.message().c_str());
}

}  // namespace

// False, with a complaint: it is to be looked at again, as it may be another time.
bool Arrivals::lookAt(DcIndex& index, const std::string& path, FinishedArrivals& done) const {
    const std::string whole = archivePath(directory_, path);
    std::error_code error;
    if (!fs::exists(pathOf(whole), error)) return !error;
    ArchiveFile file;
    int result = readArchiveFile(whole, file);
    if (result != RESULT_OK && !fs::exists(pathOf(whole), error)) return !error;
    if (result != RESULT_OK && result != DIR_NOT_PART10)
        return complain("%s: %s", whole.c_str(), resultText(result).c_str());
    if (result == RESULT_OK) {
        if (isStored(index, textOf(file.dataset, T_0008_0018_sopInstanceUid), path)) return true;
        DcIndexStored stored;
        result = storeArchiveFile(index, directory_, path, INDEX_KEEP, stored);
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

Arrival::~Arrival() {
    end();
    if (!mark_) return;
    try {
        const std::lock_guard lock(all_.mutex_);
        all_.spare_.push_back(std::move(mark_));
    } catch (const std::bad_alloc&) {
        // The next one makes another.
    }
}

bool Arrival::begin(const std::string& path) {
    end();
    std::string name = noteOf(all_.directory_, path);
    if (!note(name)) return false;
    note_ = std::move(name);
    return true;
}

bool Arrival::note(const std::string& name) {
    const std::string folder = archivePath(all_.directory_, kFolder);
    std::error_code error;
    if (name.size() > folder.size() + 1 + kLongestNote)
        fs::create_directories(pathOf(name).parent_path(), error);
    if (const std::lock_guard lock(all_.mutex_); !mark_ && !all_.spare_.empty()) {
        mark_ = std::move(all_.spare_.back());
        all_.spare_.pop_back();
    }
    if (mark_ || mark_.beginNamed(folder)) {
        if (mark_.addName(name)) return true;
        if (errno == EEXIST) return false;
        mark_.drop();
    }
    single_ = platform::createTemporary(name.c_str(), nullptr);
    return static_cast<bool>(single_);
}

void Arrival::end() noexcept {
    if (!note_.empty()) (void)platform::remove(note_.c_str());
    note_.clear();
    single_.reset();
}

void Arrival::leave() noexcept {
    note_.clear();
    single_.reset();
    mark_.drop();
}

bool Arrivals::prepare() const {
    const std::string folder = archivePath(directory_, kFolder);
    std::error_code error;
    fs::create_directories(pathOf(folder), error);
    return !error || complain("%s: %s", folder.c_str(), error.message().c_str());
}

bool isArriving(const std::string& directory, const std::string& path) {
    std::error_code error;
    return fs::exists(pathOf(noteOf(directory, path)), error);
}

bool Arrivals::finish(DcIndex& index, FinishedArrivals& done) {
    std::vector<std::string> paths;
    // In front of the look at the notes: a program that does the same at the same time passes over a note
    // whose file it finds locked by this.
    (void)platform::removeUnfinished(archivePath(directory_, kFolder));
    if (!readNotes(directory_, paths)) return false;
    for (const std::string& path : paths) {
        Arrival again(*this);
        // Whose maker is at work stays his.
        if (!platform::removeAbandoned(noteOf(directory_, path).c_str()) || !again.begin(path)) continue;
        if (lookAt(index, path, done)) continue;
        again.leave();
    }
    return true;
}

}  // namespace services
