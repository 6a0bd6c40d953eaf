#include "encoding/source.h"

#include <algorithm>

#include "platform/file.h"

namespace orvkit {
namespace {

constexpr std::size_t kReadBuffer = 16384;
// After a jump only a header is wanted: the bytes behind it are most likely a fragment to be jumped over too.
constexpr std::size_t kReadAfterJump = 256;
constexpr std::uint64_t kNearby = 4096;

}  // namespace

void FileSource::load(std::uint64_t offset, std::size_t n) {
    if (failed_ || offset >= size_) return;
    const std::uint64_t windowEnd = windowAt_ + window_.size();
    const bool jump = !window_.empty() && (offset < windowAt_ || offset > windowEnd + kNearby);
    const std::size_t wanted = std::min(std::max(n, jump ? kReadAfterJump : kReadBuffer), kReadBuffer);
    const auto room = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, size_ - offset));
    if (buffer_.empty()) buffer_.resize(kReadBuffer);
    const std::int64_t got = readAt(offset, buffer_.data(), room);
    // A file that has become shorter is as unreadable as a broken one.
    if (got < static_cast<std::int64_t>(std::min(n, room))) failed_ = true;
    window_ = std::span(buffer_).first(got < 0 ? 0 : static_cast<std::size_t>(got));
    windowAt_ = offset;
}

HandleSource::HandleSource(int handle) noexcept : handle_(handle) {
    platform::FileInfo info;
    failed_ = !platform::examine(handle, info) || info.kind != platform::FileKind::regular;
    if (!failed_) size_ = static_cast<std::uint64_t>(info.size);
}

std::int64_t HandleSource::readAt(std::uint64_t offset, unsigned char* into, std::size_t room) {
    return platform::readAt(handle_, into, room, static_cast<std::int64_t>(offset));
}

StreamSource::StreamSource(FILE* file) noexcept : file_(file), start_(platform::tellStream(file)) {
    std::int64_t end = -1;
    if (start_ >= 0 && platform::seekStream(file, 0, SEEK_END)) end = platform::tellStream(file);
    failed_ = end < 0;
    if (!failed_) size_ = static_cast<std::uint64_t>(end);
}

StreamSource::~StreamSource() {
    if (start_ >= 0) (void)platform::seekStream(file_, start_);
}

std::int64_t StreamSource::readAt(std::uint64_t offset, unsigned char* into, std::size_t room) {
    if (!platform::seekStream(file_, static_cast<std::int64_t>(offset))) return -1;
    return static_cast<std::int64_t>(std::fread(into, 1, room, file_));
}

}  // namespace orvkit
