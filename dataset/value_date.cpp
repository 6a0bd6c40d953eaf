// Texts to dates and times (PS3.5 6.2: DA, TM, DT).
#include <algorithm>
#include <array>
#include <cstring>

#include "dataset/char_class.h"
#include "dataset/value_text.h"
#include "orvkit/result.h"
#include "orvkit/util.h"

namespace orvkit {
namespace {

constexpr auto npos = std::string_view::npos;

const char* firstNoDigit(std::string_view text) noexcept {
    const auto at = std::find_if_not(text.begin(), text.end(), isDigit);
    return at == text.end() ? nullptr : &*at;
}

// The two sides of a range. A side of nothing but padding is absent.
struct TextRange {
    std::string_view start;
    std::string_view end;
};
TextRange rangeOf(std::string_view text, std::size_t dash) noexcept {
    return {trimFront(text.substr(0, dash)), trimFront(text.substr(dash + 1))};
}

// Every fourth year is a leap year, 1900 included: kept for callers that rely on it.
int daysOf(int year, int month) noexcept {
    constexpr std::array<int, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && year % 4 == 0 ? 29 : days[static_cast<std::size_t>(month - 1)];
}

}  // namespace

int parseDate(std::string_view given, int& year, int& month, int& day, unsigned int tag) noexcept {
    constexpr const char* reporter = "utilStrgToYMD";
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    constexpr std::size_t length = 8;
    std::array<char, length> undotted;
    std::string_view date = text;
    if (text.size() != length || text.find('.') != npos) {
        std::size_t n = 0;
        int dots = 0;
        for (const char c : text) {
            if (c == '.') {
                if (++dots > 2)
                    return refuseValue(UTIL_MALFORMED, tag, reporter,
                                       "unexpected occurence of '.' in string '%.*s'", shown(text),
                                       text.data());
            } else if (n < length) {
                undotted[n++] = c;
            }
        }
        if (n < length)
            return refuseValue(UTIL_MALFORMED, tag, reporter, "short string '%.*s', should be 8 digits",
                               shown(text), text.data());
        date = {undotted.data(), length};
    }
    if (const char* c = firstNoDigit(date); c != nullptr) {
        return refuseValue(UTIL_MALFORMED, tag, reporter, "non numeric char '%c' in string '%.*s'",
                           static_cast<unsigned char>(*c), shown(text), text.data());
    }
    const int y = digitsAt(date, 0, 4);  // four digits are always a year of 0 to 9999
    const int m = digitsAt(date, 4, 2);
    const int d = digitsAt(date, 6, 2);
    if (m < 1 || m > 12)
        return refuseValue(UTIL_MALFORMED, tag, reporter, "invalid month %d in string '%.*s'", m, shown(text),
                           text.data());
    if (d < 1 || d > daysOf(y, m))
        return refuseValue(UTIL_MALFORMED, tag, reporter, "invalid day %d in string '%.*s'", d, shown(text),
                           text.data());
    year = y;
    month = m;
    day = d;
    return RESULT_OK;
}

int parseTime(std::string_view given, int& hour, int& minute, double& second, unsigned int tag) noexcept {
    constexpr const char* reporter = "utilStrgToHMS";
    constexpr const char* rangeReporter = "utilStrgToValue";  // kept for those who watch for it
    constexpr std::size_t considered = 34;
    const std::string_view text = trimFront(given).substr(0, considered);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    std::array<char, considered> plain;
    std::string_view time = text;
    if (text.find(':') != npos) {
        if (std::count(text.begin(), text.end(), ':') > 2) {
            return refuseValue(UTIL_MALFORMED, tag, reporter, "unexpected occurence of ':' in string '%.*s'",
                               shown(text), text.data());
        }
        const auto end = std::remove_copy(text.begin(), text.end(), plain.begin(), ':');
        time = {plain.data(), static_cast<std::size_t>(end - plain.begin())};
    }
    const std::size_t whole = std::min(time.find('.'), time.size());
    if (whole != 2 && whole != 4 && whole != 6) {
        return refuseValue(UTIL_MALFORMED, tag, reporter,
                           "invalid HHMMSS part in string '%.*s', should be 2, 4 or 6 chars", shown(text),
                           text.data());
    }
    for (const char c : time) {
        if (isDigit(c) || c == '.') continue;
        return refuseValue(UTIL_MALFORMED, tag, reporter, "non numeric char '%c' in string '%.*s'",
                           static_cast<unsigned char>(c), shown(text), text.data());
    }
    const int h = digitsAt(time, 0, 2);
    const int m = whole >= 4 ? digitsAt(time, 2, 2) : 0;
    const double s = toDouble(time.substr(std::min<std::size_t>(whole, 4)));
    if (h > 23)
        return refuseValue(UTIL_MALFORMED, tag, rangeReporter, "invalid hour value in string '%.*s'",
                           shown(text), text.data());
    if (m > 59)
        return refuseValue(UTIL_MALFORMED, tag, rangeReporter, "invalid minute value in string '%.*s'",
                           shown(text), text.data());
    if (!(s < 60.0))
        return refuseValue(UTIL_MALFORMED, tag, rangeReporter, "invalid second value in string '%.*s'",
                           shown(text), text.data());
    hour = h;
    minute = m;
    second = s;
    return RESULT_OK;
}

namespace {

int parseBound(std::string_view text, int& bound, unsigned int tag) noexcept {
    if (text.empty()) return RESULT_OK;
    int year, month, day;
    const int code = parseDate(text, year, month, day, tag);
    if (code != RESULT_OK) return code;
    long packed;
    utilYMDToLong(year, month, day, packed);
    bound = static_cast<int>(packed);
    return RESULT_OK;
}

int parseBound(std::string_view text, double& bound, unsigned int tag) noexcept {
    if (text.empty()) return RESULT_OK;
    int hour, minute;
    double second;
    const int code = parseTime(text, hour, minute, second, tag);
    if (code != RESULT_OK) return code;
    utilHMSToDouble(hour, minute, second, bound);
    return RESULT_OK;
}

}  // namespace

int parseText(std::string_view given, DcElemValueDA& value, unsigned int tag) noexcept {
    const std::string_view text = trimFront(given);
    const std::size_t dash = text.find('-');
    if (dash == npos) return parseDate(text, value.year, value.month, value.day, tag);
    const TextRange range = rangeOf(text, dash);
    const int code = parseBound(range.start, value.startDate, tag);
    return code != RESULT_OK ? code : parseBound(range.end, value.endDate, tag);
}

int parseText(std::string_view given, DcElemValueTM& value, unsigned int tag) noexcept {
    const std::string_view text = trimFront(given);
    const std::size_t dash = text.find('-');
    if (dash == npos) return parseTime(text, value.hour, value.minute, value.second, tag);
    const TextRange range = rangeOf(text, dash);
    const int code = parseBound(range.start, value.startTime, tag);
    return code != RESULT_OK ? code : parseBound(range.end, value.endTime, tag);
}

int parseText(std::string_view given, DcElemValueDT& value, unsigned int tag) noexcept {
    constexpr std::size_t considered = 26;
    constexpr std::size_t dateLength = 8;
    const std::string_view taken = trimFront(given).substr(0, considered);
    if (taken.empty()) return ELEM_EMPTY_VALUE;
    std::array<char, considered> plain;
    const auto end = std::remove_copy_if(taken.begin(), taken.end(), plain.begin(),
                                         [](char c) { return isOf(c, CHAR_BLANK); });
    const std::string_view text(plain.data(), static_cast<std::size_t>(end - plain.begin()));
    fillField(value.text, text);
    int code = parseDate(text.substr(0, dateLength), value.year, value.month, value.day, tag);
    if (code != RESULT_OK || text.size() <= dateLength) return code;

    const std::string_view rest = text.substr(dateLength);
    const std::size_t sign = rest.find_first_of("+-");
    const std::string_view time = rest.substr(0, sign);
    if (!time.empty()) code = parseTime(time, value.hour, value.minute, value.second, tag);
    if (code != RESULT_OK || sign == npos) return code;

    double second;
    code = parseTime(rest.substr(sign + 1), value.offsetHour, value.offsetMinute, second, tag);
    if (code == RESULT_OK && rest[sign] == '-') value.offsetHour = -value.offsetHour;
    return code;
}

}  // namespace orvkit
