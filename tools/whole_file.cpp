#include "tools/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/options.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What the signal handler removes; empty when there is nothing to remove.
char doomed[4096];
volatile sig_atomic_t armed = 0;

extern "C" void removeAndEnd(int signal) {
    if (armed != 0) unlink(doomed);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

// A signal that the caller of the program had ignored (nohup) stays ignored.
void catchSignals() {
    for (int signal : endingSignals) {
        if (std::signal(signal, removeAndEnd) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
}

bool syncPath(const char* path, int flags) {
    const int handle = open(path, flags | O_CLOEXEC);
    if (handle < 0) return false;
    const bool synced = fsync(handle) == 0 || errno == EINVAL;  // EINVAL: nothing to sync on this file system
    return close(handle) == 0 && synced;
}

// The rights of the file that is replaced, or those that a newly created file gets.
mode_t rightsFor(const std::string& path) {
    struct stat existing = {};
    if (stat(path.c_str(), &existing) == 0) return existing.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

bool removeOnSignal(const std::string& path) {
    armed = 0;
    if (path.size() >= sizeof doomed) return false;
    if (path.empty()) return true;
    std::memcpy(doomed, path.c_str(), path.size() + 1);
    armed = 1;
    catchSignals();
    return true;
}

WholeFile::WholeFile(const std::string& path) : path_(path) {
    std::error_code error;
    if (fs::is_symlink(path, error) && fs::exists(path, error)) path_ = fs::canonical(path, error).string();
    if (fs::exists(path_, error) && !fs::is_regular_file(path_, error)) {
        complain("%s: exists and is not a regular file", path.c_str());
        return;
    }
    const fs::path name(path_);
    std::string pattern =
        (name.parent_path() / ("." + name.filename().string().substr(0, 200) + ".XXXXXX")).string();
    if (pattern.size() >= sizeof doomed) {
        complain("%s: the name is too long", path.c_str());
        return;
    }
    const int handle = mkostemp(pattern.data(), O_CLOEXEC);
    if (handle < 0) {
        complain("%s: cannot be created: %s", path.c_str(), std::strerror(errno));
        return;
    }
    temporary_ = pattern;
    (void)removeOnSignal(temporary_);
    fchmod(handle, rightsFor(path_));
    close(handle);
}

WholeFile::~WholeFile() {
    remove();
}

bool WholeFile::commit() {
    const std::string directory = fs::path(path_).parent_path().string();
    bool done = syncPath(temporary_.c_str(), O_RDONLY) && rename(temporary_.c_str(), path_.c_str()) == 0;
    if (!done) {
        complain("%s: cannot be written: %s", path_.c_str(), std::strerror(errno));
        remove();
        return false;
    }
    (void)removeOnSignal("");
    temporary_.clear();
    // The name itself reaches the disk with the directory; the file is whole either way.
    syncPath(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY);
    return true;
}

void WholeFile::remove() {
    if (temporary_.empty()) return;
    unlink(temporary_.c_str());
    (void)removeOnSignal("");
    temporary_.clear();
}

}  // namespace tools
