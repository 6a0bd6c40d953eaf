#include "services/tag_names.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "orvkit/edition.h"
#include "orvkit/result.h"
#include "services/nearest.h"

namespace services {
namespace {

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
    const bool today = dictGetEdition() == DICT_EDITION_CURRENT;
    DcDictEntry entry;
    if (today && dictGetEntry(text.c_str(), entry) == RESULT_OK) return {entry.tag};
    std::vector<unsigned int> tags;
    const std::string wanted = folded(text);
    for (std::size_t i = 0; i < Dict.tagCount(); ++i) {
        const DcDictElemInfo& info = Dict.tagAt(i);
        const bool registered = today && dictGetEntry(info.tag, entry) == RESULT_OK;
        const std::string_view last = namePart(info.name);
        const bool named = folded(info.name) == wanted || (!last.empty() && folded(last) == wanted) ||
                           (registered && *entry.keyword != '\0' && folded(entry.keyword) == wanted);
        if (named) tags.push_back(info.tag);
    }
    return tags;
}

std::string_view namePart(std::string_view name) {
    constexpr std::size_t front = std::string_view("T_gggg_eeee_").size();
    return name.size() > front ? name.substr(front) : std::string_view();
}

std::string keywordOf(unsigned int tag) {
    DcDictEntry entry;
    const bool today = dictGetEdition() == DICT_EDITION_CURRENT;
    if (today && dictGetEntry(tag, entry) == RESULT_OK && *entry.keyword != '\0') return entry.keyword;
    char name[64] = "";
    (void)Dict.getDesc(tag, name);
    std::string keyword(namePart(name));
    if (!keyword.empty())
        keyword[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(keyword[0])));
    return keyword;
}

std::string nearestKeyword(const std::string& text) {
    if (text.find_first_of("0123456789,()") != std::string::npos) return {};  // meant as a number
    std::vector<std::string> keywords;
    for (std::size_t i = 0; i < Dict.tagCount(); ++i) {
        std::string keyword = keywordOf(Dict.tagAt(i).tag);
        if (!keyword.empty()) keywords.push_back(std::move(keyword));
    }
    return nearest(text, keywords);
}

std::string noTagText(const std::string& text) {
    return "neither a tag nor a name of the dictionary" + didYouMean(nearestKeyword(text));
}

std::string Pick::add(const std::string& list) {
    // A comma also stands within a tag: what two pieces name together is taken first.
    std::vector<std::string> pieces;
    for (std::size_t from = 0, end; from <= list.size(); from = end + 1) {
        end = std::min(list.find(',', from), list.size());
        pieces.push_back(list.substr(from, end - from));
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        std::vector<unsigned int> tags;
        if (i + 1 < pieces.size()) tags = tagsNamed(pieces[i] + ',' + pieces[i + 1]);
        if (!tags.empty()) {
            ++i;
        } else if (tags = tagsNamed(pieces[i]); tags.empty()) {
            return pieces[i].empty() ? list : pieces[i];
        }
        tags_.insert(tags_.end(), tags.begin(), tags.end());
    }
    return {};
}

bool Pick::wants(unsigned int tag) const {
    if (std::ranges::find(tags_, tag) != tags_.end()) return true;
    // What stands for a range of tags, as the records of repeating groups do, is asked for by its own tag.
    const DcDictElemInfo* const record = Dict.find(tag);
    return record != nullptr && (tag & 0x10000) == 0 && std::ranges::find(tags_, record->tag) != tags_.end();
}

}  // namespace services
