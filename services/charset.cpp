#include "services/charset.h"

#include <algorithm>

#include "orvkit/charset.h"
#include "orvkit/util.h"
#include "services/text.h"

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
    std::string out;
    putEscaped(text, isUtf8, [&out](std::string_view piece) { out += piece; });
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
