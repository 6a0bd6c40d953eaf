#include "platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>

namespace orvkit::platform {

namespace {

// Systems refuse or cut larger requests.
constexpr std::size_t largestRequest = std::size_t{1} << 30;
constexpr mode_t readableByAll = 0666;  // less what the user's mask takes away

FileHandle openWith(const char* path, int flags, mode_t mode = readableByAll) noexcept {
    int handle;
    do {
        handle = ::open(path, flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (handle == -1 && errno == EINTR);
    return FileHandle(handle);
}

// A new file with the rights of the one at `like`, and never with more.
FileHandle openLike(const char* path, int flags, const char* like) noexcept {
    struct stat status = {};
    const bool known = like != nullptr && ::stat(like, &status) == 0;
    FileHandle file = openWith(path, flags, known ? status.st_mode & readableByAll : readableByAll);
    if (file && known) (void)::fchmod(file.get(), status.st_mode & 07777);
    return file;
}

enum class Lock : unsigned char { taken, elsewhere, unknown };

// The lock goes with the last handle on the open file.
Lock tryLock(int handle) noexcept {
    if (::flock(handle, LOCK_EX | LOCK_NB) == 0) return Lock::taken;
    return errno == EWOULDBLOCK ? Lock::elsewhere : Lock::unknown;
}

struct SystemName {
    explicit SystemName(int handle) noexcept {
        (void)std::snprintf(text, sizeof text, "/proc/self/fd/%d", handle);
    }
    char text[32];
};

// Calls `once(bytes done, bytes wanted)`, which reads or writes some, until nothing is left or the file ends.
template <typename Once>
std::int64_t transfer(std::size_t length, Once once) noexcept {
    std::size_t done = 0;
    while (done < length) {
        const ssize_t n = once(done, std::min(length - done, largestRequest));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return -1;
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    return static_cast<std::int64_t>(done);
}

FileKind kindOf(mode_t mode) noexcept {
    if (S_ISREG(mode)) return FileKind::regular;
    return S_ISDIR(mode) ? FileKind::directory : FileKind::other;
}

bool fill(FileInfo& info, int result, const struct stat& status) noexcept {
    if (result != 0) return false;
    info.size = status.st_size;
    info.kind = kindOf(status.st_mode);
    info.created = status.st_ctime;
    info.modified = status.st_mtime;
    info.volume = status.st_dev;
    info.index = status.st_ino;
    return true;
}

}  // namespace

bool closeHandle(int handle) noexcept {
    if (handle == -1) return true;
    const int reason = errno;  // of what failed before the handle was given up
    const bool closed = ::close(handle) == 0 || errno == EINTR;
    errno = reason;
    return closed;
}

FileHandle openRead(const char* path) noexcept {
    return openWith(path, O_RDONLY);
}
FileHandle createWrite(const char* path) noexcept {
    return openWith(path, O_WRONLY | O_CREAT | O_TRUNC);
}
FileHandle openAppend(const char* path) noexcept {
    return openWith(path, O_WRONLY | O_CREAT | O_APPEND);
}
std::FILE* openStream(const char* path, const char* mode) noexcept {
    return std::fopen(path, mode);
}

std::int64_t tellStream(std::FILE* stream) noexcept {
    return ::ftello(stream);
}
bool seekStream(std::FILE* stream, std::int64_t offset, int whence) noexcept {
    return ::fseeko(stream, offset, whence) == 0;
}

FileHandle createTemporary(const char* path, const char* like) noexcept {
    FileHandle file = openLike(path, O_WRONLY | O_CREAT | O_EXCL, like);
    if (!file) return file;
    // Between the two calls it looked abandoned.
    struct stat status = {};
    const bool lost =
        tryLock(file.get()) == Lock::elsewhere || (::fstat(file.get(), &status) == 0 && status.st_nlink == 0);
    if (lost) {
        file.reset();
        errno = EEXIST;
    }
    return file;
}

FileHandle createUnnamed(const char* directory, const char* like) noexcept {
#if defined(O_TMPFILE)
    FileHandle file = openLike(directory, O_WRONLY | O_TMPFILE, like);
    // Its only way to a name must be there.
    if (file && ::access(SystemName(file.get()).text, F_OK) == 0) {
        (void)tryLock(file.get());
        return file;
    }
#else
    (void)directory;
    (void)like;
#endif
    errno = ENOSYS;
    return {};
}

bool giveName(int handle, const char* path) noexcept {
    return ::linkat(AT_FDCWD, SystemName(handle).text, AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
}

std::string pathOfHandle(int handle) {
    return SystemName(handle).text;
}

bool removeAbandoned(const char* path) noexcept {
    constexpr std::time_t day = 24 * 60 * 60;
    const FileHandle file = openWith(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
    const Lock lock = tryLock(file.get());
    if (lock == Lock::elsewhere) return false;
    if (lock == Lock::unknown && std::time(nullptr) - status.st_mtime < day) return false;
    // Between the two calls its maker may have given it another name, and somebody else taken this one.
    struct stat now = {};
    if (::lstat(path, &now) != 0 || now.st_dev != status.st_dev || now.st_ino != status.st_ino) return false;
    return ::unlink(path) == 0;
}

FileHandle duplicate(int handle) noexcept {
    return FileHandle(::fcntl(handle, F_DUPFD_CLOEXEC, 3));
}

std::int64_t readAt(int handle, void* data, std::size_t length, std::int64_t offset) noexcept {
    return transfer(length, [=](std::size_t done, std::size_t wanted) {
        return ::pread(handle, static_cast<char*>(data) + done, wanted,
                       static_cast<off_t>(offset) + static_cast<off_t>(done));
    });
}

std::int64_t read(int handle, void* data, std::size_t length) noexcept {
    return transfer(length, [=](std::size_t done, std::size_t wanted) {
        return ::read(handle, static_cast<char*>(data) + done, wanted);
    });
}

bool writeAll(int handle, const void* data, std::size_t length) noexcept {
    const std::int64_t written = transfer(length, [=](std::size_t done, std::size_t wanted) {
        return ::write(handle, static_cast<const char*>(data) + done, wanted);
    });
    return written == static_cast<std::int64_t>(length);
}

bool seek(int handle, std::int64_t offset) noexcept {
    return ::lseek(handle, offset, SEEK_SET) == offset;
}
std::int64_t tell(int handle) noexcept {
    return ::lseek(handle, 0, SEEK_CUR);
}

namespace {

std::int64_t copyThroughMemory(int from, std::int64_t offset, int to, std::int64_t length) noexcept {
    char block[std::size_t{64} << 10];
    std::int64_t copied = 0;
    while (copied < length) {
        const std::int64_t want = std::min<std::int64_t>(length - copied, sizeof block);
        const std::int64_t got = readAt(from, block, static_cast<std::size_t>(want), offset + copied);
        if (got < 0 || !writeAll(to, block, static_cast<std::size_t>(got))) return -1;
        copied += got;
        if (got < want) break;
    }
    return copied;
}

}  // namespace

std::int64_t copyRange(int from, std::int64_t offset, int to, std::int64_t length) noexcept {
    std::int64_t copied = 0;
#if defined(__linux__)
    // Inside the kernel, where the two file systems allow it; what that leaves goes through memory.
    while (copied < length) {
        off64_t at = offset + copied;
        const std::size_t want =
            static_cast<std::size_t>(std::min<std::int64_t>(length - copied, largestRequest));
        const ssize_t n = ::copy_file_range(from, &at, to, nullptr, want, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        copied += n;
    }
#endif
    if (copied == length) return copied;
    const std::int64_t rest = copyThroughMemory(from, offset + copied, to, length - copied);
    return rest < 0 ? -1 : copied + rest;
}

bool examine(int handle, FileInfo& info) noexcept {
    struct stat status = {};
    return fill(info, ::fstat(handle, &status), status);
}

bool examine(const char* path, FileInfo& info) noexcept {
    struct stat status = {};
    return fill(info, ::stat(path, &status), status);
}

bool sync(int handle) noexcept {
    return ::fsync(handle) == 0 || errno == EINVAL;
}

void beginSync([[maybe_unused]] int handle) noexcept {
#if defined(__linux__)
    (void)::sync_file_range(handle, 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
}

bool syncEntry(const char* path) noexcept {
    // On the stack: what has its name already does not fail for want of memory.
    char folder[4096] = ".";
    const char* const slash = std::strrchr(path, '/');
    const std::size_t length = slash == nullptr ? 0 : static_cast<std::size_t>(slash + 1 - path);
    if (length >= sizeof folder) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(folder, path, length);
    if (length != 0) folder[length] = '\0';
    const FileHandle handle = openWith(folder, O_RDONLY | O_DIRECTORY);
    return handle && sync(handle.get());
}

void syncAll() noexcept {
    ::sync();
}

bool rename(const char* from, const char* to) noexcept {
    return ::rename(from, to) == 0;
}
bool rename(FileHandle file, const char* from, const char* to) noexcept {
    // Some file systems tell of lost bytes when a handle is closed; the last one holds the lock.
    FileHandle second = duplicate(file.get());
    return second && second.close() && rename(from, to);
}
bool remove(const char* path) noexcept {
    return ::unlink(path) == 0;
}
FileHandle lockFolder(const char* path, FolderUse use) noexcept {
    FileHandle folder = openWith(path, O_RDONLY | O_DIRECTORY);
    const int how = (use == FolderUse::alone ? LOCK_EX : LOCK_SH) | LOCK_NB;
    while (folder && ::flock(folder.get(), how) != 0) {
        if (errno == EINTR) continue;
        // Some network file systems lock only what can be written.
        if (errno == EBADF || errno == ENOLCK || errno == EINVAL || errno == ENOSYS) errno = ENOTSUP;
        folder.reset();
    }
    return folder;
}
}  // namespace orvkit::platform
