// The LZW codec: megabytes of uncompressed data a second, and the ratio to memcpy in the same run.
//
//   bench_lzw_bench                 the table
//   bench_lzw_bench image FILE      writes 50 MB of a 16-bit image, to compare with other programs
//   bench_lzw_bench encode FILE     reads a file, writes the stream to standard output
//   bench_lzw_bench decode FILE     the reverse
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "foundation/bytes.h"
#include "orvkit/lzw.h"
#include "platform/file.h"

namespace {

using Bytes = std::vector<unsigned char>;
using namespace orvkit::platform;

double seconds(const std::function<void()>& work) {
    double best = 1e9;
    for (int i = 0; i < 5; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

// Slices of 512 x 512 pixels: a body with a rim in air, and noise of a deviation of `sigma`.
Bytes image(int slices, double sigma) {
    std::mt19937 random(1);
    std::normal_distribution<double> noise(0, sigma);
    Bytes out;
    for (int i = 0; i < slices * 512 * 512; ++i) {
        const int x = i % 512, y = i / 512 % 512, slice = i / (512 * 512);
        const double r = std::hypot((x - 256) / 200.0, (y - 256) / 230.0);
        double v = r < 1 ? 1040 + 20 * std::sin(x / 40.0 + slice) + 15 * std::cos(y / 33.0) : 24;
        if (r > 0.9 && r < 1) v = 1900;
        if (r < 1.05 && sigma > 0) v += noise(random);
        const int pixel = std::clamp(static_cast<int>(v), 0, 4095);
        out.push_back(static_cast<unsigned char>(pixel));
        out.push_back(static_cast<unsigned char>(pixel >> 8));
    }
    return out;
}

Bytes random(std::size_t size) {
    std::mt19937 source(1);
    Bytes out(size);
    for (auto& byte : out) byte = static_cast<unsigned char>(source());
    return out;
}

bool encode(const Bytes& in, Bytes& room, unsigned int& length) {
    unsigned char* out = room.data();
    length = static_cast<unsigned int>(room.size());
    return lzwEncode(in.data(), static_cast<unsigned int>(in.size()), out, length) == 0;
}

bool row(const char* name, const Bytes& in) {
    Bytes room(in.size() + in.size() / 2 + 64), back(in.size());
    unsigned int length = 0, restored = 0;
    bool good = true;
    const double copying = seconds([&] { std::memcpy(back.data(), in.data(), in.size()); });
    const double encoding = seconds([&] { good = encode(in, room, length) && good; });
    const double decoding = seconds([&] {
        restored = static_cast<unsigned int>(back.size());
        good = lzwDecode(room.data(), length, back.data(), &restored) == 0 && good;
    });
    good = good && restored == in.size() && back == in;
    const double megabytes = static_cast<double>(in.size()) / 1e6;
    std::printf(
        "%-16s %6.1f MB to %5.1f %%   encode %6.1f MB/s (%.4f of memcpy)   decode %7.1f MB/s (%.4f)%s\n",
        name, megabytes, 100.0 * length / static_cast<double>(in.size()), megabytes / encoding,
        copying / encoding, megabytes / decoding, copying / decoding, good ? "" : "   WRONG");
    return good;
}

// Reads a file, sends it through the codec, writes the result to standard output.
bool convert(bool encoding, const char* path) {
    const FileHandle file = openRead(path);
    FileInfo info;
    if (!file || !examine(file.get(), info)) return false;
    const std::size_t size = static_cast<std::size_t>(info.size);
    // Not initialised, as a caller would have it.
    const std::unique_ptr<unsigned char[]> in(new unsigned char[size]);
    if (orvkit::platform::read(file.get(), in.get(), size) != info.size) return false;
    std::size_t capacity = size + size / 2 + 64;
    if (!encoding) {
        if (size < 8) return false;
        capacity = orvkit::loadAt<std::uint32_t>(in.get() + 4, orvkit::ByteOrder::little);
    }
    const std::unique_ptr<unsigned char[]> out(new unsigned char[capacity]);
    unsigned char* end = out.get();
    unsigned int length = static_cast<unsigned int>(capacity);
    const unsigned int inLength = static_cast<unsigned int>(size);
    const int result = encoding ? lzwEncode(in.get(), inLength, end, length)
                                : lzwDecode(in.get(), inLength, out.get(), &length);
    return result == 0 && writeAll(1, out.get(), length);
}

}  // namespace

int main(int count, char** arguments) {
    const std::string what = count == 3 ? arguments[1] : "";
    if (what == "image") {
        const Bytes bytes = image(96, 12);
        const FileHandle file = createWrite(arguments[2]);
        return file && writeAll(file.get(), bytes.data(), bytes.size()) ? 0 : 1;
    }
    if (what == "encode" || what == "decode") return convert(what == "encode", arguments[2]) ? 0 : 1;
    bool good = row("noisy image", image(96, 12));
    good = row("quiet image", image(96, 3)) && good;
    good = row("smooth image", image(96, 0)) && good;
    good = row("random bytes", random(25000000)) && good;
    return good ? 0 : 1;
}
