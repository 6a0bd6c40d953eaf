// Finding Pixel Data in a data set whose fragments are still arriving.
#ifndef ORVKIT_NETWORK_PIXEL_SEARCH_H
#define ORVKIT_NETWORK_PIXEL_SEARCH_H

#include <cstdint>
#include <span>
#include <vector>

#include "encoding/walk.h"

namespace orvkit {

// Bytes in several pieces, which must stay where they are as long as the source.
class ChainSource final : public ByteSource {
  public:
    void append(std::span<const unsigned char> piece);
    // Copies [from, to) out.
    void copy(std::uint64_t from, std::uint64_t to, unsigned char* into) const;

  private:
    void load(std::uint64_t offset, std::size_t n) override;
    std::size_t pieceAt(std::uint64_t offset) const noexcept;

    struct Piece {
        std::uint64_t start;
        std::span<const unsigned char> bytes;
    };
    std::vector<Piece> pieces_;
    std::vector<unsigned char> joined_;  // a window over the border of pieces
};

// Walks on from where the last look ended, so that all looks together are linear in the bytes. What has to
// arrive before an element can be passed is waited for; a sequence of undefined length is looked at again
// whenever its bytes have doubled.
class PixelSearch {
  public:
    explicit PixelSearch(DICT_UID xferSyn) : mode_(Mode::of(xferSyn)) {}

    void append(std::span<const unsigned char> piece) { source_.append(piece); }
    // True when the header of (7FE0,0010) has arrived whole. `last`: nothing more will come.
    bool look(bool last);

    std::uint64_t size() const noexcept { return source_.size(); }
    std::uint64_t offset() const noexcept { return found_.offset; }            // of its tag
    std::uint64_t valueOffset() const noexcept { return found_.valueOffset; }  // of its value
    const ChainSource& source() const noexcept { return source_; }

  private:
    ChainSource source_;
    Mode mode_;
    std::uint64_t position_ = 0;
    std::uint64_t needed_ = 0;  // bytes without which a look is in vain
    bool hopeless_ = false;     // the bytes are no data set
    WalkHeader found_;
};

}  // namespace orvkit

#endif
