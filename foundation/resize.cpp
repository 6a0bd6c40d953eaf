// Resampling of 16-bit images. Everything but the steps of the positions and the kernel's table is computed
// in single precision, each operation rounded on its own: the exact samples depend on it.
//
// (In front of the headers: functions are inlined into others only under the same options.)
#if defined(__clang__)
#pragma STDC FP_CONTRACT OFF
#elif defined(__GNUC__)
#pragma GCC optimize("fp-contract=off")
#endif

#include "foundation/resize.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "orvkit/util.h"

static_assert(FLT_EVAL_METHOD == 0, "needs plain single-precision arithmetic");

unsigned int orvkit::resizeMode = orvkit::RESIZE_BSPLINE;

namespace {

struct Image {
    std::span<const unsigned short> pixels;
    int width;
    int height;

    float at(int row, int column) const noexcept {
        const std::size_t place = static_cast<std::size_t>(row) * static_cast<std::size_t>(width);
        return pixels[place + static_cast<std::size_t>(column)];
    }
};

// ---- bilinear -------------------------------------------------------------------------------------------

float bilinear(const Image& image, float x, float y) noexcept {
    int ix = static_cast<int>(x);
    int iy = static_cast<int>(y);
    int ix1 = ix + 1;
    int iy1 = iy + 1;
    float fx = x - static_cast<float>(ix);
    float fy = y - static_cast<float>(iy);
    if (x < 0) {
        ix = ix1 = 0;
        fx = 0;
    }
    if (y < 0) {
        iy = iy1 = 0;
        fy = 0;
    }
    if (ix1 >= image.width) ix = ix1 = image.width - 1;
    if (iy1 >= image.height) iy = iy1 = image.height - 1;
    return (image.at(iy, ix) * (1 - fx) + image.at(iy, ix1) * fx) * (1 - fy) +
           (image.at(iy1, ix) * (1 - fx) + image.at(iy1, ix1) * fx) * fy;
}

// ---- cubic B-spline -------------------------------------------------------------------------------------

// The uniform cubic B-spline, sampled half a step off the grid over (-2, 2).
constexpr int kernelSteps = 5000;  // per pixel
using Kernel = std::array<float, 4 * kernelSteps + 1>;

double cube(double u) noexcept {
    return u > 0 ? u * u * u : 0.0;
}

Kernel makeKernel() noexcept {
    Kernel kernel;
    for (int i = 0; i <= 4 * kernelSteps; ++i) {
        const double t = (i - 2 * kernelSteps + 0.5) * 0.0002;
        const double k = (cube(t + 2) - 4 * cube(t + 1) + 6 * cube(t) - 4 * cube(t - 1)) / 6;
        kernel[static_cast<std::size_t>(i)] = static_cast<float>(k);
    }
    return kernel;
}

// The weights of the pixels at the offsets -1 to 2 for a position at `fraction` behind its pixel.
std::array<float, 4> weights(float fraction) noexcept {
    static const Kernel kernel = makeKernel();
    std::array<float, 4> w;
    for (int m = -1; m <= 2; ++m) {
        const int entry = static_cast<int>((static_cast<float>(m + 2) - fraction) * kernelSteps);
        w[static_cast<std::size_t>(m + 1)] = kernel[static_cast<std::size_t>(entry)];
    }
    return w;
}

bool within(int i, int margin, int size) noexcept {
    return i >= margin && i <= size - margin - 2;
}

float bspline(const Image& image, float x, float y) noexcept {
    const int ix = static_cast<int>(x);
    const int iy = static_cast<int>(y);
    if (!within(ix, 1, image.width) || !within(iy, 1, image.height)) return bilinear(image, x, y);
    const std::array<float, 4> wx = weights(x - static_cast<float>(ix));
    const std::array<float, 4> wy = weights(y - static_cast<float>(iy));
    float sum = 0;
    for (int j = 0; j < 4; ++j) {
        for (int k = 0; k < 4; ++k) {
            sum += image.at(iy + j - 1, ix + k - 1) * wy[static_cast<std::size_t>(j)] *
                   wx[static_cast<std::size_t>(k)];
        }
    }
    return sum;
}

// ---- natural cubic spline -------------------------------------------------------------------------------

// The natural spline (second derivative zero at both ends) through four values at -1, 0, 1 and 2, at `t` in
// [0, 1]. m1 and m2 are its second derivatives at 0 and 1.
float splineThrough(const std::array<float, 4>& v, float t) noexcept {
    const float d1 = v[0] - 2 * v[1] + v[2];
    const float d2 = v[1] - 2 * v[2] + v[3];
    const float m1 = (8 * d1 - 2 * d2) / 5;
    const float m2 = (8 * d2 - 2 * d1) / 5;
    const float s = 1 - t;
    return s * v[1] + t * v[2] + (s * s * s - s) / 6 * m1 + (t * t * t - t) / 6 * m2;
}

float spline(const Image& image, float x, float y) noexcept {
    const int ix = static_cast<int>(x);
    const int iy = static_cast<int>(y);
    if (!within(ix, 2, image.width) || !within(iy, 2, image.height)) return bilinear(image, x, y);
    std::array<float, 4> column;
    for (int j = 0; j < 4; ++j) {
        const int row = iy + j - 1;
        column[static_cast<std::size_t>(j)] = splineThrough(
            {image.at(row, ix - 1), image.at(row, ix), image.at(row, ix + 1), image.at(row, ix + 2)},
            x - static_cast<float>(ix));
    }
    return splineThrough(column, y - static_cast<float>(iy));
}

// ---- pixels ---------------------------------------------------------------------------------------------

// No clamp at the top: larger samples keep their low 16 bits.
std::uint16_t toPixel(float sample) noexcept {
    return static_cast<std::uint16_t>(static_cast<std::uint32_t>(std::max(sample, 0.0F)));
}

std::uint16_t pixelAt(const Image& image, float x, float y, unsigned int mode) noexcept {
    using namespace orvkit;
    float (*const method)(const Image&, float, float) = (mode & RESIZE_SPLINE) != 0    ? spline
                                                        : (mode & RESIZE_BSPLINE) != 0 ? bspline
                                                                                       : bilinear;
    const std::uint16_t pixel = toPixel(method(image, x, y));
    if ((mode & (RESIZE_RELIEF_8 | RESIZE_RELIEF_12)) == 0) return pixel;
    const int ground = (mode & RESIZE_RELIEF_8) != 0 ? 64 : 2048;
    return static_cast<std::uint16_t>(pixel / 2 + ground - toPixel(bilinear(image, x, y)) / 2);
}

}  // namespace

unsigned short* utilResizeImage(unsigned short* image, int width, int height, int newWidth, int newHeight) {
    const std::size_t columns = static_cast<std::size_t>(std::max(newWidth, 0));
    const std::size_t rows = static_cast<std::size_t>(std::max(newHeight, 0));
    if (columns != 0 && rows > PTRDIFF_MAX / sizeof(unsigned short) / columns) return nullptr;
    // Never a request for nothing, which may be answered with null.
    auto* const out = static_cast<unsigned short*>(
        std::calloc(std::max<std::size_t>(rows * columns, 1), sizeof(unsigned short)));
    if (out == nullptr || image == nullptr || width < 1 || height < 1) return out;

    const std::size_t count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    const Image source{{image, count}, width, height};
    const double sx = static_cast<double>(width) / newWidth;
    const double sy = static_cast<double>(height) / newHeight;
    unsigned short* pixel = out;
    float y = static_cast<float>(-0.5 * (sy + 1));
    for (std::size_t row = 0; row < rows; ++row) {
        y = static_cast<float>(y + sy);
        float x = static_cast<float>(-0.5 * (sx + 1));
        for (std::size_t column = 0; column < columns; ++column) {
            x = static_cast<float>(x + sx);
            *pixel++ = pixelAt(source, x, y, orvkit::resizeMode);
        }
    }
    return out;
}
