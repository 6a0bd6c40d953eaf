// What a codec is to this library, and what all of them share: the work around a codestream is done once, in
// decode.cpp and encode.cpp, and a codec sees samples of one or two bytes in the order of this machine.
#ifndef ORVKIT_IMAGE_CODEC_H
#define ORVKIT_IMAGE_CODEC_H

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "orvkit/image.h"

namespace orvkit::image {

using Bytes = std::span<const unsigned char>;
using Room = std::span<unsigned char>;

// Of what a codec's library makes and takes back, for std::unique_ptr.
template <auto release>
struct Release {
    template <typename T>
    void operator()(T* owned) const {
        release(owned);
    }
};

// A code and the words for it; without a code nothing went wrong.
struct Fault {
    int code = RESULT_OK;
    std::string words;
    explicit operator bool() const { return code != RESULT_OK; }
};
inline Fault damaged(std::string words) {
    return {IMAGE_STREAM, std::move(words)};
}

// What a codestream says of itself in its header.
struct Header {
    unsigned int rows = 0;
    unsigned int columns = 0;
    unsigned int samples = 0;
    unsigned int bits = 0;  // 1 to 16 but where bytes go through as they are
    bool isSigned = false;
    bool lossy = false;
};

// One frame to unpack. Samples are of one byte, of two where the header says more than 8 bits, or as they are
// allocated where a codec takes bytes as they are.
struct DecodeJob {
    const DcImagePixels& says;
    Bytes stream;
    Header header;
    Room samples;                                  // in: of the size that the header says
    bool planar = false;                           // out: how the codec has put them
    DcPhotometric photometric = says.photometric;  // out: what they mean
};

// One frame to pack: samples by pixel, of one byte, of two where more than 8 bits are stored, without
// anything above Bits Stored; or the frame as it is where a codec takes bytes.
struct EncodeJob {
    const DcImagePixels& pixels;  // as they lie in `samples`
    Bytes samples;
    const DcImageOptions& options;
    bool lossless;                                   // as the transfer syntax wants it
    const char* uid;                                 // of the transfer syntax
    std::vector<unsigned char>& out;                 // the codestream goes behind what is there
    DcPhotometric photometric = pixels.photometric;  // out: what the data set has to say from now on
};

// What a codec does. `inspect` must be quick and need no memory worth mentioning. None may throw but
// std::bad_alloc; `encode` is null where nothing is encoded.
struct Coder {
    Fault (*inspect)(const DcImagePixels& says, Bytes stream, Header& header) = nullptr;
    Fault (*decode)(DecodeJob& job) = nullptr;
    Fault (*encode)(EncodeJob& job) = nullptr;
    // A JPEG codestream to one of this codec and back to the same bytes, behind what `out` holds.
    Fault (*packJpeg)(Bytes jpeg, std::vector<unsigned char>& out) = nullptr;
    Fault (*unpackJpeg)(Bytes stream, std::vector<unsigned char>& out) = nullptr;
};

extern const Coder kRle;
extern const Coder kUncompressed;
extern const Coder kJpeg;  // which is there in any case, though not for all that it may meet
extern const Coder kJpegExtended;
extern const Coder kJpegLossless;
extern const Coder kJpegLs;
extern const Coder kJpeg2000;
extern const Coder kHtj2k;
extern const Coder kJpegXl;
extern const Coder kJpegXlOfJpeg;
extern const Coder kDeflated;

struct Codec {
    DcImageCodec facts;
    const Coder* coder;  // null where this build is without it
};
// Null where there is none.
const Codec* findCodec(const char* uidOrName) noexcept;

inline unsigned int sampleBytes(unsigned int bits) {
    return bits <= 8 ? 1 : 2;
}
// What stands in the bits of a sample that are stored.
inline unsigned int maskOf(unsigned int bits) {
    return (1u << bits) - 1;
}

// Room for samples that a function needs beside its caller's; throws std::bad_alloc.
using Scratch = std::vector<unsigned char>;

// Samples by pixel, of `width` bytes each, to samples by plane, and back.
void toPlanes(Bytes pixels, unsigned int samples, unsigned int width, Room planes);
void toPixels(Bytes planes, unsigned int samples, unsigned int width, Room pixels);

// The two ways of a frame: everything but the look for the codec.
Fault checkFrame(const Codec& codec, const DcImagePixels& says, Bytes stream, Header& header);
Fault decodeFrame(const Codec& codec, const DcImagePixels& says, Bytes stream, Room frame,
                  DcImageResult& result);
Fault encodeFrame(const Codec& codec, const DcImagePixels& pixels, Bytes frame, const DcImageOptions& options,
                  std::vector<unsigned char>& stream, DcImageResult& result);

}  // namespace orvkit::image

#endif
