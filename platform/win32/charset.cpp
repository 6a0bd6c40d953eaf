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
    {"UTF-8", CP_UTF8, 4},      {"ISO-8859-1", 28591, 1}, {"ISO-8859-2", 28592, 1},
    {"ISO-8859-3", 28593, 1},   {"ISO-8859-4", 28594, 1}, {"ISO-8859-5", 28595, 1},
    {"ISO-8859-6", 28596, 1},   {"ISO-8859-7", 28597, 1}, {"ISO-8859-8", 28598, 1},
    {"ISO-8859-9", 28599, 1},   {"TIS-620", 874, 1},      {"ISO-8859-15", 28605, 1},
    {"EUC-JP", japaneseEuc, 2}, {"EUC-KR", 949, 2},       {"EUC-CN", 936, 2},
    {"GB18030", 54936, 4},      {"GBK", 936, 2},          {"SHIFT_JIS", 932, 2},
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

// As MultiByteToWideChar takes it, the other way round: back into the third code set.
void restoreThirdSet(std::string& character) {
    const bool third = character.size() == 2 && (character[0] & 0x80) != 0 && (character[1] & 0x80) == 0;
    if (third) character = {'\x8F', character[0], static_cast<char>(character[1] | 0x80)};
}

}  // namespace

Encoding::Encoding(const char* name) {
    for (const CodePage& page : codePages) {
        // Where GB18030 is missing, its characters of two bytes are those of GBK.
        const bool standsIn =
            page.encoding == "GBK" && std::string_view(name) == "GB18030" && decoder_ == nullptr;
        if ((page.encoding == name || standsIn) && ::IsValidCodePage(page.number)) {
            decoder_ = encoder_ = const_cast<CodePage*>(&page);
        }
    }
}

Encoding::~Encoding() = default;

void Encoding::toUtf8(std::string_view bytes, std::string& out,
                      const std::function<void(std::size_t)>& lost) const {
    const auto* const page = static_cast<const CodePage*>(decoder_);
    std::string shorter;
    if (page != nullptr && page->number == japaneseEuc) bytes = shorter = withoutThirdSet(bytes);
    if (page != nullptr && appendWhole(page->number, bytes, out)) return;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::string_view rest = bytes.substr(at);
        std::size_t used = 0;
        for (std::size_t n = 1; page != nullptr && used == 0 && n <= std::min(page->longest, rest.size());
             ++n) {
            if (appendWhole(page->number, rest.substr(0, n), out)) used = n;
        }
        if (used == 0) {
            lost(at);
            out += kReplacement;
        }
        at += std::max<std::size_t>(used, 1);
    }
}

bool Encoding::fromUtf8(std::string_view character, std::string& out) const {
    const auto* const page = static_cast<const CodePage*>(encoder_);
    if (page == nullptr) return false;
    wchar_t wide[4];
    const int count = ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, character.data(),
                                            static_cast<int>(character.size()), wide, 4);
    char room[16];
    const int n = ::WideCharToMultiByte(page->number, 0, wide, count, room, sizeof room, nullptr, nullptr);
    if (count <= 0 || n <= 0) return false;
    // The system puts the nearest character where there is none: what does not come back was not there.
    std::string back;
    std::string made(room, static_cast<std::size_t>(n));
    if (!appendWhole(page->number, made, back) || back != character) return false;
    if (page->number == japaneseEuc) restoreThirdSet(made);
    out += made;
    return true;
}

}  // namespace orvkit::platform
