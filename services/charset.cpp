#include "services/charset.h"

#include <algorithm>

#include "orvkit/charset.h"
#include "orvkit/util.h"

namespace services {

namespace {

unsigned char byteOf(char c) {
    return static_cast<unsigned char>(c);
}

}  // namespace

std::string Charset::toUtf8(std::string_view text, DICT_VR vr, DcTextLoss* loss) const {
    if (!converts_) return std::string(text);
    char* converted = nullptr;
    unsigned int length = 0;
    (void)textToUtf8(terms_.c_str(), vr, text.data(), static_cast<unsigned int>(text.size()), converted,
                     length, loss);
    std::string utf8(converted != nullptr ? converted : "", length);
    utilDelete(converted);
    return utf8;
}

bool isPlainAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

std::string withEscapes(std::string_view text, bool isUtf8) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = byteOf(text[i]);
        const bool c1 = isUtf8 && c == 0xC2 && i + 1 < text.size() && byteOf(text[i + 1]) < 0xA0;
        if (c1) {
            const unsigned char next = byteOf(text[++i]);
            out += {'\\', 'u', '0', '0', digits[next >> 4], digits[next & 0xF]};
        } else if (c == '\n' || c == '\r' || c == '\t') {
            out += {'\\', c == '\n' ? 'n' : c == '\r' ? 'r' : 't'};
        } else if (c < 0x20 || c == 0x7F) {
            out += {'\\', 'x', digits[c >> 4], digits[c & 0xF]};
        } else {
            out += text[i];
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
