#include "platform/charset.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace orvkit::platform {

namespace {

struct CodePage {
    std::string_view encoding;
    unsigned int number;
    std::size_t longest;  // bytes of one character
};
constexpr unsigned int japaneseEuc = 20932;
constexpr CodePage codePages[] = {
    {"UTF-8", CP_UTF8, 4},      {"ISO-8859-1", 28591, 1}, {"ISO-8859-2", 28592, 1}, {"ISO-8859-3", 28593, 1},
    {"ISO-8859-4", 28594, 1},   {"ISO-8859-5", 28595, 1}, {"ISO-8859-6", 28596, 1}, {"ISO-8859-7", 28597, 1},
    {"ISO-8859-8", 28598, 1},   {"ISO-8859-9", 28599, 1}, {"TIS-620", 874, 1},      {"ISO-8859-15", 28605, 1},
    {"EUC-JP", japaneseEuc, 2}, {"EUC-KR", 949, 2},       {"EUC-CN", 936, 2},       {"GBK", 936, 2},
    {"GB18030", 54936, 4},      {"SHIFT_JIS", 932, 2},
};

// False, and nothing is appended, when the bytes are not all characters of the code page.
bool appendWhole(unsigned int page, std::string_view bytes, std::string& out) {
    const int length = static_cast<int>(bytes.size());
    const int count = ::MultiByteToWideChar(page, MB_ERR_INVALID_CHARS, bytes.data(), length, nullptr, 0);
    if (count <= 0) return false;
    std::wstring wide(static_cast<std::size_t>(count), L'\0');
    (void)::MultiByteToWideChar(page, 0, bytes.data(), length, wide.data(), count);
    const int room = ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), count, nullptr, 0, nullptr, nullptr);
    const std::size_t before = out.size();
    out.resize(before + static_cast<std::size_t>(room));
    (void)::WideCharToMultiByte(CP_UTF8, 0, wide.data(), count, out.data() + before, room, nullptr, nullptr);
    return true;
}

// The code page writes the third code set of EUC, 8F and two bytes above 127, as one above and one below 128.
std::string withoutThirdSet(std::string_view bytes) {
    std::string shorter;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const bool third = bytes[i] == '\x8F' && bytes.size() - i > 2;
        if (!third) {
            shorter += bytes[i];
            continue;
        }
        shorter += {bytes[i + 1], static_cast<char>(bytes[i + 2] & 0x7F)};
        i += 2;
    }
    return shorter;
}

}  // namespace

ToUtf8::ToUtf8(const char* encoding) noexcept {
    const auto* const page = std::find_if(std::begin(codePages), std::end(codePages),
                                          [&](const CodePage& p) { return p.encoding == encoding; });
    if (page != std::end(codePages)) converter_ = const_cast<CodePage*>(page);
}

ToUtf8::~ToUtf8() = default;

void ToUtf8::append(std::string_view bytes, std::string& out) const {
    const auto* const page = static_cast<const CodePage*>(converter_);
    std::string shorter;
    if (page != nullptr && page->number == japaneseEuc) bytes = shorter = withoutThirdSet(bytes);
    if (page != nullptr && appendWhole(page->number, bytes, out)) return;
    while (!bytes.empty()) {
        std::size_t used = 0;
        for (std::size_t n = 1; page != nullptr && used == 0 && n <= std::min(page->longest, bytes.size());
             ++n) {
            if (appendWhole(page->number, bytes.substr(0, n), out)) used = n;
        }
        if (used == 0) out += kReplacement;
        bytes.remove_prefix(std::max<std::size_t>(used, 1));
    }
}

}  // namespace orvkit::platform
