// High-throughput JPEG 2000 (ISO 15444-15): written by OpenJPH, read by OpenJPEG, which is the faster reader.
#include <openjph/ojph_arch.h>
// Which the others need.
#include <openjph/ojph_codestream.h>
#include <openjph/ojph_file.h>
#include <openjph/ojph_mem.h>
#include <openjph/ojph_message.h>
#include <openjph/ojph_params.h>

#include <array>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string_view>

#include "image/jpeg2000_header.h"
#include "image/module.h"

namespace orvkit::image {

namespace {

constexpr std::string_view kRpcl = "1.2.840.10008.1.2.4.202";
constexpr unsigned int kThumbnail = 64;  // to which a frame can be had in that syntax, PS3.5 8.2.14
constexpr unsigned int kMostLevels = 10;

// What goes wrong in the library leaves it with its words.
struct Thrower final : ojph::message_error {
    void operator()(int, const char*, int, const char* format, ...) override {
        std::array<char, 200> words{};
        std::va_list values;
        va_start(values, format);
        (void)std::vsnprintf(words.data(), words.size(), format, values);
        va_end(values);
        throw std::runtime_error(words.data());
    }
};
struct Silent final : ojph::message_warning {
    void operator()(int, const char*, int, const char*, ...) override {}
};
void listen() {
    static std::once_flag once;
    std::call_once(once, [] {
        static Thrower thrower;
        static Silent silent;
        ojph::configure_error(&thrower);
        ojph::configure_warning(&silent);
    });
}

class Sink final : public ojph::outfile_base {
  public:
    explicit Sink(std::vector<unsigned char>& out) : out_(out), begin_(out.size()) {}
    std::size_t write(const void* bytes, std::size_t size) override {
        const auto* from = static_cast<const unsigned char*>(bytes);
        out_.insert(out_.end(), from, from + size);
        return size;
    }
    ojph::si64 tell() override { return static_cast<ojph::si64>(out_.size() - begin_); }

  private:
    std::vector<unsigned char>& out_;
    std::size_t begin_;
};

unsigned int levels(const EncodeJob& job) {
    if (job.uid != kRpcl) return jpeg2000::decompositions(job.pixels);
    unsigned int count = 0;
    while (count < kMostLevels &&
           (std::max(job.pixels.rows, job.pixels.columns) - 1) >> count >= kThumbnail) {
        ++count;
    }
    return count;
}

void choose(const EncodeJob& job, double step, ojph::codestream& codestream) {
    const DcImagePixels& pixels = job.pixels;
    ojph::param_siz sizes = codestream.access_siz();
    sizes.set_image_extent(ojph::point(pixels.columns, pixels.rows));
    sizes.set_num_components(pixels.samples);
    for (unsigned int s = 0; s < pixels.samples; ++s) {
        sizes.set_component(s, ojph::point(1, 1), pixels.bitsStored, pixels.isSigned);
    }
    ojph::param_cod coding = codestream.access_cod();
    coding.set_num_decomposition(levels(job));
    coding.set_block_dims(64, 64);
    coding.set_progression_order("RPCL");
    coding.set_color_transform(jpeg2000::mixesColours(pixels));
    coding.set_reversible(job.lossless);
    if (!job.lossless) codestream.access_qcd().set_irrev_quant(static_cast<float>(step));
    codestream.set_planar(false);
}

template <typename Word>
void fillLine(const EncodeJob& job, unsigned int y, unsigned int component, ojph::si32* to) {
    const DcImagePixels& pixels = job.pixels;
    const unsigned int sign = pixels.isSigned ? 1u << (pixels.bitsStored - 1) : 0;
    const std::size_t step = std::size_t{pixels.samples} * sizeof(Word);
    const unsigned char* from =
        job.samples.data() + std::size_t{y} * pixels.columns * step + component * sizeof(Word);
    for (unsigned int x = 0; x < pixels.columns; ++x, from += step) {
        Word word;
        std::memcpy(&word, from, sizeof word);
        to[x] = static_cast<ojph::si32>((word ^ sign) - sign);
    }
}

void encodeWith(const EncodeJob& job, double step, std::vector<unsigned char>& out) {
    Sink sink(out);
    ojph::codestream codestream;
    choose(job, step, codestream);
    codestream.write_headers(&sink);
    ojph::ui32 component = 0;
    ojph::line_buf* line = codestream.exchange(nullptr, component);
    const auto fill = job.pixels.bitsStored <= 8 ? fillLine<std::uint8_t> : fillLine<std::uint16_t>;
    for (unsigned int y = 0; y < job.pixels.rows; ++y) {
        for (unsigned int s = 0; s < job.pixels.samples; ++s) {
            fill(job, y, component, line->i32);
            line = codestream.exchange(line, component);
        }
    }
    codestream.flush();
}

// The coarsest steps are halved and halved again around the size that is wanted.
void encodeLossy(const EncodeJob& job, std::vector<unsigned char>& out) {
    constexpr int kTrials = 7;
    const double pixels = double{1} * job.pixels.rows * job.pixels.columns * job.pixels.samples;
    const double wanted = pixels * job.pixels.bitsAllocated / 8 / job.options.ratio;
    double fine = std::log2(1.0 / (1u << job.pixels.bitsStored)) - 1;
    double coarse = -1;
    std::vector<unsigned char> best;
    for (int i = 0; i < kTrials; ++i) {
        const double middle = (fine + coarse) / 2;
        std::vector<unsigned char> trial;
        encodeWith(job, std::exp2(middle), trial);
        const bool fits = static_cast<double>(trial.size()) <= wanted;
        (fits ? coarse : fine) = middle;
        if (fits || best.empty() || static_cast<double>(best.size()) > wanted) best.swap(trial);
    }
    out.insert(out.end(), best.begin(), best.end());
}

std::uint32_t longAt(const std::vector<unsigned char>& bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} << 24 | std::uint32_t{bytes[at + 1]} << 16 |
           std::uint32_t{bytes[at + 2]} << 8 | bytes[at + 3];
}

// The TLM segment, which the library does not write: the length of each tile-part, in their order, in front
// of the first (ISO 15444-1 A.7.1).
void insertTileLengths(std::vector<unsigned char>& out, std::size_t begin) {
    constexpr unsigned char kLongLengths = 0x40;
    std::size_t first = begin + 2;
    while (out[first + 1] != 0x90) first += 2 + (out[first + 2] * 256u + out[first + 3]);
    std::vector<unsigned char> segment{0xFF, 0x55, 0, 0, 0, kLongLengths};
    for (std::size_t at = first; out.size() - at >= 12 && out[at + 1] == 0x90; at += longAt(out, at + 6)) {
        if (longAt(out, at + 6) < 12) return;
        for (unsigned int i = 0; i < 4; ++i) segment.push_back(out[at + 6 + i]);
    }
    const std::size_t length = segment.size() - 2;
    if (length > 0xFFFF) return;
    segment[2] = static_cast<unsigned char>(length >> 8);
    segment[3] = static_cast<unsigned char>(length);
    out.insert(out.begin() + static_cast<std::ptrdiff_t>(first), segment.begin(), segment.end());
}

}  // namespace

Fault jpeg2000::encodeHtj2k(EncodeJob& job) {
    if (!job.lossless && !(job.options.ratio > 1)) return {IMAGE_OPTION, "the ratio is above 1"};
    listen();
    const std::size_t begin = job.out.size();
    try {
        job.lossless ? encodeWith(job, 0, job.out) : encodeLossy(job, job.out);
    } catch (const std::runtime_error& error) {
        return {IMAGE_CODEC, error.what()};
    }
    if (job.uid == kRpcl) insertTileLengths(job.out, begin);
    job.photometric = jpeg2000::encodedColour(job);
    return {};
}

}  // namespace orvkit::image

ORVKIT_IMAGE_PART decltype(&orvkit::image::jpeg2000::encodeHtj2k) orvkitEncodeHtj2k() {
    return &orvkit::image::jpeg2000::encodeHtj2k;
}
