#include "orvkit/util.h"

#include <gtest/gtest.h>

#include <ctime>
#include <numeric>
#include <string>
#include <vector>

#include "tests/support/capture_log.h"

namespace {

// The bytes 1 to 15 after a swap of their first `length`, at an odd address.
template <typename T>
std::vector<int> swabbed(unsigned int length) {
    alignas(8) unsigned char bytes[16];
    std::iota(bytes, bytes + 16, static_cast<unsigned char>(0));
    void* const unaligned = bytes + 1;
    EXPECT_EQ(utilSwab(static_cast<T*>(unaligned), length), 0);
    return {bytes + 1, bytes + 16};
}

std::string stripped(std::string text, int mode) {
    EXPECT_EQ(utilRemoveSpace(text.data(), mode), 0);
    return text.c_str();
}

}  // namespace

TEST(Swab, ReversesWholeUnitsOnly) {
    using V = std::vector<int>;
    EXPECT_EQ(swabbed<unsigned short>(13), (V{2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 12, 11, 13, 14, 15}));
    EXPECT_EQ(swabbed<float>(15), (V{4, 3, 2, 1, 8, 7, 6, 5, 12, 11, 10, 9, 13, 14, 15}));
    EXPECT_EQ(swabbed<double>(15), (V{8, 7, 6, 5, 4, 3, 2, 1, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(swabbed<int>(3), (V{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    CaptureLog log;
    EXPECT_EQ(utilSwab(static_cast<float*>(nullptr), 4), 17413);
    log.expect(LOG_VALIDATION, "utilSwab", "Null argument passed");
}

TEST(PackedTime, GoesBothWays) {
    long packed = 0;
    int a = 0, b = 0, c = 0;
    EXPECT_EQ(utilYMDToLong(2010, 3, 14, packed), 0);
    EXPECT_EQ(packed, 20100314);
    utilLongToYMD(-packed, a, b, c);
    EXPECT_EQ((std::vector{a, b, c}), (std::vector{-2010, -3, -14}));
    double time = 0, second = 0;
    EXPECT_EQ(utilHMSToDouble(13, 4, 5.25, time), 0);
    EXPECT_EQ(time, 130405.25);
    EXPECT_EQ(utilDoubleToHMS(time, a, b, second), 0);
    EXPECT_EQ((std::vector<double>{double(a), double(b), second}), (std::vector{13.0, 4.0, 5.25}));
    utilDoubleToHMS(1e300, a, b, second);
    EXPECT_EQ((std::vector{a, b}), (std::vector{214748, 36}));
}

TEST(CurrentTime, IsTheLocalTime) {
    DcElemValueDT both;
    DcElemValueDA date;
    DcElemValueTM time;
    both.startDate = date.startDate = 20000101;
    utilGetCurrentTime(both);
    utilGetCurrentTime(date, time);
    EXPECT_EQ(both.startDate, -1);
    EXPECT_EQ(date.startDate, -1);
    const std::time_t now = std::time(nullptr);
    const std::tm local = *std::localtime(&now);
    EXPECT_EQ(both.year, local.tm_year + 1900);
    EXPECT_EQ(date.month, local.tm_mon + 1);
    EXPECT_NEAR(both.hour * 60 + both.minute, local.tm_hour * 60 + local.tm_min, 2);
    EXPECT_NEAR(time.hour * 60 + time.minute, local.tm_hour * 60 + local.tm_min, 2);
}

TEST(RemoveSpace, StripsWhatTheModeAsksFor) {
    const std::string text = "  a b \t\x01";
    const struct {
        int mode;
        std::string expected;
    } cases[] = {{0, text}, {1, "a b \t\x01"}, {2, "  a b"}, {3, "a b"}, {4, "ab"}, {7, "ab"}, {8, text}};
    for (const auto& c : cases) EXPECT_EQ(stripped(text, c.mode), c.expected) << c.mode;
    for (int mode : {1, 2, 3, 4}) {
        EXPECT_EQ(stripped(" \r\n\v ", mode), "");
        EXPECT_EQ(stripped("", mode), "");
        // Neither the other control characters nor the upper half are blanks.
        EXPECT_EQ(stripped("\x0e\x1f\x80\xa0\xff\x7f", mode), "\x0e\x1f\x80\xa0\xff\x7f");
    }
    CaptureLog log;
    EXPECT_EQ(utilRemoveSpace(nullptr, 3), 17413);
    log.expect(LOG_VALIDATION, "utilStrgToValue", "Null argument passed");
}

TEST(Util, KnowsPathsMemoryAndVersion) {
    char path[] = "\\\\host\\share/file\\";
    EXPECT_EQ(utilChangeBackslash(path), 0);
    EXPECT_STREQ(path, "//host/share/file/");
    EXPECT_EQ(utilNew(-1), nullptr);
    utilDelete(utilNew(0));

    CaptureLog log;
    int major = 0, minor = 0, release = 0;
    EXPECT_EQ(utilGetVersion(major, minor, release, nullptr), 17413);
    log.expect(LOG_VALIDATION, "utilGetVersion", "Null argument passed");
    EXPECT_EQ((std::vector{major, minor, release}), (std::vector{4, 8, 10}));
    char date[12] = "";
    EXPECT_EQ(utilGetVersion(major, minor, release, date), 0);
    std::tm built = {};
    EXPECT_NE(strptime(date, "%b %d %Y", &built), nullptr) << date;
}
