#include "dataset/number_text.h"

#include <charconv>
#include <cstdint>
#include <limits>

#include "dataset/char_class.h"

namespace orvkit {
namespace {

// What the C library takes for a blank in front of a number.
constexpr bool isSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view skipSpace(std::string_view text) noexcept {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    return text;
}

// Takes the sign away; true for a minus.
bool takeSign(std::string_view& text) noexcept {
    if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
    const bool minus = text.front() == '-';
    text.remove_prefix(1);
    return minus;
}

bool startsHex(std::string_view text) noexcept {
    return text.size() > 2 && text[0] == '0' && (text[1] | 0x20) == 'x';
}

// The digits of a number beyond the range of double: does it exceed or undercut it? Told by the decimal
// (or hexadecimal) place of its first digit that is not 0, and its exponent.
bool exceeds(std::string_view number, bool hex) noexcept {
    long long place = 0;
    bool point = false;
    bool leading = true;
    std::size_t i = 0;
    for (; i < number.size(); ++i) {
        const char c = number[i];
        if (c == '.') {
            point = true;
            continue;
        }
        if (digitValue(c) >= (hex ? 16 : 10)) break;
        if (c != '0') leading = false;
        if (point && leading) --place;
        if (!point && !leading) ++place;
    }
    if (hex) place *= 4;
    if (i >= number.size()) return place > 0;
    ++i;  // the exponent's letter
    bool minus = false;
    if (i < number.size() && (number[i] == '-' || number[i] == '+')) minus = number[i++] == '-';
    long long exponent = 0;
    for (; i < number.size() && isDigit(number[i]); ++i) {
        if (exponent < 1'000'000'000'000) exponent = exponent * 10 + (number[i] - '0');
    }
    return place + (minus ? -exponent : exponent) > 0;
}

struct Whole {
    std::uint64_t magnitude = 0;  // saturated far above 32 bits
    bool minus = false;
};

Whole readWhole(std::string_view text, int base) noexcept {
    Whole w;
    text = skipSpace(text);
    w.minus = takeSign(text);
    if (base == 0) {
        base = 10;
        if (startsHex(text) && digitValue(text[2]) < 16) {
            base = 16;
            text.remove_prefix(2);
        } else if (!text.empty() && text.front() == '0') {
            base = 8;
        }
    }
    for (const char c : text) {
        const int digit = digitValue(c);
        if (digit >= base) break;
        if (w.magnitude < (1ull << 40)) {
            w.magnitude = w.magnitude * static_cast<unsigned int>(base) + static_cast<unsigned int>(digit);
        }
    }
    return w;
}

// Digits with or without a fraction and nothing else, few enough that one division rounds right: most
// numbers.
bool readPlain(std::string_view text, double& v) noexcept {
    constexpr std::array<double, 16> powers{1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                            1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (text.empty() || text.size() > 15) return false;
    std::uint64_t digits = 0;
    std::size_t point = text.size();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isDigit(text[i])) {
            digits = digits * 10 + static_cast<unsigned int>(text[i] - '0');
        } else if (text[i] == '.' && point == text.size() && text.size() > 1) {
            point = i;
        } else {
            return false;
        }
    }
    const std::size_t fraction = point == text.size() ? 0 : text.size() - point - 1;
    v = static_cast<double>(digits) / powers[fraction];
    return true;
}

}  // namespace

double toDouble(std::string_view text) noexcept {
    text = skipSpace(text);
    const bool minus = takeSign(text);
    double v = 0;
    if (readPlain(text, v)) return minus ? -v : v;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) return 0;  // one sign only
    const bool hex = startsHex(text) && (digitValue(text[2]) < 16 || text[2] == '.');
    if (hex) text.remove_prefix(2);
    const auto format = hex ? std::chars_format::hex : std::chars_format::general;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), v, format);
    if (read.ec == std::errc::invalid_argument && !hex) return 0;  // "-" alone is not a negative zero
    if (read.ec == std::errc::result_out_of_range) {
        const std::string_view number(text.data(), static_cast<std::size_t>(read.ptr - text.data()));
        v = exceeds(number, hex) ? std::numeric_limits<double>::infinity() : 0;
    }
    return minus ? -v : v;
}

int toInt(std::string_view text, int base) noexcept {
    constexpr std::uint64_t most = std::numeric_limits<int>::max();
    const Whole w = readWhole(text, base);
    if (w.minus) {
        return w.magnitude > most ? std::numeric_limits<int>::min() : -static_cast<int>(w.magnitude);
    }
    return static_cast<int>(w.magnitude > most ? most : w.magnitude);
}

unsigned int toUInt(std::string_view text, int base) noexcept {
    constexpr std::uint64_t most = std::numeric_limits<unsigned int>::max();
    const Whole w = readWhole(text, base);
    if (w.magnitude > most) return static_cast<unsigned int>(most);
    const auto v = static_cast<unsigned int>(w.magnitude);
    return w.minus ? 0u - v : v;
}

int toIntSaturated(double v) noexcept {
    constexpr double most = std::numeric_limits<int>::max();
    constexpr double least = std::numeric_limits<int>::min();
    if (!(v == v)) return 0;
    if (v >= most) return std::numeric_limits<int>::max();
    if (v <= least) return std::numeric_limits<int>::min();
    return static_cast<int>(v);
}

void TextOut::padded(std::string_view digits, std::size_t width) noexcept {
    const bool minus = !digits.empty() && digits.front() == '-';
    if (minus) {
        put('-');
        digits.remove_prefix(1);
    }
    for (std::size_t n = digits.size() + (minus ? 1 : 0); n < width; ++n) put('0');
    put(digits);
}

void TextOut::number(int v, std::size_t width) noexcept {
    std::array<char, 16> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), v).ptr;
    padded({digits.data(), static_cast<std::size_t>(end - digits.data())}, width);
}

void TextOut::wide(long long v) noexcept {
    std::array<char, 24> digits;
    put({digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), v).ptr});
}

void TextOut::wide(unsigned long long v) noexcept {
    std::array<char, 24> digits;
    put({digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), v).ptr});
}

void TextOut::signedNumber(int v) noexcept {
    if (v >= 0) put('+');
    number(v);
}

void TextOut::hex(unsigned int v) noexcept {
    for (int shift = 12; shift >= 0; shift -= 4) put("0123456789abcdef"[(v >> shift) & 15]);
}

void TextOut::fixed(double v, std::size_t width) noexcept {
    std::array<char, 330> digits;
    // Adding 0 turns a negative zero into a plain one.
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), v + 0.0, std::chars_format::fixed, 6).ptr;
    padded({digits.data(), static_cast<std::size_t>(end - digits.data())}, width);
}

void TextOut::general(double v) noexcept {
    std::array<char, 32> digits;
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), v, std::chars_format::general, 6).ptr;
    put({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

}  // namespace orvkit
