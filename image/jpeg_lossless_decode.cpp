// JPEG lossless, process 14 (ISO 10918-1 Annex H): 2 to 16 bits, all seven predictors, one scan or several.
#include <algorithm>
#include <memory>

#include "image/jpeg_huffman.h"

namespace orvkit::image::jpeg {

namespace {

using Line = std::vector<std::uint16_t>;
using DecoderOf = std::array<std::unique_ptr<HuffmanDecoder>, kMostComponents>;

// From differences to samples, in place.
template <unsigned int selector>
void restoreLine(Line& line, const Line& above) {
    int left = line[0] = static_cast<std::uint16_t>(line[0] + above[0]);
    for (std::size_t x = 1; x < line.size(); ++x) {
        left = static_cast<std::uint16_t>(line[x] + predicted(selector, left, above[x], above[x - 1]));
        line[x] = static_cast<std::uint16_t>(left);
    }
}

// The first line has nothing above.
void restoreFirstLine(Line& line, unsigned int start) {
    unsigned int left = start;
    for (std::uint16_t& sample : line) left = sample = static_cast<std::uint16_t>(sample + left);
}

using Restore = void (*)(Line& line, const Line& above);
constexpr Restore kRestore[] = {restoreLine<1>, restoreLine<2>, restoreLine<3>, restoreLine<4>,
                                restoreLine<5>, restoreLine<6>, restoreLine<7>};

// One difference. Bits that are no code give any, and `sound` tells.
inline std::uint16_t difference(BitReader& bits, const HuffmanDecoder& decoder, bool& sound) {
    bits.refill();
    const HuffmanDecoder::Entry& entry = decoder.look(bits);
    if (entry.length != 0) {
        bits.drop(entry.length);
        return static_cast<std::uint16_t>(entry.value);
    }
    const unsigned int size = decoder.symbol(bits);
    if (size == 16) return 0x8000;
    if (size > 16) {
        sound = false;
        return 0;
    }
    return static_cast<std::uint16_t>(size == 0 ? 0 : HuffmanDecoder::extended(bits.take(size), size));
}

// One scan: its components' samples, line by line.
class ScanDecoder {
  public:
    ScanDecoder(DecodeJob& job, const Frame& frame, const Scan& scan, const HuffmanTables& tables, Bytes in)
        : job_(job), frame_(frame), scan_(scan), bits_(in) {
        for (unsigned int i = 0; i < scan.count; ++i) {
            lines_[i].resize(frame.columns);
            above_[i].resize(frame.columns);
            decoders_[i] = std::make_unique<HuffmanDecoder>(tables[0][scan.dcTable[i]]);
        }
    }

    Fault run(unsigned int restartRows) {
        for (unsigned int y = 0; y < frame_.rows; ++y) {
            const bool again = restartRows != 0 && y != 0 && y % restartRows == 0;
            if (again && !bits_.restart()) return damaged("a restart marker is missing");
            if (!decodeLine()) return damaged("bits that are no code in line " + std::to_string(y + 1));
            if (bits_.overrun()) {
                return damaged("the scan ends in line " + std::to_string(y + 1) + " of " +
                               std::to_string(frame_.rows));
            }
            for (unsigned int i = 0; i < scan_.count; ++i) finishLine(i, y, again || y == 0);
        }
        return {};
    }
    const unsigned char* position() const { return bits_.position(); }

  private:
    bool decodeLine() {
        bool sound = true;
        if (scan_.count == 1) {
            const HuffmanDecoder& decoder = *decoders_[0];
            for (std::uint16_t& sample : lines_[0]) sample = difference(bits_, decoder, sound);
            return sound;
        }
        for (std::size_t x = 0; x < frame_.columns; ++x) {
            for (unsigned int i = 0; i < scan_.count; ++i) {
                lines_[i][x] = difference(bits_, *decoders_[i], sound);
            }
        }
        return sound;
    }

    void finishLine(unsigned int i, unsigned int y, bool first) {
        if (first) {
            restoreFirstLine(lines_[i], 1u << (frame_.bits - scan_.point - 1));
        } else {
            kRestore[scan_.first - 1](lines_[i], above_[i]);
        }
        const std::size_t at = (std::size_t{y} * frame_.columns * frame_.count + scan_.component[i]);
        frame_.bits <= 8 ? store<std::uint8_t>(lines_[i], at) : store<std::uint16_t>(lines_[i], at);
        std::swap(lines_[i], above_[i]);
    }
    template <typename Word>
    void store(const Line& line, std::size_t at) {
        unsigned char* to = job_.samples.data() + at * sizeof(Word);
        const unsigned int mask = maskOf(frame_.bits);
        for (const std::uint16_t sample : line) {
            const Word word = static_cast<Word>((static_cast<unsigned int>(sample) << scan_.point) & mask);
            std::memcpy(to, &word, sizeof word);
            to += frame_.count * sizeof word;
        }
    }

    DecodeJob& job_;
    const Frame& frame_;
    const Scan& scan_;
    BitReader bits_;
    DecoderOf decoders_;
    std::array<Line, kMostComponents> lines_;
    std::array<Line, kMostComponents> above_;
};

Fault admit(const Frame& frame, const Scan& scan, const HuffmanTables& tables, unsigned int interval) {
    if (scan.first < 1 || scan.first > 7) return damaged("predictor " + std::to_string(scan.first));
    if (scan.point >= frame.bits) return damaged("a point transform of more bits than there are");
    for (unsigned int i = 0; i < scan.count; ++i) {
        if (tables[0][scan.dcTable[i]].size == 0) return damaged("a Huffman table is missing");
        const Component& component = frame.components[scan.component[i]];
        if (frame.count > 1 && (component.across != 1 || component.down != 1)) {
            return {IMAGE_CANNOT_HOLD, "components of different resolution"};
        }
    }
    if (interval % frame.columns != 0) return damaged("a restart interval of no whole lines");
    return {};
}

// The marker segments of a codestream, and the scans between them.
class LosslessDecoder {
  public:
    explicit LosslessDecoder(DecodeJob& job) : job_(job), segments_(job.stream) {}

    Fault run() {
        return takeScans(segments_, missing_, [this](const Segment& segment) { return take(segment); });
    }

  private:
    Fault take(const Segment& segment) {
        switch (segment.marker) {
            case huffmanTables:
                return readHuffmanTables(segment.content, tables_);
            case restartInterval:
                if (segment.content.size() < 2) return damaged("a restart interval is cut short");
                interval_ = segment.content[0] * 256u + segment.content[1];
                return {};
            case lossless:
                if (frame_.count != 0) return damaged("a second frame header");
                if (Fault fault = readFrame(segment, frame_)) return fault;
                missing_ = maskOf(frame_.count);
                return {};
            case scan:
                return decodeScan(segment);
            default:
                return {};
        }
    }

    Fault decodeScan(const Segment& segment) {
        Scan scan;
        if (Fault fault = readScan(segment, frame_, scan)) return fault;
        if (Fault fault = admit(frame_, scan, tables_, interval_)) return fault;
        const Bytes rest = segments_.rest();
        ScanDecoder decoder(job_, frame_, scan, tables_, rest);
        if (Fault fault = decoder.run(interval_ / frame_.columns)) return fault;
        segments_.skip(static_cast<std::size_t>(decoder.position() - rest.data()));
        const unsigned int before = missing_;
        for (unsigned int i = 0; i < scan.count; ++i) missing_ &= ~(1u << scan.component[i]);
        return missing_ != before ? Fault{} : damaged("a scan comes twice");
    }

    DecodeJob& job_;
    Segments segments_;
    Frame frame_;
    HuffmanTables tables_;
    unsigned int interval_ = 0;
    unsigned int missing_ = 1;  // components without a scan, by bit; any before the frame header
};

}  // namespace

Fault decodeLossless(DecodeJob& job) {
    job.planar = false;
    return LosslessDecoder(job).run();
}

}  // namespace orvkit::image::jpeg
