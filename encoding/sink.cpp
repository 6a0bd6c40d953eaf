#include "encoding/sink.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "foundation/grow.h"
#include "platform/file.h"

namespace orvkit {
namespace {

constexpr std::size_t kPiece = 65536;
constexpr std::size_t kWriteChunk = 1048576;
constexpr std::size_t kFirstBlock = 65536;

}  // namespace

std::int64_t ByteSink::copy(int from, std::int64_t offset, std::int64_t length) {
    std::array<unsigned char, kPiece> piece;
    std::int64_t done = 0;
    while (done < length) {
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(length - done, kPiece));
        const std::int64_t got = platform::readAt(from, piece.data(), want, offset + done);
        if (got < 0 || !put(std::span(piece).first(static_cast<std::size_t>(got)))) return -1;
        done += got;
        if (got < static_cast<std::int64_t>(want)) break;
    }
    return done;
}

bool HandleSink::put(std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const auto chunk = bytes.first(std::min(bytes.size(), kWriteChunk));
        if (!platform::writeAll(handle_, chunk.data(), chunk.size())) return false;
        bytes = bytes.subspan(chunk.size());
    }
    return true;
}

std::int64_t HandleSink::copy(int from, std::int64_t offset, std::int64_t length) {
    std::int64_t done = 0;
    while (done < length) {
        const std::int64_t want = std::min(length - done, platform::syncPiece);
        const std::int64_t got = platform::copyRange(from, offset + done, handle_, want);
        if (got < 0) return -1;
        done += got;
        if (got < want) break;
        if (want == platform::syncPiece) platform::beginSync(handle_);
    }
    return done;
}

bool MemorySink::put(std::span<const unsigned char> bytes) {
    if (bytes.empty()) return true;
    if (bytes.size() > capacity_ - size_) {
        const std::size_t wanted = std::max({size_ + bytes.size(), 2 * capacity_, kFirstBlock});
        auto* const grown = static_cast<unsigned char*>(grow(block_.get(), wanted));
        if (grown == nullptr) return false;
        (void)block_.release();
        block_.reset(grown);
        capacity_ = wanted;
    }
    std::memcpy(block_.get() + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
    return true;
}

}  // namespace orvkit
