// The JPEG of ISO 10918-1: which of its processes a codestream is, it says itself, whatever the transfer
// syntax.
#include <cstdint>

#include "image/jpeg_header.h"

namespace orvkit::image {

namespace {

constexpr bool kHasLibjpeg = ORVKIT_WITH_JPEG;

bool isLibjpegs(const jpeg::Frame& frame) {
    return kHasLibjpeg && frame.bits == 8 && frame.process <= jpeg::progressive;
}

Fault inspect(const DcImagePixels&, Bytes stream, Header& header) {
    jpeg::Headers headers;
    if (Fault fault = jpeg::readHeaders(stream, headers)) return fault;
    const jpeg::Frame& frame = headers.frame;
    const bool lossless = frame.process == jpeg::lossless;
    header = {frame.rows, frame.columns, frame.count, frame.bits, false, !lossless};
    if (frame.bits < 2 || frame.bits > 16) return damaged(std::to_string(frame.bits) + " bits");
    // Each sample takes a code of one bit, or each block of 64 one.
    const std::uint64_t samples = std::uint64_t{frame.rows} * frame.columns;
    if (samples / (lossless ? 1 : 256) / 8 > stream.size()) {
        return damaged("the codestream is too short for a frame of " + std::to_string(frame.columns) + " x " +
                       std::to_string(frame.rows));
    }
    return {};
}

Fault decode(DecodeJob& job) {
    jpeg::Headers headers;
    if (Fault fault = jpeg::readHeaders(job.stream, headers)) return fault;
    const jpeg::Frame& frame = headers.frame;
    if (frame.process == jpeg::lossless) return jpeg::decodeLossless(job);
    if constexpr (kHasLibjpeg) {
        if (isLibjpegs(frame)) return jpeg::decodeByLibjpeg(job, headers);
    }
    if ((frame.bits == 8 || frame.bits == 12) && frame.process <= jpeg::extended) {
        return jpeg::decodeSequential(job, headers);
    }
    return {IMAGE_NO_CODEC, "frames of the type SOF" + std::to_string(frame.process - jpeg::baseline) +
                                " of " + std::to_string(frame.bits) + " bits are not known"};
}

#if ORVKIT_WITH_JPEG
constexpr auto kEncodeLossy = jpeg::encodeByLibjpeg;
#else
constexpr Fault (*kEncodeLossy)(EncodeJob&) = nullptr;
#endif

}  // namespace

bool jpeg::isLibjpegs(Bytes stream) {
    Headers headers;
    return !readHeaders(stream, headers) && image::isLibjpegs(headers.frame);
}

const Coder kJpeg{inspect, decode, kEncodeLossy};
const Coder kJpegExtended{inspect, decode, jpeg::encodeSequential};
const Coder kJpegLossless{inspect, decode, jpeg::encodeLossless};

}  // namespace orvkit::image
