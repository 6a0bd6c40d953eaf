#include "platform/volume.h"

#include <sys/statvfs.h>

#include <cerrno>
#include <system_error>

namespace orvkit::platform {

bool freeSpace(const char* path, std::uint64_t& bytes, std::string& reason) {
    struct statvfs status = {};
    if (::statvfs(path, &status) != 0) {
        reason = std::generic_category().message(errno);
        return false;
    }
    bytes = static_cast<std::uint64_t>(status.f_bavail) * status.f_frsize;
    return true;
}

}  // namespace orvkit::platform
