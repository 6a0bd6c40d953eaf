// Pictures of another size: each direction by itself, as weighted means of what lies around.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <new>
#include <vector>

#include "image/bands.h"
#include "image/render_job.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

// From which pixels one of the new picture is made, and how much of each.
struct Taps {
    unsigned int first;
    unsigned int count;
    std::size_t weights;  // the first of them
};

double cubic(double x) {
    constexpr double a = -0.5;  // after Catmull and Rom
    x = std::abs(x);
    if (x < 1) return ((a + 2) * x - (a + 3)) * x * x + 1;
    return x < 2 ? (((x - 5) * x + 8) * x - 4) * a : 0;
}

// One direction.
class Line {
  public:
    Line(unsigned int from, unsigned int to, RENDER_SCALING scaling) : from_(from) {
        const double step = static_cast<double>(from) / to;
        const bool isArea = scaling == RENDER_SCALING_AREA || (scaling == RENDER_SCALING_AUTO && step >= 1);
        taps_.reserve(to);
        for (unsigned int i = 0; i < to; ++i) {
            if (isArea) {
                const double begin = i * step;
                const double end = begin + step;
                add(begin, end, [=](double x) { return std::min(x + 1, end) - std::max(x, begin); });
            } else {
                const double wide = std::max(step, 1.0);
                const double middle = (i + 0.5) * step;
                add(middle - 2 * wide, middle + 2 * wide,
                    [=](double x) { return cubic((x + 0.5 - middle) / wide); });
            }
        }
    }

    const Taps& operator[](std::size_t i) const { return taps_[i]; }
    const float* weights(const Taps& taps) const { return weights_.data() + taps.weights; }

  private:
    template <typename Weight>
    void add(double begin, double end, const Weight& weight) {
        const auto first = static_cast<unsigned int>(std::clamp(std::floor(begin), 0.0, from_ - 1.0));
        const auto behind =
            static_cast<unsigned int>(std::clamp(std::ceil(end - 1e-9), first + 1.0, double{1} * from_));
        double sum = 0;
        for (unsigned int x = first; x < behind; ++x) sum += weight(x);
        taps_.push_back({first, behind - first, weights_.size()});
        for (unsigned int x = first; x < behind; ++x) weights_.push_back(static_cast<float>(weight(x) / sum));
    }

    unsigned int from_;
    std::vector<Taps> taps_;
    std::vector<float> weights_;
};

template <typename Sample>
class Scale {
  public:
    Scale(const DcPicture& from, DcPicture& to, RENDER_SCALING scaling)
        : from_(from),
          to_(to),
          across_(from.width(), to.width(), scaling),
          down_(from.height(), to.height(), scaling),
          stride_(std::size_t{to.width()} * to.samples()),
          between_(stride_ * from.height()) {}

    void run(unsigned int threads) {
        forBands(from_.height(), threads, [this](unsigned int y, unsigned int end) {
            for (; y < end; ++y) acrossRow(y);
        });
        // What the threads need for a row each is made here: they have nobody to tell that memory is short.
        const unsigned int bands = std::max(1u, threads);
        std::vector<float> sums(stride_ * bands);
        std::atomic<unsigned int> next = 0;
        forBands(to_.height(), threads, [&](unsigned int y, unsigned int end) {
            float* const sum = sums.data() + stride_ * (next++ % bands);
            for (; y < end; ++y) downRow(y, sum);
        });
    }

  private:
    void acrossRow(unsigned int y) {
        const auto* const row = reinterpret_cast<const Sample*>(from_.row(y));
        float* to = between_.data() + y * stride_;
        const std::size_t samples = from_.samples();
        for (unsigned int x = 0; x < to_.width(); ++x) {
            const Taps& taps = across_[x];
            const float* const weights = across_.weights(taps);
            for (std::size_t c = 0; c < samples; ++c) {
                float sum = 0;
                for (std::size_t i = 0; i < taps.count; ++i) {
                    sum += weights[i] * static_cast<float>(row[(taps.first + i) * samples + c]);
                }
                *to++ = sum;
            }
        }
    }
    void downRow(unsigned int y, float* sum) {
        constexpr float most = static_cast<Sample>(-1);
        const Taps& taps = down_[y];
        const float* const weights = down_.weights(taps);
        std::fill_n(sum, stride_, 0.5F);
        for (std::size_t i = 0; i < taps.count; ++i) {
            const float* const row = between_.data() + (taps.first + i) * stride_;
            for (std::size_t x = 0; x < stride_; ++x) sum[x] += weights[i] * row[x];
        }
        auto* const to = samplesOf<Sample>(to_, y);
        for (std::size_t x = 0; x < stride_; ++x) to[x] = static_cast<Sample>(std::clamp(sum[x], 0.0F, most));
    }

    const DcPicture& from_;
    DcPicture& to_;
    Line across_;
    Line down_;
    std::size_t stride_;
    std::vector<float> between_;
};

}  // namespace
}  // namespace orvkit::render

int renderScale(const DcPicture& from, unsigned int width, unsigned int height, RENDER_SCALING scaling,
                unsigned int threads, DcPicture& to) try {
    using namespace orvkit::render;
    if (from.width() == 0) return IMAGE_OPTION;
    DcPicture scaled;
    int result = scaled.make(width, height, from.samples(), from.bits());
    if (result == RESULT_OK) result = scaled.setProfile(from.profile(), from.profileLength());
    if (result != RESULT_OK) return result;
    withPictureType(from, [&](auto sample) { Scale<decltype(sample)>(from, scaled, scaling).run(threads); });
    to.swap(scaled);
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return IMAGE_NO_MEMORY;
}
