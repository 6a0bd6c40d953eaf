// Bounded copies into the fixed text fields of records.
#ifndef ORVKIT_DICTIONARY_TEXT_H
#define ORVKIT_DICTIONARY_TEXT_H

#include <cstddef>
#include <cstring>

namespace orvkit {

// Names and descriptions are cut to this many characters.
inline constexpr std::size_t maxNameLength = 60;

// The length of `text`, or `limit` when it is longer; never looks further.
inline std::size_t lengthWithin(const char* text, std::size_t limit) noexcept {
    const void* end = std::memchr(text, '\0', limit);
    return end == nullptr ? limit : static_cast<std::size_t>(static_cast<const char*>(end) - text);
}

// Copies up to `limit` characters and a terminating zero.
inline void copyText(char* to, const char* text, std::size_t limit) noexcept {
    const std::size_t n = lengthWithin(text, limit);
    std::memcpy(to, text, n);
    to[n] = '\0';
}

}  // namespace orvkit

#endif
