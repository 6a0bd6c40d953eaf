// JPEG lossless, process 14 (ISO 10918-1 Annex H): one scan, with the Huffman table that suits the frame
// best.
#include <cstdint>
#include <cstring>
#include <string_view>

#include "image/jpeg_writer.h"

namespace orvkit::image::jpeg {

namespace {

constexpr unsigned int kSizes = 17;  // a difference takes 0 to 16 bits
constexpr std::string_view kFirstOrder = "1.2.840.10008.1.2.4.70";

using Line = std::vector<int>;

// The lines of a frame as differences, sample after sample as they are in the codestream.
class Differences {
  public:
    Differences(const EncodeJob& job, unsigned int selector) : job_(job), selector_(selector) {
        const std::size_t length = std::size_t{job.pixels.columns} * job.pixels.samples;
        line_.resize(length);
        above_.resize(length);
        out_.resize(length);
    }

    const std::vector<std::int16_t>& line(unsigned int y) {
        std::swap(line_, above_);
        job_.pixels.bitsStored <= 8 ? load<std::uint8_t>(y) : load<std::uint16_t>(y);
        const std::size_t step = job_.pixels.samples;
        for (std::size_t i = 0; i < line_.size(); ++i) {
            const int guess = i >= step && y != 0
                                  ? predicted(selector_, line_[i - step], above_[i], above_[i - step])
                              : y != 0    ? above_[i]
                              : i >= step ? line_[i - step]
                                          : 1 << (job_.pixels.bitsStored - 1);
            out_[i] = static_cast<std::int16_t>(line_[i] - guess);
        }
        return out_;
    }

  private:
    template <typename Word>
    void load(unsigned int y) {
        const unsigned char* from = job_.samples.data() + y * line_.size() * sizeof(Word);
        for (int& sample : line_) {
            Word word;
            std::memcpy(&word, from, sizeof word);
            sample = word;
            from += sizeof word;
        }
    }

    const EncodeJob& job_;
    unsigned int selector_;
    Line line_;
    Line above_;
    std::vector<std::int16_t> out_;
};

void writeHeaders(const EncodeJob& job, unsigned int selector, const HuffmanTable& table) {
    const unsigned int samples = job.pixels.samples;
    // Those who take nameless components for YCbCr are told that they are not.
    const bool rgb = samples == 3 && job.pixels.photometric == DcPhotometric::rgb;
    const auto name = [rgb](unsigned int i) { return rgb ? static_cast<unsigned int>("RGB"[i]) : i + 1; };
    SegmentWriter to(job.out);
    to.marker(begin);
    to.marker(lossless);
    to.word(8 + 3 * samples);
    to.bytes({job.pixels.bitsStored});
    to.word(job.pixels.rows);
    to.word(job.pixels.columns);
    to.bytes({samples});
    for (unsigned int i = 0; i < samples; ++i) to.bytes({name(i), 0x11, 0});
    to.huffmanTable(0, table);
    to.marker(scan);
    to.word(6 + 2 * samples);
    to.bytes({samples});
    for (unsigned int i = 0; i < samples; ++i) to.bytes({name(i), 0});
    to.bytes({selector, 0, 0});
}

}  // namespace

Fault encodeLossless(EncodeJob& job) {
    const unsigned int selector = job.uid == kFirstOrder ? 1 : job.options.predictor;
    if (selector < 1 || selector > 7) return {IMAGE_OPTION, "predictors are 1 to 7"};
    Counts counts(kSizes);
    Differences first(job, selector);
    for (unsigned int y = 0; y < job.pixels.rows; ++y) {
        for (const int difference : first.line(y)) ++counts[sizeOf(difference)];
    }
    const Coding coding = codingOf(counts);
    writeHeaders(job, selector, coding.table);
    BitWriter bits(job.out);
    Differences second(job, selector);
    for (unsigned int y = 0; y < job.pixels.rows; ++y) {
        for (const int difference : second.line(y)) {
            const unsigned int size = sizeOf(difference);
            bits.put(coding.codes[size]);
            if (size != 0 && size != 16) bits.put(bitsOf(difference, size), size);
        }
    }
    bits.finish();
    SegmentWriter(job.out).marker(end);
    return {};
}

}  // namespace orvkit::image::jpeg
