#include "encoding/charset.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>

#include "foundation/spares.h"
#include "foundation/text.h"
#include "platform/charset.h"

namespace orvkit {

namespace {

enum class CodeKind {
    ascii,
    romaji,     // ASCII but for the overline
    single,     // one byte above 127 each
    double0,    // two bytes below 128 each, in G0
    double0x3,  // the same, in the third code set of EUC
    double1,    // two bytes above 127 each, in G1
    whole,      // an encoding of its own
};

}  // namespace

struct CharsetRow {
    std::string_view term;      // without code extensions
    std::string_view extended;  // with code extensions
    std::string_view escape;    // what follows ESC
    CodeKind kind;
    const char* encoding;  // its registered name
};

namespace {

// A term names what it puts into G0 or G1, PS3.3 tables C.12-2 to C.12-5.
constexpr CharsetRow kCharsets[] = {
    {"ISO_IR 6", "ISO 2022 IR 6", "(B", CodeKind::ascii, nullptr},
    {"ISO_IR 13", "ISO 2022 IR 13", ")I", CodeKind::single, "SHIFT_JIS"},
    {"ISO_IR 100", "ISO 2022 IR 100", "-A", CodeKind::single, "ISO-8859-1"},
    {"ISO_IR 101", "ISO 2022 IR 101", "-B", CodeKind::single, "ISO-8859-2"},
    {"ISO_IR 109", "ISO 2022 IR 109", "-C", CodeKind::single, "ISO-8859-3"},
    {"ISO_IR 110", "ISO 2022 IR 110", "-D", CodeKind::single, "ISO-8859-4"},
    {"ISO_IR 126", "ISO 2022 IR 126", "-F", CodeKind::single, "ISO-8859-7"},
    {"ISO_IR 127", "ISO 2022 IR 127", "-G", CodeKind::single, "ISO-8859-6"},
    {"ISO_IR 138", "ISO 2022 IR 138", "-H", CodeKind::single, "ISO-8859-8"},
    {"ISO_IR 144", "ISO 2022 IR 144", "-L", CodeKind::single, "ISO-8859-5"},
    {"ISO_IR 148", "ISO 2022 IR 148", "-M", CodeKind::single, "ISO-8859-9"},
    {"ISO_IR 166", "ISO 2022 IR 166", "-T", CodeKind::single, "TIS-620"},
    {"ISO_IR 203", "ISO 2022 IR 203", "-b", CodeKind::single, "ISO-8859-15"},
    {"", "ISO 2022 IR 58", "$)A", CodeKind::double1, "EUC-CN"},
    {"", "ISO 2022 IR 87", "$B", CodeKind::double0, "EUC-JP"},
    {"", "ISO 2022 IR 149", "$)C", CodeKind::double1, "EUC-KR"},
    {"", "ISO 2022 IR 159", "$(D", CodeKind::double0x3, "EUC-JP"},
    {"ISO_IR 192", "", "", CodeKind::whole, "UTF-8"},
    {"GB18030", "", "", CodeKind::whole, "GB18030"},
    {"GBK", "", "", CodeKind::whole, "GBK"},
    {"", "", "(J", CodeKind::romaji, nullptr},  // comes with IR 13
};
constexpr const CharsetRow& asciiRow = kCharsets[0];
constexpr const CharsetRow& katakanaRow = kCharsets[1];
constexpr const CharsetRow& latin1Row = kCharsets[2];
constexpr const CharsetRow& utf8Row = kCharsets[17];
constexpr const CharsetRow& romajiRow = kCharsets[std::size(kCharsets) - 1];

constexpr char escapeCharacter = 0x1B;

unsigned char byteOf(char c) noexcept {
    return static_cast<unsigned char>(c);
}

const CharsetRow* rowOfTerm(std::string_view term) noexcept {
    if (term.empty()) return &asciiRow;
    const auto* row = std::find_if(std::begin(kCharsets), std::end(kCharsets),
                                   [&](const CharsetRow& r) { return r.term == term || r.extended == term; });
    return row == std::end(kCharsets) ? nullptr : row;
}

bool isDouble(const CharsetRow& row) noexcept {
    return row.kind == CodeKind::double0 || row.kind == CodeKind::double0x3;
}
bool goesIntoG0(const CharsetRow& row) noexcept {
    return row.kind == CodeKind::ascii || row.kind == CodeKind::romaji || isDouble(row);
}

Spares<platform::Encoding>::Lent encodingOf(const CharsetRow& row) {
    static std::array<Spares<platform::Encoding>, std::size(kCharsets)> made;
    return made[static_cast<std::size_t>(&row - kCharsets)].lend(
        [&row] { return std::make_unique<platform::Encoding>(row.encoding); });
}

void lose(DcTextLoss& loss, std::size_t at) noexcept {
    if (loss.count++ == 0) loss.first = static_cast<unsigned int>(at);
}

// What both directions share: the sets that are in place, and where they fall back to the first ones.
struct InPlace {
    InPlace(const CharsetRow* first0, const CharsetRow* first1, TextKind textKind)
        : firstG0(first0), firstG1(first1), g0(first0), g1(first1), kind(textKind) {}

    bool fallsBackAt(char c) const noexcept {
        switch (c) {
            case '\r':
            case '\n':
            case '\f':
            case '\t':
                return true;
            case '\\':
                return kind != TextKind::plain;
            case '^':
            case '=':
                return kind == TextKind::personName;
            default:
                return false;
        }
    }
    void fallBack() noexcept {
        g0 = firstG0;
        g1 = firstG1;
    }

    const CharsetRow* const firstG0;
    const CharsetRow* const firstG1;
    const CharsetRow* g0;
    const CharsetRow* g1;
    const TextKind kind;
};

// Code elements switched by escape sequences.
class Decoding {
  public:
    Decoding(const InPlace& sets, std::string_view text, std::string& out, DcTextLoss& loss)
        : sets_(sets), text_(text), out_(out), loss_(loss) {}

    void run() {
        while (at_ < text_.size()) at_ += step(text_.substr(at_));
    }

  private:
    std::size_t step(std::string_view text) {
        const unsigned char first = byteOf(text.front());
        if (text.front() == escapeCharacter) {
            if (const std::size_t used = designate(text.substr(1)); used != 0) return used + 1;
        }
        if (first >= 0x80) return upper(text);
        if (isDouble(*sets_.g0) && first > 0x20 && first < 0x7F) return lowerPairs(text);
        if (sets_.g0->kind == CodeKind::romaji && first == 0x7E) {
            out_ += "\xE2\x80\xBE";  // an overline stands where ASCII has the tilde
        } else {
            out_ += text.front();
        }
        if (sets_.fallsBackAt(text.front())) sets_.fallBack();
        return 1;
    }
    std::size_t designate(std::string_view behindEscape) {
        for (const CharsetRow& row : kCharsets) {
            if (row.escape.empty() || !behindEscape.starts_with(row.escape)) continue;
            (goesIntoG0(row) ? sets_.g0 : sets_.g1) = &row;
            return row.escape.size();
        }
        return 0;
    }
    std::size_t upper(std::string_view text) {
        const auto end = std::find_if(text.begin(), text.end(), [](char c) { return byteOf(c) < 0x80; });
        const auto n = static_cast<std::size_t>(end - text.begin());
        if (sets_.g1 == &latin1Row) {  // the most common of all
            for (char c : text.substr(0, n))
                out_ += {static_cast<char>(0xC0 | (byteOf(c) >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
        } else if (sets_.g1 != nullptr) {
            encodingOf(*sets_.g1)->toUtf8(text.substr(0, n), out_,
                                          [this](std::size_t i) { lose(loss_, at_ + i); });
        } else {
            for (std::size_t i = 0; i < n; ++i) {
                lose(loss_, at_ + i);
                out_ += platform::kReplacement;
            }
        }
        return n;
    }
    std::size_t lowerPairs(std::string_view text) {
        const auto end = std::find_if(text.begin(), text.end(),
                                      [](char c) { return byteOf(c) <= 0x20 || byteOf(c) >= 0x7F; });
        const auto n = static_cast<std::size_t>(end - text.begin());
        const auto pairs = text.substr(0, n);
        std::string whole;
        if (putPairs(pairs, whole)) {
            out_ += whole;
            return n;
        }
        // A pair that is no character does not shift those behind it.
        for (std::size_t i = 0; i < n; i += 2) {
            const std::string_view pair = pairs.substr(i, 2);
            std::string one;
            const bool isCharacter = pair.size() == 2 && putPairs(pair, one);
            if (isCharacter) out_ += one;
            for (std::size_t k = 0; !isCharacter && k < pair.size(); ++k) {
                lose(loss_, at_ + i + k);
                out_ += platform::kReplacement;
            }
        }
        return n;
    }
    // False when any is no character.
    bool putPairs(std::string_view pairs, std::string& utf8) const {
        const bool third = sets_.g0->kind == CodeKind::double0x3;
        std::string euc;
        for (std::size_t i = 0; i < pairs.size(); ++i) {
            if (third && i % 2 == 0) euc += '\x8F';
            euc += static_cast<char>(byteOf(pairs[i]) | 0x80);
        }
        bool lossless = true;
        encodingOf(*sets_.g0)->toUtf8(euc, utf8, [&lossless](std::size_t) { lossless = false; });
        return lossless;
    }

    InPlace sets_;
    std::string_view text_;
    std::string& out_;
    DcTextLoss& loss_;
    std::size_t at_ = 0;
};

// The bytes of one character at the beginning of a text; 0 when they are no UTF-8.
std::size_t lengthOfCharacter(std::string_view utf8) noexcept {
    const unsigned char first = byteOf(utf8.front());
    if (first < 0x80) return 1;
    const std::size_t n = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || utf8.size() < n) return 0;
    for (std::size_t i = 1; i < n; ++i) {
        if ((byteOf(utf8[i]) & 0xC0) != 0x80) return 0;
    }
    const unsigned char second = byteOf(utf8[1]);
    const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool outside = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
    return overlong || outside ? 0 : n;
}

// The codes of one character, as they stand in G0 or G1; empty when the set lacks it.
std::string codesOf(const CharsetRow& row, std::string_view character) {
    if (&row == &utf8Row) return std::string(character);
    std::string codes;
    if (row.encoding == nullptr || !encodingOf(row)->fromUtf8(character, codes)) return "";
    if (row.kind == CodeKind::whole) return codes;
    if (row.kind == CodeKind::double0x3) {
        if (codes.size() != 3 || codes[0] != '\x8F') return "";
        codes.erase(0, 1);
    }
    const std::size_t width = row.kind == CodeKind::single ? 1 : 2;
    const bool upper = std::all_of(codes.begin(), codes.end(), [](char c) { return byteOf(c) > 0xA0; });
    const bool space = &row != &katakanaRow && codes == "\xA0";  // the no-break space of the Latin sets
    if (codes.size() != width || (!upper && !space)) return "";
    if (goesIntoG0(row)) {
        for (char& c : codes) c = static_cast<char>(c & 0x7F);
    }
    return codes;
}

class Encoding {
  public:
    Encoding(const InPlace& sets, const std::vector<const CharsetRow*>& others, std::string& out)
        : sets_(sets), others_(others), out_(out) {}

    // False when no set has the character.
    bool put(std::string_view character) {
        if (character.front() == escapeCharacter) return false;  // it would begin an escape sequence
        if (character.size() == 1) return putAscii(character.front());
        if (sets_.firstG0->kind == CodeKind::romaji && character == "\xE2\x80\xBE") {
            restoreG0();
            out_ += '~';
            return true;
        }
        if (sets_.g1 != nullptr && putFrom(*sets_.g1, character)) return true;
        if (putFrom(*sets_.g0, character)) return true;
        return std::any_of(others_.begin(), others_.end(),
                           [&](const CharsetRow* row) { return putFrom(*row, character); });
    }
    // Before a delimiter and at the end the first sets are in place again.
    void restore() {
        restoreG0();
        if (sets_.g1 != sets_.firstG1 && sets_.firstG1 != nullptr) designate(*sets_.firstG1);
        sets_.fallBack();
    }

  private:
    bool putAscii(char c) {
        const bool isTilde = c == '~' && sets_.firstG0->kind == CodeKind::romaji;
        if (isTilde) {
            if (std::find(others_.begin(), others_.end(), &asciiRow) == others_.end()) return false;
            designateFor(asciiRow);
        } else if (sets_.fallsBackAt(c)) {
            restore();
        } else if (isDouble(*sets_.g0)) {
            restoreG0();
        }
        out_ += c;
        return true;
    }
    bool putFrom(const CharsetRow& row, std::string_view character) {
        const std::string codes = codesOf(row, character);
        if (codes.empty()) return false;
        designateFor(row);
        out_ += codes;
        return true;
    }
    void designateFor(const CharsetRow& row) {
        if ((goesIntoG0(row) ? sets_.g0 : sets_.g1) != &row) designate(row);
    }
    void restoreG0() {
        if (sets_.g0 != sets_.firstG0) designate(*sets_.firstG0);
    }
    void designate(const CharsetRow& row) {
        out_ += escapeCharacter;
        out_ += row.escape;
        (goesIntoG0(row) ? sets_.g0 : sets_.g1) = &row;
    }

    InPlace sets_;
    const std::vector<const CharsetRow*>& others_;
    std::string& out_;
};

void keepUtf8(std::string_view text, std::string& out, DcTextLoss& loss) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t n = lengthOfCharacter(text.substr(at));
        if (n == 0) lose(loss, at);
        out += n == 0 ? platform::kReplacement : text.substr(at, n);
        at += std::max<std::size_t>(n, 1);
    }
}

}  // namespace

Charset::Charset(std::string_view terms) : g0_(&asciiRow) {
    for (bool first = true;; first = false) {
        const std::size_t end = terms.find('\\');
        const CharsetRow* row = rowOfTerm(trimmed(terms.substr(0, end)));
        if (row == nullptr) {
            known_ = false;
        } else {
            if (first && row->kind == CodeKind::whole) whole_ = row;
            if (first && !goesIntoG0(*row) && row->kind != CodeKind::whole) g1_ = row;
            if (first && row == &katakanaRow) g0_ = &romajiRow;
            const bool isNew = std::find(others_.begin(), others_.end(), row) == others_.end();
            if (row->kind != CodeKind::whole && isNew) others_.push_back(row);
        }
        if (end == std::string_view::npos) break;
        terms.remove_prefix(end + 1);
    }
}

std::string Charset::toUtf8(std::string_view text, TextKind kind, DcTextLoss& loss) const {
    std::string out;
    out.reserve(text.size() + text.size() / 2);
    if (whole_ == &utf8Row) {
        keepUtf8(text, out, loss);
    } else if (whole_ != nullptr) {
        encodingOf(*whole_)->toUtf8(text, out, [&loss](std::size_t i) { lose(loss, i); });
    } else {
        Decoding(InPlace(g0_, g1_, kind), text, out, loss).run();
    }
    return out;
}

std::string Charset::fromUtf8(std::string_view utf8, TextKind kind, DcTextLoss& loss) const {
    std::string out;
    out.reserve(utf8.size());
    Encoding encoding(InPlace(g0_, g1_, kind), others_, out);
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t n = lengthOfCharacter(utf8.substr(at));
        const std::string_view character = utf8.substr(at, std::max<std::size_t>(n, 1));
        bool done = n != 0;
        if (done && whole_ != nullptr) {
            const std::string codes = n == 1 ? std::string(character) : codesOf(*whole_, character);
            done = !codes.empty();
            out += codes;
        } else if (done) {
            done = encoding.put(character);
        }
        if (!done) {
            lose(loss, at);
            encoding.put("?");
        }
        at += character.size();
    }
    if (whole_ == nullptr) encoding.restore();
    return out;
}

}  // namespace orvkit
