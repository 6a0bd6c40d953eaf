#include "platform/file.h"

#include <windows.h>
// windows.h first
#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>

#include "platform/win32/path.h"

namespace orvkit::platform {

WidePath::WidePath(const char* path) noexcept {
    const int length = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path, -1, nullptr, 0);
    if (length > 0) text_.reset(new (std::nothrow) wchar_t[static_cast<std::size_t>(length)]);
    if (text_ == nullptr) {
        errno = EINVAL;
        return;
    }
    (void)::MultiByteToWideChar(CP_UTF8, 0, path, -1, text_.get(), length);
}

bool failWithErrno() noexcept {
    switch (::GetLastError()) {
        case ERROR_FILE_NOT_FOUND:
        case ERROR_PATH_NOT_FOUND:
            errno = ENOENT;
            break;
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
            errno = EACCES;
            break;
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
            errno = EEXIST;
            break;
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_DIRECTORY:
            errno = EINVAL;
            break;
        case ERROR_TOO_MANY_OPEN_FILES:
            errno = EMFILE;
            break;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            errno = ENOSPC;
            break;
        case ERROR_INVALID_HANDLE:
            errno = EBADF;
            break;
        default:
            errno = EIO;
            break;
    }
    return false;
}

namespace {

constexpr unsigned int largestRequest = 1u << 30;

HANDLE systemHandle(int handle) noexcept {
    return reinterpret_cast<HANDLE>(::_get_osfhandle(handle));
}

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Others may read, write, rename and remove a file while it is open. Handles of directories open too.
FileHandle openWith(const char* path, DWORD access, DWORD disposition, int runtimeFlags,
                    DWORD share = shareAll) noexcept {
    const WidePath wide(path);
    if (!wide.ok()) return {};
    const HANDLE file = ::CreateFileW(
        wide.get(), access, share, nullptr, disposition,
        disposition == OPEN_EXISTING ? FILE_FLAG_BACKUP_SEMANTICS : FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        (void)failWithErrno();
        return {};
    }
    const int handle = ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file), runtimeFlags | _O_BINARY);
    if (handle == -1) ::CloseHandle(file);
    return FileHandle(handle);
}

std::time_t timeOf(const FILETIME& time) noexcept {
    constexpr std::uint64_t unixEpoch = 116444736000000000;  // in units of 100 ns since 1601
    const std::uint64_t ticks = std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
    return ticks < unixEpoch ? 0 : static_cast<std::time_t>((ticks - unixEpoch) / 10000000);
}

bool examineSystem(HANDLE file, FileInfo& info) noexcept {
    BY_HANDLE_FILE_INFORMATION known{};
    if (::GetFileType(file) != FILE_TYPE_DISK) {
        info = {};
        return ::GetLastError() == NO_ERROR || ::GetFileType(file) != FILE_TYPE_UNKNOWN || failWithErrno();
    }
    if (::GetFileInformationByHandle(file, &known) == 0) return failWithErrno();
    info.size = static_cast<std::int64_t>(std::uint64_t{known.nFileSizeHigh} << 32 | known.nFileSizeLow);
    info.kind =
        (known.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::directory : FileKind::regular;
    info.created = timeOf(known.ftCreationTime);
    info.modified = timeOf(known.ftLastWriteTime);
    info.volume = known.dwVolumeSerialNumber;
    info.index = std::uint64_t{known.nFileIndexHigh} << 32 | known.nFileIndexLow;
    return true;
}

}  // namespace

bool closeHandle(int handle) noexcept {
    if (handle == -1) return true;
    const int reason = errno;
    const bool closed = ::_close(handle) == 0;
    if (closed) errno = reason;
    return closed;
}

FileHandle openRead(const char* path) noexcept {
    return openWith(path, GENERIC_READ, OPEN_EXISTING, _O_RDONLY);
}
FileHandle createWrite(const char* path) noexcept {
    return openWith(path, GENERIC_WRITE, CREATE_ALWAYS, 0);
}
FileHandle openAppend(const char* path) noexcept {
    return openWith(path, GENERIC_WRITE, OPEN_ALWAYS, _O_APPEND);
}

std::FILE* openStream(const char* path, const char* mode) noexcept {
    const WidePath name(path);
    const WidePath how(mode);
    return name.ok() && how.ok() ? ::_wfopen(name.get(), how.get()) : nullptr;
}

std::int64_t tellStream(std::FILE* stream) noexcept {
    return ::_ftelli64(stream);
}
bool seekStream(std::FILE* stream, std::int64_t offset, int whence) noexcept {
    return ::_fseeki64(stream, offset, whence) == 0;
}

// Others cannot remove it as long as it is open. It has the rights that its directory hands down.
FileHandle createTemporary(const char* path, const char*) noexcept {
    return openWith(path, GENERIC_WRITE, CREATE_NEW, 0, FILE_SHARE_READ | FILE_SHARE_WRITE);
}
FileHandle createUnnamed(const char*, const char*) noexcept {
    errno = ENOSYS;
    return {};
}
bool giveName(int, const char*) noexcept {
    errno = ENOSYS;
    return false;
}
std::string pathOfHandle(int) {
    return {};
}
bool removeAbandoned(const char* path) noexcept {
    return remove(path);
}

FileHandle duplicate(int handle) noexcept {
    return FileHandle(::_dup(handle));
}

std::int64_t read(int handle, void* data, std::size_t length) noexcept {
    std::size_t done = 0;
    while (done < length) {
        const auto wanted = static_cast<unsigned int>(std::min<std::size_t>(length - done, largestRequest));
        const int n = ::_read(handle, static_cast<char*>(data) + done, wanted);
        if (n < 0) return -1;
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    return static_cast<std::int64_t>(done);
}

std::int64_t readAt(int handle, void* data, std::size_t length, std::int64_t offset) noexcept {
    // Each such read says its place, so several threads may do it at once. It moves the file's position,
    // which is put back.
    const HANDLE file = systemHandle(handle);
    const std::int64_t before = tell(handle);
    if (file == INVALID_HANDLE_VALUE || before == -1) return -1;
    std::size_t done = 0;
    bool failed = false;
    while (done < length && !failed) {
        const auto wanted = static_cast<DWORD>(std::min<std::size_t>(length - done, largestRequest));
        const auto at = static_cast<std::uint64_t>(offset) + done;
        OVERLAPPED place = {};
        place.Offset = static_cast<DWORD>(at);
        place.OffsetHigh = static_cast<DWORD>(at >> 32);
        DWORD got = 0;
        failed = ::ReadFile(file, static_cast<char*>(data) + done, wanted, &got, &place) == 0 &&
                 ::GetLastError() != ERROR_HANDLE_EOF;
        if (got == 0) break;
        done += got;
    }
    if (failed) errno = EIO;
    const int reason = errno;
    (void)seek(handle, before);
    errno = reason;
    return failed ? -1 : static_cast<std::int64_t>(done);
}

bool writeAll(int handle, const void* data, std::size_t length) noexcept {
    for (std::size_t done = 0; done < length;) {
        const auto wanted = static_cast<unsigned int>(std::min<std::size_t>(length - done, largestRequest));
        const int n = ::_write(handle, static_cast<const char*>(data) + done, wanted);
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

bool seek(int handle, std::int64_t offset) noexcept {
    return ::_lseeki64(handle, offset, SEEK_SET) != -1;
}
std::int64_t tell(int handle) noexcept {
    return ::_telli64(handle);
}

std::int64_t copyRange(int from, std::int64_t offset, int to, std::int64_t length) noexcept {
    constexpr std::size_t room = 1 << 20;
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[room]);
    if (buffer == nullptr) {
        errno = ENOMEM;
        return -1;
    }
    std::int64_t done = 0;
    while (done < length) {
        const auto wanted = static_cast<std::size_t>(std::min<std::int64_t>(length - done, room));
        const std::int64_t n = readAt(from, buffer.get(), wanted, offset + done);
        if (n < 0 || !writeAll(to, buffer.get(), static_cast<std::size_t>(n))) return -1;
        done += n;
        if (static_cast<std::size_t>(n) < wanted) break;
    }
    return done;
}

bool examine(int handle, FileInfo& info) noexcept {
    const HANDLE file = systemHandle(handle);
    if (file == INVALID_HANDLE_VALUE) {
        errno = EBADF;
        return false;
    }
    return examineSystem(file, info);
}

bool examine(const char* path, FileInfo& info) noexcept {
    const WidePath wide(path);
    if (!wide.ok()) return false;
    // The flag opens directories too.
    const HANDLE file = ::CreateFileW(wide.get(), FILE_READ_ATTRIBUTES, shareAll, nullptr, OPEN_EXISTING,
                                      FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (file == INVALID_HANDLE_VALUE) return failWithErrno();
    const bool known = examineSystem(file, info);
    ::CloseHandle(file);
    return known;
}

bool sync(int handle) noexcept {
    return ::_commit(handle) == 0;
}
void beginSync(int) noexcept {}
// The file system keeps its own journal of names; there is no call for a directory.
bool syncEntry(const char*) noexcept {
    return true;
}

// Only an administrator may flush a volume; files that move keep what is on the disk.
void syncAll() noexcept {}

bool rename(const char* from, const char* to) noexcept {
    const WidePath source(from);
    const WidePath target(to);
    if (!source.ok() || !target.ok()) return false;
    return ::MoveFileExW(source.get(), target.get(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) !=
               0 ||
           failWithErrno();
}

// An open file that others cannot remove cannot get another name either.
bool rename(FileHandle file, const char* from, const char* to) noexcept {
    return file.close() && rename(from, to);
}

bool remove(const char* path) noexcept {
    const WidePath wide(path);
    return wide.ok() && ::_wremove(wide.get()) == 0;
}

// A file that goes with its last handle; the ways of sharing it are the lock.
FileHandle lockFolder(const char* path, FolderUse use) noexcept {
    const WidePath folder(path);
    if (!folder.ok()) return {};
    try {
        const std::wstring name = std::wstring(folder.get()) + L"/.orvkit-lock";
        const DWORD others = use == FolderUse::shared ? FILE_SHARE_READ | FILE_SHARE_DELETE : 0;
        const HANDLE file = ::CreateFileW(name.c_str(), GENERIC_READ | DELETE, others, nullptr, OPEN_ALWAYS,
                                          FILE_ATTRIBUTE_HIDDEN | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            const int handle =
                ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_RDONLY | _O_BINARY);
            if (handle == -1) ::CloseHandle(file);
            return FileHandle(handle);
        }
        const bool taken = ::GetLastError() == ERROR_SHARING_VIOLATION;
        (void)failWithErrno();
        if (taken) errno = EWOULDBLOCK;
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
    }
    return {};
}

}  // namespace orvkit::platform
