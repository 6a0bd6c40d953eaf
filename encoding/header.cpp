#include "encoding/header.h"

#include <atomic>

namespace orvkit {

namespace {

std::atomic<bool> implicitDirectories = false;

}  // namespace

void readImplicitDirectories(bool on) noexcept {
    implicitDirectories = on;
}

Mode modeAsItLies(DICT_UID syntax, std::span<const unsigned char> front) noexcept {
    Mode mode = Mode::of(syntax);
    if (mode != Mode::implicitLittle() || !implicitDirectories || front.size() < kShortHeader) return mode;
    const bool letters = DcDict::vrOfCode(static_cast<char>(front[4]), static_cast<char>(front[5])) != 0;
    mode.everyGroup = loadAt<std::uint16_t>(front.data(), ByteOrder::little) == 0x0004 && !letters;
    return mode;
}

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
