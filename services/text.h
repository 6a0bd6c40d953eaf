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

// "(0010,1020)"
[[nodiscard]] inline std::string tagText(unsigned int tag) {
    char text[16];
    std::snprintf(text, sizeof text, "(%04X,%04X)", tag >> 16, tag & 0xFFFF);
    return text;
}

}  // namespace services

#endif
