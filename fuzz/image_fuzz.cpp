// Codestreams of every codec: hostile ones, sound ones that were tampered with, and whatever is packed
// without loss must come back. The first byte picks the codec, unless ORVKIT_FUZZ_CODEC names it, the next
// ones describe pixels.

#include <algorithm>
#include <cstring>
#include <map>
#include <tuple>

#include "fuzz/target.h"
#include "tests/image/synthetic.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Codec libraries have faults of their own: hostile bytes reach them in child processes, or not at all where
// there are none; in this one where ORVKIT_FUZZ_LIBRARIES asks for it.
enum class Libraries { leftOut, isolated, here } libraries = Libraries::leftOut;

constexpr std::size_t kDescription = 4;
// Where a codestream says that it is large, so much is not decoded: time is for what is small.
constexpr unsigned int kMostSide = 96;

const DcImageCodec& codecOf(std::uint8_t first) {
    static const DcImageCodec* const named = imageFindCodec(std::getenv("ORVKIT_FUZZ_CODEC"));
    std::size_t count = 0;
    const DcImageCodec* const codecs = imageCodecs(count);
    return named != nullptr ? *named : codecs[first % count];
}

DcImagePixels described(const Bytes& in) {
    DcImagePixels pixels =
        synthetic::described(1 + in[0] % kMostSide, 1 + in[1] % kMostSide, 1 + in[2] % 16,
                             (in[2] & 0x40) != 0, (in[2] & 0x20) != 0 ? 3 : 1, in[3] % 2 != 0);
    if ((in[3] & 2) != 0) pixels.bitsAllocated = 16;
    return pixels;
}

// A sound stream of these pixels, made once.
const Bytes& streamOf(const DcImageCodec& codec, const DcImagePixels& p) {
    static std::map<std::tuple<const DcImageCodec*, unsigned, unsigned, unsigned, unsigned>, Bytes> made;
    const unsigned int kind =
        p.bitsStored + 32 * p.isSigned + 64 * p.samples + 512 * p.planar + 1024 * p.bitsAllocated;
    const auto [at, isNew] = made.try_emplace({&codec, p.rows, p.columns, kind, 0});
    if (isNew && codec.encodes) {
        const synthetic::Frame frame = synthetic::frameOf(p);
        (void)imageEncodeFrame(codec.uid, p, frame.data(), frame.size(), {}, at->second);
    }
    return at->second;
}

// Each three bytes of what is given change one of the stream; the first cuts it.
Bytes tampered(Bytes stream, const unsigned char* edits, std::size_t count) {
    if (stream.empty() || count == 0) return stream;
    if (edits[0] < 64) stream.resize(stream.size() * edits[0] / 64);
    for (std::size_t i = 1; i + 3 <= count && i < 48 && !stream.empty(); i += 3) {
        stream[(edits[i] * 256u + edits[i + 1]) % stream.size()] = edits[i + 2];
    }
    return stream;
}

void decode(const DcImageCodec& codec, const DcImagePixels& pixels, const Bytes& stream) {
    if (*codec.library != '\0' && libraries == Libraries::leftOut) return;
    Bytes frame(static_cast<std::size_t>(imageFrameBytes(pixels)));
    DcImageResult result;
    const int code = imageDecodeFrame(codec.uid, pixels, stream.data(), stream.size(), frame.data(),
                                      frame.size(), &result);
    fuzz::require((code == RESULT_OK) == (result.text[0] == '\0'));
}

void roundTrip(const DcImageCodec& codec, const DcImagePixels& pixels, const unsigned char* data,
               std::size_t size) {
    Bytes frame(static_cast<std::size_t>(imageFrameBytes(pixels))), stream;
    std::copy_n(data, std::min(size, frame.size()), frame.begin());
    if (imageEncodeFrame(codec.uid, pixels, frame.data(), frame.size(), {}, stream) != RESULT_OK) return;
    Bytes back(frame.size());
    const int code =
        imageDecodeFrame(codec.uid, pixels, stream.data(), stream.size(), back.data(), back.size());
    // A child that the machine has no time for.
    if (code == IMAGE_CODEC && libraries == Libraries::isolated) return;
    fuzz::require(code == RESULT_OK);
    // A sign that was not there above Bits Stored is there then.
    fuzz::require(!codec.lossless || back == frame || (pixels.isSigned && !codec.bytes));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    DcImageIsolation isolation;
    if (*argc == 2 && std::strcmp((*argv)[1], isolation.argument) == 0) imageServeIsolated();
    isolation.seconds = 5;
    if (std::getenv("ORVKIT_FUZZ_LIBRARIES") != nullptr) {
        libraries = Libraries::here;
    } else if (imageIsolate(&isolation) == RESULT_OK) {
        libraries = Libraries::isolated;
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 + kDescription) return 0;
    const Bytes in = fuzz::content(data, size);
    const DcImageCodec& codec = codecOf(data[0]);
    const DcImagePixels pixels = described(in);
    const unsigned char* rest = in.data() + kDescription;
    const std::size_t left = in.size() - kDescription;
    switch (in[3] >> 2 & 3) {
        case 0:
            decode(codec, pixels, {rest, rest + left});
            break;
        case 1:
            roundTrip(codec, pixels, rest, left);
            break;
        default:
            decode(codec, pixels, tampered(streamOf(codec, pixels), rest, left));
    }
    return 0;
}
