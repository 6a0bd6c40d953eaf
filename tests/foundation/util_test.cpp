#include "orvkit/util.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

#include "orvkit/result.h"

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

}  // namespace

TEST(Swab, ReversesWholeUnitsOnly) {
    using V = std::vector<int>;
    EXPECT_EQ(swabbed<unsigned short>(13), (V{2, 1, 4, 3, 6, 5, 8, 7, 10, 9, 12, 11, 13, 14, 15}));
    EXPECT_EQ(swabbed<double>(15), (V{8, 7, 6, 5, 4, 3, 2, 1, 9, 10, 11, 12, 13, 14, 15}));
    EXPECT_EQ(swabbed<int>(3), (V{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15}));
}

TEST(Util, PacksTimesStripsTextsTurnsPathsAndKnowsItsVersion) {
    int a = 0, b = 0, c = 0;
    utilLongToYMD(-20100314, a, b, c);
    EXPECT_EQ((std::vector{a, b, c}), (std::vector{-2010, -3, -14}));
    double time = 0, second = 0;
    EXPECT_EQ(utilHMSToDouble(13, 4, 5.25, time), 0);
    EXPECT_EQ(time, 130405.25);
    utilDoubleToHMS(1e300, a, b, second);
    EXPECT_EQ((std::vector{a, b}), (std::vector{214748, 36}));

    const std::string text = "  a b \t\x01";
    const std::string byMode[] = {text, "a b \t\x01", "  a b", "a b", "ab", "ab", "ab", "ab", text};
    for (int mode = 0; mode <= 8; ++mode) {
        std::string stripped = text;
        EXPECT_EQ(utilRemoveSpace(stripped.data(), mode), 0);
        EXPECT_STREQ(stripped.c_str(), byMode[mode].c_str()) << mode;
    }
    char path[] = "\\\\host\\share/file\\";
    EXPECT_EQ(utilChangeBackslash(path), 0);
    EXPECT_STREQ(path, "//host/share/file/");
    EXPECT_EQ(utilGetVersion(a, b, c, nullptr), UTIL_NULL_ARGUMENT);
    EXPECT_EQ((std::vector{a, b, c}), (std::vector{4, 8, 10}));
}
