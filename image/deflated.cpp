// Frames deflated one by one (PS3.5 A.4.12), by zlib.
#include "deflate/zlib_pass.h"
#include "image/codec.h"

namespace orvkit::image {

namespace {

using namespace zlib;

constexpr std::size_t kMostExpansion = 1032;  // of a stream, by its format

struct Inflater {
    Inflater() : sound(inflateInit2(&z, kRawWindow) == Z_OK) {}
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() { (void)inflateEnd(&z); }
    z_stream z{};
    bool sound;
};

struct Deflater {
    Deflater()
        : sound(deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kRawWindow, kMemoryLevel,
                             Z_DEFAULT_STRATEGY) == Z_OK) {}
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;
    ~Deflater() { (void)deflateEnd(&z); }
    z_stream z{};
    bool sound;
};

Fault inspect(const DcImagePixels& says, Bytes stream, Header& header) {
    header = {says.rows, says.columns, says.samples, says.bitsStored, says.isSigned, false};
    if (imageFrameBytes(says) / kMostExpansion > stream.size()) return damaged("too short for the frame");
    return {};
}

Fault decode(DecodeJob& job) {
    Inflater inflater;
    if (!inflater.sound) throw std::bad_alloc();
    Bytes in = job.stream;
    Room out = job.samples;
    int result = Z_OK;
    while (result == Z_OK && !out.empty()) {
        result = pass(inflater.z, in, out, [&] { return inflate(&inflater.z, Z_NO_FLUSH); });
    }
    if (result == Z_MEM_ERROR) throw std::bad_alloc();
    if (out.empty()) return {};
    return damaged(inflater.z.msg != nullptr ? inflater.z.msg
                                             : "the stream ends before the frame is complete");
}

Fault encode(EncodeJob& job) {
    Deflater deflater;
    if (!deflater.sound) throw std::bad_alloc();
    const std::size_t before = job.out.size();
    Bytes in = job.samples;
    job.out.resize(before + deflateBound(&deflater.z, static_cast<uLong>(in.size())));
    Room out = Room(job.out).subspan(before);
    int result = Z_OK;
    while (result == Z_OK) {
        const int flush = in.size() <= std::numeric_limits<uInt>::max() ? Z_FINISH : Z_NO_FLUSH;
        result = pass(deflater.z, in, out, [&] { return deflate(&deflater.z, flush); });
    }
    if (result != Z_STREAM_END) return {IMAGE_CODEC, "zlib: " + std::to_string(result)};
    job.out.resize(job.out.size() - out.size());
    return {};
}

}  // namespace

const Coder kDeflated{inspect, decode, encode};

}  // namespace orvkit::image
