// Structured values and their texts: parsing and formatting, on texts that need not end in a NUL. `tag`
// serves the messages only.
#ifndef ORVKIT_DATASET_VALUE_TEXT_H
#define ORVKIT_DATASET_VALUE_TEXT_H

#include <algorithm>
#include <cstring>
#include <string_view>

#include "dataset/number_text.h"
#include "orvkit/log.h"
#include "orvkit/value.h"

namespace orvkit {

// The parsers: RESULT_OK, ELEM_EMPTY_VALUE (silent), UTIL_STRING_LENGTH, UTIL_MALFORMED. Blanks in front are
// skipped. Members that the text says nothing of keep their value, except that a name is always filled whole.
[[nodiscard]] int parseText(std::string_view text, DcElemValueAS& value, unsigned int tag) noexcept;
[[nodiscard]] int parseText(std::string_view text, DcElemValueAT& value, unsigned int tag) noexcept;
[[nodiscard]] int parseText(std::string_view text, DcElemValueDA& value, unsigned int tag) noexcept;
[[nodiscard]] int parseText(std::string_view text, DcElemValueDT& value, unsigned int tag) noexcept;
[[nodiscard]] int parseText(std::string_view text, DcElemValuePN& value, unsigned int tag) noexcept;
[[nodiscard]] int parseText(std::string_view text, DcElemValueTM& value, unsigned int tag) noexcept;
[[nodiscard]] int parseTime(std::string_view text, int& hour, int& minute, double& second,
                            unsigned int tag) noexcept;
[[nodiscard]] int parseDate(std::string_view text, int& year, int& month, int& day,
                            unsigned int tag) noexcept;

// The texts that addValue stores: RESULT_OK, or ELEM_VALUE_REFUSED logged from "DcElem::addValue". The unit
// of an age is raised to upper case in the record as well.
[[nodiscard]] int formatText(DcElemValueAS& value, TextOut& out, unsigned int tag) noexcept;
[[nodiscard]] int formatText(const DcElemValueDA& value, TextOut& out, unsigned int tag) noexcept;
[[nodiscard]] int formatText(const DcElemValueDT& value, TextOut& out, unsigned int tag) noexcept;
[[nodiscard]] int formatText(const DcElemValuePN& value, TextOut& out, unsigned int tag) noexcept;
[[nodiscard]] int formatText(const DcElemValueTM& value, TextOut& out, unsigned int tag) noexcept;

// Logs a message of at most some 1200 bytes behind "Element (gggg,eeee) - " at LOG_VALIDATION; returns
// `code`.
inline constexpr const char* kAddValue = "DcElem::addValue";  // who refuses, mostly
[[nodiscard]] int refuseValue(int code, unsigned int tag, const char* reporter, const char* format, ...)
    ORVKIT_PRINTF(4, 5);

// The text of a field, which need not have a NUL, and a field filled with as much as fits.
template <std::size_t N>
std::string_view fieldText(const char (&field)[N]) noexcept {
    const void* end = std::memchr(field, '\0', N);
    return {field, end == nullptr ? N : static_cast<std::size_t>(static_cast<const char*>(end) - field)};
}
template <std::size_t N>
void fillField(char (&to)[N], std::string_view text) noexcept {
    const std::size_t n = std::min(text.size(), N - 1);
    std::memcpy(to, text.data(), n);
    to[n] = '\0';
}

// The number in `count` digits.
constexpr int digitsAt(std::string_view text, std::size_t from, std::size_t count) noexcept {
    int v = 0;
    for (std::size_t i = from; i < from + count; ++i) v = v * 10 + (text[i] - '0');
    return v;
}

}  // namespace orvkit

#endif
