#include "image/jpeg2000_header.h"

#include <algorithm>
#include <cstdint>

namespace orvkit::image::jpeg2000 {

namespace {

enum Marker : unsigned int {
    startOfCodestream = 0xFF4F,
    capabilities = 0xFF50,
    imageAndTileSize = 0xFF51,
    codingStyle = 0xFF52,
    startOfTilePart = 0xFF90,
};

constexpr unsigned int kTilePartHeader = 14;  // bytes of the least tile
constexpr unsigned int kMostDecompositions = 5;

std::uint32_t number(Bytes bytes, std::size_t at, unsigned int length) {
    std::uint32_t value = 0;
    for (unsigned int i = 0; i < length; ++i) value = value << 8 | bytes[at + i];
    return value;
}

// Tiles one after another from `origin` until the image ends.
std::uint64_t tilesAlong(std::uint32_t origin, std::uint32_t tile, std::uint32_t end) {
    return tile == 0 || end <= origin ? 0 : (std::uint64_t{end} - origin + tile - 1) / tile;
}

Fault readSizes(Bytes content, std::size_t length, Header& frame) {
    constexpr std::size_t kComponents = 36;
    if (content.size() < kComponents) return damaged("the SIZ segment is cut short");
    const auto at = [&](std::size_t offset) { return number(content, offset, 4); };
    const unsigned int count = number(content, 34, 2);
    if (count < 1 || content.size() < kComponents + std::size_t{3} * count) {
        return damaged("the SIZ segment is cut short");
    }
    if (at(2) <= at(10) || at(6) <= at(14)) return damaged("an image of no size");
    const std::uint64_t across = tilesAlong(at(26), at(18), at(2));
    const std::uint64_t tiles = across * tilesAlong(at(30), at(22), at(6));
    if (tiles < 1 || tiles > length / kTilePartHeader)
        return damaged("more tiles than the codestream can have");
    for (unsigned int i = 0; i < count; ++i) {
        const Bytes one = content.subspan(kComponents + std::size_t{3} * i, 3);
        if (one[0] != content[kComponents] || one[1] != 1 || one[2] != 1) {
            return {IMAGE_CANNOT_HOLD, "components of different precision or resolution"};
        }
    }
    frame.columns = at(2) - at(10);
    frame.rows = at(6) - at(14);
    frame.samples = count;
    frame.bits = (content[kComponents] & 0x7Fu) + 1;
    frame.isSigned = (content[kComponents] & 0x80) != 0;
    return {};
}

}  // namespace

Bytes codestreamOf(Bytes stream) {
    constexpr unsigned int kSignature = 0x6A502020;
    constexpr unsigned int kCodestream = 0x6A703263;
    if (stream.size() < 12 || number(stream, 4, 4) != kSignature) return stream;
    Bytes boxes = stream;
    while (boxes.size() >= 8) {
        const std::uint32_t length = number(boxes, 0, 4);
        if (number(boxes, 4, 4) == kCodestream) return boxes.subspan(8);
        if (length < 8 || length > boxes.size()) break;
        boxes = boxes.subspan(length);
    }
    return stream;
}

Fault readMainHeader(Bytes codestream, MainHeader& header) {
    if (codestream.size() < 4 || number(codestream, 0, 2) != startOfCodestream) {
        return damaged("no JPEG 2000 codestream");
    }
    std::size_t at = 2;
    bool sized = false;
    while (codestream.size() - at >= 4) {
        const unsigned int marker = number(codestream, at, 2);
        const unsigned int length = number(codestream, at + 2, 2);
        if (marker == startOfTilePart) return sized ? Fault{} : damaged("the main header has no SIZ segment");
        if (length < 2 || length > codestream.size() - at - 2) break;
        const Bytes content = codestream.subspan(at + 4, length - 2);
        if (marker == capabilities) header.highThroughput = true;
        if (marker == imageAndTileSize) {
            if (Fault fault = readSizes(content, codestream.size(), header.frame)) return fault;
            sized = true;
        }
        if (marker == codingStyle && content.size() >= 10) {
            header.mixesColours = content[4] != 0;
            header.frame.lossy = content[9] == 0;
        }
        at += 2 + length;
    }
    return damaged("the main header is cut short");
}

Fault inspect(const DcImagePixels&, Bytes stream, Header& header) {
    MainHeader whole;
    Fault fault = readMainHeader(codestreamOf(stream), whole);
    header = whole.frame;
    return fault;
}

DcPhotometric decodedColour(const MainHeader& header, DcPhotometric says) {
    if (header.frame.samples != 3) return says;
    const bool nominal = says == DcPhotometric::ybrIct || says == DcPhotometric::ybrRct;
    return header.mixesColours || nominal ? DcPhotometric::rgb : says;
}

// One bit, signed, does not come back from OpenJPEG 2.5 when it was mixed; and there is nothing to gain.
bool mixesColours(const DcImagePixels& pixels) {
    return pixels.samples == 3 && pixels.photometric == DcPhotometric::rgb && pixels.bitsStored > 1;
}

DcPhotometric encodedColour(const EncodeJob& job) {
    if (!mixesColours(job.pixels)) return job.pixels.photometric;
    return job.lossless ? DcPhotometric::ybrRct : DcPhotometric::ybrIct;
}

unsigned int decompositions(const DcImagePixels& pixels) {
    unsigned int count = 0;
    while (count < kMostDecompositions && std::min(pixels.rows, pixels.columns) >> (count + 1) != 0) ++count;
    return count;
}

double ratioOfStored(const EncodeJob& job) {
    return job.options.ratio * job.pixels.bitsStored / job.pixels.bitsAllocated;
}

}  // namespace orvkit::image::jpeg2000
