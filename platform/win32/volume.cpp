#include "platform/volume.h"

#include <windows.h>

#include <cerrno>
#include <system_error>

#include "platform/win32/path.h"

namespace orvkit::platform {

bool freeSpace(const char* path, std::uint64_t& bytes, std::string& reason) {
    const WidePath wide(path);
    ULARGE_INTEGER free{};
    if (wide.ok() && ::GetDiskFreeSpaceExW(wide.get(), &free, nullptr, nullptr) != 0) {
        bytes = free.QuadPart;
        return true;
    }
    if (wide.ok()) (void)failWithErrno();
    reason = std::generic_category().message(errno);
    return false;
}

}  // namespace orvkit::platform
