#include "platform/secret.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace orvkit::platform {

FileHandle createNew(const char* path, bool secret) noexcept {
    return FileHandle(::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, secret ? 0600 : 0666));
}

bool isExposed(const char* path) noexcept {
    struct stat status = {};
    return ::stat(path, &status) == 0 && (status.st_mode & S_IROTH) != 0;
}

}  // namespace orvkit::platform
