#include "index/fold.h"

#include <algorithm>
#include <iterator>

namespace orvkit::index {
namespace {

// Capitals with their small letters: so much behind, or the next one of a pair.
struct Capitals {
    char32_t first;
    char32_t last;
    int distance;  // 0: pairs, of which the first is the capital
};
constexpr Capitals capitals[] = {
    {0x0041, 0x005A, 32}, {0x00C0, 0x00D6, 32}, {0x00D8, 0x00DE, 32}, {0x0100, 0x012F, 0},
    {0x0132, 0x0137, 0},  {0x0139, 0x0148, 0},  {0x014A, 0x0177, 0},  {0x0178, 0x0178, -121},
    {0x0179, 0x017E, 0},  {0x01A0, 0x01A5, 0},  {0x01CD, 0x01DC, 0},  {0x01DE, 0x01EF, 0},
    {0x01F8, 0x021F, 0},  {0x0222, 0x0233, 0},  {0x0386, 0x0386, 38}, {0x0388, 0x038A, 37},
    {0x038C, 0x038C, 64}, {0x038E, 0x038F, 63}, {0x0391, 0x03A1, 32}, {0x03A3, 0x03AB, 32},
    {0x03C2, 0x03C2, 1},  {0x0400, 0x040F, 80}, {0x0410, 0x042F, 32}, {0x0460, 0x0481, 0},
    {0x048A, 0x04BF, 0},  {0x04C1, 0x04CE, 0},  {0x04D0, 0x052F, 0},  {0x0531, 0x0556, 48},
    {0x1E00, 0x1E95, 0},  {0x1EA0, 0x1EFF, 0},  {0xFF21, 0xFF3A, 32},
};

// The letters of Latin without their marks, from so many on; "." stays.
constexpr std::string_view latin00C0 =
    "AAAAAA.CEEEEIIIIDNOOOOO.OUUUUY..aaaaaa.ceeeeiiiidnooooo.ouuuuy.y"
    "AaAaAaCcCcCcCcDdDdEeEeEeEeEeGgGgGgGgHhHhIiIiIiIiIi..JjKk.LlLlLl."
    ".LlNnNnNn...OoOoOo..RrRrRrSsSsSsSsTtTtTtUuUuUuUuUuUuWwYyYZzZzZz."
    "bB..............................Oo.............Uu..............."
    ".............AaIiOoUuUuUuUuUu.AaAa....GgKkOoOo..j...Gg..NnAa...."
    "AaAaEeEeIiIiOoOoRrRrUuUuSsTt..Hh......AaEeOoOoOoOoYy............";
constexpr std::string_view latin1E00 =
    "AaBbBbBbCcDdDdDdDdDdEeEeEeEeEeFfGgHhHhHhHhHhIiIiKkKkKkLlLlLlLlMm"
    "MmMmNnNnNnNnOoOoOoOoPpPpRrRrRrRrSsSsSsSsSsTtTtTtTtUuUuUuUuUuVvVv"
    "WwWwWwWwWwXxXxYyZzZzZzhtwy......AaAaAaAaAaAaAaAaAaAaAaAaEeEeEeEe"
    "EeEeEeEeIiIiOoOoOoOoOoOoOoOoOoOoOoOoUuUuUuUuUuUuUuYyYyYyYy......";

// Those that become another letter, or several.
struct Letter {
    char32_t from;
    std::string_view to;
};
constexpr Letter letters[] = {
    {0x00C6, "AE"}, {0x00DE, "TH"}, {0x00DF, "ss"}, {0x00E6, "ae"}, {0x00FE, "th"}, {0x0152, "OE"},
    {0x0153, "oe"}, {0x0386, "Α"},  {0x0388, "Ε"},  {0x0389, "Η"},  {0x038A, "Ι"},  {0x038C, "Ο"},
    {0x038E, "Υ"},  {0x038F, "Ω"},  {0x0390, "ι"},  {0x03AA, "Ι"},  {0x03AB, "Υ"},  {0x03AC, "α"},
    {0x03AD, "ε"},  {0x03AE, "η"},  {0x03AF, "ι"},  {0x03B0, "υ"},  {0x03CA, "ι"},  {0x03CB, "υ"},
    {0x03CC, "ο"},  {0x03CD, "υ"},  {0x03CE, "ω"},  {0x0401, "Е"},  {0x0451, "е"},  {0x1E9E, "SS"},
};

char32_t smallLetter(char32_t c) {
    const auto* const row = std::find_if(std::begin(capitals), std::end(capitals),
                                         [c](const Capitals& r) { return c >= r.first && c <= r.last; });
    if (row == std::end(capitals)) return c;
    if (row->distance != 0) return static_cast<char32_t>(static_cast<int>(c) + row->distance);
    return (c - row->first) % 2 == 0 ? c + 1 : c;
}

bool isMark(char32_t c) {
    return c >= 0x0300 && c <= 0x036F;
}

char32_t plainLetter(char32_t c) {
    const auto of = [c](char32_t first, std::string_view table) {
        const char letter = table[c - first];
        return letter == '.' ? c : static_cast<char32_t>(letter);
    };
    if (c >= 0x00C0 && c < 0x00C0 + latin00C0.size()) return of(0x00C0, latin00C0);
    if (c >= 0x1E00 && c < 0x1E00 + latin1E00.size()) return of(0x1E00, latin1E00);
    return c >= 0xFF01 && c <= 0xFF5E ? c - 0xFEE0 : c;
}

void appendPlain(std::string& text, char32_t c) {
    if (isMark(c)) return;
    const auto* const row =
        std::lower_bound(std::begin(letters), std::end(letters), c,
                         [](const Letter& letter, char32_t wanted) { return letter.from < wanted; });
    if (row != std::end(letters) && row->from == c) {
        text += row->to;
    } else {
        appendCharacter(text, plainLetter(c));
    }
}

constexpr char32_t kByte = 0x110000;  // behind all characters: bytes that are none

}  // namespace

char32_t takeCharacter(std::string_view& utf8) {
    const auto first = static_cast<unsigned char>(utf8.front());
    const std::size_t more = first >= 0xF0 && first < 0xF5 ? 3 : first >= 0xE0 ? 2 : first >= 0xC2 ? 1 : 0;
    utf8.remove_prefix(1);
    if (first < 0x80) return first;
    if (more == 0 || first >= 0xF5 || utf8.size() < more) return kByte + first;
    char32_t c = first & (0x3FU >> more);
    for (std::size_t i = 0; i < more; ++i) {
        const auto next = static_cast<unsigned char>(utf8[i]);
        if ((next & 0xC0) != 0x80) return kByte + first;
        c = c << 6 | (next & 0x3FU);
    }
    utf8.remove_prefix(more);
    return c;
}

void appendCharacter(std::string& utf8, char32_t c) {
    const auto put = [&utf8](char32_t byte) { utf8 += static_cast<char>(static_cast<unsigned char>(byte)); };
    if (c >= kByte) return put(c - kByte);
    if (c < 0x80) return put(c);
    if (c < 0x800) {
        put(0xC0 | c >> 6);
    } else if (c < 0x10000) {
        put(0xE0 | c >> 12);
        put(0x80 | (c >> 6 & 0x3F));
    } else {
        put(0xF0 | c >> 18);
        put(0x80 | (c >> 12 & 0x3F));
        put(0x80 | (c >> 6 & 0x3F));
    }
    put(0x80 | (c & 0x3F));
}

std::string folded(std::string_view utf8, const Fold& fold) {
    std::string text;
    text.reserve(utf8.size());
    while (!utf8.empty()) {
        char32_t c = takeCharacter(utf8);
        if (fold.cases) c = smallLetter(c);
        if (fold.accents && c >= 0x80) {
            appendPlain(text, c);
        } else {
            appendCharacter(text, c);
        }
    }
    return text;
}

std::string behindAll(std::string_view utf8) {
    std::string text;
    std::string_view rest = utf8;
    char32_t last = 0;
    std::size_t before = 0;
    while (!rest.empty()) {
        before = utf8.size() - rest.size();
        last = takeCharacter(rest);
    }
    text = utf8.substr(0, before);
    if (last == 0x10FFFF) return text + "\U0010FFFF\U0010FFFF";
    appendCharacter(text, last == 0xD7FF ? 0xE000 : last + 1);
    return text;
}

}  // namespace orvkit::index
