#include "services/tag_names.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "orvkit/dict.h"
#include "services/nearest.h"

namespace services {
namespace {

bool isRepeatingGroup(unsigned int tag) {
    const unsigned int high = tag >> 24;
    return (high == 0x50 || high == 0x60) && (tag & 0x10000) == 0;
}

// Lower case, and "patientsName" as "patientname".
std::string folded(std::string_view name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const bool possessive = name[i] == 's' && i + 1 < name.size() &&
                                std::isupper(static_cast<unsigned char>(name[i + 1])) != 0;
        if (!possessive) text += static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
    }
    return text;
}

// One half of a tag: one to four hexadecimal digits; x stands for the open digits of a repeating group.
bool halfFromDigits(std::string text, unsigned int& half) {
    std::replace(text.begin(), text.end(), 'x', 'f');
    const bool hex = std::all_of(text.begin(), text.end(),
                                 [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; });
    if (!hex || text.empty() || text.size() > 4) return false;
    half = static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 16));
    return true;
}

bool tagFromDigits(std::string text, unsigned int& tag) {
    if (text.size() > 2 && text.front() == '(' && text.back() == ')') text = text.substr(1, text.size() - 2);
    if (text.starts_with("0x")) text.erase(0, 2);
    if (text.size() == 8 && text.find(',') == std::string::npos) text.insert(4, 1, ',');
    const std::size_t comma = text.find(',');
    unsigned int group = 0;
    unsigned int element = 0;
    if (comma == std::string::npos || !halfFromDigits(text.substr(0, comma), group) ||
        !halfFromDigits(text.substr(comma + 1), element)) {
        return false;
    }
    tag = group << 16 | element;
    return true;
}

}  // namespace

std::vector<unsigned int> tagsNamed(const std::string& text) {
    unsigned int tag = 0;
    if (tagFromDigits(text, tag)) return {tag};
    std::vector<unsigned int> tags;
    const std::string wanted = folded(text);
    for (std::size_t i = 0; i < Dict.tagCount(); ++i) {
        const DcDictElemInfo& info = Dict.tagAt(i);
        const std::string_view name = info.name;
        const std::string_view keyword = name.size() > 12 ? name.substr(12) : std::string_view();
        if (folded(name) == wanted || (!keyword.empty() && folded(keyword) == wanted))
            tags.push_back(info.tag);
    }
    return tags;
}

std::string nearestKeyword(const std::string& text) {
    if (text.find_first_of("0123456789,()") != std::string::npos) return {};  // meant as a number
    std::vector<std::string> keywords;
    for (std::size_t i = 0; i < Dict.tagCount(); ++i) {
        const std::string_view name = Dict.tagAt(i).name;
        if (name.size() <= 12) continue;
        std::string keyword(name.substr(12));
        keyword[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(keyword[0])));
        keywords.push_back(std::move(keyword));
    }
    return nearest(text, keywords);
}

std::string noTagText(const std::string& text) {
    return "neither a tag nor a name of the dictionary" + didYouMean(nearestKeyword(text));
}

bool Pick::add(const std::string& text) {
    const std::vector<unsigned int> tags = tagsNamed(text);
    tags_.insert(tags_.end(), tags.begin(), tags.end());
    return !tags.empty();
}

bool Pick::wants(unsigned int tag) const {
    // Records of the repeating groups 50xx and 60xx stand under 50FF and 60FF.
    const unsigned int record = isRepeatingGroup(tag) ? tag | 0x00FF0000 : tag;
    return std::any_of(tags_.begin(), tags_.end(), [&](unsigned int t) { return t == tag || t == record; });
}

}  // namespace services
