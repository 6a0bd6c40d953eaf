// Bounded copies into the fixed text fields of records, and texts without the blanks around them.
#ifndef ORVKIT_FOUNDATION_TEXT_H
#define ORVKIT_FOUNDATION_TEXT_H

#include <cstddef>
#include <cstring>
#include <string_view>

namespace orvkit {

// The length of `text`, or `limit` when it is longer; never looks further.
inline std::size_t lengthWithin(const char* text, std::size_t limit) noexcept {
    const void* end = std::memchr(text, '\0', limit);
    return end == nullptr ? limit : static_cast<std::size_t>(static_cast<const char*>(end) - text);
}

// Copies up to `limit` characters and a terminating zero.
inline void copyText(char* to, std::string_view text, std::size_t limit) noexcept {
    const std::string_view copied = text.substr(0, limit);
    if (!copied.empty()) std::memcpy(to, copied.data(), copied.size());
    to[copied.size()] = '\0';
}
inline void copyText(char* to, const char* text, std::size_t limit) noexcept {
    const std::size_t length = lengthWithin(text, limit);
    std::memcpy(to, text, length);
    to[length] = '\0';
}
// Into a field, cut to its size.
template <std::size_t N>
void copyText(char (&field)[N], std::string_view text) noexcept {
    copyText(field, text, N - 1);
}
template <std::size_t N>
void copyText(char (&field)[N], const char* text) noexcept {
    copyText(field, text != nullptr ? text : "", N - 1);
}

constexpr std::string_view trimmed(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(' ');
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace orvkit

#endif
