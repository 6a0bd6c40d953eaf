// Pictures: the frames of an image, packed by the codecs that DICOM knows (PS3.5 8.2, A.4) and unpacked
// again. A library of its own, orvkit_image, over the codec libraries that it was built with: link it beside
// orvkit.
//
// A frame goes through as bytes. Packed it is a codestream, without items or offset tables around it;
// unpacked it lies as native pixel data does: rows from the top, Bits Allocated to a sample, words of 16 or
// more bits in this machine's byte order, colours by pixel or by plane. DcImagePixels says how, in the terms
// of the data set (PS3.3 C.7.6.3). Every function may be called from any number of threads at once, and keeps
// nothing.
//
// What the codestream says and what the data set says differ in the field. When a frame is unpacked:
//
//   differs             rule
//   ------------------  ------------------------------------------------------------------------------------
//   rows, columns,      the data set's are those of the caller's room: any other are refused, IMAGE_DIFFERS
//   samples a pixel
//   precision           values are those of the codestream, not scaled. More than Bits Allocated holds is
//                       refused, IMAGE_DIFFERS. The codestream's own is DcImageResult::precision
//   sign                the data set's. A codestream without signs (JPEG lossless, JPEG-LS), or one that says
//                       unsigned, holds two's complement: its top bit, or that of Bits Stored where that is
//                       lower, is the sign. Where the data set is unsigned, the codestream's bits are kept
//   bits above          cleared, or filled with the sign: no codestream has anything there. RLE, deflated and
//   Bits Stored         uncompressed frames are given byte for byte, what is above High Bit included
//   High Bit            values are at the lower end whatever it says, but byte for byte as above
//   planar              colours come as DcImagePixels::planar asks, whichever way the codestream has them
//   configuration
//   colour space        JPEG: an Adobe marker, components named R, G and B, or a JFIF marker decide; then
//                       fewer samples of colour than of brightness are YCbCr, and only then counts what the
//                       data set says. JPEG 2000: the codestream's own transformation. Both come as RGB,
//                       which is DcImageResult::pixels.photometric then. JPEG lossless, JPEG-LS, RLE: as the
//                       data set says, untouched
//
// When a frame is packed, the codestream says what the data set says, High Bit is one below Bits Stored, and
// DcImageResult::pixels is what the data set has to say from then on.
//
// The codes are named below; the text of DcImageResult says it with the codec's name in front and its
// library's own words behind, for example "JPEG-LS: invalid data, the encoded bit stream contains a general
// structural problem". Nothing is logged.
#ifndef ORVKIT_IMAGE_H
#define ORVKIT_IMAGE_H

#include <cstddef>
#include <vector>

#include "orvkit/result.h"

#if defined(_WIN32) && !defined(ORVKIT_STATIC)
#if defined(ORVKIT_IMAGE_BUILDING)
#define ORVKIT_IMAGE_API __declspec(dllexport)
#else
#define ORVKIT_IMAGE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ORVKIT_IMAGE_API __attribute__((visibility("default")))
#else
#define ORVKIT_IMAGE_API
#endif

// ---- 0x6000 pictures ------------------------------------------------------------------------------------
inline constexpr int IMAGE_NO_CODEC = 24577;  // 0x6001 no codec for the transfer syntax in this build
inline constexpr int IMAGE_PIXELS = 24578;    // 0x6002 a description of pixels that makes no sense
inline constexpr int IMAGE_ROOM = 24579;  // 0x6003 room or frame of another size than the description says
inline constexpr int IMAGE_CANNOT_HOLD = 24580;  // 0x6004 the codec cannot hold these pixels
inline constexpr int IMAGE_DIFFERS = 24581;      // 0x6005 codestream and data set differ in what must agree
inline constexpr int IMAGE_STREAM = 24582;       // 0x6006 codestream cut short or damaged
inline constexpr int IMAGE_OPTION = 24583;       // 0x6007 an option out of its range
inline constexpr int IMAGE_CODEC = 24584;        // 0x6008 the codec's library failed for another reason
inline constexpr int IMAGE_NO_MEMORY = 24585;    // 0x6009 memory allocation failed
inline constexpr int IMAGE_NO_CHILD = 24586;     // 0x600A no child process for codec libraries can be had

// Photometric Interpretation (0028,0004).
enum class DcPhotometric : int {
    none = 0,  // absent, or not one of these
    monochrome1,
    monochrome2,
    paletteColor,
    rgb,
    ybrFull,
    ybrFull422,
    ybrPartial420,
    ybrIct,
    ybrRct,
    xyb,
};
// The defined term ("YBR_FULL_422"), "" for none; and back, where blanks at the end do not count.
ORVKIT_IMAGE_API const char* imagePhotometricText(DcPhotometric photometric) noexcept;
ORVKIT_IMAGE_API DcPhotometric imagePhotometricOf(const char* text) noexcept;

// How the pixels of an image lie (PS3.3 C.7.6.3). What is initialized here is what an absent element means.
struct DcImagePixels {
    unsigned int rows = 0;            // (0028,0010), to 65535
    unsigned int columns = 0;         // (0028,0011), to 65535
    unsigned int frames = 1;          // (0028,0008)
    unsigned int samples = 1;         // (0028,0002), 1 to 4
    unsigned int bitsAllocated = 16;  // (0028,0100), 1, 8, 16, 32 or 64
    unsigned int bitsStored = 16;     // (0028,0101), to Bits Allocated
    unsigned int highBit = 15;        // (0028,0102), Bits Stored - 1 to Bits Allocated - 1
    bool isSigned = false;            // (0028,0103)
    bool planar = false;              // (0028,0006): colours by plane
    DcPhotometric photometric = DcPhotometric::monochrome2;  // (0028,0004)
};
// RESULT_OK, or IMAGE_PIXELS for a description out of the limits above.
ORVKIT_IMAGE_API int imageCheckPixels(const DcImagePixels& pixels) noexcept;
// The bytes of one frame: of one bit allocated, rounded up. 0 for a description out of the limits.
ORVKIT_IMAGE_API unsigned long long imageFrameBytes(const DcImagePixels& pixels) noexcept;

// What a function found, beside its code.
struct DcImageResult {
    char text[256] = {};         // what went wrong, for people: empty when nothing did
    DcImagePixels pixels;        // of what was delivered
    unsigned int precision = 0;  // bits of a sample that the codestream says
    bool lossy = false;          // the codestream may have lost something
};

// A codec: one a transfer syntax.
struct DcImageCodec {
    const char* uid;    // of the transfer syntax
    const char* name;   // for a command line, "jpegls"; "" where it does not encode at all
    const char* label;  // in messages, "JPEG-LS"
    const char*
        library;    // who does the work, with Debian's package: "CharLS (libcharls-dev)"; "" this library
    bool lossless;  // what is encoded comes back bit for bit
    bool bytes;     // any Bits Allocated goes through byte for byte: what follows does not apply
    unsigned int minBits;  // least and
    unsigned int maxBits;  // most Bits Stored that it encodes
    bool isSigned;         // encodes Pixel Representation 1
    bool colour;           // encodes three samples a pixel
    bool decodes;          // this build can
    bool encodes;          // this build can
};
// The codecs, those included that this build was made without; `count` receives how many.
ORVKIT_IMAGE_API const DcImageCodec* imageCodecs(std::size_t& count) noexcept;
// By the UID of a transfer syntax or by a name. Null where there is none; for null.
ORVKIT_IMAGE_API const DcImageCodec* imageFindCodec(const char* uidOrName) noexcept;

// Whether the codestream can be a frame of these pixels, as far as its header tells: call it before making
// room. A frame of more than 64 MB is refused (IMAGE_DIFFERS) when it is more than 4096 times as large as its
// codestream. `result` may be null. IMAGE_NO_CODEC, IMAGE_PIXELS, IMAGE_DIFFERS, IMAGE_STREAM.
ORVKIT_IMAGE_API int imageCheckFrame(const char* uid, const DcImagePixels& says, const void* stream,
                                     std::size_t length, DcImageResult* result = nullptr) noexcept;
// Unpacks a frame into `room` bytes at `frame`, which are imageFrameBytes(says). First does what
// imageCheckFrame does. After a failure the frame's content is undefined. Beside those codes IMAGE_ROOM,
// IMAGE_CODEC, IMAGE_NO_MEMORY.
ORVKIT_IMAGE_API int imageDecodeFrame(const char* uid, const DcImagePixels& says, const void* stream,
                                      std::size_t length, void* frame, std::size_t room,
                                      DcImageResult* result = nullptr) noexcept;

// How a frame is packed. Those that a codec does not know, it does not look at.
struct DcImageOptions {
    unsigned int quality = 90;  // 1 to 100: JPEG, JPEG XL
    double ratio = 10;  // native bytes to one of the codestream, above 1: JPEG 2000 and HTJ2K with loss
    unsigned int nearLossless = 2;  // 1 to 255, most that a value may change: JPEG-LS with loss
    unsigned int predictor = 1;     // 1 to 7: JPEG lossless; of first order it is always 1
    bool dropUnusedBits =
        false;  // what is above Bits Stored and no sign is lost, instead of IMAGE_CANNOT_HOLD
};
// Packs the frame of `length` bytes, which are imageFrameBytes(pixels), behind what `stream` holds; it is as
// it was after a failure. The codestream may be of odd length. IMAGE_CANNOT_HOLD says which of bits, sign,
// colours the codec cannot hold. IMAGE_NO_CODEC, IMAGE_PIXELS, IMAGE_ROOM, IMAGE_OPTION, IMAGE_CODEC,
// IMAGE_NO_MEMORY.
ORVKIT_IMAGE_API int imageEncodeFrame(const char* uidOrName, const DcImagePixels& pixels, const void* frame,
                                      std::size_t length, const DcImageOptions& options,
                                      std::vector<unsigned char>& stream,
                                      DcImageResult* result = nullptr) noexcept;

// What a JPEG codestream says: rows, columns, samples, bits, and what colours are in it (RGB, YBR_FULL, or
// with fewer samples of colour than of brightness YBR_FULL_422). `uid` receives that of the transfer syntax
// for its process, or null where there is none, as for the progressive one. IMAGE_STREAM, IMAGE_NO_MEMORY.
ORVKIT_IMAGE_API int imageDescribeJpeg(const void* stream, std::size_t length, DcImageResult& says,
                                       const char*& uid) noexcept;

// ---- codec libraries in child processes
// -------------------------------------------------------------------- A codec's library may have faults of
// its own: some codestreams it does not come back from, over others it ends the process. Where bytes come
// from strangers it belongs into another process. What imageCheckFrame, imageDecodeFrame, imageEncodeFrame
// and imageRepackJpeg do by a library, and pictureRead (render.h), is done by child processes from then on:
// all but the codecs whose DcImageCodec::library is "", of which those of JPEG go there too where the
// codestream is one for libjpeg. The children have no files, bounds of time and memory, and go on from frame
// to frame; one that fails is replaced by another, and its fault is a result: IMAGE_CODEC, "JPEG-LS: the
// decoder did not come back within 10 s", "JPEG 2000: the decoder ended by signal 6". Other calls stay where
// they are.
struct DcImageIsolation {
    // A program that calls imageServeIsolated when that is its only argument, and ends after it. Null: the
    // program that runs, which must then do so in its main, before it has threads or files.
    const char* program = nullptr;
    const char* argument = "codec-child";
    unsigned int seconds = 10;      // for each 32 MB of a frame that are begun
    unsigned int megabytes = 1024;  // of addresses, beside 64 times the frame
    unsigned int children = 0;      // at work at once, of which others wait; 0: one a processor
};
// For the whole process, and at any time; null: in this process again, as at first. The texts are copied. A
// child is started to see whether that can be: IMAGE_NO_CHILD where not, as on Windows, and everything stays
// as it was. IMAGE_OPTION without an argument or a time.
ORVKIT_IMAGE_API int imageIsolate(const DcImageIsolation* isolation,
                                  DcImageResult* result = nullptr) noexcept;
// In such a child: does what its parent asks for until that has ended, and ends the process.
[[noreturn]] ORVKIT_IMAGE_API void imageServeIsolated() noexcept;

// Packs a JPEG codestream of 8 bits as JPEG XL (transfer syntax 1.2.840.10008.1.2.4.111), a fifth smaller, or
// unpacks one to the bytes that it was; behind what `out` holds, which is as it was after a failure.
// IMAGE_NO_CODEC, IMAGE_STREAM, IMAGE_CANNOT_HOLD a stream that was never JPEG, IMAGE_CODEC, IMAGE_NO_MEMORY.
ORVKIT_IMAGE_API int imageRepackJpeg(const void* stream, std::size_t length, bool pack,
                                     std::vector<unsigned char>& out,
                                     DcImageResult* result = nullptr) noexcept;

#endif
