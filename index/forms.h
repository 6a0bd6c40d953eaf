// Values in the forms that are compared.
#ifndef ORVKIT_INDEX_FORMS_H
#define ORVKIT_INDEX_FORMS_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvkit::index {

// What the columns of the index hold of a text: folded all the way and cut. Whatever matches has a form that
// matches; not the other way.
std::string formOf(std::string_view utf8);
inline constexpr std::size_t kLongestForm = 64;  // bytes

// The component groups of a name (PS3.5 6.2.1), each without what is empty behind.
using NameGroups = std::array<std::string, 3>;
NameGroups nameGroups(std::string_view utf8);
// The words of a name's components, folded.
std::vector<std::string> nameWords(std::string_view utf8);

// A stretch of time, of a value as long as its last part says: "2024" is a year. Dates count from day 0 in
// microseconds, times from midnight.
struct Period {
    std::int64_t from = 0;
    std::int64_t to = 0;                 // its last microsecond
    std::optional<std::int64_t> offset;  // from UTC, of a value that says it
};
inline constexpr std::int64_t kDay = std::int64_t{24} * 3600 * 1000000;
std::optional<Period> dateOf(std::string_view text);
std::optional<Period> timeOf(std::string_view text);
std::optional<Period> dateTimeOf(std::string_view text);
// "+0100", in microseconds.
std::optional<std::int64_t> zoneOf(std::string_view text);
// The eight digits of a date as they stand in the index, or "".
std::string dateForm(std::string_view text);

}  // namespace orvkit::index

#endif
