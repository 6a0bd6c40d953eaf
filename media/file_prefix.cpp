#include "media/file_prefix.h"

#include <algorithm>
#include <limits>

#include "foundation/fail.h"
#include "foundation/grow.h"

namespace orvkit {

namespace {
constexpr std::uint64_t kMostReadAhead = std::uint64_t{1} << 20;
}

int FilePrefix::open(const char* path, const char* statReporter, const char* openReporter,
                     std::size_t firstRead) {
    // Looked at by its path, so that a pipe or a device is refused without being opened.
    platform::FileInfo info;
    if (!platform::examine(path, info))
        return fail(DIR_STAT, LOG_ERROR, statReporter, "stat error file '%s'", path);
    if (info.kind != platform::FileKind::regular) {
        return fail(DIR_STAT, LOG_ERROR, statReporter, "'%s' is not a regular file", path);
    }
    handle_ = platform::openRead(path);
    if (!handle_) return fail(DIR_OPEN, LOG_ERROR, openReporter, "Error opening file '%s'", path);
    size_ = static_cast<std::uint64_t>(info.size);
    firstRead_ = firstRead;
    return RESULT_OK;
}

bool FilePrefix::loadTo(std::uint64_t end) {
    const std::uint64_t to = std::min(end, size_);
    return extend(to, to);
}

void FilePrefix::load(std::uint64_t offset, std::size_t n) {
    const std::uint64_t need = std::min(offset + n, size_);
    if (failed_ || need <= loaded_) return;
    const std::uint64_t ahead =
        loaded_ == 0 ? firstRead_ : loaded_ + std::min<std::uint64_t>(loaded_, kMostReadAhead);
    const std::uint64_t to = std::min(std::max(need, std::min(ahead, limit_)), size_);
    (void)extend(to, std::max<std::uint64_t>(to, std::min<std::uint64_t>(2 * capacity_, size_)));
}

// Reads on until `to` bytes are held, in a block of at least `capacity`.
bool FilePrefix::extend(std::uint64_t to, std::uint64_t capacity) {
    if (failed_) return false;
    if (to <= loaded_) return true;
    if (to > limit_) {
        overLimit_ = true;
        failed_ = true;
        return false;
    }
    if (!reserve(capacity)) {
        outOfMemory_ = true;
        failed_ = true;
        return false;
    }
    const std::size_t wanted = static_cast<std::size_t>(to) - loaded_;
    const std::int64_t got =
        platform::readAt(handle_.get(), block_.get() + loaded_, wanted, static_cast<std::int64_t>(loaded_));
    failed_ = got < 0;
    if (got > 0) loaded_ += static_cast<std::size_t>(got);
    if (!failed_ && static_cast<std::size_t>(got) < wanted) size_ = loaded_;
    window_ = bytes();
    return !failed_;
}

bool FilePrefix::reserve(std::uint64_t capacity) {
    if (capacity <= capacity_) return true;
    if (capacity > std::numeric_limits<std::size_t>::max() / 2) return false;
    const auto size = static_cast<std::size_t>(capacity);
    auto* grown = static_cast<unsigned char*>(grow(block_.get(), size));
    if (grown == nullptr) return false;
    (void)block_.release();
    block_.reset(grown);
    capacity_ = size;
    return true;
}

}  // namespace orvkit
