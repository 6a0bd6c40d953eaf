// What the marker segments of a JPEG codestream say (ISO 10918-1 Annex B), whichever process it is.
#ifndef ORVKIT_IMAGE_JPEG_HEADER_H
#define ORVKIT_IMAGE_JPEG_HEADER_H

#include <array>
#include <optional>

#include "image/codec.h"

namespace orvkit::image::jpeg {

// The second byte of a marker.
enum Marker : unsigned char {
    baseline = 0xC0,
    extended = 0xC1,
    progressive = 0xC2,
    lossless = 0xC3,
    huffmanTables = 0xC4,
    arithmeticTables = 0xCC,
    restart0 = 0xD0,
    restart7 = 0xD7,
    begin = 0xD8,
    end = 0xD9,
    scan = 0xDA,
    quantization = 0xDB,
    lines = 0xDC,
    restartInterval = 0xDD,
    app0 = 0xE0,
    app14 = 0xEE,
};

struct Segment {
    unsigned char marker = 0;
    Bytes content;  // without the length
};

// Goes from marker segment to marker segment; what stands between them is stepped over.
class Segments {
  public:
    explicit Segments(Bytes stream) : stream_(stream) {}
    // Nothing at the end of the stream, and where a segment is cut short.
    std::optional<Segment> next();
    // What follows the last segment.
    Bytes rest() const { return stream_.subspan(at_); }
    void skip(std::size_t bytes) { at_ += bytes; }

  private:
    Bytes stream_;
    std::size_t at_ = 0;
};

struct Component {
    unsigned int id = 0;
    unsigned int across = 1;  // sampling factors
    unsigned int down = 1;
    unsigned int quantization = 0;
};

constexpr unsigned int kMostComponents = 4;

struct Frame {
    unsigned char process = 0;  // its marker
    unsigned int bits = 0;
    unsigned int rows = 0;
    unsigned int columns = 0;
    unsigned int count = 0;
    std::array<Component, kMostComponents> components{};
};

// The components that a scan has, in its order, by their place in the frame.
struct Scan {
    unsigned int count = 0;
    std::array<unsigned int, kMostComponents> component{};
    std::array<unsigned int, kMostComponents> dcTable{};
    std::array<unsigned int, kMostComponents> acTable{};
    unsigned int first = 0;  // spectral selection, or the predictor
    unsigned int last = 0;
    unsigned int point = 0;  // point transform
};

// A Huffman table as it is sent: codes by length, and what they stand for.
struct HuffmanTable {
    std::array<unsigned char, 16> counts{};
    std::array<unsigned char, 256> symbols{};
    unsigned int size = 0;  // 0 where there is none
};
using HuffmanTables = std::array<std::array<HuffmanTable, 4>, 2>;  // DC and lossless; AC

Fault readFrame(const Segment& segment, Frame& frame);
Fault readScan(const Segment& segment, const Frame& frame, Scan& scan);
Fault readHuffmanTables(Bytes content, HuffmanTables& tables);

// The frame, and what there is about colour in front of it.
struct Headers {
    Frame frame;
    bool jfif = false;
    std::optional<unsigned int> adobe;  // its colour transform
};
Fault readHeaders(Bytes stream, Headers& headers);

// Whether three components are YCbCr and no RGB.
bool isYcc(const Headers& headers, DcPhotometric says);

// What imageDescribeJpeg tells.
Fault describe(Bytes stream, DcImageResult& found, const char*& uid);

// Whether libjpeg decodes a codestream, in whichever transfer syntax it comes.
bool isLibjpegs(Bytes stream);

// What predictor `selector` makes of the samples to the left, above, and left above (T.81 Table H.1).
constexpr int predicted(unsigned int selector, int left, int above, int corner) {
    switch (selector) {
        case 1:
            return left;
        case 2:
            return above;
        case 3:
            return corner;
        case 4:
            return left + above - corner;
        case 5:
            return left + ((above - corner) >> 1);
        case 6:
            return above + ((left - corner) >> 1);
        default:
            return (left + above) >> 1;
    }
}

// Takes segment after segment until `missing` components are none, each with its scan.
template <typename Take>
Fault takeScans(Segments& segments, const unsigned int& missing, Take take) {
    while (missing != 0) {
        const std::optional<Segment> segment = segments.next();
        if (!segment || segment->marker == end) return damaged("the codestream ends before its last scan");
        if (Fault fault = take(*segment)) return fault;
    }
    return {};
}

// The processes. Those by libjpeg are there where CMakeLists.txt has found it.
Fault decodeLossless(DecodeJob& job);
Fault encodeLossless(EncodeJob& job);
Fault decodeSequential(DecodeJob& job, const Headers& headers);
Fault encodeSequential(EncodeJob& job);  // of 12 bits
Fault decodeByLibjpeg(DecodeJob& job, const Headers& headers);
Fault encodeByLibjpeg(EncodeJob& job);

}  // namespace orvkit::image::jpeg

#endif
