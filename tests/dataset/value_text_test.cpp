// Texts to records: the parsers.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>

#include "orvkit/elem.h"
#include "orvkit/result.h"
#include "support/capture_log.h"

namespace {

const std::string at = "Element (0008,0030) - ";

// A text that a parser takes (no message) or refuses; `value` is its result shown as text.
struct Row {
    const char* text;
    int code;
    std::string value;
    std::string message = "";
    std::string reporter = "";
};

template <typename Parse>
void expectAll(const std::vector<Row>& rows, const std::string& reporter, Parse parse) {
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        CaptureLog log;
        std::string value;
        EXPECT_EQ(parse(row.text, value), row.code);
        EXPECT_EQ(row.code == 0 ? value : "", row.value);
        LogLines expected;
        if (!row.message.empty()) {
            expected.push_back({LOG_VALIDATION, row.reporter.empty() ? reporter : row.reporter, at + row.message});
        }
        EXPECT_EQ(log.take(), expected);
    }
}

template <typename... Parts>
std::string joined(Parts... parts) {
    std::ostringstream out;
    const char* space = "";
    ((out << space << parts, space = " "), ...);
    return out.str();
}

}  // namespace

TEST(ParseText, Dates) {
    const Row rows[] = {
        {"20240229", 0, "2024 2 29"},
        {"2024.02.29", 0, "2024 2 29"},
        {" \t20240229 and more", 0, "2024 2 29"},
        {"19000229", 0, "1900 2 29"},
        {"00000101", 0, "0 1 1"},
        {"", ELEM_EMPTY_VALUE, ""},
        {" ", ELEM_EMPTY_VALUE, ""},
        {"20230229", UTIL_MALFORMED, "", "invalid day 29 in string '20230229'"},
        {"20240431", UTIL_MALFORMED, "", "invalid day 31 in string '20240431'"},
        {"20240400", UTIL_MALFORMED, "", "invalid day 0 in string '20240400'"},
        {"20241301", UTIL_MALFORMED, "", "invalid month 13 in string '20241301'"},
        {"2024.1.1", UTIL_MALFORMED, "", "short string '2024.1.1', should be 8 digits"},
        {"2024.01.01.", UTIL_MALFORMED, "", "unexpected occurence of '.' in string '2024.01.01.'"},
        {"2024x101", UTIL_MALFORMED, "", "non numeric char 'x' in string '2024x101'"},
    };
    expectAll({std::begin(rows), std::end(rows)}, "utilStrgToYMD", [](const char* text, std::string& value) {
        int y = -1, m = -1, d = -1;
        const int code = utilStrgToYMD(text, y, m, d, 0x0008, 0x0030);
        value = joined(y, m, d);
        return code;
    });
}

TEST(ParseText, Times) {
    const std::string many(40, '0');
    const std::string kept(34, '0');
    const Row rows[] = {
        {"10", 0, "10 0 0"},
        {"1030", 0, "10 30 0"},
        {"10:30:15.25", 0, "10 30 15.25"},
        {"103015.5", 0, "10 30 15.5"},
        {"235959.999999", 0, "23 59 60"},  // shown with six digits
        {"1030.5", 0, "10 30 0.5"},
        {"", ELEM_EMPTY_VALUE, ""},
        {"1:0:3:0", UTIL_MALFORMED, "", "unexpected occurence of ':' in string '1:0:3:0'"},
        {"103", UTIL_MALFORMED, "", "invalid HHMMSS part in string '103', should be 2, 4 or 6 chars"},
        {"::", UTIL_MALFORMED, "", "invalid HHMMSS part in string '::', should be 2, 4 or 6 chars"},
        {"10 3", UTIL_MALFORMED, "", "non numeric char ' ' in string '10 3'"},
        {"2400", UTIL_MALFORMED, "", "invalid hour value in string '2400'", "utilStrgToValue"},
        {"2360", UTIL_MALFORMED, "", "invalid minute value in string '2360'", "utilStrgToValue"},
        {"235960", UTIL_MALFORMED, "", "invalid second value in string '235960'", "utilStrgToValue"},
        {many.c_str(), UTIL_MALFORMED, "", "invalid HHMMSS part in string '" + kept + "', should be 2, 4 or 6 chars"},
    };
    expectAll({std::begin(rows), std::end(rows)}, "utilStrgToHMS", [](const char* text, std::string& value) {
        int h = -1, m = -1;
        double s = -1;
        const int code = utilStrgToHMS(text, h, m, s, 0x0008, 0x0030);
        value = joined(h, m, s);
        return code;
    });
}

TEST(ParseText, AgesAndTags) {
    const Row ages[] = {
        {"045Y", 0, "45 Y"},
        {" 006M and more", 0, "6 M"},
        {"45Y", UTIL_MALFORMED, "", "'45Y' incorrect AS string length, must be 4 bytes"},
        {"045y", UTIL_MALFORMED, "", "invalid string 045y"},
        {"-45Y", UTIL_MALFORMED, "", "invalid string -45Y"},
        {"0450", UTIL_MALFORMED, "", "invalid string 0450"},
        {" ", ELEM_EMPTY_VALUE, ""},
    };
    expectAll({std::begin(ages), std::end(ages)}, "utilStrgToValue", [](const char* text, std::string& value) {
        DcElemValueAS v;
        const int code = utilStrgToValue(text, v, 0x0008, 0x0030);
        value = joined(v.age, v.unit);
        return code;
    });
    const Row tags[] = {
        {"(7FE0,00aF)", 0, "32736 175"},
        {"(7fe0,0010) ", UTIL_STRING_LENGTH, "", "(7fe0,0010)  incorrect string length, should be 11 bytes"},
        {"(7fe0.0010)", UTIL_MALFORMED, "", "invalid string '(7fe0.0010)', expecting (gggg,eeee)"},
        {"(7fg0,0010)", UTIL_MALFORMED, "", "invalid string '(7fg0,0010)', expecting (gggg,eeee)"},
    };
    expectAll({std::begin(tags), std::end(tags)}, "utilStrgToValue", [](const char* text, std::string& value) {
        DcElemValueAT v;
        const int code = utilStrgToValue(text, v, 0x0008, 0x0030);
        value = joined(v.group, v.element);
        return code;
    });
}

TEST(ParseText, RangesOfDatesAndTimes) {
    const Row dates[] = {
        {"20240101", 0, "2024 1 1 -1 -1"},
        {"20240101-20241231", 0, "0 0 0 20240101 20241231"},
        {"20240101-", 0, "0 0 0 20240101 -1"},
        {"20240101- ", 0, "0 0 0 20240101 -1"},  // as padded in a stream
        {"- 2024.01.02", 0, "0 0 0 -1 20240102"},
        {"-", 0, "0 0 0 -1 -1"},
        {"20240101-x", UTIL_MALFORMED, "", "short string 'x', should be 8 digits", "utilStrgToYMD"},
    };
    expectAll({std::begin(dates), std::end(dates)}, "utilStrgToYMD", [](const char* text, std::string& value) {
        DcElemValueDA v;
        const int code = utilStrgToValue(text, v, 0x0008, 0x0030);
        value = joined(v.year, v.month, v.day, v.startDate, v.endDate);
        return code;
    });
    const Row times[] = {
        {"1030", 0, "10 30 0 -1 -1"},
        {"0930-103015.5", 0, "0 0 0 93000 103016"},
        {"-10", 0, "0 0 0 -1 100000"},
        {"09-25", UTIL_MALFORMED, "", "invalid hour value in string '25'", "utilStrgToValue"},
    };
    expectAll({std::begin(times), std::end(times)}, "utilStrgToHMS", [](const char* text, std::string& value) {
        DcElemValueTM v;
        const int code = utilStrgToValue(text, v, 0x0008, 0x0030);
        value = joined(v.hour, v.minute, v.second, v.startTime, v.endTime);
        return code;
    });
    CaptureLog log;
    DcElemValueTM v;
    EXPECT_EQ(v.setValue("1030"), 0);
    EXPECT_EQ(v.minute, 30);
    EXPECT_EQ(v.setValue("x"), UTIL_MALFORMED);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "utilStrgToHMS",
                             "Element (ffff,ffff) - invalid HHMMSS part in string 'x', should be 2, 4 or 6 chars"));
}

TEST(ParseText, DateTimes) {
    const Row rows[] = {
        {"20240102", 0, "2024 1 2 0 0 0 0 0 20240102"},
        {"2024 0102 1030", 0, "2024 1 2 10 30 0 0 0 202401021030"},
        {"20240102103015.123456-0530", 0, "2024 1 2 10 30 15.1235 -5 30 20240102103015.123456-0530"},
        {"20240102103015.123456+05301", 0, "2024 1 2 10 30 15.1235 5 30 20240102103015.123456+0530"},
        {"20240102+01", 0, "2024 1 2 0 0 0 1 0 20240102+01"},
        {"20240102103015+530", UTIL_MALFORMED, "",
         "invalid HHMMSS part in string '530', should be 2, 4 or 6 chars"},
        {"2024010210+", ELEM_EMPTY_VALUE, ""},
        {"202401", UTIL_MALFORMED, "", "short string '202401', should be 8 digits", "utilStrgToYMD"},
    };
    expectAll({std::begin(rows), std::end(rows)}, "utilStrgToHMS", [](const char* text, std::string& value) {
        DcElemValueDT v;
        const int code = utilStrgToValue(text, v, 0x0008, 0x0030);
        value = joined(v.year, v.month, v.day, v.hour, v.minute, v.second, v.offsetHour, v.offsetMinute, v.text);
        return code;
    });
}

TEST(ParseText, Names) {
    const std::string esc = "\x1b";
    const std::string kanji = esc + "$B;3^=" + esc + "(B";  // two-byte characters with "^" and "=" among them
    const std::string greek = esc + "-F\xc4";
    const std::string long70(70, 'n');
    struct NameRow {
        std::string text;
        std::string value;
    };
    const NameRow rows[] = {
        {"Doe^John^M^Dr^Jr", "Doe|John|M|Dr|Jr|0"},
        {"Doe^^^^Jr^more^and^more", "Doe||||Jr|0"},
        {"  Doe", "Doe|||||0"},
        {"Yamada^Tarou=" + kanji + "^" + kanji + "=", "Yamada^Tarou|" + kanji + "^" + kanji + "||||1"},
        {kanji + "^" + kanji, kanji + "|" + kanji + "||||0"},
        {greek + "^" + greek, greek + "|" + greek + "||||0"},
        {long70 + "^" + long70, long70.substr(6) + "|" + long70.substr(6) + "||||0"},
        {"A^" + esc, "A|" + esc + "||||0"},
    };
    for (const NameRow& row : rows) {
        SCOPED_TRACE(row.text);
        DcElemValuePN v;
        std::strcpy(v.suffix, "old");
        EXPECT_EQ(utilStrgToValue(row.text.c_str(), v), 0);
        EXPECT_EQ(std::string(v.family) + "|" + v.given + "|" + v.middle + "|" + v.prefix + "|" + v.suffix + "|" +
                      std::to_string(v.group),
                  row.value);
    }
}

TEST(ParseText, NullIsTold) {
    CaptureLog log;
    DcElemValuePN name;
    int a = 0, b = 0, c = 0;
    double s = 0;
    EXPECT_EQ(utilStrgToValue(nullptr, name), UTIL_NULL_ARGUMENT);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "utilStrgToValue", "Null argument passed"));
    EXPECT_EQ(utilStrgToHMS(nullptr, a, b, s, 8, 0x30), UTIL_NULL_ARGUMENT);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "utilStrgToHMS", "Null argument passed"));
    EXPECT_EQ(utilStrgToYMD(nullptr, a, b, c, 8, 0x30), UTIL_NULL_ARGUMENT);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "utilStrgToYMD", "Null argument passed"));
}
