#include "platform/new_file.h"

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/process.h"

namespace orvkit::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kPrefix = ".orvkit-";
constexpr std::string_view kSuffix = ".part";

fs::path pathOf(const std::string& name) {
    return {std::u8string(name.begin(), name.end())};
}
std::string nameOf(const fs::path& path) {
    const std::u8string name = path.u8string();
    return {name.begin(), name.end()};
}

std::string unfinishedName(const std::string& directory, unsigned int process, unsigned int number) {
    std::string name(kPrefix);
    name += std::to_string(process) + '-' + std::to_string(number);
    name += kSuffix;
    return nameOf(pathOf(directory) / pathOf(name));
}

// Calls `make` with new names until there is one that nobody has; "" with errno on failure. A process that
// was killed may have had our number, and left its files.
template <typename Make>
std::string withFreeName(const std::string& directory, Make make) {
    static std::atomic<unsigned int> count = 0;
    for (;;) {
        std::string name = unfinishedName(directory, processId(), ++count);
        if (make(name.c_str())) return name;
        if (errno != EEXIST) return {};
    }
}

// For the moment of a replacement, under numbers that all processes share: the name that one left who was
// killed in it is free for the next. "" with errno on failure.
std::string nameForAMoment(int handle, const std::string& directory) {
    for (unsigned int number = 1;; ++number) {
        std::string name = unfinishedName(directory, 0, number);
        do {
            if (giveName(handle, name.c_str())) return name;
            if (errno != EEXIST) return {};
        } while (removeAbandoned(name.c_str()));
    }
}

std::string directoryOf(const std::string& path) {
    return nameOf(pathOf(path).parent_path());
}

}  // namespace

NewFile& NewFile::operator=(NewFile&& other) noexcept {
    drop();
    file_ = std::move(other.file_);
    name_ = std::exchange(other.name_, {});
    return *this;
}

bool NewFile::begin(const std::string& directory, const char* like) {
    drop();
    file_ = createUnnamed(directory.empty() ? "." : directory.c_str(), like);
    return file_ || beginNamed(directory, like);
}

bool NewFile::beginNamed(const std::string& directory, const char* like) {
    drop();
    name_ = withFreeName(directory, [&](const char* name) {
        file_ = createTemporary(name, like);
        return static_cast<bool>(file_);
    });
    return static_cast<bool>(file_);
}

bool NewFile::addName(const std::string& path) const {
    std::error_code error;
    fs::create_hard_link(pathOf(name_), pathOf(path), error);
    if (error) errno = error == std::errc::file_exists ? EEXIST : error.value();
    return !error;
}

bool NewFile::beginBeside(const std::string& target) {
    return begin(directoryOf(target), target.c_str());
}

// A file without a name can take a free one; only a file with a name can replace another.
bool NewFile::place(const std::string& target) {
    if (name_.empty()) {
        if (giveName(handle(), target.c_str())) return true;
        if (errno != EEXIST) return false;
        name_ = nameForAMoment(handle(), directoryOf(target));
    }
    return !name_.empty() && rename(std::move(file_), name_.c_str(), target.c_str());
}

bool NewFile::commit(const std::string& target, bool toDisk) {
    if ((toDisk && !sync(handle())) || !place(target)) {
        const int reason = errno;
        drop();
        errno = reason;
        return false;
    }
    name_.clear();
    file_.reset();
    // The name itself reaches the disk with the directory; the file is whole either way.
    if (toDisk) (void)syncEntry(target.c_str());
    return true;
}

void NewFile::drop() noexcept {
    file_.reset();
    if (!name_.empty()) (void)remove(name_.c_str());
    name_.clear();
}

bool ScratchFile::open() {
    if (file_) reading_ = openRead(file_.path().c_str());
    return static_cast<bool>(reading_);
}

bool ScratchFile::begin(const std::string& directory, const char* like) {
    return file_.begin(directory, like) && open();
}

bool ScratchFile::beginBeside(const std::string& target) {
    return file_.beginBeside(target) && open();
}

bool ScratchFile::begin() {
    std::error_code error;
    const fs::path directory = fs::temp_directory_path(error);
    if (!error) return begin(nameOf(directory));
    errno = error.value();
    return false;
}

bool isUnfinished(std::string_view name) noexcept {
    return name.starts_with(kPrefix);
}
bool isInTheMaking(std::string_view name) noexcept {
    return isUnfinished(name) && name.ends_with(kSuffix);
}

std::string linkTarget(const std::string& path) {
    std::error_code error;
    const fs::path name = pathOf(path);
    if (!fs::is_symlink(name, error) || !fs::exists(name, error)) return path;
    const fs::path target = fs::canonical(name, error);
    return error ? path : nameOf(target);
}

int removeUnfinished(const std::string& directory) noexcept {
    int count = 0;
    try {
        std::error_code error;
        fs::directory_iterator at;
        do {
            at = fs::directory_iterator(pathOf(directory), error);
        } while (error == std::errc::interrupted);
        for (; !error && at != fs::directory_iterator(); at.increment(error)) {
            const std::string name = nameOf(at->path().filename());
            if (isInTheMaking(name) && removeAbandoned(nameOf(at->path()).c_str())) ++count;
        }
    } catch (...) {
        // They wait for the next.
    }
    return count;
}

}  // namespace orvkit::platform
