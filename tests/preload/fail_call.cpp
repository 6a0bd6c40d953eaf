// Preloaded into a program: one call of the system fails, as the file FAIL_CALL tells while it is there:
// "<call> <n> <errno>", the n-th from then on. When that has failed, the file is gone.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool fails(const char* call) {
    static std::atomic<int> count = 0, at = 0;
    const char* const path = std::getenv("FAIL_CALL");
    char text[64] = "";
    const long file = path == nullptr ? -1 : ::syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    (void)::syscall(SYS_read, file, text, sizeof text - 1);
    (void)::syscall(SYS_close, file);
    char name[32];
    int n = 0, reason = 0;
    if (std::sscanf(text, "%31s %d %d", name, &n, &reason) != 3 || std::strcmp(name, call) != 0) return false;
    if (at.exchange(n) != n) count = 0;
    if (++count != n) return false;
    at = 0;
    (void)::syscall(SYS_unlinkat, AT_FDCWD, path, 0);
    errno = reason;
    return true;
}

// Where files have 64-bit places beside others, their calls have names of their own.
constexpr bool hasTwo = sizeof(long) < sizeof(off_t);

template <typename Call>
Call next(Call, const char* name, const char* name64) {
    return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, hasTwo ? name64 : name));
}

int openNext(const char* call, int folder, const char* path, int flags, std::va_list rest) {
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
    return fails(call) ? -1 : static_cast<int>(::syscall(SYS_openat, folder, path, flags, mode));
}

}  // namespace

extern "C" {
int open(const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const int handle = openNext("open", AT_FDCWD, path, flags, rest);
    va_end(rest);
    return handle;
}
// Of a directory, by the C++ library.
int openat(int folder, const char* path, int flags, ...) {
    std::va_list rest;
    va_start(rest, flags);
    const int handle = openNext("openat", folder, path, flags, rest);
    va_end(rest);
    return handle;
}
ssize_t read(int handle, void* data, size_t length) {
    return fails("read") ? -1 : next(read, "read", "read")(handle, data, length);
}
ssize_t pread(int handle, void* data, size_t length, off_t at) {
    return fails("read") ? -1 : next(pread, "pread", "pread64")(handle, data, length, at);
}
ssize_t copy_file_range(int from, off64_t* at, int to, off64_t* toAt, size_t length, unsigned int flags) {
    return fails("copy") ? -1
                         : next(copy_file_range, "copy_file_range", "copy_file_range")(from, at, to, toAt,
                                                                                       length, flags);
}
int fstat(int handle, struct stat* status) noexcept {
    return fails("stat") ? -1 : next(fstat, "fstat", "fstat64")(handle, status);
}
}
