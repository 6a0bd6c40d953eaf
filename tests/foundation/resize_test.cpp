#include "foundation/resize.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "orvkit/util.h"

namespace {

using Pixels = std::vector<unsigned short>;

Pixels resize(Pixels image, int width, int height, int newWidth, int newHeight) {
    unsigned short* const out = utilResizeImage(image.data(), width, height, newWidth, newHeight);
    Pixels result(out, out + static_cast<std::ptrdiff_t>(newWidth) * newHeight);
    std::free(out);
    return result;
}

}  // namespace

// The results were worked out pixel by pixel from the formulas of the B-spline and, at the edges, of the
// bilinear method, without a table.
TEST(Resize, AgreesWithTheFormulas) {
    Pixels image;
    for (int i = 0; i < 36; ++i) image.push_back(static_cast<unsigned short>(37 * i * i));
    EXPECT_EQ(resize(image, 2, 3, 4, 2), (Pixels{37, 55, 92, 111, 481, 555, 703, 777}));
    EXPECT_EQ(resize(image, 6, 6, 4, 4), (Pixels{370, 647, 1091, 1702, 4532, 6008, 7450, 8861, 14689, 17163,
                                                 19604, 22015, 30839, 34114, 37555, 41162}));
}

TEST(Resize, ClampsAtTheBottomAndWrapsAtTheTop) {
    // A spline overshoots behind a step from black to white by 0.071875 of its height, and in front of it.
    Pixels step;
    for (int i = 0; i < 144; ++i) step.push_back(i % 12 < 5 ? 0 : 65535);
    const unsigned int mode = std::exchange(orvkit::resizeMode, orvkit::RESIZE_SPLINE);
    const Pixels out = resize(step, 12, 12, 24, 24);
    orvkit::resizeMode = mode;
    const auto row = out.begin() + 8 * 24;
    EXPECT_EQ(row[7], 0);
    EXPECT_EQ(row[11], static_cast<unsigned short>(static_cast<int>(65535 * 1.071875)));
    EXPECT_EQ(row[15], 65535);
}
