// Adding records: what is stored, refused and told.
#include <gtest/gtest.h>

#include <cstring>

#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

// A record added to an empty element: what is stored, or the message that refuses it.
template <typename Value>
std::string added(DICT_VR vr, Value v) {
    CaptureLog log;
    const auto e = elemOf(vr);
    const int code = e->addValue(v);
    if (code == 0) return stored(*e);
    EXPECT_EQ(code, ELEM_VALUE_REFUSED);
    EXPECT_EQ(e->getValueCount(), 0);
    const std::string start = anyElement + "- ";
    EXPECT_EQ(log.lines().size(), 1u);
    EXPECT_EQ(log.lines().at(0).text.substr(0, start.size()), start);
    return log.lines().at(0).text.substr(start.size());
}

std::string age(int years, char unit) {
    DcElemValueAS v;
    v.age = years;
    v.unit[0] = unit;
    return added(VR_AS, v);
}
std::string date(int year, int month, int day, int start = -1, int end = -1) {
    DcElemValueDA v;
    v.year = year;
    v.month = month;
    v.day = day;
    v.startDate = start;
    v.endDate = end;
    return added(VR_DA, v);
}
std::string timeOfDay(int hour, int minute, double second, double start = -1, double end = -1) {
    DcElemValueTM v;
    v.hour = hour;
    v.minute = minute;
    v.second = second;
    v.startTime = start;
    v.endTime = end;
    return added(VR_TM, v);
}
std::string moment(int year, int offsetHour, int offsetMinute, const char* text = "") {
    DcElemValueDT v;
    v.year = year;
    v.month = 2;
    v.day = 3;
    v.second = 1.25;
    v.offsetHour = offsetHour;
    v.offsetMinute = offsetMinute;
    std::strcpy(v.text, text);
    return added(VR_DT, v);
}
std::string name(const char* family, const char* suffix, int group) {
    DcElemValuePN v;
    std::strcpy(v.family, family);
    std::strcpy(v.suffix, suffix);
    v.group = group;
    return added(VR_PN, v);
}

}  // namespace

TEST(AddRecord, Ages) {
    EXPECT_EQ(age(45, 'y'), "[045Y]");
    EXPECT_EQ(age(45, 'x'), "invalid specifier 'X', should be D,W,M,Y");
    EXPECT_EQ(age(1000, 'D'), "age out of range 1000");
}

TEST(AddRecord, Dates) {
    EXPECT_EQ(date(33, 2, 30), "[00330230]");
    EXPECT_EQ(date(-1, 2, 3), "year out of range -1");
    EXPECT_EQ(date(0, 0, 0, 20240101, -1), "[20240101-]");
    EXPECT_EQ(date(0, 0, 0, 30001232, 1), "invalid starting date 30001232");
}

TEST(AddRecord, Times) {
    EXPECT_EQ(timeOfDay(10, 30, 0), "[1030]");
    EXPECT_EQ(timeOfDay(10, 30, 5.5), "[103005.500000]");
    EXPECT_EQ(timeOfDay(24, 0, 0), "hour out of range 24");
    EXPECT_EQ(timeOfDay(0, 0, 1e300), "second out of range 2147483647");
    EXPECT_EQ(timeOfDay(0, 0, 0, 93000, 240000), "[093000.000000-240000.000000]");
    EXPECT_EQ(timeOfDay(0, 0, 0, 240000.5, -1), "invalid starting time 240000");
}

TEST(AddRecord, DateTimes) {
    EXPECT_EQ(moment(2024, 0, 0), "[20240203000001.250000]");
    EXPECT_EQ(moment(2024, 5, 30), "[20240203000001.250000+530]");
    EXPECT_EQ(moment(2024, 24, 0), "offsetHour out of range 24");
    EXPECT_EQ(moment(10000, 0, 0, "2024"), "[2024]");
}

TEST(AddRecord, Names) {
    EXPECT_EQ(name(" Doe ", "  ", 0), "[Doe]");
    EXPECT_EQ(name("Doe", "Jr", -1), "[Doe^^^^Jr]");
    EXPECT_EQ(name("Doe", "Jr", 2), "[Doe====Jr]");
    DcElemValuePN v;
    std::memset(v.family, 'f', sizeof v.family);  // no NUL: 64 characters count
    EXPECT_EQ(added(VR_PN, v), "[" + std::string(64, 'f') + "]");
}

TEST(AddValue, ReplacesByIndexAndRefusesOthers) {
    CaptureLog log;
    const auto e = elemOf(VR_IS);
    EXPECT_EQ(e->addValue("1\\2\\3"), 0);
    EXPECT_EQ(e->changeValue(33, 2), 0);
    for (const int index : {3, -1}) {
        EXPECT_EQ(e->changeValue(4, index), ELEM_INVALID_INDEX);
        log.expect(LOG_VALIDATION, "DcElem::changeValue", "Invalid index value");
    }
    EXPECT_EQ(stored(*e), "[1][2][33]");
}
