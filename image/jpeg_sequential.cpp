// JPEG, sequential with Huffman codes (ISO 10918-1 Annex F), of 8 or 12 bits: what libjpeg of this time does
// not read, and all of it where there is no libjpeg.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <optional>

#include "image/jpeg_blocks.h"
#include "image/jpeg_huffman.h"

namespace orvkit::image::jpeg {

namespace {

// From coefficients to samples around zero: first the columns, then the rows.
void transform(const Block& coefficients, Block& samples) {
    const Block& cosine = cosines();
    Block half{};
    for (unsigned int y = 0; y < kSide; ++y) {
        for (unsigned int v = 0; v < kSide; ++v) {
            const float weight = cosine[v * kSide + y];
            for (unsigned int u = 0; u < kSide; ++u)
                half[y * kSide + u] += weight * coefficients[v * kSide + u];
        }
    }
    samples.fill(0);
    for (unsigned int y = 0; y < kSide; ++y) {
        for (unsigned int u = 0; u < kSide; ++u) {
            const float value = half[y * kSide + u];
            for (unsigned int x = 0; x < kSide; ++x) samples[y * kSide + x] += value * cosine[u * kSide + x];
        }
    }
}

// A component's samples, in whole blocks.
struct Plane {
    unsigned int across = 0;  // blocks
    unsigned int down = 0;
    std::vector<std::uint16_t> samples;

    void put(unsigned int column, unsigned int row, const Block& block, unsigned int bits) {
        const int middle = 1 << (bits - 1);
        const int most = (1 << bits) - 1;
        std::uint16_t* to = samples.data() + (std::size_t{row} * across * kSide + column) * kSide;
        for (unsigned int y = 0; y < kSide; ++y, to += std::size_t{across} * kSide) {
            for (unsigned int x = 0; x < kSide; ++x) {
                const float value = std::clamp(block[y * kSide + x], -65536.0F, 65536.0F);
                const int rounded = static_cast<int>(std::lround(value)) + middle;
                to[x] = static_cast<std::uint16_t>(std::clamp(rounded, 0, most));
            }
        }
    }
};

struct Tables {
    HuffmanTables huffman;
    std::array<std::array<std::uint16_t, kBlock>, 4> quantization{};
    std::array<bool, 4> quantized{};
};

Fault readQuantization(Bytes content, Tables& tables) {
    while (!content.empty()) {
        const unsigned int wide = content[0] / 16 != 0 ? 2 : 1;
        const unsigned int place = content[0] % 16;
        if (place > 3 || content.size() < 1 + std::size_t{wide} * kBlock) {
            return damaged("a quantization table makes no sense");
        }
        for (unsigned int i = 0; i < kBlock; ++i) {
            const unsigned char* at = content.data() + 1 + std::size_t{i} * wide;
            tables.quantization[place][i] =
                static_cast<std::uint16_t>(wide == 1 ? at[0] : at[0] << 8 | at[1]);
        }
        tables.quantized[place] = true;
        content = content.subspan(1 + std::size_t{wide} * kBlock);
    }
    return {};
}

// The blocks of one component in a scan.
class BlockDecoder {
  public:
    BlockDecoder(const HuffmanTable& dc, const HuffmanTable& ac,
                 const std::array<std::uint16_t, kBlock>& steps)
        : dc_(dc), ac_(ac, HuffmanDecoder::Symbols::runs), steps_(steps) {}

    void restart() { before_ = 0; }
    // False for bits that are no code, or coefficients behind the last.
    bool decode(BitReader& bits, Block& block) {
        block.fill(0);
        int difference = 0;
        unsigned int run = 0;
        if (!read(bits, dc_, difference, run) || run != 0) return false;
        before_ = std::clamp(before_ + difference, -(1 << 20), 1 << 20);
        block[0] = static_cast<float>(before_) * steps_[0];
        for (unsigned int i = 1; i < kBlock; ++i) {
            int value = 0;
            if (!read(bits, ac_, value, run)) return false;
            if (value == 0 && run != 15) return true;
            i += run;
            if (i >= kBlock) return false;
            block[kZigzag[i]] = static_cast<float>(value) * steps_[i];
        }
        return true;
    }

  private:
    // A symbol's value; the upper half of the symbol is the zeros in front of it.
    static bool read(BitReader& bits, const HuffmanDecoder& decoder, int& value, unsigned int& run) {
        bits.refill();
        const HuffmanDecoder::Entry& entry = decoder.look(bits);
        if (entry.length != 0) {
            bits.drop(entry.length);
            value = entry.value;
            run = entry.symbol >> 4;
            return true;
        }
        const unsigned int symbol = decoder.symbol(bits);
        if (symbol > 255) return false;
        const unsigned int size = symbol & 15;
        run = symbol >> 4;
        value = size == 0 ? 0 : HuffmanDecoder::extended(bits.take(size), size);
        return true;
    }

    HuffmanDecoder dc_;
    HuffmanDecoder ac_;
    const std::array<std::uint16_t, kBlock>& steps_;
    int before_ = 0;
};

unsigned int blocksOf(unsigned int length, unsigned int factor, unsigned int most) {
    const unsigned int samples = (length * factor + most - 1) / most;
    return (samples + kSide - 1) / kSide;
}

class SequentialDecoder {
  public:
    explicit SequentialDecoder(DecodeJob& job) : job_(job), segments_(job.stream) {}

    Fault run() {
        return takeScans(segments_, missing_, [this](const Segment& segment) { return take(segment); });
    }
    // The planes at the size of the frame: samples are repeated where there are fewer.
    void store(bool ycc) {
        frame_.bits <= 8 ? storeWords<std::uint8_t>(ycc) : storeWords<std::uint16_t>(ycc);
    }

  private:
    Fault take(const Segment& segment) {
        switch (segment.marker) {
            case huffmanTables:
                return readHuffmanTables(segment.content, tables_.huffman);
            case quantization:
                return readQuantization(segment.content, tables_);
            case restartInterval:
                if (segment.content.size() < 2) return damaged("a restart interval is cut short");
                interval_ = segment.content[0] * 256u + segment.content[1];
                return {};
            case baseline:
            case extended:
                return begin(segment);
            case scan:
                return decodeScan(segment);
            default:
                return {};
        }
    }

    Fault begin(const Segment& segment) {
        if (frame_.count != 0) return damaged("a second frame header");
        if (Fault fault = readFrame(segment, frame_)) return fault;
        if (frame_.count == 1) frame_.components[0].across = frame_.components[0].down = 1;
        for (unsigned int i = 0; i < frame_.count; ++i) {
            across_ = std::max(across_, frame_.components[i].across);
            down_ = std::max(down_, frame_.components[i].down);
        }
        for (unsigned int i = 0; i < frame_.count; ++i) {
            const Component& component = frame_.components[i];
            Plane& plane = planes_[i];
            plane.across = blocksOf(frame_.columns, 1, across_) * component.across;
            plane.down = blocksOf(frame_.rows, 1, down_) * component.down;
            plane.samples.resize(std::size_t{plane.across} * plane.down * kBlock);
        }
        missing_ = maskOf(frame_.count);
        return {};
    }

    Fault decodeScan(const Segment& segment) {
        Scan scan;
        if (Fault fault = readScan(segment, frame_, scan)) return fault;
        decoders_.clear();
        for (unsigned int i = 0; i < scan.count; ++i) {
            const HuffmanTable& dc = tables_.huffman[0][scan.dcTable[i]];
            const HuffmanTable& ac = tables_.huffman[1][scan.acTable[i]];
            const unsigned int steps = frame_.components[scan.component[i]].quantization;
            if (dc.size == 0 || ac.size == 0 || !tables_.quantized[steps])
                return damaged("a table is missing");
            decoders_.push_back(std::make_unique<BlockDecoder>(dc, ac, tables_.quantization[steps]));
            if ((missing_ & 1u << scan.component[i]) == 0) return damaged("a scan comes twice");
            missing_ &= ~(1u << scan.component[i]);
        }
        const Bytes rest = segments_.rest();
        BitReader bits(rest);
        if (Fault fault = decodeUnits(scan, bits)) return fault;
        segments_.skip(static_cast<std::size_t>(bits.position() - rest.data()));
        return {};
    }

    // Of a scan of one component each block is a unit; of several, the blocks that cover the same place.
    Fault decodeUnits(const Scan& scan, BitReader& bits) {
        const Component& first = frame_.components[scan.component[0]];
        const bool alone = scan.count == 1;
        const unsigned int across =
            alone ? blocksOf(frame_.columns, first.across, across_) : blocksOf(frame_.columns, 1, across_);
        const unsigned int down =
            alone ? blocksOf(frame_.rows, first.down, down_) : blocksOf(frame_.rows, 1, down_);
        for (std::size_t unit = 0; unit < std::size_t{across} * down; ++unit) {
            if (interval_ != 0 && unit != 0 && unit % interval_ == 0) {
                if (!bits.restart()) return damaged("a restart marker is missing");
                for (auto& decoder : decoders_) decoder->restart();
            }
            const auto column = static_cast<unsigned int>(unit % across);
            const auto row = static_cast<unsigned int>(unit / across);
            if (!decodeUnit(scan, bits, column, row)) return damaged("bits that are no code");
            if (bits.overrun()) return damaged("the scan ends too early");
        }
        return {};
    }

    bool decodeUnit(const Scan& scan, BitReader& bits, unsigned int column, unsigned int row) {
        for (unsigned int i = 0; i < scan.count; ++i) {
            const Component& component = frame_.components[scan.component[i]];
            const unsigned int wide = scan.count == 1 ? 1 : component.across;
            const unsigned int high = scan.count == 1 ? 1 : component.down;
            for (unsigned int b = 0; b < wide * high; ++b) {
                Block coefficients;
                Block samples;
                if (!decoders_[i]->decode(bits, coefficients)) return false;
                transform(coefficients, samples);
                planes_[scan.component[i]].put(column * wide + b % wide, row * high + b / wide, samples,
                                               frame_.bits);
            }
        }
        return true;
    }

    template <typename Word>
    void storeWords(bool ycc) {
        const float middle = static_cast<float>(1u << (frame_.bits - 1));
        const float most = static_cast<float>(maskOf(frame_.bits));
        unsigned char* to = job_.samples.data();
        for (unsigned int y = 0; y < frame_.rows; ++y) {
            for (unsigned int x = 0; x < frame_.columns; ++x) {
                std::array<float, kMostComponents> v{};
                for (unsigned int i = 0; i < frame_.count; ++i) v[i] = sampleAt(i, x, y);
                if (ycc) v = rgbOf(v[0], v[1] - middle, v[2] - middle);
                for (unsigned int i = 0; i < frame_.count; ++i, to += sizeof(Word)) {
                    const Word word = static_cast<Word>(std::lround(std::clamp(v[i], 0.0F, most)));
                    std::memcpy(to, &word, sizeof word);
                }
            }
        }
    }
    float sampleAt(unsigned int i, unsigned int x, unsigned int y) const {
        const Component& component = frame_.components[i];
        const std::size_t pitch = std::size_t{planes_[i].across} * kSide;
        return planes_[i].samples[(y * component.down / down_) * pitch + x * component.across / across_];
    }
    static std::array<float, kMostComponents> rgbOf(float y, float cb, float cr) {
        return {y + 1.402F * cr, y - 0.344136F * cb - 0.714136F * cr, y + 1.772F * cb, 0};
    }

    DecodeJob& job_;
    Segments segments_;
    Frame frame_;
    Tables tables_;
    unsigned int across_ = 1;  // the most samples of a unit
    unsigned int down_ = 1;
    unsigned int interval_ = 0;
    unsigned int missing_ = 1;  // components without a scan, by bit; any before the frame header
    std::array<Plane, kMostComponents> planes_;
    std::vector<std::unique_ptr<BlockDecoder>> decoders_;
};

}  // namespace

const Block& cosines() {
    static const Block table = [] {
        Block made{};
        for (unsigned int u = 0; u < kSide; ++u) {
            for (unsigned int x = 0; x < kSide; ++x) {
                const double scale = u == 0 ? std::sqrt(0.125) : 0.5;
                made[u * kSide + x] =
                    static_cast<float>(scale * std::cos((2 * x + 1) * u * std::numbers::pi / 16));
            }
        }
        return made;
    }();
    return table;
}

Fault decodeSequential(DecodeJob& job, const Headers& headers) {
    SequentialDecoder decoder(job);
    if (Fault fault = decoder.run()) return fault;
    const bool three = headers.frame.count == 3;
    decoder.store(three && isYcc(headers, job.says.photometric));
    job.planar = false;
    if (three) job.photometric = DcPhotometric::rgb;
    return {};
}

}  // namespace orvkit::image::jpeg
