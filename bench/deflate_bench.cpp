// Deflated data sets against zlib itself, timed in the same run, in turn: bytes of the data set a second.
#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <vector>

#include "encoding/codec.h"
#include "orvkit/deflate.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr int kRawWindow = -15;

// A 16-bit image of 12 bits: slopes, and the noise of a scanner.
Bytes image(std::size_t side) {
    Bytes bytes(2 * side * side);
    unsigned int noise = 1;
    for (std::size_t i = 0; i < side * side; ++i) {
        noise = noise * 1664525u + 1013904223u;
        const double x = static_cast<double>(i % side) / static_cast<double>(side);
        const auto value = static_cast<unsigned int>(2000 + 1500 * std::sin(7 * x) + (noise >> 28));
        bytes[2 * i] = static_cast<unsigned char>(value);
        bytes[2 * i + 1] = static_cast<unsigned char>(value >> 8);
    }
    return bytes;
}

std::size_t zlibDeflate(const Bytes& in, Bytes& out) {
    z_stream z{};
    if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kRawWindow, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return 0;
    z.next_in = const_cast<Bytef*>(in.data());
    z.avail_in = static_cast<uInt>(in.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    (void)deflate(&z, Z_FINISH);
    (void)deflateEnd(&z);
    return z.total_out;
}

std::size_t zlibInflate(const Bytes& in, Bytes& out) {
    z_stream z{};
    if (inflateInit2(&z, kRawWindow) != Z_OK) return 0;
    z.next_in = const_cast<Bytef*>(in.data());
    z.avail_in = static_cast<uInt>(in.size());
    z.next_out = out.data();
    z.avail_out = static_cast<uInt>(out.size());
    (void)inflate(&z, Z_FINISH);
    (void)inflateEnd(&z);
    return z.total_out;
}

std::size_t ours(std::unique_ptr<orvkit::CodecStream> stream, const Bytes& in) {
    orvkit::MemorySink out;
    orvkit::CodecPump pump(std::move(stream), out);
    (void)pump.push(in, true);
    return out.bytes().size();
}

template <typename Work>
double seconds(Work work, std::size_t expected) {
    const auto begun = Clock::now();
    if (work() != expected) std::puts("WRONG SIZE");
    return std::chrono::duration<double>(Clock::now() - begun).count();
}

// The best of each, taken in turn; zlib has its room ready.
template <typename Ours, typename Zlib>
void row(const char* name, std::size_t bytes, std::size_t expected, Ours mine, Zlib zlib) {
    double best = 1e9, bare = 1e9;
    for (int i = 0; i < kRounds; ++i) {
        best = std::min(best, seconds(mine, expected));
        bare = std::min(bare, seconds(zlib, expected));
    }
    std::printf("%-24s %8.1f MB/s   zlib %8.1f MB/s   ratio %.2f\n", name,
                static_cast<double>(bytes) / best / 1e6, static_cast<double>(bytes) / bare / 1e6,
                bare / best);
}

}  // namespace

int main() {
    deflateRegister();
    const orvkit::DataSetCodec& codec = *orvkit::codecOf(UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT);
    const Bytes plain = image(1024);
    Bytes packed(2 * plain.size());
    packed.resize(zlibDeflate(plain, packed));
    Bytes room(2 * plain.size());
    row(
        "inflate, 2 MB image", plain.size(), plain.size(), [&] { return ours(codec.decoder(), packed); },
        [&] { return zlibInflate(packed, room); });
    row(
        "deflate, 2 MB image", plain.size(), packed.size(), [&] { return ours(codec.encoder(), plain); },
        [&] { return zlibDeflate(plain, room); });
    return 0;
}
