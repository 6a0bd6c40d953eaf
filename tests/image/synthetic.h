// Images that are made: of any description, with slopes, runs and noise over the whole range of values.
#ifndef ORVKIT_TESTS_IMAGE_SYNTHETIC_H
#define ORVKIT_TESTS_IMAGE_SYNTHETIC_H

#include <cstdint>
#include <vector>

#include "orvkit/image.h"

namespace synthetic {

using Frame = std::vector<unsigned char>;

inline DcImagePixels described(unsigned int columns, unsigned int rows, unsigned int bits,
                               bool isSigned = false, unsigned int samples = 1, bool planar = false) {
    DcImagePixels pixels;
    pixels.rows = rows;
    pixels.columns = columns;
    pixels.samples = samples;
    pixels.bitsAllocated = bits <= 8 ? 8 : 16;
    pixels.bitsStored = bits;
    pixels.highBit = bits - 1;
    pixels.isSigned = isSigned;
    pixels.planar = planar;
    pixels.photometric = samples == 1 ? DcPhotometric::monochrome2 : DcPhotometric::rgb;
    return pixels;
}

// A value at a place, within Bits Stored: as its bits stand in a sample, sign and all.
inline std::uint64_t valueAt(const DcImagePixels& pixels, unsigned int x, unsigned int y,
                             unsigned int sample) {
    const std::uint64_t range = std::uint64_t{1} << pixels.bitsStored;
    const std::uint64_t noise = (x * 2654435761u ^ y * 40503u ^ sample * 97u) >> 7;
    std::uint64_t value = 0;
    switch (x * 4 / pixels.columns) {
        case 0:
            value = (x + y) * range / (pixels.columns + pixels.rows) + noise % 3;
            break;
        case 1:
            value = y % 8 < 4 ? 0 : range - 1;
            break;
        case 2:
            value = range / 3 + sample;
            break;
        default:
            value = noise;
    }
    value %= range;
    return pixels.isSigned && value >= range / 2 ? value - range : value;
}

inline Frame frameOf(const DcImagePixels& pixels) {
    Frame frame;
    frame.reserve(static_cast<std::size_t>(imageFrameBytes(pixels)));
    const auto put = [&](unsigned int x, unsigned int y, unsigned int s) {
        const std::uint64_t value = valueAt(pixels, x, y, s);
        for (unsigned int i = 0; i < pixels.bitsAllocated; i += 8) {
            frame.push_back(static_cast<unsigned char>(value >> i));
        }
    };
    const unsigned int planes = pixels.planar ? pixels.samples : 1;
    for (unsigned int plane = 0; plane < planes; ++plane) {
        for (unsigned int y = 0; y < pixels.rows; ++y) {
            for (unsigned int x = 0; x < pixels.columns; ++x) {
                for (unsigned int s = 0; s < pixels.samples / planes; ++s) put(x, y, plane + s);
            }
        }
    }
    return frame;
}

// What a codec says of a frame or a stream, and what it makes of it.
struct Made {
    int code = 0;
    Frame bytes;
    DcImageResult told;
};
// `to` is what stands in front of what is made.
inline Made encoded(const char* codec, const DcImagePixels& pixels, const Frame& frame,
                    const DcImageOptions& options = {}, const Frame& to = {}) {
    Made made{0, to, {}};
    made.code = imageEncodeFrame(codec, pixels, frame.data(), frame.size(), options, made.bytes, &made.told);
    return made;
}
inline Made decoded(const char* uid, const DcImagePixels& pixels, const Frame& stream) {
    Made made{0, Frame(static_cast<std::size_t>(imageFrameBytes(pixels)), 0xA5), {}};
    made.code = imageDecodeFrame(uid, pixels, stream.data(), stream.size(), made.bytes.data(),
                                 made.bytes.size(), &made.told);
    return made;
}
// A stream cut to its first bytes.
inline Frame first(const Frame& stream, std::size_t length) {
    return {stream.begin(), stream.begin() + static_cast<std::ptrdiff_t>(length)};
}

}  // namespace synthetic

#endif
