#include "services/charset.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <memory>

#include "platform/charset.h"
#include "services/text.h"

namespace services {

namespace platform = orvkit::platform;

enum class CodeKind {
    ascii,
    romaji,     // ASCII but for the overline
    single,     // one byte above 127 each
    double0,    // two bytes below 128 each, in G0
    double0x3,  // the same, in the third code set of EUC
    double1,    // two bytes above 127 each, in G1
    whole,      // an encoding of its own
};

struct CharsetRow {
    std::string_view term;      // without code extensions
    std::string_view extended;  // with code extensions
    std::string_view escape;    // what follows ESC
    CodeKind kind;
    const char* encoding;  // its registered name
};

namespace {

// A term names what it puts into G0 or G1, PS3.3 tables C.12-2 to C.12-5.
constexpr CharsetRow rows[] = {
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
constexpr const CharsetRow& asciiRow = rows[0];
constexpr const CharsetRow& katakanaRow = rows[1];
constexpr const CharsetRow& latin1Row = rows[2];
constexpr const CharsetRow& romajiRow = rows[std::size(rows) - 1];

constexpr char escapeCharacter = 0x1B;

unsigned char byteOf(char c) {
    return static_cast<unsigned char>(c);
}

const CharsetRow* rowOfTerm(std::string_view term) {
    if (term.empty()) return &asciiRow;
    const auto* row = std::find_if(std::begin(rows), std::end(rows),
                                   [&](const CharsetRow& r) { return r.term == term || r.extended == term; });
    return row == std::end(rows) ? nullptr : row;
}

bool goesIntoG0(const CharsetRow& row) {
    return row.kind == CodeKind::ascii || row.kind == CodeKind::romaji || row.kind == CodeKind::double0 ||
           row.kind == CodeKind::double0x3;
}

// One converter for each encoding, kept for the next text.
const platform::ToUtf8& converter(const CharsetRow& row) {
    static std::array<std::unique_ptr<platform::ToUtf8>, std::size(rows)> made;
    std::unique_ptr<platform::ToUtf8>& it = made[static_cast<std::size_t>(&row - rows)];
    if (it == nullptr) it = std::make_unique<platform::ToUtf8>(row.encoding);
    return *it;
}

void convert(const CharsetRow& row, std::string_view bytes, std::string& out) {
    if (&row == &latin1Row) {  // the most common of all
        for (char c : bytes)
            out += {static_cast<char>(0xC0 | (byteOf(c) >> 6)), static_cast<char>(0x80 | (c & 0x3F))};
        return;
    }
    converter(row).append(bytes, out);
}

// Code elements switched by escape sequences.
class Extended {
  public:
    Extended(const CharsetRow* g0, const CharsetRow* g1, TextKind kind, std::string& out)
        : firstG0_(g0), firstG1_(g1), g0_(g0), g1_(g1), kind_(kind), out_(out) {}

    void run(std::string_view text) {
        while (!text.empty()) text.remove_prefix(step(text));
    }

  private:
    std::size_t step(std::string_view text) {
        const unsigned char first = byteOf(text.front());
        if (text.front() == escapeCharacter) {
            if (const std::size_t used = designate(text.substr(1)); used != 0) return used + 1;
        }
        if (first >= 0x80) return upper(text);
        if ((g0_->kind == CodeKind::double0 || g0_->kind == CodeKind::double0x3) && first > 0x20) {
            return lowerPairs(text);
        }
        if (g0_->kind == CodeKind::romaji && first == 0x7E) {
            out_ += "\xE2\x80\xBE";  // an overline stands where ASCII has the tilde
        } else {
            out_ += text.front();
        }
        if (endsDesignations(text.front())) {
            g0_ = firstG0_;
            g1_ = firstG1_;
        }
        return 1;
    }
    bool endsDesignations(char c) const {
        switch (c) {
            case '\r':
            case '\n':
            case '\f':
            case '\t':
                return true;
            case '\\':
                return kind_ != TextKind::plain;
            case '^':
            case '=':
                return kind_ == TextKind::personName;
            default:
                return false;
        }
    }
    std::size_t designate(std::string_view behindEscape) {
        for (const CharsetRow& row : rows) {
            if (row.escape.empty() || !behindEscape.starts_with(row.escape)) continue;
            (goesIntoG0(row) ? g0_ : g1_) = &row;
            return row.escape.size();
        }
        return 0;
    }
    std::size_t upper(std::string_view text) {
        const auto end = std::find_if(text.begin(), text.end(), [](char c) { return byteOf(c) < 0x80; });
        const auto n = static_cast<std::size_t>(end - text.begin());
        if (g1_ != nullptr) {
            convert(*g1_, text.substr(0, n), out_);
        } else {
            for (std::size_t i = 0; i < n; ++i) out_ += platform::kReplacement;
        }
        return n;
    }
    std::size_t lowerPairs(std::string_view text) {
        const auto end = std::find_if(text.begin(), text.end(),
                                      [](char c) { return byteOf(c) <= 0x20 || byteOf(c) >= 0x7F; });
        const auto n = static_cast<std::size_t>(end - text.begin());
        std::string euc;
        for (std::size_t i = 0; i < n; ++i) {
            if (g0_->kind == CodeKind::double0x3 && i % 2 == 0) euc += '\x8F';
            euc += static_cast<char>(byteOf(text[i]) | 0x80);
        }
        convert(*g0_, euc, out_);
        return n;
    }

    const CharsetRow* firstG0_;
    const CharsetRow* firstG1_;
    const CharsetRow* g0_;
    const CharsetRow* g1_;
    TextKind kind_;
    std::string& out_;
};

}  // namespace

Charset::Charset() : g0_(&asciiRow) {}

Charset::Charset(std::string_view terms) : g0_(&asciiRow) {
    for (bool first = true;; first = false) {
        const std::size_t end = terms.find('\\');
        const CharsetRow* row = rowOfTerm(trimmed(terms.substr(0, end)));
        if (row == nullptr) {
            known_ = false;
        } else if (first) {
            if (row->kind == CodeKind::whole) whole_ = row;
            if (row->kind == CodeKind::single || row->kind == CodeKind::double1) g1_ = row;
            if (row == &katakanaRow) g0_ = &romajiRow;
        }
        if (end == std::string_view::npos) break;
        terms.remove_prefix(end + 1);
    }
}

std::string Charset::toUtf8(std::string_view text, TextKind kind) const {
    std::string out;
    out.reserve(text.size() + text.size() / 2);
    if (whole_ != nullptr) {
        convert(*whole_, text, out);
    } else {
        Extended(g0_, g1_, kind, out).run(text);
    }
    return out;
}

bool isPlainAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string withEscapes(std::string_view utf8) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const unsigned char c = byteOf(utf8[i]);
        const bool c1 = c == 0xC2 && i + 1 < utf8.size() && byteOf(utf8[i + 1]) < 0xA0;
        if (c1) {
            const unsigned char next = byteOf(utf8[++i]);
            out += {'\\', 'u', '0', '0', digits[next >> 4], digits[next & 0xF]};
        } else if (c == '\n' || c == '\r' || c == '\t') {
            out += {'\\', c == '\n' ? 'n' : c == '\r' ? 'r' : 't'};
        } else if (c < 0x20 || c == 0x7F) {
            out += {'\\', 'x', digits[c >> 4], digits[c & 0xF]};
        } else {
            out += utf8[i];
        }
    }
    return out;
}

std::string_view firstCharacters(std::string_view utf8, std::size_t count) {
    std::size_t at = 0;
    for (; at < utf8.size(); ++at) {
        const bool starts = (byteOf(utf8[at]) & 0xC0) != 0x80;
        if (starts && count-- == 0) break;
    }
    return utf8.substr(0, at);
}

}  // namespace services
