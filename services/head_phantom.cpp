#include "services/head_phantom.h"

#include <algorithm>
#include <cmath>

namespace services {
namespace {

constexpr double cos18 = 0.95105651629515357;
constexpr double sin18 = 0.30901699437494742;

// Half axes and centre in units of half the field of view, rotation about z, and what it adds in HU.
struct Ellipsoid {
    double a, b, c;
    double x, y, z;
    double cosine, sine;
    double hu;
};

// clang-format off
constexpr Ellipsoid head[] = {
    {0.6900, 0.9200, 0.900,  0.00,  0.0000,  0.00, 1, 0,          2000},  // skull, in air of -1000
    {0.6624, 0.8740, 0.880,  0.00, -0.0184,  0.00, 1, 0,          -962},  // brain
    {0.1100, 0.3100, 0.220,  0.22,  0.0000,  0.00, cos18, -sin18,  -28},  // ventricles
    {0.1600, 0.4100, 0.280, -0.22,  0.0000,  0.00, cos18,  sin18,  -28},
    {0.2100, 0.2500, 0.410,  0.00,  0.3500, -0.15, 1, 0,             9},
    {0.0460, 0.0460, 0.050,  0.00,  0.1000,  0.25, 1, 0,            25},  // small inlays
    {0.0460, 0.0460, 0.050,  0.00, -0.1000,  0.25, 1, 0,            25},
    {0.0460, 0.0230, 0.050, -0.08, -0.6050,  0.00, 1, 0,            32},
    {0.0230, 0.0230, 0.020,  0.00, -0.6060,  0.00, 1, 0,            32},
    {0.0230, 0.0460, 0.020,  0.06, -0.6050,  0.00, 1, 0,            32},
};
// clang-format on

constexpr double air = -1000;

double huAt(double x, double y, double z) {
    double hu = air;
    for (const Ellipsoid& e : head) {
        const double dx = x - e.x;
        const double dy = y - e.y;
        const double u = (dx * e.cosine + dy * e.sine) / e.a;
        const double v = (dy * e.cosine - dx * e.sine) / e.b;
        const double w = (z - e.z) / e.c;
        if (u * u + v * v + w * w <= 1) hu += e.hu;
    }
    return hu;
}

// The same numbers on every machine, which the standard library's distributions do not promise: the sum of
// four 16-bit uniform numbers, close to normal, scaled to a standard deviation of 1.
class Noise {
  public:
    explicit Noise(std::uint64_t seed) : state_(seed) {}

    double next() {
        state_ += 0x9E3779B97F4A7C15ULL;
        std::uint64_t bits = state_;
        bits = (bits ^ (bits >> 30)) * 0xBF58476D1CE4E5B9ULL;
        bits = (bits ^ (bits >> 27)) * 0x94D049BB133111EBULL;
        bits ^= bits >> 31;
        const auto sum = static_cast<double>((bits & 0xFFFF) + (bits >> 16 & 0xFFFF) + (bits >> 32 & 0xFFFF) +
                                             (bits >> 48));
        return (sum - 2 * 65535.0) / 37837.0;
    }

  private:
    std::uint64_t state_;
};

}  // namespace

std::vector<std::uint16_t> headSlice(const SliceRequest& request) {
    std::vector<std::uint16_t> pixels;
    pixels.reserve(std::size_t{request.size} * request.size);
    Noise noise(request.noiseSeed);
    const double step = 2.0 / request.size;
    for (unsigned int row = 0; row < request.size; ++row) {
        const double y = 1 - (row + 0.5) * step;  // the nose points up, as on a film
        for (unsigned int column = 0; column < request.size; ++column) {
            const double x = (column + 0.5) * step - 1;
            const double hu = huAt(x, y, request.z) + request.noise * noise.next();
            pixels.push_back(static_cast<std::uint16_t>(std::clamp(std::lround(hu + 1024), 0L, 4095L)));
        }
    }
    return pixels;
}

}  // namespace services
