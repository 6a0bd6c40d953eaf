// From a codestream to the pixels that a data set describes: what is the same whichever codec it is.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "image/codec.h"

namespace orvkit::image {

namespace {

constexpr std::uint64_t kAlwaysAffordable = std::uint64_t{64} << 20;
constexpr std::uint64_t kMostExpansion = 4096;

std::string sizeOf(unsigned int columns, unsigned int rows, unsigned int samples) {
    return std::to_string(columns) + " x " + std::to_string(rows) +
           (samples == 1 ? std::string() : " with " + std::to_string(samples) + " samples a pixel");
}

Fault agree(const Codec& codec, const DcImagePixels& says, const Header& header) {
    if (header.columns != says.columns || header.rows != says.rows || header.samples != says.samples) {
        return {IMAGE_DIFFERS, "the codestream is " + sizeOf(header.columns, header.rows, header.samples) +
                                   ", the data set says " + sizeOf(says.columns, says.rows, says.samples)};
    }
    if (codec.facts.bytes) return {};
    if (says.bitsAllocated != 8 && says.bitsAllocated != 16) {
        return {IMAGE_CANNOT_HOLD, std::to_string(says.bitsAllocated) + " bits allocated"};
    }
    if (header.bits < 1 || header.bits > says.bitsAllocated) {
        return {IMAGE_DIFFERS, "the codestream has samples of " + std::to_string(header.bits) +
                                   " bits, the data set allocates " + std::to_string(says.bitsAllocated)};
    }
    return {};
}

// From the end of the room to all of it: each sample is read before the place is written.
void widen(Room frame, std::size_t count) {
    const unsigned char* narrow = frame.data() + frame.size() - count;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint16_t wide = narrow[i];
        std::memcpy(frame.data() + 2 * i, &wide, sizeof wide);
    }
}

void arrange(const DecodeJob& job, Room samples) {
    if (job.planar == job.says.planar || job.says.samples == 1) return;
    const Scratch copy(samples.begin(), samples.end());
    const unsigned int width = sampleBytes(job.header.bits);
    job.says.planar ? toPlanes(copy, job.says.samples, width, samples)
                    : toPixels(copy, job.says.samples, width, samples);
}

template <typename Word>
void cleanWords(Room frame, unsigned int mask, unsigned int sign) {
    for (std::size_t at = 0; at + sizeof(Word) <= frame.size(); at += sizeof(Word)) {
        Word word;
        std::memcpy(&word, frame.data() + at, sizeof word);
        word = static_cast<Word>(((word & mask) ^ sign) - sign);
        std::memcpy(frame.data() + at, &word, sizeof word);
    }
}

// Nothing above Bits Stored but the sign.
void clean(const DecodeJob& job, Room frame) {
    const DcImagePixels& says = job.says;
    const unsigned int bits = std::min(job.header.bits, says.bitsStored);
    const bool fits = job.header.bits <= bits && !job.header.isSigned;
    if (fits && (!says.isSigned || bits == says.bitsAllocated)) return;
    const unsigned int sign = says.isSigned ? 1u << (bits - 1) : 0;
    says.bitsAllocated == 8 ? cleanWords<std::uint8_t>(frame, maskOf(bits), sign)
                            : cleanWords<std::uint16_t>(frame, maskOf(bits), sign);
}

}  // namespace

Fault checkFrame(const Codec& codec, const DcImagePixels& says, Bytes stream, Header& header) {
    if (imageCheckPixels(says) != RESULT_OK) return {IMAGE_PIXELS, "the pixels' description makes no sense"};
    if (codec.coder == nullptr) {
        return {IMAGE_NO_CODEC, std::string("this build is without ") + codec.facts.library};
    }
    if (stream.empty()) return damaged("the codestream is empty");
    if (Fault fault = codec.coder->inspect(says, stream, header)) return fault;
    if (Fault fault = agree(codec, says, header)) return fault;
    const std::uint64_t bytes = imageFrameBytes(says);
    if (bytes > kAlwaysAffordable && bytes / kMostExpansion > stream.size()) {
        return {IMAGE_DIFFERS,
                std::to_string(stream.size()) + " bytes cannot be a frame of " + std::to_string(bytes)};
    }
    return {};
}

Fault decodeFrame(const Codec& codec, const DcImagePixels& says, Bytes stream, Room frame,
                  DcImageResult& result) {
    Header header;
    if (Fault fault = checkFrame(codec, says, stream, header)) return fault;
    if (frame.size() != imageFrameBytes(says)) {
        return {IMAGE_ROOM, "a frame is " + std::to_string(imageFrameBytes(says)) + " bytes, the room is " +
                                std::to_string(frame.size())};
    }
    const bool narrow = !codec.facts.bytes && header.bits <= 8 && says.bitsAllocated == 16;
    const std::size_t count = frame.size() / 2;
    DecodeJob job{says, stream, header, narrow ? frame.last(count) : frame};
    if (Fault fault = codec.coder->decode(job)) return fault;
    if (!codec.facts.bytes) {
        arrange(job, job.samples);
        if (narrow) widen(frame, count);
        clean(job, frame);
        result.pixels.highBit = says.bitsStored - 1;
    }
    result.pixels.photometric = job.photometric;
    result.precision = header.bits;
    result.lossy = header.lossy;
    return {};
}

}  // namespace orvkit::image
