#include "index/forms.h"

#include <algorithm>

#include "index/attributes.h"
#include "index/fold.h"

namespace orvkit::index {
namespace {

constexpr std::int64_t kSecond = 1000000;

// The next digits of a text; nothing when there are not so many.
std::optional<int> takeDigits(std::string_view& text, std::size_t count) {
    if (text.size() < count) return std::nullopt;
    int number = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        number = number * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return number;
}

// Days since 0000-03-01 of the Gregorian calendar.
std::int64_t dayNumber(int year, int month, int day) {
    const std::int64_t y = month > 2 ? year : year - 1;
    const std::int64_t m = month > 2 ? month - 3 : month + 9;
    return 365 * y + (y >= 0 ? y / 4 - y / 100 + y / 400 : -1) + (153 * m + 2) / 5 + day - 1;
}

// Reads year, month and day as far as they are there.
std::optional<Period> takeDate(std::string_view& text) {
    const std::optional<int> year = takeDigits(text, 4);
    if (!year.has_value()) return std::nullopt;
    const auto days = [](std::int64_t from, std::int64_t behind) {
        return Period{from * kDay, behind * kDay - 1, std::nullopt};
    };
    const std::optional<int> month = takeDigits(text, 2);
    if (!month.has_value()) return days(dayNumber(*year, 1, 1), dayNumber(*year + 1, 1, 1));
    if (*month < 1 || *month > 12) return std::nullopt;
    const std::optional<int> day = takeDigits(text, 2);
    if (!day.has_value()) {
        const bool last = *month == 12;
        return days(dayNumber(*year, *month, 1),
                    last ? dayNumber(*year + 1, 1, 1) : dayNumber(*year, *month + 1, 1));
    }
    if (*day < 1 || *day > 31) return std::nullopt;
    return days(dayNumber(*year, *month, *day), dayNumber(*year, *month, *day) + 1);
}

// The digits behind the seconds' point, six at most count.
Period takeFraction(std::string_view& text, std::int64_t from) {
    std::int64_t unit = kSecond;
    while (!text.empty() && text.front() >= '0' && text.front() <= '9') {
        if (unit > 1) {
            unit /= 10;
            from += (text.front() - '0') * unit;
        }
        text.remove_prefix(1);
    }
    return {from, from + unit - 1, std::nullopt};
}

std::optional<Period> takeTime(std::string_view& text) {
    const std::optional<int> hour = takeDigits(text, 2);
    if (!hour.has_value() || *hour > 23) return std::nullopt;
    std::int64_t from = *hour * 3600 * kSecond;
    const std::optional<int> minute = takeDigits(text, 2);
    if (!minute.has_value()) return Period{from, from + 3600 * kSecond - 1, std::nullopt};
    if (*minute > 59) return std::nullopt;
    from += *minute * 60 * kSecond;
    const std::optional<int> second = takeDigits(text, 2);
    if (!second.has_value()) return Period{from, from + 60 * kSecond - 1, std::nullopt};
    if (*second > 60) return std::nullopt;
    from += *second * kSecond;
    if (text.empty() || text.front() != '.') return Period{from, from + kSecond - 1, std::nullopt};
    text.remove_prefix(1);
    return takeFraction(text, from);
}

// Without the separators of older editions.
std::string without(std::string_view text, char separator) {
    std::string plain(trimmed(text));
    plain.erase(std::remove(plain.begin(), plain.end(), separator), plain.end());
    return plain;
}

}  // namespace

std::string formOf(std::string_view utf8) {
    std::string form = folded(trimmed(utf8), {});
    if (form.size() <= kLongestForm) return form;
    std::size_t end = kLongestForm;
    while (end > 0 && (static_cast<unsigned char>(form[end]) & 0xC0) == 0x80) --end;
    form.resize(end);
    return form;
}

NameGroups nameGroups(std::string_view utf8) {
    NameGroups groups;
    for (std::string& group : groups) {
        const std::size_t end = utf8.find('=');
        std::string_view rest = utf8.substr(0, end);
        for (bool first = true;; first = false) {
            const std::size_t component = rest.find('^');
            if (!first) group += '^';
            group += trimmed(rest.substr(0, component));
            if (component == std::string_view::npos) break;
            rest.remove_prefix(component + 1);
        }
        group.resize(group.find_last_not_of('^') + 1);
        if (end == std::string_view::npos) break;
        utf8.remove_prefix(end + 1);
    }
    return groups;
}

std::vector<std::string> nameWords(std::string_view utf8) {
    std::vector<std::string> words;
    std::string word;
    const std::string text = folded(utf8, {}) + ' ';
    for (const char c : text) {
        if (std::string_view(" ^=,-.'\\").find(c) == std::string_view::npos) {
            word += c;
        } else if (!word.empty()) {
            words.push_back(formOf(word));
            word.clear();
        }
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

std::optional<Period> dateOf(std::string_view text) {
    const std::string plain = without(text, '.');
    std::string_view rest = plain;
    if (rest.size() != 8) return std::nullopt;
    std::optional<Period> date = takeDate(rest);
    return rest.empty() ? date : std::nullopt;
}

std::optional<Period> timeOf(std::string_view text) {
    const std::string plain = without(text, ':');
    std::string_view rest = plain;
    std::optional<Period> time = takeTime(rest);
    return rest.empty() ? time : std::nullopt;
}

std::optional<std::int64_t> zoneOf(std::string_view text) {
    text = trimmed(text);
    if (text.size() != 5 || (text.front() != '+' && text.front() != '-')) return std::nullopt;
    const int sign = text.front() == '-' ? -1 : 1;
    text.remove_prefix(1);
    const std::optional<int> hours = takeDigits(text, 2);
    const std::optional<int> minutes = takeDigits(text, 2);
    if (!hours.has_value() || !minutes.has_value() || *hours > 14 || *minutes > 59) return std::nullopt;
    return sign * (*hours * std::int64_t{3600} + *minutes * std::int64_t{60}) * kSecond;
}

std::optional<Period> dateTimeOf(std::string_view text) {
    text = trimmed(text);
    std::optional<std::int64_t> offset;
    if (text.size() > 5 && (text[text.size() - 5] == '+' || text[text.size() - 5] == '-')) {
        offset = zoneOf(text.substr(text.size() - 5));
        if (!offset.has_value()) return std::nullopt;
        text.remove_suffix(5);
    }
    const std::size_t given = text.size();
    std::optional<Period> period = takeDate(text);
    if (!period.has_value()) return std::nullopt;
    if (!text.empty()) {
        const std::optional<Period> time = given > 8 ? takeTime(text) : std::nullopt;
        if (!time.has_value() || !text.empty()) return std::nullopt;
        const std::int64_t day = period->from;
        period = Period{day + time->from, day + time->to, std::nullopt};
    }
    period->offset = offset;
    return period;
}

std::string dateForm(std::string_view text) {
    return dateOf(text).has_value() ? without(text, '.') : "";
}

}  // namespace orvkit::index
