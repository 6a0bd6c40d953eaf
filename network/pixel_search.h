// Finding Pixel Data in a data set whose fragments are still arriving.
#ifndef ORVKIT_NETWORK_PIXEL_SEARCH_H
#define ORVKIT_NETWORK_PIXEL_SEARCH_H

#include <cstdint>
#include <span>
#include <vector>

#include "encoding/walk.h"

namespace orvkit {

// Bytes in several pieces, which must stay where they are as long as the chain.
class Chain {
  public:
    void append(std::span<const unsigned char> piece);
    std::uint64_t size() const noexcept { return size_; }
    // Copies [from, to) out.
    void copy(std::uint64_t from, std::uint64_t to, unsigned char* into) const;

  private:
    struct Piece {
        std::uint64_t start;
        std::span<const unsigned char> bytes;
    };
    std::vector<Piece> pieces_;
    std::uint64_t size_ = 0;
};

// Every byte is walked over once, when it arrives.
class PixelSearch {
  public:
    explicit PixelSearch(DICT_UID xferSyn) : walk_(Mode::of(xferSyn)) {}

    void append(std::span<const unsigned char> piece);
    // True when the header of (7FE0,0010) has arrived whole, and something behind it.
    bool found() const noexcept { return found_ && size() > pixels_.valueOffset; }

    std::uint64_t size() const noexcept { return source_.size(); }
    std::uint64_t offset() const noexcept { return pixels_.offset; }            // of its tag
    std::uint64_t valueOffset() const noexcept { return pixels_.valueOffset; }  // of its value
    const Chain& source() const noexcept { return source_; }

  private:
    Chain source_;
    PushWalk walk_;
    bool found_ = false;
    WalkHeader pixels_;
};

}  // namespace orvkit

#endif
