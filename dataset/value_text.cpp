// Texts to structured values (PS3.5 6.2): ages and tags, and the utilStrgToValue family.
#include "dataset/value_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "dataset/char_class.h"
#include "foundation/fail.h"
#include "foundation/tag.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"

namespace orvkit {

int refuseValue(int code, unsigned int tag, const char* reporter, const char* format, ...) {
    char message[1200];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(message, sizeof message, format, values);
    va_end(values);
    return fail(code, LOG_VALIDATION, reporter, "Element (%04x,%04x) - %s", tag >> 16, tag & 0xFFFF, message);
}

int parseText(std::string_view given, DcElemValueAS& value, unsigned int tag) noexcept {
    constexpr const char* reporter = "utilStrgToValue";
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    const std::string_view age = trim(text.substr(0, 4));
    if (age.size() != 4) {
        return refuseValue(UTIL_MALFORMED, tag, reporter,
                           "'%.*s' incorrect AS string length, must be 4 bytes", shown(age), age.data());
    }
    const auto digits =
        static_cast<std::size_t>(std::find_if_not(age.begin(), age.end(), isDigit) - age.begin());
    const bool valid = digits != 0 && digits != age.size() &&
                       std::string_view("DMWY").find(age[digits]) != std::string_view::npos;
    if (!valid)
        return refuseValue(UTIL_MALFORMED, tag, reporter, "invalid string %.*s", shown(text), text.data());
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
        return refuseValue(UTIL_STRING_LENGTH, tag, reporter,
                           "%.*s incorrect string length, should be 11 bytes", shown(text), text.data());
    }
    unsigned int number = 0;
    bool valid = text[0] == '(' && text[5] == ',' && text[10] == ')';
    for (std::size_t i = 1; i < 10 && valid; ++i) {
        if (i == 5) continue;
        const int digit = digitValue(text[i]);
        valid = digit < 16;
        if (valid) number = number << 4 | static_cast<unsigned int>(digit);
    }
    if (!valid)
        return refuseValue(UTIL_MALFORMED, tag, reporter, "invalid string '%.*s', expecting (gggg,eeee)",
                           shown(text), text.data());
    value.group = static_cast<unsigned short>(number >> 16);
    value.element = static_cast<unsigned short>(number & 0xFFFF);
    return RESULT_OK;
}

}  // namespace orvkit

using namespace orvkit;

namespace {

template <typename Value>
int toValue(const char* text, Value& value, unsigned int tag) {
    return text == nullptr ? failNull(UTIL_NULL_ARGUMENT, "utilStrgToValue") : parseText(text, value, tag);
}

}  // namespace

int utilStrgToValue(const char* text, DcElemValueAS& value, unsigned short group, unsigned short element) {
    return toValue(text, value, tagOf(group, element));
}
int utilStrgToValue(const char* text, DcElemValueAT& value, unsigned short group, unsigned short element) {
    return toValue(text, value, tagOf(group, element));
}
int utilStrgToValue(const char* text, DcElemValueDA& value, unsigned short group, unsigned short element) {
    return toValue(text, value, tagOf(group, element));
}
int utilStrgToValue(const char* text, DcElemValueDT& value, unsigned short group, unsigned short element) {
    return toValue(text, value, tagOf(group, element));
}
int utilStrgToValue(const char* text, DcElemValuePN& value) {
    return toValue(text, value, 0);
}
int utilStrgToValue(const char* text, DcElemValueTM& value, unsigned short group, unsigned short element) {
    return toValue(text, value, tagOf(group, element));
}
int utilStrgToHMS(const char* text, int& hour, int& minute, double& second, unsigned short group,
                  unsigned short element) {
    if (text == nullptr) return failNull(UTIL_NULL_ARGUMENT, "utilStrgToHMS");
    return parseTime(text, hour, minute, second, tagOf(group, element));
}
int utilStrgToYMD(const char* text, int& year, int& month, int& day, unsigned short group,
                  unsigned short element) {
    if (text == nullptr) return failNull(UTIL_NULL_ARGUMENT, "utilStrgToYMD");
    return parseDate(text, year, month, day, tagOf(group, element));
}

int DcElemValueTM::setValue(const char* value) {
    return utilStrgToValue(value, *this, 0xFFFF, 0xFFFF);
}
