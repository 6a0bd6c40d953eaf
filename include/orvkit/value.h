// The value records: dates, times, ages, person names and tags as plain structures (PS3.5 6.2).
//
// Each record is constructed in the state that reset() gives, and is copied member by member.
#ifndef ORVKIT_VALUE_H
#define ORVKIT_VALUE_H

#include <cstring>

#include "orvkit/export.h"

// AS: an age.
struct DcElemValueAS {
    int age;       // 0 to 999
    char unit[2];  // "D", "W", "M" or "Y", with its terminating NUL

    DcElemValueAS() noexcept { reset(); }
    void reset() noexcept {
        age = 0;
        std::memset(unit, 0, sizeof unit);
    }
};

// AT: a tag.
struct DcElemValueAT {
    unsigned short group;
    unsigned short element;

    DcElemValueAT() noexcept { reset(); }
    void reset() noexcept { group = element = 0; }
};

// DA: a date, or in queries a range of dates.
struct DcElemValueDA {
    int year;       // the single date
    int month;      // 1 to 12
    int day;        // 1 to 31
    int startDate;  // the range's bounds as yyyymmdd (utilYMDToLong); -1: no such bound
    int endDate;

    DcElemValueDA() noexcept { reset(); }
    void reset() noexcept {
        year = month = day = 0;
        startDate = endDate = -1;
    }
};

// DT: a date and time.
struct DcElemValueDT {
    int year;
    int month;
    int day;
    int hour;
    int minute;
    double second;     // with its fraction
    int offsetHour;    // offset from Coordinated Universal Time, -23 to 23
    int offsetMinute;  // 0 to 59
    int startDate;     // bounds of a range as yyyymmdd; -1: absent
    int endDate;
    double startTime;  // bounds of a range as hhmmss.ffffff (utilHMSToDouble); negative: absent
    double endTime;
    char text[32];  // the value as text: stored as it stands when it is not empty

    DcElemValueDT() noexcept { reset(); }
    void reset() noexcept {
        year = month = day = hour = minute = 0;
        second = 0.0;
        offsetHour = offsetMinute = 0;
        startDate = endDate = -1;
        startTime = endTime = -1.0;
        std::memset(text, 0, sizeof text);
    }
};

// PN: a person name of five components of up to 64 characters each (PS3.5 6.2.1).
struct DcElemValuePN {
    char family[65];
    char given[65];
    char middle[65];
    char prefix[65];
    char suffix[65];
    int group;  // positive: the components are separated by "=" instead of "^"

    DcElemValuePN() noexcept { reset(); }
    void reset() noexcept {
        std::memset(family, 0, sizeof family);
        std::memset(given, 0, sizeof given);
        std::memset(middle, 0, sizeof middle);
        std::memset(prefix, 0, sizeof prefix);
        std::memset(suffix, 0, sizeof suffix);
        group = 0;
    }
};

// TM: a time of day, or in queries a range of times.
struct DcElemValueTM {
    int hour;
    int minute;
    double second;     // with its fraction
    double startTime;  // bounds of a range as hhmmss.ffffff (utilHMSToDouble); negative: absent
    double endTime;
    char text[40];  // the value as text: stored as it stands when it is not empty

    DcElemValueTM() noexcept { reset(); }
    void reset() noexcept {
        hour = minute = 0;
        second = 0.0;
        startTime = endTime = -1.0;
        std::memset(text, 0, sizeof text);
    }
    // Fills the record from a text as utilStrgToValue does, with group and element FFFF in messages.
    ORVKIT_API int setValue(const char* value);
};

#endif
