// JPEG, extended sequential with Huffman codes (ISO 10918-1 Annex F), of 12 bits: one scan, with the tables
// that suit the frame best.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "image/jpeg_blocks.h"
#include "image/jpeg_writer.h"

namespace orvkit::image::jpeg {

namespace {

constexpr unsigned int kBits = 12;
constexpr int kMost = (1 << kBits) - 1;
constexpr float kMiddle = 1 << (kBits - 1);
constexpr int kMostCoefficient = (1 << 14) - 1;  // what 14 bits hold (Table F.2 for 12 bits)
constexpr unsigned int kEndOfBlock = 0x00;
constexpr unsigned int kSixteenZeros = 0xF0;

using Steps = std::array<std::uint16_t, kBlock>;  // by place
using Quantized = std::array<int, kBlock>;        // by their order in the codestream

// Those of Annex K, for brightness and for colours.
// clang-format off
constexpr Steps kBright{
    16, 11, 10, 16,  24,  40,  51,  61,  12, 12, 14, 19,  26,  58,  60,  55,
    14, 13, 16, 24,  40,  57,  69,  56,  14, 17, 22, 29,  51,  87,  80,  62,
    18, 22, 37, 56,  68, 109, 103,  77,  24, 35, 55, 64,  81, 104, 113,  92,
    49, 64, 78, 87, 103, 121, 120, 101,  72, 92, 95, 98, 112, 100, 103,  99};
constexpr Steps kColour{
    17, 18, 24, 47, 99, 99, 99, 99,  18, 21, 26, 66, 99, 99, 99, 99,
    24, 26, 56, 99, 99, 99, 99, 99,  47, 66, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99,  99, 99, 99, 99, 99, 99, 99, 99,
    99, 99, 99, 99, 99, 99, 99, 99,  99, 99, 99, 99, 99, 99, 99, 99};
// clang-format on

// 50 is the table as it is, 100 are steps of one.
Steps stepsOf(const Steps& table, unsigned int quality) {
    const unsigned int percent = quality < 50 ? 5000 / quality : 200 - 2 * quality;
    Steps steps{};
    for (unsigned int i = 0; i < kBlock; ++i) {
        steps[i] = static_cast<std::uint16_t>(std::clamp((table[i] * percent + 50) / 100, 1u, 255u));
    }
    return steps;
}

// From samples around zero to coefficients, in steps.
Quantized transformed(const Block& samples, const Steps& steps) {
    const Block& cosine = cosines();
    Block half{};
    for (unsigned int y = 0; y < kSide; ++y) {
        for (unsigned int x = 0; x < kSide; ++x) {
            for (unsigned int u = 0; u < kSide; ++u)
                half[y * kSide + u] += samples[y * kSide + x] * cosine[u * kSide + x];
        }
    }
    Block whole{};
    for (unsigned int v = 0; v < kSide; ++v) {
        for (unsigned int y = 0; y < kSide; ++y) {
            const float weight = cosine[v * kSide + y];
            for (unsigned int u = 0; u < kSide; ++u) whole[v * kSide + u] += weight * half[y * kSide + u];
        }
    }
    Quantized found{};
    for (unsigned int i = 0; i < kBlock; ++i) {
        const unsigned int place = kZigzag[i];
        const auto value = static_cast<int>(std::lround(whole[place] / static_cast<float>(steps[place])));
        found[i] = std::clamp(value, -kMostCoefficient, kMostCoefficient);
    }
    return found;
}

// Goes through a frame in the order of the codestream: a block of each component, place after place.
class BlockEncoder {
  public:
    explicit BlockEncoder(const EncodeJob& job)
        : pixels_(job.pixels),
          samples_(job.samples),
          mixes_(pixels_.samples == 3 && pixels_.photometric == DcPhotometric::rgb),
          bright_(stepsOf(kBright, job.options.quality)),
          colour_(stepsOf(kColour, job.options.quality)) {}

    const Steps& bright() const { return bright_; }
    const Steps& colour() const { return colour_; }

    // `put` takes the class of the table (0: DC), a symbol, and a number of so many bits behind its code.
    template <typename Put>
    void run(const Put& put) const {
        std::array<int, kMostComponents> before{};
        for (unsigned int y = 0; y < pixels_.rows; y += kSide) {
            for (unsigned int x = 0; x < pixels_.columns; x += kSide) {
                std::array<Block, 3> blocks;
                load(x, y, blocks);
                for (unsigned int c = 0; c < pixels_.samples; ++c) {
                    encode(transformed(blocks[c], c == 0 ? bright_ : colour_), before[c], put);
                }
            }
        }
    }

  private:
    // Behind the last column and the last row, these once more.
    void load(unsigned int left, unsigned int top, std::array<Block, 3>& blocks) const {
        for (unsigned int i = 0; i < kBlock; ++i) {
            const std::size_t x = std::min(left + i % kSide, pixels_.columns - 1);
            const std::size_t y = std::min(top + i / kSide, pixels_.rows - 1);
            const std::size_t at = (y * pixels_.columns + x) * pixels_.samples;
            std::array<float, 3> v{};
            for (unsigned int c = 0; c < pixels_.samples; ++c) {
                std::uint16_t word;
                std::memcpy(&word, samples_.data() + 2 * (at + c), sizeof word);
                v[c] = word;
            }
            if (mixes_) v = yccOf(v[0], v[1], v[2]);
            for (unsigned int c = 0; c < pixels_.samples; ++c) blocks[c][i] = v[c] - kMiddle;
        }
    }
    static std::array<float, 3> yccOf(float red, float green, float blue) {
        const float bright = 0.299F * red + 0.587F * green + 0.114F * blue;
        const auto whole = [](float value) { return std::clamp(value, 0.0F, static_cast<float>(kMost)); };
        return {bright, whole((blue - bright) / 1.772F + kMiddle), whole((red - bright) / 1.402F + kMiddle)};
    }

    template <typename Put>
    static void encode(const Quantized& block, int& before, const Put& put) {
        const int difference = block[0] - before;
        before = block[0];
        put(0, sizeOf(difference), difference, sizeOf(difference));
        unsigned int zeros = 0;
        for (unsigned int i = 1; i < kBlock; ++i) {
            if (block[i] == 0) {
                ++zeros;
                continue;
            }
            for (; zeros > 15; zeros -= 16) put(1, kSixteenZeros, 0, 0);
            put(1, zeros * 16 + sizeOf(block[i]), block[i], sizeOf(block[i]));
            zeros = 0;
        }
        if (zeros > 0) put(1, kEndOfBlock, 0, 0);
    }

    const DcImagePixels& pixels_;
    Bytes samples_;
    bool mixes_;  // red, green and blue into YCbCr
    Steps bright_;
    Steps colour_;
};

void writeHeaders(const EncodeJob& job, const BlockEncoder& blocks, const std::array<Coding, 2>& codings) {
    const unsigned int samples = job.pixels.samples;
    SegmentWriter to(job.out);
    to.marker(begin);
    if (samples == 3) {  // nameless components: that they are YCbCr is told
        to.marker(app14);
        to.word(14);
        to.bytes({'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 1});
    }
    for (unsigned int table = 0; table < (samples == 1 ? 1u : 2u); ++table) {
        to.marker(quantization);
        to.word(3 + kBlock);
        to.bytes({table});
        for (const unsigned char place : kZigzag)
            to.bytes({table == 0 ? blocks.bright()[place] : blocks.colour()[place]});
    }
    to.marker(extended);
    to.word(8 + 3 * samples);
    to.bytes({kBits});
    to.word(job.pixels.rows);
    to.word(job.pixels.columns);
    to.bytes({samples});
    for (unsigned int i = 0; i < samples; ++i) to.bytes({i + 1, 0x11, i == 0 ? 0u : 1u});
    to.huffmanTable(0x00, codings[0].table);
    to.huffmanTable(0x10, codings[1].table);
    to.marker(scan);
    to.word(6 + 2 * samples);
    to.bytes({samples});
    for (unsigned int i = 0; i < samples; ++i) to.bytes({i + 1, 0});
    to.bytes({0, kBlock - 1, 0});
}

}  // namespace

Fault encodeSequential(EncodeJob& job) {
    if (job.options.quality < 1 || job.options.quality > 100) return {IMAGE_OPTION, "quality is 1 to 100"};
    const BlockEncoder blocks(job);
    std::array<Counts, 2> counts{Counts(256), Counts(256)};
    blocks.run([&](unsigned int table, unsigned int symbol, int, unsigned int) { ++counts[table][symbol]; });
    const std::array<Coding, 2> codings{codingOf(counts[0]), codingOf(counts[1])};
    writeHeaders(job, blocks, codings);
    BitWriter bits(job.out);
    blocks.run([&](unsigned int table, unsigned int symbol, int number, unsigned int size) {
        bits.put(codings[table].codes[symbol]);
        if (size != 0) bits.put(bitsOf(number, size), size);
    });
    bits.finish();
    SegmentWriter(job.out).marker(end);
    if (job.pixels.samples == 3) job.photometric = DcPhotometric::ybrFull;
    return {};
}

}  // namespace orvkit::image::jpeg
