// Ages, dates and times to texts (PS3.5 6.2), as addValue stores them.
#include <climits>
#include <cmath>
#include <initializer_list>

#include "dataset/value_text.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

constexpr double latestTime = 240000.0;
constexpr int latestDate = 30001231;

bool within(int v, int least, int most) noexcept {
    return v >= least && v <= most;
}
struct Part {
    const char* name;
    int value, least, most;
};
// The first part that is out of its range is told.
int checkParts(std::initializer_list<Part> parts, unsigned int tag) noexcept {
    for (const Part& p : parts) {
        if (!within(p.value, p.least, p.most))
            return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "%s out of range %d", p.name, p.value);
    }
    return RESULT_OK;
}
int checkTime(int hour, int minute, double second, unsigned int tag) noexcept {
    const int code = checkParts({{"hour", hour, 0, 23}, {"minute", minute, 0, 59}}, tag);
    if (code != RESULT_OK || (second >= 0.0 && second < 60.0)) return code;
    return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "second out of range %d", toIntSaturated(second));
}
bool isPresent(double time) noexcept {
    return time >= 0.0;
}  // neither negative nor a NaN

}  // namespace

int formatText(DcElemValueAS& value, TextOut& out, unsigned int tag) noexcept {
    if (value.unit[0] >= 'a' && value.unit[0] <= 'z')
        value.unit[0] = static_cast<char>(value.unit[0] - 'a' + 'A');
    const char unit = value.unit[0];
    if (unit != 'D' && unit != 'W' && unit != 'M' && unit != 'Y') {
        return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "invalid specifier '%.1s', should be D,W,M,Y",
                           value.unit);
    }
    if (const int code = checkParts({{"age", value.age, 0, 999}}, tag); code != RESULT_OK) return code;
    out.number(value.age, 3);
    out.put(unit);
    return RESULT_OK;
}

int formatText(const DcElemValueDA& value, TextOut& out, unsigned int tag) noexcept {
    constexpr int absent = -1;
    if (value.startDate == absent && value.endDate == absent) {
        const int code = checkParts(
            {{"year", value.year, 0, INT_MAX}, {"month", value.month, 1, 12}, {"day", value.day, 1, 31}},
            tag);
        if (code != RESULT_OK) return code;
        out.number(value.year, 4);
        out.number(value.month, 2);
        out.number(value.day, 2);
        return RESULT_OK;
    }
    if (value.startDate > latestDate)
        return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "invalid starting date %d", value.startDate);
    if (value.endDate > latestDate)
        return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "invalid ending date %d", value.endDate);
    if (value.startDate != absent) out.number(value.startDate, 8);
    out.put('-');
    if (value.endDate != absent) out.number(value.endDate, 8);
    return RESULT_OK;
}

int formatText(const DcElemValueDT& value, TextOut& out, unsigned int tag) noexcept {
    const std::string_view text = fieldText(value.text);
    if (!text.empty()) {
        out.put(text);
        return RESULT_OK;
    }
    int code = checkParts(
        {{"year", value.year, 0, 9999}, {"month", value.month, 1, 12}, {"day", value.day, 1, 31}}, tag);
    if (code == RESULT_OK) code = checkTime(value.hour, value.minute, value.second, tag);
    if (code == RESULT_OK)
        code = checkParts(
            {{"offsetHour", value.offsetHour, -23, 23}, {"offsetMinute", value.offsetMinute, 0, 59}}, tag);
    if (code != RESULT_OK) return code;
    out.number(value.year, 4);
    out.number(value.month, 2);
    out.number(value.day, 2);
    out.number(value.hour, 2);
    out.number(value.minute, 2);
    out.fixed(value.second, 9);
    if (value.offsetHour == 0 && value.offsetMinute == 0) return RESULT_OK;
    // One-digit hours have no leading zero (+530), which the parser refuses: kept for callers that rely on
    // it.
    out.signedNumber(value.offsetHour);
    out.number(value.offsetMinute, 2);
    return RESULT_OK;
}

int formatText(const DcElemValueTM& value, TextOut& out, unsigned int tag) noexcept {
    const std::string_view text = fieldText(value.text);
    if (!text.empty()) {
        out.put(text);
        return RESULT_OK;
    }
    if (!isPresent(value.startTime) && !isPresent(value.endTime)) {
        const int code = checkTime(value.hour, value.minute, value.second, tag);
        if (code != RESULT_OK) return code;
        out.number(value.hour, 2);
        out.number(value.minute, 2);
        if (value.second == 0.0) return RESULT_OK;
        if (value.second == std::floor(value.second)) {
            out.number(static_cast<int>(value.second), 2);
        } else {
            out.fixed(value.second, 9);
        }
        return RESULT_OK;
    }
    if (value.startTime > latestTime)
        return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "invalid starting time %d",
                           toIntSaturated(value.startTime));
    if (value.endTime > latestTime)
        return refuseValue(ELEM_VALUE_REFUSED, tag, kAddValue, "invalid ending time %d",
                           toIntSaturated(value.endTime));
    if (isPresent(value.startTime)) out.fixed(value.startTime, 13);
    out.put('-');
    if (isPresent(value.endTime)) out.fixed(value.endTime, 13);
    return RESULT_OK;
}

}  // namespace orvkit
