// From the pixels that a data set describes to a codestream: what is the same whichever codec it is.
#include <cstdint>
#include <cstring>

#include "image/codec.h"

namespace orvkit::image {

namespace {

std::string bitsThatItHolds(const DcImageCodec& facts) {
    return std::to_string(facts.minBits) +
           (facts.minBits == facts.maxBits ? std::string() : " to " + std::to_string(facts.maxBits));
}

Fault holds(const DcImageCodec& facts, const DcImagePixels& pixels) {
    const auto cannot = [](std::string what) { return Fault{IMAGE_CANNOT_HOLD, std::move(what)}; };
    if (facts.bytes) return {};
    if (!facts.lossless && pixels.photometric == DcPhotometric::paletteColor) {
        return cannot("cannot hold places in a palette: they must come back as they are");
    }
    if (pixels.bitsAllocated != 8 && pixels.bitsAllocated != 16) {
        return cannot("cannot hold " + std::to_string(pixels.bitsAllocated) + " bits allocated: 8 or 16");
    }
    if (pixels.bitsStored < facts.minBits || pixels.bitsStored > facts.maxBits) {
        return cannot("cannot hold " + std::to_string(pixels.bitsStored) +
                      " bits stored: " + bitsThatItHolds(facts));
    }
    if (pixels.isSigned && !facts.isSigned) return cannot("cannot hold signed pixels");
    if (pixels.samples != 1 && (pixels.samples != 3 || !facts.colour)) {
        return cannot("cannot hold " + std::to_string(pixels.samples) + " samples a pixel");
    }
    return {};
}

// A pass over the samples of a frame: to what is stored alone, at the lower end. Tells whether anything else
// was there but copies of the sign.
template <typename From, typename To>
bool extract(const DcImagePixels& pixels, Bytes frame, Room samples) {
    const unsigned int shift = pixels.highBit + 1 - pixels.bitsStored;
    const unsigned int mask = maskOf(pixels.bitsStored);
    const unsigned int whole = maskOf(pixels.bitsAllocated);
    const unsigned int sign = pixels.isSigned ? 1u << (pixels.bitsStored - 1) : 0;
    unsigned int lost = 0;
    for (std::size_t i = 0; i < frame.size() / sizeof(From); ++i) {
        From word;
        std::memcpy(&word, frame.data() + i * sizeof word, sizeof word);
        const unsigned int value = (word >> shift) & mask;
        const unsigned int extended = ((((value ^ sign) - sign) << shift)) & whole;
        const unsigned int plain = value << shift;
        lost |= (word ^ plain) != 0 ? word ^ extended : 0u;
        const To out = static_cast<To>(value);
        std::memcpy(samples.data() + i * sizeof out, &out, sizeof out);
    }
    return lost == 0;
}

// The samples of a frame as a codec sees them.
Fault prepare(const DcImagePixels& pixels, Bytes frame, bool drop, Scratch& samples) {
    const unsigned int width = sampleBytes(pixels.bitsStored);
    samples.resize(frame.size() / (pixels.bitsAllocated / 8) * width);
    const auto pass = pixels.bitsAllocated == 8 ? extract<std::uint8_t, std::uint8_t>
                      : width == 1              ? extract<std::uint16_t, std::uint8_t>
                                                : extract<std::uint16_t, std::uint16_t>;
    if (!pass(pixels, frame, samples) && !drop) {
        return {IMAGE_CANNOT_HOLD, "cannot hold what is outside the bits stored"};
    }
    if (pixels.samples > 1 && pixels.planar) {
        const Scratch planes = samples;
        toPixels(planes, pixels.samples, width, samples);
    }
    return {};
}

Fault encodeSamples(const Codec& codec, const DcImagePixels& pixels, Bytes frame, EncodeJob& job) {
    if (codec.facts.bytes) return codec.coder->encode(job);
    Scratch samples;
    if (Fault fault = prepare(pixels, frame, job.options.dropUnusedBits, samples)) return fault;
    job.samples = samples;
    return codec.coder->encode(job);
}

}  // namespace

Fault encodeFrame(const Codec& codec, const DcImagePixels& pixels, Bytes frame, const DcImageOptions& options,
                  std::vector<unsigned char>& stream, DcImageResult& result) {
    if (imageCheckPixels(pixels) != RESULT_OK)
        return {IMAGE_PIXELS, "the pixels' description makes no sense"};
    if (codec.facts.name[0] == '\0') return {IMAGE_NO_CODEC, "nothing is encoded in this syntax"};
    if (codec.coder == nullptr) {
        return {IMAGE_NO_CODEC, std::string("this build is without ") + codec.facts.library};
    }
    if (codec.coder->encode == nullptr)
        return {IMAGE_CANNOT_HOLD, "cannot hold anything but JPEG codestreams"};
    if (Fault fault = holds(codec.facts, pixels)) return fault;
    if (frame.size() != imageFrameBytes(pixels)) {
        return {IMAGE_ROOM, "a frame is " + std::to_string(imageFrameBytes(pixels)) +
                                " bytes, what was given is " + std::to_string(frame.size())};
    }
    const std::size_t before = stream.size();
    DcImagePixels packed = pixels;
    if (!codec.facts.bytes) {
        packed.highBit = pixels.bitsStored - 1;
        packed.planar = false;
    }
    EncodeJob job{packed, frame, options, codec.facts.lossless, codec.facts.uid, stream};
    if (Fault fault = encodeSamples(codec, pixels, frame, job)) {
        stream.resize(before);
        return fault;
    }
    result.pixels = packed;
    result.pixels.photometric = job.photometric;
    result.precision = pixels.bitsStored;
    result.lossy = !codec.facts.lossless;
    return {};
}

}  // namespace orvkit::image
