#include "services/archive_layout.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "orvkit/dict.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/elements.h"
#include "services/tag_names.h"
#include "services/text.h"
#include "services/values.h"

namespace services {
namespace {

constexpr char kSuffix[] = ".dcm";
constexpr std::size_t kMostNames = 8;
constexpr std::size_t kLongestName = 100;  // bytes; a path is to be no longer than a file reference
constexpr int kMostNumbers = 99;           // then the instance tells files apart, and nobody tries them all
constexpr char kNothing[] = "none";

// FNV-1a: of UIDs, which nobody can choose so that a folder fills up and anything is lost by it.
std::uint32_t hashOf(const std::string& text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    return hash ^ hash >> 16;
}

// "4f/a0": two levels, so that ten million files are some hundred to a folder. A series is in one, which is
// made and brought to the disk once, and whose files lie side by side.
std::string folderOf(const ArchiveFile& object) {
    static constexpr char digits[] = "0123456789abcdef";
    const std::uint32_t hash = hashOf(textOf(object.dataset, T_0020_000d_studyInstanceUid) + "/" +
                                      textOf(object.dataset, T_0020_000e_seriesInstanceUid));
    std::string folder;
    for (const unsigned int shift : {12U, 8U, 4U, 0U}) {
        if (shift == 4) folder += '/';
        folder += digits[hash >> shift & 15U];
    }
    return folder;
}

std::string lower(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return result;
}

bool isContinued(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// What separates names, is a control character or stands for others has no place in one.
std::string withoutSigns(std::string_view utf8) {
    static constexpr std::string_view signs = "/\\:*?\"<>|\x7f";
    std::string text;
    for (std::size_t i = 0; i < utf8.size(); ++i) {
        const auto c = static_cast<unsigned char>(utf8[i]);
        const bool isC1 = c == 0xC2 && i + 1 < utf8.size() && static_cast<unsigned char>(utf8[i + 1]) < 0xA0;
        if (isC1) ++i;
        text += isC1 || c < 0x20 || signs.find(utf8[i]) != signs.npos ? '_' : utf8[i];
    }
    return text;
}

std::string valueOf(const ArchiveFile& object, unsigned int tag) {
    std::string terms;
    if (DcElem* const charset = elementOf(object.dataset, T_0008_0005_specificCharacterSet))
        (void)bytesOf(*charset, terms);
    const std::string text = Charset(trimmed(terms)).toUtf8(textOf(object.dataset, tag), Dict.facts(tag).vr);
    const std::string value = withoutSigns(trimmed(text));
    return value.empty() ? kNothing : value;
}

// What some system takes for a device, with whatever behind a dot.
bool isReserved(std::string_view name) {
    static constexpr std::array devices{"con", "prn", "aux", "nul", "conin$", "conout$"};
    const std::string stem = lower(name.substr(0, name.find('.')));
    const bool isPort = stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt")) &&
                        stem[3] >= '0' && stem[3] <= '9';
    return isPort || std::ranges::find(devices, stem) != devices.end();
}

std::string safeName(std::string name) {
    if (name.size() > kLongestName) {
        std::size_t length = kLongestName;
        while (length > 0 && isContinued(name[length])) --length;
        name.resize(length);
    }
    if (name.front() == '.' || name.front() == ' ') name.front() = '_';
    if (name.back() == '.' || name.back() == ' ') name.back() = '_';
    return (isReserved(name) ? "_" : "") + name;
}

// Why an attribute cannot be part of a name, or "".
std::string attributeFault(const std::string& keyword, unsigned int& tag) {
    const std::vector<unsigned int> tags = tagsNamed(keyword);
    if (tags.empty()) return "{" + keyword + "}: " + noTagText(keyword);
    tag = tags.front();
    if (tag < 0x00080000) return "{" + keyword + "} is not in the data set";
    const ValueKind kind = kindOf(Dict.facts(tag).vr);
    if (Dict.facts(tag).vr == VR_SQ || kind == ValueKind::raw || kind == ValueKind::none)
        return "{" + keyword + "} has no value that is a text";
    return "";
}

}  // namespace

std::string ArchiveLayout::parseName(std::string_view text, Name& name) {
    while (!text.empty()) {
        const std::size_t brace = text.find_first_of("{}");
        if (brace > 0) name.push_back({withoutSigns(text.substr(0, brace)), 0});
        if (brace == text.npos) break;
        const std::size_t end = text.find_first_of("{}", brace + 1);
        if (text[brace] == '}' || end == text.npos || text[end] == '{')
            return std::string(1, text[brace]) + " stands alone";
        Piece& piece = name.emplace_back();
        if (std::string fault =
                attributeFault(std::string(text.substr(brace + 1, end - brace - 1)), piece.tag);
            !fault.empty())
            return fault;
        text.remove_prefix(end + 1);
    }
    return "";
}

std::string ArchiveLayout::parse(std::string_view text) {
    std::vector<Name> names;
    if (text.ends_with('/')) return "it ends in '/', and the last name is the file's";
    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t slash = std::min(rest.find('/'), rest.size());
        if (slash == 0) return "a name in front of a '/' is empty";
        if (names.size() == kMostNames) return "it has more than " + std::to_string(kMostNames) + " names";
        if (std::string fault = parseName(rest.substr(0, slash), names.emplace_back()); !fault.empty())
            return fault;
        rest.remove_prefix(std::min(slash + 1, rest.size()));
    }
    names_ = std::move(names);
    return "";
}

std::string ArchiveLayout::stemOf(const ArchiveFile& object, const std::string& instance) const {
    if (names_.empty()) return folderOf(object) + "/" + instance;
    std::string path;
    for (const Name& name : names_) {
        std::string text;
        for (const Piece& piece : name) text += piece.tag != 0 ? valueOf(object, piece.tag) : piece.text;
        const bool isFile = &name == &names_.back();
        if (isFile && text.size() > sizeof kSuffix - 1 && lower(text).ends_with(kSuffix))
            text.resize(text.size() - (sizeof kSuffix - 1));
        text = safeName(std::move(text));
        if (!isFile) text += lower(text).ends_with(kSuffix) ? "_/" : "/";
        path += text;
    }
    return path;
}

std::string ArchiveLayout::pathFor(const ArchiveFile& object, const std::string& instance, int number) const {
    std::string path = stemOf(object, instance);
    if (number > kMostNumbers) {
        path += "-" + instance;
        number -= kMostNumbers;
    }
    if (number > 1) path += "-" + std::to_string(number);
    return path + kSuffix;
}

}  // namespace services
