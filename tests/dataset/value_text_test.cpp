// Texts to records: the parsers.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "orvkit/elem.h"
#include "orvkit/result.h"
#include "support/capture_log.h"

namespace {

// A text that a parser takes, with its result shown as text, or refuses, with its message (behind the
// element) and the message's reporter when that is not the parser's usual one.
struct Row {
    std::string text;
    int code;
    std::string value = "";
    std::string message = "";
    std::string reporter = "";
};

template <typename Parse>
void expectAll(const std::string& reporter, Parse parse, const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        CaptureLog log;
        std::ostringstream shown;
        EXPECT_EQ(parse(row.text.c_str(), shown), row.code);
        if (row.code == 0) {
            EXPECT_EQ(shown.str(), row.value);
        }
        LogLines told;
        const std::string from = row.reporter.empty() ? reporter : row.reporter;
        if (!row.message.empty()) told = {{LOG_VALIDATION, from, "Element (0008,0030) - " + row.message}};
        EXPECT_EQ(log.take(), told);
    }
}

template <typename Value, typename Show>
auto records(Show show) {
    return [show](const char* text, std::ostream& out) {
        Value v;
        const int code = utilStrgToValue(text, v, 0x0008, 0x0030);
        show(out, v);
        return code;
    };
}

int dateParts(const char* text, std::ostream& out) {
    int y = -1, m = -1, d = -1;
    const int code = utilStrgToYMD(text, y, m, d, 0x0008, 0x0030);
    out << y << ' ' << m << ' ' << d;
    return code;
}
int timeParts(const char* text, std::ostream& out) {
    int h = -1, m = -1;
    double s = -1;
    const int code = utilStrgToHMS(text, h, m, s, 0x0008, 0x0030);
    out << h << ' ' << m << ' ' << s;
    return code;
}

}  // namespace

// clang-format off
TEST(ParseText, Dates) {
    expectAll("utilStrgToYMD", dateParts, {
        {"20240229", 0, "2024 2 29"},
        {"2024.02.29", 0, "2024 2 29"},
        {"19000229", 0, "1900 2 29"},
        {" ", ELEM_EMPTY_VALUE},
        {"20230229", UTIL_MALFORMED, "", "invalid day 29 in string '20230229'"},
        {"2024.01.01.", UTIL_MALFORMED, "", "unexpected occurence of '.' in string '2024.01.01.'"},
    });
}

TEST(ParseText, Times) {
    const std::string kept(34, '0');
    expectAll("utilStrgToHMS", timeParts, {
        {"10:30:15.25", 0, "10 30 15.25"},
        {"1:0:3:0", UTIL_MALFORMED, "", "unexpected occurence of ':' in string '1:0:3:0'"},
        {kept + "123", UTIL_MALFORMED, "", "invalid HHMMSS part in string '" + kept + "', should be 2, 4 or 6 chars"},
        {"2400", UTIL_MALFORMED, "", "invalid hour value in string '2400'", "utilStrgToValue"},
    });
}

TEST(ParseText, AgesAndTags) {
    expectAll("utilStrgToValue", records<DcElemValueAS>([](auto& out, auto& v) { out << v.age << v.unit; }), {
        {"045Y", 0, "45Y"},
        {"45Y", UTIL_MALFORMED, "", "'45Y' incorrect AS string length, must be 4 bytes"},
    });
    expectAll("utilStrgToValue", records<DcElemValueAT>([](auto& out, auto& v) { out << v.group << ' ' << v.element; }), {
        {"(7FE0,00aF)", 0, "32736 175"},
        {"(7fe0.0010)", UTIL_MALFORMED, "", "invalid string '(7fe0.0010)', expecting (gggg,eeee)"},
    });
}

TEST(ParseText, RangesOfDatesAndTimes) {
    expectAll("utilStrgToYMD", records<DcElemValueDA>([](auto& out, auto& v) { out << v.day << ' ' << v.startDate << ' ' << v.endDate; }), {
        {"20240101-20241231", 0, "0 20240101 20241231"},
        {"20240101- ", 0, "0 20240101 -1"},  // as padded in a stream
        {"20240101-x", UTIL_MALFORMED, "", "short string 'x', should be 8 digits"},
    });
    expectAll("utilStrgToHMS", records<DcElemValueTM>([](auto& out, auto& v) { out << v.minute << ' ' << v.startTime << ' ' << v.endTime; }), {
        {"0930-093015.5", 0, "0 93000 93015.5"},
        {"09-25", UTIL_MALFORMED, "", "invalid hour value in string '25'", "utilStrgToValue"},
    });
}

TEST(ParseText, DateTimes) {
    const auto shown = [](auto& out, auto& v) { out << v.day << ' ' << v.hour << ':' << v.second << ' ' << v.offsetHour << ':' << v.offsetMinute << ' ' << v.text; };
    expectAll("utilStrgToHMS", records<DcElemValueDT>(shown), {
        {"20240102103015.123456-0530", 0, "2 10:15.1235 -5:30 20240102103015.123456-0530"},
        {"20240102103015.123456+05301", 0, "2 10:15.1235 5:30 20240102103015.123456+0530"},
        {"202401", UTIL_MALFORMED, "", "short string '202401', should be 8 digits", "utilStrgToYMD"},
    });
}

TEST(ParseText, Names) {
    const std::string esc = "\x1b";
    const std::string kanji = esc + "$B;3^=" + esc + "(B";  // two-byte characters with "^" and "=" among them
    const std::string long70(70, 'n'), long64(64, 'n');
    const auto name = [](const char* text, std::ostream& out) {
        DcElemValuePN v;
        std::strcpy(v.suffix, "old");
        const int code = utilStrgToValue(text, v);
        out << v.family << '|' << v.given << '|' << v.middle << '|' << v.prefix << '|' << v.suffix << '|' << v.group;
        return code;
    };
    expectAll("utilStrgToValue", name, {
        {"  Doe^John^M^Dr^Jr^more^and^more", 0, "Doe|John|M|Dr|Jr|0"},
        {"Yamada^Tarou=" + kanji + "^" + kanji + "=", 0, "Yamada^Tarou|" + kanji + "^" + kanji + "||||1"},
        {long70 + "^" + long70, 0, long64 + "|" + long64 + "||||0"},
        {" ", ELEM_EMPTY_VALUE},
    });
}
// clang-format on
