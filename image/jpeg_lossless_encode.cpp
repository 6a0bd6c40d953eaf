// JPEG lossless, process 14 (ISO 10918-1 Annex H): one scan, with the Huffman table that suits the frame
// best.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "image/jpeg_header.h"

namespace orvkit::image::jpeg {

namespace {

constexpr unsigned int kSizes = 17;  // a difference takes 0 to 16 bits
constexpr std::string_view kFirstOrder = "1.2.840.10008.1.2.4.70";

using Line = std::vector<int>;
using Counts = std::array<std::uint64_t, kSizes>;
using Lengths = std::array<unsigned int, kSizes + 1>;

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

unsigned int sizeOf(int difference) {
    return static_cast<unsigned int>(std::bit_width(static_cast<unsigned int>(std::abs(difference))));
}

// Huffman's: the two rarest become one until one is left. What stands for the code of ones alone, which no
// table may have, is the rarest of all.
Lengths huffmanLengths(const Counts& counts) {
    std::array<std::uint64_t, kSizes + 1> weight{};
    std::array<unsigned int, kSizes + 1> tree{};  // to which a symbol belongs
    Lengths lengths{};
    std::copy(counts.begin(), counts.end(), weight.begin());
    weight[kSizes] = 1;
    for (unsigned int i = 0; i < tree.size(); ++i) tree[i] = i;
    const auto rarest = [&](unsigned int but) {
        unsigned int found = kSizes + 1;
        for (unsigned int i = kSizes + 1; i-- > 0;) {
            if (weight[i] != 0 && i != but && (found > kSizes || weight[i] < weight[found])) found = i;
        }
        return found;
    };
    for (;;) {
        const unsigned int one = rarest(kSizes + 1);
        const unsigned int two = rarest(one);
        if (two > kSizes) return lengths;
        weight[one] += weight[two];
        weight[two] = 0;
        for (unsigned int i = 0; i < tree.size(); ++i) {
            if (tree[i] != one && tree[i] != two) continue;
            tree[i] = one;
            ++lengths[i];
        }
    }
}

struct Code {
    unsigned int bits = 0;
    unsigned int length = 0;
};

struct Coding {
    HuffmanTable table;
    std::array<Code, kSizes> codes{};
};

Coding codingOf(Counts counts) {
    Lengths lengths = huffmanLengths(counts);
    while (*std::max_element(lengths.begin(), lengths.end()) > 16) {
        for (std::uint64_t& count : counts) count = (count + 1) / 2;
        lengths = huffmanLengths(counts);
    }
    Coding coding;
    unsigned int code = 0;
    for (unsigned int length = 1; length <= 16; ++length, code <<= 1) {
        for (unsigned int size = 0; size < kSizes; ++size) {
            if (lengths[size] != length) continue;
            coding.codes[size] = {code++, length};
            ++coding.table.counts[length - 1];
            coding.table.symbols[coding.table.size++] = static_cast<unsigned char>(size);
        }
    }
    return coding;
}

class BitWriter {
  public:
    explicit BitWriter(std::vector<unsigned char>& out) : out_(out) {}

    void put(unsigned int bits, unsigned int length) {
        bits_ = bits_ << length | bits;
        count_ += length;
        while (count_ >= 8) {
            count_ -= 8;
            const auto byte = static_cast<unsigned char>(bits_ >> count_);
            out_.push_back(byte);
            if (byte == 0xFF) out_.push_back(0);
        }
    }
    void finish() {
        if (count_ != 0) put(maskOf(8 - count_), 8 - count_);
    }

  private:
    std::vector<unsigned char>& out_;
    std::uint64_t bits_ = 0;
    unsigned int count_ = 0;
};

class SegmentWriter {
  public:
    explicit SegmentWriter(std::vector<unsigned char>& out) : out_(out) {}
    void marker(unsigned char marker) { bytes({0xFF, marker}); }
    void bytes(std::initializer_list<unsigned int> values) {
        for (const unsigned int value : values) out_.push_back(static_cast<unsigned char>(value));
    }
    void word(unsigned int value) { bytes({value >> 8, value}); }

  private:
    std::vector<unsigned char>& out_;
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
    to.marker(huffmanTables);
    to.word(19 + table.size);
    to.bytes({0});
    for (const unsigned char count : table.counts) to.bytes({count});
    for (unsigned int i = 0; i < table.size; ++i) to.bytes({table.symbols[i]});
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
    Counts counts{};
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
            bits.put(coding.codes[size].bits, coding.codes[size].length);
            if (size == 0 || size == 16) continue;
            bits.put(static_cast<unsigned int>(difference - (difference < 0)) & maskOf(size), size);
        }
    }
    bits.finish();
    SegmentWriter(job.out).marker(end);
    return {};
}

}  // namespace orvkit::image::jpeg
