// Texts of elements and tags, as they are told.
#ifndef ORVKIT_SERVICES_TEXT_H
#define ORVKIT_SERVICES_TEXT_H

#include <cstdio>
#include <string>
#include <string_view>

namespace services {

// Without padding on either side: blanks, and the NUL of UIDs (PS3.5 6.2).
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text) {
    constexpr std::string_view padding(" \0", 2);
    const std::size_t from = text.find_first_not_of(padding);
    if (from == std::string_view::npos) return {};
    return text.substr(from, text.find_last_not_of(padding) + 1 - from);
}

// Hands a text on, in pieces, with its control characters as escapes: "\n", "\x1b", "\u0085".
template <typename Put>
void putEscaped(std::string_view text, bool isUtf8, Put put) {
    constexpr const char* digits = "0123456789abcdef";
    const auto byteAt = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = byteAt(i);
        if (isUtf8 && c == 0xC2 && i + 1 < text.size() && byteAt(i + 1) < 0xA0) {
            const unsigned char next = byteAt(++i);
            const char escape[] = {'\\', 'u', '0', '0', digits[next >> 4], digits[next & 0xF]};
            put(std::string_view(escape, sizeof escape));
        } else if (c == '\n' || c == '\r' || c == '\t') {
            const char escape[] = {'\\', c == '\n' ? 'n' : c == '\r' ? 'r' : 't'};
            put(std::string_view(escape, sizeof escape));
        } else if (c < 0x20 || c == 0x7F) {
            const char escape[] = {'\\', 'x', digits[c >> 4], digits[c & 0xF]};
            put(std::string_view(escape, sizeof escape));
        } else {
            put(text.substr(i, 1));
        }
    }
}

// "(0010,1020)"
[[nodiscard]] inline std::string tagText(unsigned int tag) {
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", tag >> 16, tag & 0xFFFF);
    return text;
}

}  // namespace services

#endif
