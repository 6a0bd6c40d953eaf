// What a byte of a text value is, as one table that every scan of texts uses.
#ifndef ORVKIT_DATASET_CHAR_CLASS_H
#define ORVKIT_DATASET_CHAR_CLASS_H

#include <array>
#include <string_view>

namespace orvkit {

// One bit for blanks and one for each set of allowed characters.
enum CharClass : unsigned short {
    CHAR_BLANK = 1,  // space and 1 to 13: what is trimmed (14 to 31 are not)
    CHAR_AE = 2,     // 0x20 to 0x7E
    CHAR_CS = 4,     // letters of both cases, digits, space, "_", and "*" for matching
    CHAR_REAL = 8,   // digits, signs, point and exponent
    CHAR_INTEGER = 16,
    CHAR_LINE = 32,   // 32 and more, but no backslash
    CHAR_LINES = 64,  // 32 and more, line feed, form feed, carriage return
    CHAR_UID = 128,
    CHAR_URI = 256,  // RFC 3986: unreserved, reserved, "%"
};

inline constexpr char escape = 27;

inline constexpr auto charClass = [] {
    std::array<unsigned short, 256> table{};
    for (unsigned int c = 0; c < 256; ++c) {
        const bool digit = c >= '0' && c <= '9';
        const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        const bool sign = c == '+' || c == '-';
        unsigned int bits = 0;
        if (c == ' ' || (c >= 1 && c <= 13)) bits |= CHAR_BLANK;
        if (c >= 0x20 && c <= 0x7E) bits |= CHAR_AE;
        if (letter || digit || c == ' ' || c == '_' || c == '*') bits |= CHAR_CS;
        if (digit || sign || c == '.' || c == 'E' || c == 'e') bits |= CHAR_REAL;
        if (digit || sign) bits |= CHAR_INTEGER;
        if (c >= 32 && c != '\\') bits |= CHAR_LINE;
        if (c >= 32 || c == 10 || c == 12 || c == 13) bits |= CHAR_LINES;
        if (digit || c == '.') bits |= CHAR_UID;
        constexpr std::string_view marks = "-._~:/?#[]@!$&'()*+,;=%";
        if (letter || digit || marks.find(static_cast<char>(c)) != marks.npos) bits |= CHAR_URI;
        table[c] = static_cast<unsigned short>(bits);
    }
    return table;
}();

constexpr bool isOf(char c, CharClass set) noexcept {
    return (charClass[static_cast<unsigned char>(c)] & set) != 0;
}
constexpr bool isDigit(char c) noexcept {
    return c >= '0' && c <= '9';
}

// What a digit of any base up to 36 stands for, or 36.
constexpr int digitValue(char c) noexcept {
    if (isDigit(c)) return c - '0';
    const int lower = c | 0x20;
    return lower >= 'a' && lower <= 'z' ? lower - 'a' + 10 : 36;
}

constexpr std::string_view trimFront(std::string_view text) noexcept {
    while (!text.empty() && isOf(text.front(), CHAR_BLANK)) text.remove_prefix(1);
    return text;
}
constexpr std::string_view trimBack(std::string_view text) noexcept {
    while (!text.empty() && isOf(text.back(), CHAR_BLANK)) text.remove_suffix(1);
    return text;
}
constexpr std::string_view trim(std::string_view text) noexcept {
    return trimBack(trimFront(text));
}

// How much of a text a log line shows: "%.*s" with shown(text), text.data().
constexpr int shown(std::string_view text) noexcept {
    constexpr std::size_t most = 1000;
    return static_cast<int>(text.size() < most ? text.size() : most);
}

}  // namespace orvkit

#endif
