// What a platform must implement: the volumes that files stand on.
#ifndef ORVKIT_PLATFORM_VOLUME_H
#define ORVKIT_PLATFORM_VOLUME_H

#include <cstdint>
#include <string>

namespace orvkit::platform {

// The bytes that the caller may still write on the volume that holds a path; false on failure, and `reason`
// is then the system's own text.
[[nodiscard]] bool freeSpace(const char* path, std::uint64_t& bytes, std::string& reason);

}  // namespace orvkit::platform

#endif
