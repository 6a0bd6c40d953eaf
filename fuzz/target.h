// What the targets share.
#ifndef ORVKIT_FUZZ_TARGET_H
#define ORVKIT_FUZZ_TARGET_H

#include <cstdlib>
#include <vector>

#include "orvkit/log.h"
#include "orvkit/uids.h"
#include "platform/file.h"
#include "tests/support/system.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
// Of targets that look at their command line first; null in others, where the system knows such functions.
#ifndef _WIN32
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);
#else
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
#endif

namespace fuzz {

// Aborts, which is how a target tells of a finding.
inline void require(bool holds) {
    if (!holds) std::abort();
}

inline void switchLogOff() {
    for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
}

inline constexpr DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                        UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE};

// What stands behind the first byte, in a block of its own, so that a byte too many is seen. Nothing is
// logged from here on.
inline std::vector<unsigned char> content(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = (switchLogOff(), true);
    (void)quiet;
    return {data + 1, data + size};
}

// A file without a place in the file system, and a path to it.
class MemoryFile {
  public:
    MemoryFile() : handle_(openMemoryFile(path_)) {}
    void hold(const std::vector<unsigned char>& bytes) {
        emptyMemoryFile(handle_);
        require(orvkit::platform::writeAll(handle_, bytes.data(), bytes.size()));
        require(orvkit::platform::seek(handle_, 0));
    }
    int handle() const { return handle_; }
    const char* path() const { return path_.c_str(); }

  private:
    std::string path_;
    int handle_;
};

}  // namespace fuzz

#endif
