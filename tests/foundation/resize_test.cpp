#include "foundation/resize.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <random>
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

// The same, one formula after the other, without a table.
struct Reference {
    Pixels image;
    int width, height;

    float p(int row, int column) const { return image[static_cast<std::size_t>(row * width + column)]; }
    static double p3(double u) { return u > 0 ? u * u * u : 0; }
    static float kernel(int offset, float fraction) {
        const int i = static_cast<int>((static_cast<float>(offset + 2) - fraction) * 5000.0F);
        const double t = (i - 10000 + 0.5) * 0.0002;
        return static_cast<float>((p3(t + 2) - 4 * p3(t + 1) + 6 * p3(t) - 4 * p3(t - 1)) / 6);
    }
    float bilinear(float x, float y) const {
        const int left = x < 0 ? 0 : static_cast<int>(x), top = y < 0 ? 0 : static_cast<int>(y);
        const bool atRight = left + 1 >= width, atBottom = top + 1 >= height;
        const int x0 = atRight ? width - 1 : left, x1 = atRight || x < 0 ? x0 : left + 1;
        const int y0 = atBottom ? height - 1 : top, y1 = atBottom || y < 0 ? y0 : top + 1;
        const float fx = x < 0 ? 0 : x - std::trunc(x), fy = y < 0 ? 0 : y - std::trunc(y);
        return (p(y0, x0) * (1 - fx) + p(y0, x1) * fx) * (1 - fy) +
               (p(y1, x0) * (1 - fx) + p(y1, x1) * fx) * fy;
    }
    float bspline(float x, float y) const {
        const int ix = static_cast<int>(x), iy = static_cast<int>(y);
        if (ix < 1 || ix > width - 3 || iy < 1 || iy > height - 3) return bilinear(x, y);
        float sum = 0;
        for (int j = -1; j <= 2; ++j) {
            for (int k = -1; k <= 2; ++k) {
                const float row = p(iy + j, ix + k) * kernel(j, y - std::trunc(y));
                sum = sum + row * kernel(k, x - std::trunc(x));
            }
        }
        return sum;
    }
    Pixels resized(int newWidth, int newHeight) const {
        Pixels out;
        const double sx = double(width) / newWidth, sy = double(height) / newHeight;
        float y = float(-0.5 * (sy + 1));
        for (int r = 0; r < newHeight; ++r) {
            y = float(double(y) + sy);
            float x = float(-0.5 * (sx + 1));
            for (int c = 0; c < newWidth; ++c) {
                x = float(double(x) + sx);
                out.push_back(static_cast<unsigned short>(bspline(x, y)));
            }
        }
        return out;
    }
};

}  // namespace

TEST(Resize, AgreesWithTheFormulas) {
    const struct {
        int width, height, newWidth, newHeight;
    } cases[] = {{4, 4, 2, 2},   {1, 1, 5, 3},     {2, 3, 7, 11},    {17, 9, 40, 31},
                 {64, 64, 9, 7}, {100, 3, 37, 50}, {300, 20, 997, 3}};
    std::mt19937 random(3);
    for (const auto& c : cases) {
        Reference reference{Pixels(static_cast<std::size_t>(c.width * c.height)), c.width, c.height};
        for (auto& pixel : reference.image) pixel = static_cast<unsigned short>(random());
        EXPECT_EQ(resize(reference.image, c.width, c.height, c.newWidth, c.newHeight),
                  reference.resized(c.newWidth, c.newHeight))
            << c.width << " x " << c.height << " to " << c.newWidth << " x " << c.newHeight;
    }
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
