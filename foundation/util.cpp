#include "orvkit/util.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <limits>
#include <new>

#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "platform/clock.h"

using namespace orvkit;

namespace {

// Swaps eight bytes at a time; `swapWord` reverses the values that stand side by side in a word.
template <typename Value, typename SwapWord>
int swab(void* data, unsigned int length, SwapWord swapWord) {
    if (data == nullptr) {
        return failNull(UTIL_NULL_ARGUMENT, "utilSwab");
    }
    constexpr std::size_t wordSize = sizeof(std::uint64_t);
    unsigned char* p = static_cast<unsigned char*>(data);
    const std::size_t whole = length - length % sizeof(Value);
    std::size_t i = 0;
    for (; whole - i >= wordSize; i += wordSize) {
        std::uint64_t word;
        std::memcpy(&word, p + i, wordSize);
        word = swapWord(word);
        std::memcpy(p + i, &word, wordSize);
    }
    for (; i < whole; i += sizeof(Value)) {
        Value value;
        std::memcpy(&value, p + i, sizeof value);
        value = byteSwap(value);
        std::memcpy(p + i, &value, sizeof value);
    }
    return RESULT_OK;
}

int swab2(void* data, unsigned int length) {
    constexpr std::uint64_t low = 0x00FF00FF00FF00FF;
    return swab<std::uint16_t>(data, length,
                               [](std::uint64_t w) { return ((w & low) << 8) | ((w >> 8) & low); });
}

int swab4(void* data, unsigned int length) {
    return swab<std::uint32_t>(data, length, [](std::uint64_t w) {
        w = byteSwap(w);
        return (w << 32) | (w >> 32);
    });
}

int swab8(void* data, unsigned int length) {
    return swab<std::uint64_t>(data, length, [](std::uint64_t w) { return byteSwap(w); });
}

bool isBlank(char c) noexcept {
    return c == ' ' || (c >= 1 && c <= 13);
}

}  // namespace

// ---- byte order -----------------------------------------------------------------------------------------

int utilSwab(short* data, unsigned int length) {
    return swab2(data, length);
}
int utilSwab(unsigned short* data, unsigned int length) {
    return swab2(data, length);
}
int utilSwab(int* data, unsigned int length) {
    return swab4(data, length);
}
int utilSwab(unsigned int* data, unsigned int length) {
    return swab4(data, length);
}
int utilSwab(float* data, unsigned int length) {
    return swab4(data, length);
}
int utilSwab(double* data, unsigned int length) {
    return swab8(data, length);
}

// ---- dates and times as numbers -------------------------------------------------------------------------

int utilYMDToLong(int year, int month, int day, long& packed) {
    const long long wide = (year * 100LL + month) * 100 + day;
    packed = static_cast<long>(wide);
    return RESULT_OK;
}

int utilLongToYMD(long packed, int& year, int& month, int& day) {
    year = static_cast<int>(packed / 10000);
    month = static_cast<int>(packed / 100 % 100);
    day = static_cast<int>(packed % 100);
    return RESULT_OK;
}

int utilHMSToDouble(int hour, int minute, double second, double& packed) {
    packed = hour * 10000.0 + minute * 100.0 + second;
    return RESULT_OK;
}

int utilDoubleToHMS(double packed, int& hour, int& minute, double& second) {
    int n = 0;
    if (packed >= std::numeric_limits<int>::max()) {
        n = std::numeric_limits<int>::max();
    } else if (packed <= std::numeric_limits<int>::min()) {
        n = std::numeric_limits<int>::min();
    } else if (packed == packed) {
        n = static_cast<int>(packed);
    }
    hour = n / 10000;
    minute = n / 100 % 100;
    second = std::fmod(packed, 100.0);
    return RESULT_OK;
}

// ---- current time ---------------------------------------------------------------------------------------

void utilGetCurrentTime(DcElemValueDT& dateTime) {
    std::tm now;
    if (!platform::localTime(now)) return;
    dateTime.reset();
    dateTime.year = now.tm_year + 1900;
    dateTime.month = now.tm_mon + 1;
    dateTime.day = now.tm_mday;
    dateTime.hour = now.tm_hour;
    dateTime.minute = now.tm_min;
    dateTime.second = now.tm_sec;
}

void utilGetCurrentTime(DcElemValueDA& date, DcElemValueTM& time) {
    std::tm now;
    if (!platform::localTime(now)) return;
    date.reset();
    date.year = now.tm_year + 1900;
    date.month = now.tm_mon + 1;
    date.day = now.tm_mday;
    time.reset();
    time.hour = now.tm_hour;
    time.minute = now.tm_min;
    time.second = now.tm_sec;
}

// ---- texts ----------------------------------------------------------------------------------------------

int utilChangeBackslash(char* path) {
    for (; *path != '\0'; ++path) {
        if (*path == '\\') *path = '/';
    }
    return RESULT_OK;
}

int utilRemoveSpace(char* string, int mode) {
    if (string == nullptr) {
        return failNull(UTIL_NULL_ARGUMENT, "utilStrgToValue");
    }
    if ((mode & UTIL_SPACE_ALL) != 0) {
        char* kept = string;
        for (const char* p = string; *p != '\0'; ++p) {
            if (!isBlank(*p)) *kept++ = *p;
        }
        *kept = '\0';
        return RESULT_OK;
    }
    const char* begin = string;
    const char* end = string + std::strlen(string);
    if ((mode & UTIL_SPACE_TRAILING) != 0) {
        while (end != begin && isBlank(end[-1])) --end;
    }
    if ((mode & UTIL_SPACE_LEADING) != 0) {
        while (begin != end && isBlank(*begin)) ++begin;
    }
    const std::size_t length = static_cast<std::size_t>(end - begin);
    if (begin != string) std::memmove(string, begin, length);
    string[length] = '\0';
    return RESULT_OK;
}

// ---- memory ---------------------------------------------------------------------------------------------

void* utilNew(int size) {
    if (size < 0) return nullptr;
    return ::operator new(static_cast<std::size_t>(size), std::nothrow);
}

void utilDelete(void* p) {
    ::operator delete(p);
}
