#include "orvkit/util.h"

#include <gtest/gtest.h>

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
    EXPECT_EQ(swabbed<double>(15), (V{8, 7, 6, 5, 4, 3, 2, 1, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(swabbed<int>(3), (V{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
    CaptureLog log;
    EXPECT_EQ(utilSwab(static_cast<float*>(nullptr), 4), UTIL_NULL_ARGUMENT);
    log.expect(LOG_VALIDATION, "utilSwab", "Null argument passed");
}

TEST(PackedTime, GoesBothWays) {
    int a = 0, b = 0, c = 0;
    utilLongToYMD(-20100314, a, b, c);
    EXPECT_EQ((std::vector{a, b, c}), (std::vector{-2010, -3, -14}));
    double time = 0, second = 0;
    EXPECT_EQ(utilHMSToDouble(13, 4, 5.25, time), 0);
    EXPECT_EQ(time, 130405.25);
    utilDoubleToHMS(1e300, a, b, second);
    EXPECT_EQ((std::vector{a, b}), (std::vector{214748, 36}));
}

TEST(RemoveSpace, StripsWhatTheModeAsksFor) {
    const std::string text = "  a b \t\x01";
    const struct {
        int mode;
        std::string expected;
    } cases[] = {{0, text}, {1, "a b \t\x01"}, {2, "  a b"}, {3, "a b"}, {4, "ab"}, {7, "ab"}, {8, text}};
    for (const auto& c : cases) EXPECT_EQ(stripped(text, c.mode), c.expected) << c.mode;
    CaptureLog log;
    EXPECT_EQ(utilRemoveSpace(nullptr, 3), UTIL_NULL_ARGUMENT);
    log.expect(LOG_VALIDATION, "utilStrgToValue", "Null argument passed");
}

TEST(Util, KnowsPathsAndItsVersion) {
    char path[] = "\\\\host\\share/file\\";
    EXPECT_EQ(utilChangeBackslash(path), 0);
    EXPECT_STREQ(path, "//host/share/file/");
    CaptureLog log;
    int major = 0, minor = 0, release = 0;
    EXPECT_EQ(utilGetVersion(major, minor, release, nullptr), UTIL_NULL_ARGUMENT);
    log.expect(LOG_VALIDATION, "utilGetVersion", "Null argument passed");
    EXPECT_EQ((std::vector{major, minor, release}), (std::vector{4, 8, 10}));
}
