#include "encoding/header.h"

namespace orvkit {

std::size_t findSequenceDelimitation(std::span<const unsigned char> bytes, ByteOrder order) noexcept {
    const unsigned char first = order == ByteOrder::big ? 0xFF : 0xFE;
    std::size_t at = 0;
    while (bytes.size() - at >= kDelimitationSize) {
        const std::size_t room = bytes.size() - at - (kDelimitationSize - 1);
        const void* hit = std::memchr(bytes.data() + at, first, room);
        if (hit == nullptr) return kNotFound;
        at = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - bytes.data());
        if (isDelimitation(bytes.subspan(at), order, kTagSequenceDelimitation)) return at;
        ++at;
    }
    return kNotFound;
}

}  // namespace orvkit
