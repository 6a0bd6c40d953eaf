// Overlay planes (PS3.3 C.9.2): in elements of their own, or in bits of the pixels that hold no image.
#include <algorithm>
#include <optional>
#include <vector>

#include "image/attributes.h"
#include "image/render_job.h"
#include "image/stored_values.h"

namespace orvkit::render {
namespace {

constexpr unsigned int kFirstGroup = 0x6000;
constexpr unsigned int kLastGroup = 0x601E;

class Overlay {
  public:
    Overlay(const RenderJob& job, unsigned int group) : job_(job), group_(group << 16) {
        rows_ = numberOf(0x0010, 0);
        columns_ = numberOf(0x0011, 0);
        top_ = originOf(0) - 1;
        left_ = originOf(1) - 1;
        if (rows_ <= 0 || columns_ <= 0 || !pickFrame()) return;
        bits_ = bytesOf(job.dataset, group_ | 0x3000);
        bit_ = numberOf(0x0102, 0);
        const DcImagePixels& layout = job.pixels.layout;
        isEmbedded_ = bits_.empty() && !job.pixels.isReal && layout.samples == 1 && bit_ >= 0 &&
                      numberOf(0x0100, 1) == static_cast<int>(layout.bitsAllocated) &&
                      bit_ < static_cast<int>(layout.bitsAllocated) && !isImageBit();
    }

    void burn() {
        if (isEmbedded_) {  // lies as the image does
            rows_ = static_cast<int>(job_.pixels.layout.rows);
            columns_ = static_cast<int>(job_.pixels.layout.columns);
            top_ = left_ = 0;
        } else if (bits_.empty()) {
            return;
        }
        withPictureType(job_.picture, [this](auto sample) { burnAs<decltype(sample)>(); });
    }

  private:
    int numberOf(unsigned int element, int otherwise) const {
        return integerOf(job_.dataset, group_ | element).value_or(otherwise);
    }
    int originOf(int index) const {
        return static_cast<std::int16_t>(integerOf(job_.dataset, group_ | 0x0050, index).value_or(1));
    }
    // The overlay's frame for this one of the image; false where it has none. One of a single frame is for
    // all.
    bool pickFrame() {
        const int frames = numberOf(0x0015, 1);
        const auto first = integerOf(job_.dataset, group_ | 0x0051);
        if (frames <= 1 && !first) return true;
        const long long frame = static_cast<long long>(job_.frame) - first.value_or(1);
        frame_ = static_cast<std::uint64_t>(std::max(frame, 0LL));
        return frame >= 0 && frame < std::max(frames, 1);
    }
    bool isImageBit() const {
        const DcImagePixels& layout = job_.pixels.layout;
        const auto bit = static_cast<unsigned int>(bit_);
        return bit <= layout.highBit && bit + layout.bitsStored > layout.highBit;
    }

    bool isSet(int y, int x) const {
        const auto pixel = static_cast<std::uint64_t>(y) * static_cast<std::uint64_t>(columns_) +
                           static_cast<std::uint64_t>(x);
        if (!isEmbedded_) {
            const auto size = static_cast<std::uint64_t>(rows_) * static_cast<std::uint64_t>(columns_);
            const std::uint64_t at = frame_ * size + pixel;
            return at / 8 < bits_.size() && (bits_[static_cast<std::size_t>(at / 8)] >> at % 8 & 1) != 0;
        }
        const unsigned char* const data = job_.data();
        std::uint32_t raw = 0;
        withSampleType(job_.pixels, [&](auto type) {
            if constexpr (std::is_integral_v<decltype(type)>) {
                raw = rawAt<decltype(type)>(data, static_cast<std::size_t>(pixel));
            }
        });
        return (raw >> bit_ & 1) != 0;
    }

    template <typename Sample>
    void burnAs() {
        const int height = static_cast<int>(job_.picture.height());
        const int width = static_cast<int>(job_.picture.width());
        const std::size_t samples = job_.picture.samples();
        for (int y = std::max(0, -top_); y < rows_ && y + top_ < height; ++y) {
            auto* const row = samplesOf<Sample>(job_.picture, static_cast<unsigned int>(y + top_));
            for (int x = std::max(0, -left_); x < columns_ && x + left_ < width; ++x) {
                if (!isSet(y, x)) continue;
                std::fill_n(row + static_cast<std::size_t>(x + left_) * samples, samples,
                            static_cast<Sample>(-1));
            }
        }
    }

    const RenderJob& job_;
    unsigned int group_;
    int rows_ = 0;
    int columns_ = 0;
    int top_ = 0;
    int left_ = 0;
    int bit_ = 0;
    std::uint64_t frame_ = 0;  // of the overlay, from 0
    std::vector<unsigned char> bits_;
    bool isEmbedded_ = false;
};

}  // namespace

void burnOverlays(const RenderJob& job) {
    for (unsigned int group = kFirstGroup; group <= kLastGroup; group += 2) Overlay(job, group).burn();
}

}  // namespace orvkit::render
