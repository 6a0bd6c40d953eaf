// The beginning of a file, held in memory as far as it was asked for.
#ifndef ORVKIT_MEDIA_FILE_PREFIX_H
#define ORVKIT_MEDIA_FILE_PREFIX_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <utility>

#include "encoding/walk.h"
#include "platform/file.h"

namespace orvkit {

// Grows as a walk goes on, and reads little more than is asked for: walking over headers up to Pixel Data
// does not read the pixels. Memory follows what the file delivers.
class FilePrefix final : public ByteSource {
  public:
    // How much the first read takes.
    static constexpr std::size_t kMetaOnly = 4096;
    static constexpr std::size_t kWithHeader = 32768;

    // DIR_STAT when the file cannot be examined or is no regular file, DIR_OPEN when it cannot be opened.
    int open(const char* path, const char* reporter, std::size_t firstRead) {
        return open(path, reporter, reporter, firstRead);
    }
    int open(const char* path, const char* statReporter, const char* openReporter, std::size_t firstRead);
    // A file that is open.
    void adopt(platform::FileHandle handle, std::uint64_t size) noexcept {
        handle_ = std::move(handle);
        size_ = size;
    }
    // Refuses to hold more than that.
    void setLimit(std::uint64_t bytes) noexcept { limit_ = bytes; }
    bool overLimit() const noexcept { return overLimit_; }
    bool outOfMemory() const noexcept { return outOfMemory_; }

    // Reads to the end of the file, or up to `end`; false on failure. A file that has become shorter ends
    // earlier.
    bool loadAll() { return loadTo(size_); }
    bool loadTo(std::uint64_t end);
    bool holdsAll() const noexcept { return loaded_ == size_; }
    std::span<unsigned char> bytes() noexcept { return {block_.get(), loaded_}; }
    int handle() const noexcept { return handle_.get(); }
    // What is held stays; nothing more is read.
    platform::FileHandle takeHandle() noexcept { return std::move(handle_); }

  private:
    struct Free {
        void operator()(unsigned char* p) const noexcept { std::free(p); }
    };

    void load(std::uint64_t offset, std::size_t n) override;
    bool extend(std::uint64_t to, std::uint64_t capacity);
    bool reserve(std::uint64_t capacity);

    platform::FileHandle handle_;
    std::unique_ptr<unsigned char, Free> block_;
    std::size_t loaded_ = 0;
    std::size_t capacity_ = 0;
    std::size_t firstRead_ = kWithHeader;
    std::uint64_t limit_ = UINT64_MAX;
    bool overLimit_ = false;
    bool outOfMemory_ = false;
};

}  // namespace orvkit

#endif
