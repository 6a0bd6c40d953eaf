// Grey images: one table for all values of up to 16 bits, then one pass.
#include <algorithm>
#include <cmath>
#include <vector>

#include "image/bands.h"
#include "image/grey_scale.h"
#include "image/render_job.h"
#include "image/stored_values.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

struct Weighed {
    double value;
    std::uint64_t count;
};

// The values between two percentiles of those that occur.
Range between(std::vector<Weighed>& all, double lowPercent, double highPercent) {
    if (all.empty()) return {};
    std::sort(all.begin(), all.end(), [](const Weighed& a, const Weighed& b) { return a.value < b.value; });
    std::uint64_t total = 0;
    for (const Weighed& one : all) total += one.count;
    const auto at = [&](double percent) {
        auto left = static_cast<std::uint64_t>(std::llround(percent / 100 * static_cast<double>(total - 1)));
        for (const Weighed& one : all) {
            if (left < one.count) return one.value;
            left -= one.count;
        }
        return all.back().value;
    };
    return {at(lowPercent), at(highPercent)};
}

class GreyRender {
  public:
    explicit GreyRender(const RenderJob& job)
        : job_(job),
          stored_(job.pixels.layout),
          groups_(job.dataset, job.frame),
          modality_(job.dataset, groups_, job.pixels.layout.isSigned),
          padding_(job.dataset, job.pixels),
          isInverse_(isInverse(job.dataset, job.pixels.layout.photometric)) {}

    int run() {
        const DcImagePixels& layout = job_.pixels.layout;
        // Real numbers have no greatest one: all that they hold is what occurs.
        const auto spread = [this](double low, double high) { return spreadOf(low, high); };
        const Range possible =
            job_.pixels.isReal ? spread(0, 100) : modality_({stored_.least(), stored_.greatest()});
        const int result = voi_.choose(groups_, job_.options, possible, layout.bitsStored, spread);
        if (result == ELEM_NOT_FOUND) return job_.fail(result, "the image has no such window or VOI LUT");
        if (result != RESULT_OK) return job_.fail(result, "a window that cannot be");
        if (const int made = job_.picture.make(layout.columns, layout.rows, 1, job_.options.bits);
            made != RESULT_OK) {
            return job_.fail(made, "not enough memory");
        }
        withPictureType(job_.picture, [&](auto sample) {
            withSampleType(job_.pixels, [&](auto raw) { paint<decltype(raw), decltype(sample)>(); });
        });
        return RESULT_OK;
    }

  private:
    template <typename Raw>
    static constexpr bool hasTable = std::is_integral_v<Raw> && sizeof(Raw) <= 2;

    std::size_t count() const { return std::size_t{job_.pixels.layout.rows} * job_.pixels.layout.columns; }

    template <typename Raw>
    double numberOf(Raw raw) const {
        if constexpr (std::is_integral_v<Raw>) return stored_.number(stored_.code(raw));
        return static_cast<double>(raw);
    }
    double levelOf(double stored) const {
        double level = 0;  // of padding
        if (!padding_.contains(stored)) {
            level = voi_(modality_(stored));
            if (isInverse_) level = 1 - level;
        }
        return job_.options.invert ? 1 - level : level;
    }

    Range spreadOf(double lowPercent, double highPercent) const {
        std::vector<Weighed> all;
        withSampleType(job_.pixels, [&](auto raw) { gather<decltype(raw)>(all); });
        return between(all, lowPercent, highPercent);
    }
    template <typename Raw>
    void gather(std::vector<Weighed>& all) const {
        const unsigned char* const data = job_.data();
        const auto add = [&](double stored, std::uint64_t times) {
            if (times > 0 && std::isfinite(stored) && !padding_.contains(stored)) {
                all.push_back({modality_(stored), times});
            }
        };
        if constexpr (hasTable<Raw>) {
            std::vector<std::uint64_t> times(std::size_t{stored_.most()} + 1);
            for (std::size_t i = 0; i < count(); ++i) ++times[stored_.code(rawAt<Raw>(data, i))];
            for (std::uint32_t code = 0; code < times.size(); ++code) add(stored_.number(code), times[code]);
        } else {
            for (std::size_t i = 0; i < count(); ++i) add(numberOf(rawAt<Raw>(data, i)), 1);
        }
    }

    template <typename Raw, typename Sample>
    void paint() {
        if constexpr (hasTable<Raw>) {
            std::vector<Sample> table(std::size_t{stored_.most()} + 1);
            for (std::uint32_t code = 0; code < table.size(); ++code) {
                table[code] = sampleOf<Sample>(levelOf(stored_.number(code)));
            }
            paintRows<Raw, Sample>([&](Raw raw) { return table[stored_.code(raw)]; });
        } else {
            paintRows<Raw, Sample>([&](Raw raw) { return sampleOf<Sample>(levelOf(numberOf(raw))); });
        }
    }
    template <typename Raw, typename Sample, typename Shade>
    void paintRows(const Shade& shade) {
        const DcImagePixels& layout = job_.pixels.layout;
        forBands(layout.rows, job_.options.threads, [&](unsigned int y, unsigned int end) {
            for (; y < end; ++y) {
                const unsigned char* const from = job_.data() + std::size_t{y} * layout.columns * sizeof(Raw);
                auto* const to = samplesOf<Sample>(job_.picture, y);
                for (unsigned int x = 0; x < layout.columns; ++x) to[x] = shade(rawAt<Raw>(from, x));
            }
        });
    }

    const RenderJob& job_;
    StoredBits stored_;
    FrameGroups groups_;
    Modality modality_;
    Padding padding_;
    bool isInverse_;
    Voi voi_;
};

}  // namespace

int renderGrey(const RenderJob& job) {
    return GreyRender(job).run();
}

}  // namespace orvkit::render
