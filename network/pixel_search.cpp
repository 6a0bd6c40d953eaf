#include "network/pixel_search.h"

#include <algorithm>
#include <cstring>

namespace orvkit {

void ChainSource::append(std::span<const unsigned char> piece) {
    if (piece.empty()) return;
    pieces_.push_back({size_, piece});
    size_ += piece.size();
}

std::size_t ChainSource::pieceAt(std::uint64_t offset) const noexcept {
    const auto after =
        std::upper_bound(pieces_.begin(), pieces_.end(), offset,
                         [](std::uint64_t at, const Piece& piece) { return at < piece.start; });
    return static_cast<std::size_t>(after - pieces_.begin()) - 1;
}

void ChainSource::copy(std::uint64_t from, std::uint64_t to, unsigned char* into) const {
    if (from >= to) return;
    for (std::size_t i = pieceAt(from); from < to && i < pieces_.size(); ++i) {
        const Piece& piece = pieces_[i];
        const auto skip = static_cast<std::size_t>(from - piece.start);
        const auto n = std::min<std::uint64_t>(piece.bytes.size() - skip, to - from);
        std::memcpy(into, piece.bytes.data() + skip, static_cast<std::size_t>(n));
        into += n;
        from += n;
    }
}

void ChainSource::load(std::uint64_t offset, std::size_t n) {
    windowAt_ = offset;
    window_ = {};
    if (offset >= size_) return;
    const Piece& piece = pieces_[pieceAt(offset)];
    const auto rest = piece.bytes.subspan(static_cast<std::size_t>(offset - piece.start));
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(n, size_ - offset));
    if (rest.size() >= wanted) {
        window_ = rest;
        return;
    }
    joined_.resize(wanted);
    copy(offset, offset + wanted, joined_.data());
    window_ = joined_;
}

bool PixelSearch::look(bool last) {
    if (hopeless_ || (source_.size() < needed_ && !last)) return false;
    const std::uint64_t size = source_.size();
    Walker walker(source_, position_, size, mode_);
    for (;;) {
        position_ = walker.position();
        WalkHeader header;
        if (walker.peek(header) != WalkStep::element) {
            needed_ = size + 1;
            return false;
        }
        if (header.tag == kTagPixelData && header.valueOffset <= size) {
            if (header.valueOffset < size) {
                found_ = header;
                return true;
            }
            needed_ = size + 1;
            return false;
        }
        if (walker.skip(header)) continue;
        hopeless_ = walker.fault() == WalkFault::tooDeep || walker.fault() == WalkFault::itemExpected;
        needed_ = header.length != kLengthUndefined ? header.valueOffset + header.length
                                                    : size + std::max<std::uint64_t>(size - position_, 1);
        return false;
    }
}

}  // namespace orvkit
