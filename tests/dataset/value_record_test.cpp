// Adding numbers and records: what is stored, refused and told.
#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstring>
#include <limits>

#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

TEST(AddNumber, BecomesATextOrIsNarrowed) {
    const auto is = elemOf(VR_IS);
    is->addValue(3000000000u);  // printed signed
    is->addValue(static_cast<short>(-7));
    EXPECT_EQ(stored(*is), "[-1294967296][-7]");
    const auto ds = elemOf(VR_DS);
    for (const double v : {0.1, -1.0 / 3, 1e300, 1e-5, 123456789.0}) EXPECT_EQ(ds->addValue(v), 0);
    EXPECT_EQ(ds->addValue(0.1f), 0);
    EXPECT_EQ(stored(*ds), "[0.1][-0.333333][1e+300][1e-05][1.23457e+08][0.1]");
    CaptureLog log;
    EXPECT_EQ(ds->addValue(std::numeric_limits<double>::infinity()), ELEM_ILLEGAL_CHAR);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::verifyValueDS",
                             anyElement + "- illegal character 'i' (0x69) in string 'inf'"));
    const auto ss = elemOf(VR_SS);
    ss->addValue(70000);
    ss->addValue(static_cast<unsigned short>(65535));
    EXPECT_EQ(stored(*ss), "[4464][-1]");
    const auto ul = elemOf(VR_UL);
    ul->addValue(static_cast<short>(-1));
    unsigned int v = 0;
    EXPECT_EQ(ul->getValue(v), 0);
    EXPECT_EQ(v, 0xFFFFFFFFu);
}

TEST(AddNumber, IsWrittenAndReadAsInTheCLocale) {
    const char* comma = nullptr;
    for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "fr_FR"}) {
        if (comma == nullptr && std::setlocale(LC_ALL, name) != nullptr) comma = name;
    }
    if (comma == nullptr) GTEST_SKIP() << "no locale with a decimal comma is installed";
    const auto e = elemOf(VR_DS);
    e->addValue(1.5);
    double v = 0;
    EXPECT_EQ(e->getValue(v), 0);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(stored(*e), "[1.5]");
    EXPECT_EQ(v, 1.5);
}

namespace {

// A record made by `fill`, added to an empty element: what is stored, or the message that refuses it.
template <typename Value, typename Fill>
void expectAdded(DICT_VR vr, const std::string& expected, Fill fill) {
    SCOPED_TRACE(expected);
    CaptureLog log;
    const auto e = elemOf(vr);
    Value v;
    fill(v);
    const bool refused = expected.find(' ') != std::string::npos;
    EXPECT_EQ(e->addValue(v), refused ? ELEM_VALUE_REFUSED : 0);
    EXPECT_EQ(stored(*e), refused ? "" : "[" + expected + "]");
    LogLines told;
    if (refused) told = {{LOG_VALIDATION, "DcElem::addValue", anyElement + "- " + expected}};
    EXPECT_EQ(log.take(), told);
}

void age(const std::string& expected, int years, char unit) {
    expectAdded<DcElemValueAS>(VR_AS, expected, [=](DcElemValueAS& v) {
        v.age = years;
        v.unit[0] = unit;
    });
}
void date(const std::string& expected, int year, int month, int day, int start = -1, int end = -1) {
    expectAdded<DcElemValueDA>(VR_DA, expected, [=](DcElemValueDA& v) {
        v.year = year;
        v.month = month;
        v.day = day;
        v.startDate = start;
        v.endDate = end;
    });
}
void timeOfDay(const std::string& expected, int hour, int minute, double second, double start = -1,
               double end = -1, const std::string& text = "") {
    expectAdded<DcElemValueTM>(VR_TM, expected, [=](DcElemValueTM& v) {
        v.hour = hour;
        v.minute = minute;
        v.second = second;
        v.startTime = start;
        v.endTime = end;
        std::memcpy(v.text, text.data(), text.size());
    });
}
void moment(const std::string& expected, int year, double second, int offsetHour, int offsetMinute,
            const char* text = "") {
    expectAdded<DcElemValueDT>(VR_DT, expected, [=](DcElemValueDT& v) {
        v.year = year;
        v.month = 2;
        v.day = 3;
        v.hour = 4;
        v.minute = 5;
        v.second = second;
        v.offsetHour = offsetHour;
        v.offsetMinute = offsetMinute;
        std::strcpy(v.text, text);
    });
}
void name(const std::string& expected, const std::string& family, const std::string& suffix, int group) {
    expectAdded<DcElemValuePN>(VR_PN, expected, [&](DcElemValuePN& v) {
        std::memcpy(v.family, family.data(), family.size());
        std::memcpy(v.suffix, suffix.data(), suffix.size());
        v.group = group;
    });
}

}  // namespace

TEST(AddRecord, Ages) {
    age("045Y", 45, 'y');
    age("invalid specifier 'X', should be D,W,M,Y", 45, 'x');
    age("invalid specifier '', should be D,W,M,Y", 45, '\0');
    age("age out of range 1000", 1000, 'D');
    age("age out of range -1", -1, 'D');
    DcElemValueAS raised;
    raised.unit[0] = 'm';
    EXPECT_EQ(elemOf(VR_AS)->addValue(raised), 0);
    EXPECT_EQ(raised.unit[0], 'M');
}

TEST(AddRecord, Dates) {
    date("00330230", 33, 2, 30);
    date("year out of range -1", -1, 2, 3);
    date("month out of range 13", 1, 13, 3);
    date("day out of range 32", 1, 1, 32);
    date("20240101-", 0, 0, 0, 20240101, -1);
    date("-20240101", 0, 0, 0, -1, 20240101);
    date("00000001-30001231", 0, 0, 0, 1, 30001231);
    date("invalid starting date 30001232", 0, 0, 0, 30001232, 30001232);
    date("invalid ending date 30001232", 0, 0, 0, 1, 30001232);
}

TEST(AddRecord, Times) {
    timeOfDay("1030", 10, 30, 0);
    timeOfDay("103015", 10, 30, 15);
    timeOfDay("103005.500000", 10, 30, 5.5);
    timeOfDay("hour out of range 24", 24, 0, 0);
    timeOfDay("minute out of range 60", 0, 60, 0);
    timeOfDay("second out of range 60", 0, 0, 60);
    timeOfDay("second out of range 2147483647", 0, 0, 1e300);
    timeOfDay("second out of range 0", 0, 0, std::nan(""));
    timeOfDay("093000.000000-240000.000000", 0, 0, 0, 93000, 240000);
    timeOfDay("-093000.500000", 0, 0, 0, -1, 93000.5);
    timeOfDay("000000.000000-", 0, 0, 0, 0, -1);
    timeOfDay("invalid starting time 240000", 0, 0, 0, 240000.5, -1);
    timeOfDay("invalid ending time 2147483647", 0, 0, 0, -1, 1e300);
    timeOfDay(std::string(40, 'x'), 99, 0, 0, -1, -1, std::string(40, 'x'));  // no NUL at all
}

TEST(AddRecord, DateTimes) {
    moment("20240203040501.250000", 2024, 1.25, 0, 0);
    moment("20240203040501.250000+530", 2024, 1.25, 5, 30);
    moment("20240203040501.250000-1100", 2024, 1.25, -11, 0);
    moment("20240203040501.250000+007", 2024, 1.25, 0, 7);
    moment("year out of range 10000", 10000, 0, 0, 0);
    moment("second out of range 0", 2024, -0.5, 0, 0);
    moment("offsetHour out of range 24", 2024, 0, 24, 0);
    moment("offsetMinute out of range -1", 2024, 0, 0, -1);
    moment("2024", 10000, 0, 0, 0, "2024");
}

TEST(AddRecord, Names) {
    name("", "", "", 0);
    name("Doe", " Doe ", "  ", 0);
    name("Doe^^^^Jr", "Doe", "Jr", -1);
    name("Doe====Jr", "Doe", "Jr", 2);
    name("A^^^^" + std::string(64, 's'), "A", std::string(65, 's'), 0);  // no NUL: 64 characters count
}

TEST(AddValue, ReplacesByIndexAndRefusesOthers) {
    CaptureLog log;
    const auto e = elemOf(VR_IS);
    EXPECT_EQ(e->addValue("1\\2\\3"), 0);
    EXPECT_EQ(e->addValue("22", 1), 0);
    EXPECT_EQ(e->changeValue(33, 2), 0);
    EXPECT_EQ(e->changeValue("x", 0), ELEM_ILLEGAL_CHAR);
    log.clear();
    for (const int index : {3, -1}) {
        EXPECT_EQ(e->changeValue(4, index), ELEM_INVALID_INDEX);
        EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::changeValue", "Invalid index value"));
    }
    EXPECT_EQ(e->addValue(4, 3), ELEM_INVALID_INDEX);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::addValueFmtBuf", "Invalid index value"));
    EXPECT_EQ(stored(*e), "[1][22][33]");
    const auto uid = elemOf(VR_UI);
    EXPECT_EQ(uid->addValue(static_cast<DICT_UID>(9999)), ELEM_VALUE_REFUSED);  // silently
    EXPECT_EQ(log.take(), LogLines{});
}
