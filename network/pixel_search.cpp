#include "network/pixel_search.h"

#include <algorithm>
#include <cstring>

namespace orvkit {

void Chain::append(std::span<const unsigned char> piece) {
    if (piece.empty()) return;
    pieces_.push_back({size_, piece});
    size_ += piece.size();
}

void Chain::copy(std::uint64_t from, std::uint64_t to, unsigned char* into) const {
    const auto after =
        std::upper_bound(pieces_.begin(), pieces_.end(), from,
                         [](std::uint64_t at, const Piece& piece) { return at < piece.start; });
    for (auto piece = after - (from < to ? 1 : 0); from < to && piece != pieces_.end(); ++piece) {
        const auto skip = static_cast<std::size_t>(from - piece->start);
        const auto n = std::min<std::uint64_t>(piece->bytes.size() - skip, to - from);
        std::memcpy(into, piece->bytes.data() + skip, static_cast<std::size_t>(n));
        into += n;
        from += n;
    }
}

void PixelSearch::append(std::span<const unsigned char> piece) {
    source_.append(piece);
    while (!piece.empty() && !found_ && walk_.fault() == WalkFault::none) {
        const bool atTop = walk_.nesting().empty();
        piece = piece.subspan(walk_.take(piece));
        if (!atTop || !walk_.met() || walk_.header().tag != kTagPixelData) continue;
        found_ = true;
        pixels_ = walk_.header();
    }
}

}  // namespace orvkit
