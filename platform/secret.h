// What a platform must implement: files that hold secrets, such as private keys and passwords.
#ifndef ORVKIT_PLATFORM_SECRET_H
#define ORVKIT_PLATFORM_SECRET_H

#include "platform/file.h"

namespace orvkit::platform {

// A new file for writing; `secret`: that nobody but its owner may read (on Windows whom its directory
// allows). Fails when the path exists.
[[nodiscard]] FileHandle createNew(const char* path, bool secret) noexcept;
// Whether everybody on this machine may read a file, as far as the system tells by simple means.
bool isExposed(const char* path) noexcept;

}  // namespace orvkit::platform

#endif
