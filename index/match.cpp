#include "index/match.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "dictionary/vr_table.h"
#include "orvkit/index.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

bool isTime(DICT_VR vr) {
    return vr == VR_DA || vr == VR_TM || vr == VR_DT;
}
// Those that know wild cards (PS3.4 C.2.2.2.4).
bool isWild(DICT_VR vr) {
    switch (vr) {
        case VR_AE:
        case VR_CS:
        case VR_LO:
        case VR_LT:
        case VR_PN:
        case VR_SH:
        case VR_ST:
        case VR_UC:
        case VR_UR:
        case VR_UT:
            return true;
        default:
            return false;
    }
}
bool isNumberText(DICT_VR vr) {
    return vr == VR_IS || vr == VR_DS;
}
bool isBinary(DICT_VR vr) {
    return vrRowOfAny(vr).held != Held::text && vrRowOfAny(vr).kind != Kind::longText;
}
bool isOneValue(DICT_VR vr) {
    return isBinary(vr) || vrRowOfAny(vr).split == Split::no;
}

std::optional<Period> periodOf(DICT_VR vr, std::string_view text) {
    return vr == VR_DA ? dateOf(text) : vr == VR_TM ? timeOf(text) : dateTimeOf(text);
}

// Where the hyphen of a range is: not the one of an offset from UTC, which stands before four digits of no
// year.
std::size_t hyphenOf(DICT_VR vr, std::string_view text) {
    for (std::size_t at = text.find('-'); at != std::string_view::npos; at = text.find('-', at + 1)) {
        if (vr != VR_DT || at == 0) return at;
        const std::string_view behind = text.substr(at + 1);
        const bool ends = behind.size() == 4 || (behind.size() > 4 && behind[4] == '-');
        if (!ends || !zoneOf(text.substr(at, 5)).has_value()) return at;
    }
    return std::string_view::npos;
}

// Nothing: it is no value of that VR, and nothing matches it.
std::optional<Range> rangeOf(DICT_VR vr, std::string_view text) {
    const std::size_t hyphen = hyphenOf(vr, text);
    Range range;
    if (hyphen == std::string_view::npos) {
        range.from = range.to = periodOf(vr, text);
        return range.from.has_value() ? std::optional(range) : std::nullopt;
    }
    const std::string_view first = trimmed(text.substr(0, hyphen));
    const std::string_view last = trimmed(text.substr(hyphen + 1));
    range.from = periodOf(vr, first);
    range.to = periodOf(vr, last);
    const bool good = (first.empty() || range.from.has_value()) && (last.empty() || range.to.has_value());
    return good && !(first.empty() && last.empty()) ? std::optional(range) : std::nullopt;
}

// Reads its bytes or values; false: it is universal.
bool takeValues(Key& key, std::string_view value, unsigned int how) {
    if (isOneValue(key.vr)) {
        const std::string_view text = isBinary(key.vr) ? value : trimmed(value);
        if (!text.empty()) key.values.emplace_back(text);
    } else {
        eachValue(value, [&key](std::string_view text) {
            if (!text.empty()) key.values.emplace_back(text);
        });
    }
    if ((how & INDEX_EMPTY_VALUE) != 0 && key.values.size() == 1 && key.values[0] == "\"\"") {
        key.values.clear();
        key.empty = true;
        return true;
    }
    if (isBinary(key.vr)) return !key.values.empty();
    // A star alone means nothing else in any VR.
    if (std::any_of(key.values.begin(), key.values.end(),
                    [](const std::string& text) { return text.find_first_not_of('*') == std::string::npos; }))
        key.values.clear();
    return !key.values.empty();
}

void prepare(Key& key, std::string_view value, unsigned int how) {
    if (!takeValues(key, value, how)) return;
    if (isTime(key.vr)) {
        for (const std::string& text : key.values) {
            if (const std::optional<Range> range = rangeOf(key.vr, text)) key.ranges.push_back(*range);
        }
        return;
    }
    key.fuzzy = key.vr == VR_PN && (how & INDEX_FUZZY_NAMES) != 0;
    key.fold.cases = isWild(key.vr) && (key.vr == VR_PN || (how & INDEX_ANY_CASE) != 0);
    key.fold.accents = isWild(key.vr) && (key.fuzzy || (how & INDEX_ANY_ACCENT) != 0);
    for (const std::string& text : key.values) key.patterns.push_back(folded(text, key.fold));
    if (key.vr == VR_UI) std::sort(key.patterns.begin(), key.patterns.end());
}

bool sameNumber(std::string_view left, std::string_view right) {
    double a = 0;
    double b = 0;
    if (left.starts_with('+')) left.remove_prefix(1);
    if (right.starts_with('+')) right.remove_prefix(1);
    const auto endA = std::from_chars(left.data(), left.data() + left.size(), a);
    const auto endB = std::from_chars(right.data(), right.data() + right.size(), b);
    if (endA.ec != std::errc() || endB.ec != std::errc() || endA.ptr != left.data() + left.size() ||
        endB.ptr != right.data() + right.size())
        return left == right;
    return a == b;
}

// Each word of the key begins a word of the name.
bool matchesFuzzily(std::string_view name, std::string_view pattern) {
    const std::vector<std::string> words = nameWords(name);
    for (std::string word : nameWords(pattern)) {
        word.erase(std::remove(word.begin(), word.end(), '*'), word.end());
        if (std::none_of(words.begin(), words.end(),
                         [&](const std::string& w) { return w.starts_with(word); }))
            return false;
    }
    return true;
}

bool matchesName(const Key& key, std::string_view name, const std::string& pattern) {
    if (key.fuzzy) return matchesFuzzily(name, pattern);
    const NameGroups groups = nameGroups(folded(name, key.fold));
    const NameGroups wanted = nameGroups(pattern);
    if (pattern.find('=') == std::string::npos) {
        return std::any_of(groups.begin(), groups.end(), [&](const std::string& group) {
            return !group.empty() && isLike(group, wanted[0]);
        });
    }
    for (std::size_t i = 0; i < groups.size(); ++i) {
        if (!wanted[i].empty() && !isLike(groups[i], wanted[i])) return false;
    }
    return true;
}

bool matchesText(const Key& key, std::string_view text) {
    if (key.vr == VR_UI) return std::binary_search(key.patterns.begin(), key.patterns.end(), text);
    if (isNumberText(key.vr)) {
        return std::any_of(key.patterns.begin(), key.patterns.end(),
                           [&](const std::string& p) { return sameNumber(text, p); });
    }
    if (key.vr == VR_PN) {
        return std::any_of(key.patterns.begin(), key.patterns.end(),
                           [&](const std::string& p) { return matchesName(key, text, p); });
    }
    const std::string own = folded(text, key.fold);
    return std::any_of(key.patterns.begin(), key.patterns.end(),
                       [&](const std::string& p) { return isWild(key.vr) ? isLike(own, p) : own == p; });
}

bool matchesValue(const Key& key, std::string_view text) {
    if (text.empty()) return false;
    if (!isTime(key.vr)) return matchesText(key, text);
    const std::optional<Period> period = periodOf(key.vr, text);
    return period.has_value() && std::any_of(key.ranges.begin(), key.ranges.end(),
                                             [&](const Range& range) { return range.holds(*period); });
}

bool matchesItem(const std::vector<Key>& keys, std::string_view item) {
    return std::all_of(keys.begin(), keys.end(),
                       [&](const Key& key) { return matches(key, attributeOf(item, key.tag)); });
}

bool matchesSequence(const Key& key, std::string_view value) {
    if (std::all_of(key.item.begin(), key.item.end(), [](const Key& k) { return k.isUniversal(); }))
        return true;
    ItemReader items(value);
    for (std::string_view item; items.next(item);) {
        if (matchesItem(key.item, item)) return true;
    }
    return false;
}

}  // namespace

bool Range::holds(const Period& period) const {
    const auto instant = [&period](const Period& end, std::int64_t at) {
        const bool zones = end.offset.has_value() && period.offset.has_value();
        return zones ? at + *period.offset - *end.offset : at;
    };
    if (from.has_value() && period.from < instant(*from, from->from)) return false;
    return !to.has_value() || period.from <= instant(*to, to->to);
}

bool hasWildCards(std::string_view pattern) {
    return pattern.find_first_of("*?") != std::string_view::npos;
}

bool isLike(std::string_view text, std::string_view pattern) {
    std::string_view behindStar;  // where the pattern goes on after its last star
    std::string_view retry;       // and the text that this star may still take
    bool starred = false;
    while (!text.empty()) {
        std::string_view restText = text;
        std::string_view restPattern = pattern;
        if (!pattern.empty() && pattern.front() == '*') {
            starred = true;
            behindStar = pattern = pattern.substr(1);
            retry = text;
            continue;
        }
        const char32_t own = takeCharacter(restText);
        const char32_t wanted = pattern.empty() ? 0 : takeCharacter(restPattern);
        if (!pattern.empty() && (wanted == U'?' || wanted == own)) {
            text = restText;
            pattern = restPattern;
            continue;
        }
        if (!starred) return false;
        (void)takeCharacter(retry);
        text = retry;
        pattern = behindStar;
    }
    return pattern.find_first_not_of('*') == std::string_view::npos;
}

std::vector<Key> makeKeys(std::string_view attributes, unsigned int how) {
    std::vector<Key> keys;
    AttributeReader reader(attributes);
    for (Attribute attribute; reader.next(attribute);) {
        Key key;
        key.tag = attribute.tag;
        key.vr = attribute.vr;
        if (attribute.vr == VR_SQ) {
            ItemReader items(attribute.value);
            std::string_view item;
            if (items.next(item)) key.item = makeKeys(item, how);
        } else {
            prepare(key, attribute.value, how);
        }
        keys.push_back(std::move(key));
    }
    return keys;
}

bool matches(const Key& key, const std::optional<Attribute>& attribute) {
    if (key.isUniversal()) return true;
    const std::string_view value = attribute.has_value() ? attribute->value : std::string_view();
    if (key.empty) return value.empty();
    if (key.vr == VR_SQ) return matchesSequence(key, value);
    if (isBinary(key.vr)) return !value.empty() && value == key.values[0];
    if (isOneValue(key.vr)) return matchesValue(key, trimmed(value));
    bool found = false;
    eachValue(value, [&](std::string_view text) { found = found || matchesValue(key, text); });
    return found;
}

bool matches(const DateTimeKey& key, std::string_view date, std::string_view time, std::int64_t offset) {
    const std::optional<Period> day = dateOf(date);
    if (!day.has_value()) return false;
    const std::optional<Period> hour = timeOf(time);
    const std::int64_t from = day->from + (hour.has_value() ? hour->from : 0) - offset;
    return key.range.holds({from, from, std::nullopt});
}

std::vector<DateTimeKey> takePairs(std::vector<Key>& keys) {
    static constexpr std::pair<unsigned int, unsigned int> pairs[] = {
        {T_0008_0020_studyDate, T_0008_0030_studyTime},
        {T_0008_0021_seriesDate, T_0008_0031_seriesTime},
        {T_0008_0022_acquisitionDate, T_0008_0032_acquisitionTime},
        {T_0008_0023_contentDate, T_0008_0033_contentTime},
        {T_0040_0002_scheduledProcedureStepStartDate, T_0040_0003_scheduledProcedureStepStartTime},
        {T_0040_0244_performedProcedureStepStartDate, T_0040_0245_performedProcedureStepStartTime},
        {T_0040_0250_performedProcedureStepEndDate, T_0040_0251_performedProcedureStepEndTime},
    };
    std::vector<DateTimeKey> taken;
    const auto keyOf = [&keys](unsigned int tag) {
        const auto at = std::find_if(keys.begin(), keys.end(), [tag](const Key& k) { return k.tag == tag; });
        return at != keys.end() && at->ranges.size() == 1 ? &*at : nullptr;
    };
    for (const auto& [dateTag, timeTag] : pairs) {
        Key* const date = keyOf(dateTag);
        Key* const time = keyOf(timeTag);
        if (date == nullptr || time == nullptr) continue;
        const Range& days = date->ranges[0];
        const Range& hours = time->ranges[0];
        DateTimeKey key{dateTag, timeTag, {}};
        // An open end of the times is that of the day.
        if (days.from.has_value())
            key.range.from = Period{days.from->from + (hours.from.has_value() ? hours.from->from : 0),
                                    days.from->to, std::nullopt};
        if (days.to.has_value())
            key.range.to =
                Period{days.to->from, hours.to.has_value() ? days.to->from + hours.to->to : days.to->to,
                       std::nullopt};
        taken.push_back(key);
        // They are still told in answers, and match all.
        for (Key* const half : {date, time}) {
            half->values.clear();
            half->ranges.clear();
        }
    }
    return taken;
}

}  // namespace orvkit::index
