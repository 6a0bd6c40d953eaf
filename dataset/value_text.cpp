// Texts to structured values (PS3.5 6.2): the utilStrgToValue family.
#include "dataset/value_text.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "dataset/char_class.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/log.h"
#include "orvkit/result.h"
#include "orvkit/util.h"

namespace orvkit {
namespace {

constexpr auto npos = std::string_view::npos;

// A refusal of the element that the function's `tag` names.
#define REFUSE(reporter, format, ...)                                                                 \
    fail(UTIL_MALFORMED, LOG_VALIDATION, reporter, "Element (%04x,%04x) - " format, tag >> 16, tag & 0xFFFF, \
         __VA_ARGS__)
#define SHOW(text) shown(text), (text).data()

int digitsAt(std::string_view text, std::size_t from, std::size_t count) noexcept {
    int v = 0;
    for (std::size_t i = from; i < from + count; ++i) v = v * 10 + (text[i] - '0');
    return v;
}

// The two sides of a range. A side of nothing but padding is absent.
struct Range {
    std::string_view start;
    std::string_view end;
};
Range rangeOf(std::string_view text, std::size_t dash) noexcept {
    return {trimFront(text.substr(0, dash)), trimFront(text.substr(dash + 1))};
}

// Every fourth year is a leap year, 1900 included: kept for callers that rely on it.
int daysOf(int year, int month) noexcept {
    constexpr std::array<int, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && year % 4 == 0 ? 29 : days[static_cast<std::size_t>(month - 1)];
}

template <std::size_t N>
void copyCut(char (&to)[N], std::string_view text) noexcept {
    const std::size_t n = std::min(text.size(), N - 1);
    std::memcpy(to, text.data(), n);
    to[n] = '\0';
}

}  // namespace

int parseDate(std::string_view given, int& year, int& month, int& day, unsigned int tag) noexcept {
    constexpr const char* reporter = "utilStrgToYMD";
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    std::array<char, 8> digits;
    std::size_t n = 0;
    int dots = 0;
    for (const char c : text) {
        if (c == '.') {
            if (++dots > 2) return REFUSE(reporter, "unexpected occurence of '.' in string '%.*s'", SHOW(text));
        } else if (n < digits.size()) {
            digits[n++] = c;
        }
    }
    if (n < digits.size()) return REFUSE(reporter, "short string '%.*s', should be 8 digits", SHOW(text));
    for (const char c : digits) {
        if (!isDigit(c)) {
            return REFUSE(reporter, "non numeric char '%c' in string '%.*s'", static_cast<unsigned char>(c),
                          SHOW(text));
        }
    }
    const std::string_view date(digits.data(), digits.size());
    const int y = digitsAt(date, 0, 4);  // four digits are always a year of 0 to 9999
    const int m = digitsAt(date, 4, 2);
    const int d = digitsAt(date, 6, 2);
    if (m < 1 || m > 12) return REFUSE(reporter, "invalid month %d in string '%.*s'", m, SHOW(text));
    if (d < 1 || d > daysOf(y, m)) return REFUSE(reporter, "invalid day %d in string '%.*s'", d, SHOW(text));
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
    if (std::count(text.begin(), text.end(), ':') > 2) {
        return REFUSE(reporter, "unexpected occurence of ':' in string '%.*s'", SHOW(text));
    }
    std::array<char, considered> plain;
    const auto end = std::remove_copy(text.begin(), text.end(), plain.begin(), ':');
    const std::string_view time(plain.data(), static_cast<std::size_t>(end - plain.begin()));
    const std::size_t whole = time.substr(0, time.find('.')).size();
    if (whole != 2 && whole != 4 && whole != 6) {
        return REFUSE(reporter, "invalid HHMMSS part in string '%.*s', should be 2, 4 or 6 chars", SHOW(text));
    }
    for (const char c : time) {
        if (!isDigit(c) && c != '.') {
            return REFUSE(reporter, "non numeric char '%c' in string '%.*s'", static_cast<unsigned char>(c),
                          SHOW(text));
        }
    }
    const int h = digitsAt(time, 0, 2);
    const int m = whole >= 4 ? digitsAt(time, 2, 2) : 0;
    const double s = toDouble(time.substr(std::min<std::size_t>(whole, 4)));
    if (h > 23) return REFUSE(rangeReporter, "invalid hour value in string '%.*s'", SHOW(text));
    if (m > 59) return REFUSE(rangeReporter, "invalid minute value in string '%.*s'", SHOW(text));
    if (!(s < 60.0)) return REFUSE(rangeReporter, "invalid second value in string '%.*s'", SHOW(text));
    hour = h;
    minute = m;
    second = s;
    return RESULT_OK;
}

int parseText(std::string_view given, DcElemValueAS& value, unsigned int tag) noexcept {
    constexpr const char* reporter = "utilStrgToValue";
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    const std::string_view age = trim(text.substr(0, 4));
    if (age.size() != 4) {
        return REFUSE(reporter, "'%.*s' incorrect AS string length, must be 4 bytes", SHOW(age));
    }
    const auto digits = static_cast<std::size_t>(std::find_if_not(age.begin(), age.end(), isDigit) - age.begin());
    const bool valid = digits != 0 && digits != age.size() &&
                       std::string_view("DMWY").find(age[digits]) != npos;
    if (!valid) return REFUSE(reporter, "invalid string %.*s", SHOW(text));
    value.age = digitsAt(age, 0, digits);
    value.unit[0] = age[digits];
    value.unit[1] = '\0';
    return RESULT_OK;
}

int parseText(std::string_view given, DcElemValueAT& value, unsigned int tag) noexcept {
    constexpr const char* reporter = "utilStrgToValue";
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    if (text.size() != 11) {
        return fail(UTIL_STRING_LENGTH, LOG_VALIDATION, reporter,
                    "Element (%04x,%04x) - %.*s incorrect string length, should be 11 bytes", tag >> 16,
                    tag & 0xFFFF, SHOW(text));
    }
    unsigned int number = 0;
    bool valid = text[0] == '(' && text[5] == ',' && text[10] == ')';
    for (std::size_t i = 1; i < 10 && valid; ++i) {
        if (i == 5) continue;
        const int digit = digitValue(text[i]);
        valid = digit < 16;
        if (valid) number = number << 4 | static_cast<unsigned int>(digit);
    }
    if (!valid) return REFUSE(reporter, "invalid string '%.*s', expecting (gggg,eeee)", SHOW(text));
    value.group = static_cast<unsigned short>(number >> 16);
    value.element = static_cast<unsigned short>(number & 0xFFFF);
    return RESULT_OK;
}

namespace {

int parseBound(std::string_view text, int& bound, unsigned int tag) noexcept {
    if (text.empty()) return RESULT_OK;
    int year, month, day;
    const int code = parseDate(text, year, month, day, tag);
    if (code != RESULT_OK) return code;
    long packed;
    (void)utilYMDToLong(year, month, day, packed);
    bound = static_cast<int>(packed);
    return RESULT_OK;
}

int parseBound(std::string_view text, double& bound, unsigned int tag) noexcept {
    if (text.empty()) return RESULT_OK;
    int hour, minute;
    double second;
    const int code = parseTime(text, hour, minute, second, tag);
    if (code != RESULT_OK) return code;
    (void)utilHMSToDouble(hour, minute, second, bound);
    return RESULT_OK;
}

}  // namespace

int parseText(std::string_view given, DcElemValueDA& value, unsigned int tag) noexcept {
    const std::string_view text = trimFront(given);
    const std::size_t dash = text.find('-');
    if (dash == npos) return parseDate(text, value.year, value.month, value.day, tag);
    const Range range = rangeOf(text, dash);
    const int code = parseBound(range.start, value.startDate, tag);
    return code != RESULT_OK ? code : parseBound(range.end, value.endDate, tag);
}

int parseText(std::string_view given, DcElemValueTM& value, unsigned int tag) noexcept {
    const std::string_view text = trimFront(given);
    const std::size_t dash = text.find('-');
    if (dash == npos) return parseTime(text, value.hour, value.minute, value.second, tag);
    const Range range = rangeOf(text, dash);
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
    copyCut(value.text, text);
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

namespace {

// Walks over the bytes of a name that belong to escape sequences of ISO 2022, or to two-byte characters of
// a set designated to G0 (PS3.5 6.1.2.5): none of them is a separator, whatever its value.
class NameScanner {
  public:
    explicit NameScanner(std::string_view text) noexcept : text_(text) {}

    // The position of the next of the separators, or npos.
    std::size_t next(std::string_view separators) noexcept {
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == escape) {
                skipEscape();
            } else if (!twoByte_ && separators.find(c) != npos) {
                return at_++;
            } else {
                ++at_;
            }
        }
        return npos;
    }

  private:
    // ESC, bytes of 0x20 to 0x2F, one final byte.
    void skipEscape() noexcept {
        const std::size_t begin = ++at_;
        while (at_ < text_.size() && text_[at_] >= 0x20 && text_[at_] <= 0x2F) ++at_;
        const std::string_view middle = text_.substr(begin, at_ - begin);
        if (middle == "$" || middle == "$(") {
            twoByte_ = true;
        } else if (middle.substr(0, 1) == "(") {
            twoByte_ = false;
        }
        if (at_ < text_.size()) ++at_;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    bool twoByte_ = false;
};

}  // namespace

// A text with "=" holds component groups, one in each member, and sets the flag; any other holds the
// components. Either way it is what formatText writes.
int parseText(std::string_view given, DcElemValuePN& value, unsigned int) noexcept {
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    const bool grouped = NameScanner(text).next("=") != npos;
    const std::string_view separator = grouped ? "=" : "^";
    value.reset();
    value.group = grouped ? 1 : 0;
    NameScanner scan(text);
    std::size_t begin = 0;
    for (auto* to : {&value.family, &value.given, &value.middle, &value.prefix, &value.suffix}) {
        const std::size_t end = scan.next(separator);
        copyCut(*to, text.substr(begin, end == npos ? npos : end - begin));
        if (end == npos) break;
        begin = end + 1;
    }
    return RESULT_OK;
}

}  // namespace orvkit

namespace {

constexpr unsigned int makeTag(unsigned short group, unsigned short element) noexcept {
    return static_cast<unsigned int>(group) << 16 | element;
}

int failNull(const char* reporter) {
    return orvkit::fail(UTIL_NULL_ARGUMENT, LOG_VALIDATION, reporter, "Null argument passed");
}

template <typename Value>
int toValue(const char* text, Value& value, unsigned int tag) {
    return text == nullptr ? failNull("utilStrgToValue") : orvkit::parseText(text, value, tag);
}

}  // namespace

int utilStrgToValue(const char* text, DcElemValueAS& value, unsigned short group, unsigned short element) {
    return toValue(text, value, makeTag(group, element));
}
int utilStrgToValue(const char* text, DcElemValueAT& value, unsigned short group, unsigned short element) {
    return toValue(text, value, makeTag(group, element));
}
int utilStrgToValue(const char* text, DcElemValueDA& value, unsigned short group, unsigned short element) {
    return toValue(text, value, makeTag(group, element));
}
int utilStrgToValue(const char* text, DcElemValueDT& value, unsigned short group, unsigned short element) {
    return toValue(text, value, makeTag(group, element));
}
int utilStrgToValue(const char* text, DcElemValuePN& value) { return toValue(text, value, 0); }
int utilStrgToValue(const char* text, DcElemValueTM& value, unsigned short group, unsigned short element) {
    return toValue(text, value, makeTag(group, element));
}
int utilStrgToHMS(const char* text, int& hour, int& minute, double& second, unsigned short group,
                  unsigned short element) {
    if (text == nullptr) return failNull("utilStrgToHMS");
    return orvkit::parseTime(text, hour, minute, second, makeTag(group, element));
}
int utilStrgToYMD(const char* text, int& year, int& month, int& day, unsigned short group,
                  unsigned short element) {
    if (text == nullptr) return failNull("utilStrgToYMD");
    return orvkit::parseDate(text, year, month, day, makeTag(group, element));
}

int DcElemValueTM::setValue(const char* value) { return utilStrgToValue(value, *this, 0xFFFF, 0xFFFF); }
