// Frames through the codecs: decoding against the codec's library alone on the same codestream, timed in
// turn; encoding; and RLE against a copy of the frame in memory.
#include "orvkit/image.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
// After what they need.
#include <jpeglib.h>

#include <charls/charls.h>
#include <openjpeg.h>

#include <cstring>
#include <functional>
#include <string>

namespace {

using Bytes = std::vector<unsigned char>;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 7;

DcImagePixels described(unsigned int bits, unsigned int samples) {
    DcImagePixels pixels;
    pixels.rows = 2000;
    pixels.columns = 2500;
    pixels.samples = samples;
    pixels.bitsAllocated = bits <= 8 ? 8 : 16;
    pixels.bitsStored = bits;
    pixels.highBit = bits - 1;
    pixels.photometric = samples == 3 ? DcPhotometric::rgb : DcPhotometric::monochrome2;
    return pixels;
}

// Slopes, edges, and the noise of a detector.
Bytes frameOf(const DcImagePixels& pixels) {
    Bytes frame(imageFrameBytes(pixels));
    const std::size_t width = pixels.bitsAllocated / 8;
    unsigned int noise = 1;
    for (std::size_t i = 0; i < frame.size() / width; ++i) {
        noise = noise * 1664525u + 1013904223u;
        const auto x = static_cast<double>(i / pixels.samples % pixels.columns) / 2500;
        const auto y = static_cast<double>(i / pixels.samples / pixels.columns) / 2000;
        const double body =
            0.5 + 0.4 * std::sin(9 * x) * std::cos(7 * y) + (std::hypot(x - 0.5, y - 0.5) < 0.3 ? 0.05 : 0);
        const unsigned int value =
            static_cast<unsigned int>(body * ((1 << pixels.bitsStored) - 16)) + (noise >> 28);
        for (std::size_t b = 0; b < width; ++b)
            frame[i * width + b] = static_cast<unsigned char>(value >> (8 * b));
    }
    return frame;
}

double seconds(const std::function<bool()>& work) {
    const auto begun = Clock::now();
    if (!work()) std::puts("FAILED");
    return std::chrono::duration<double>(Clock::now() - begun).count();
}

bool charlsAlone(const Bytes& stream, Bytes& frame) {
    charls::jpegls_decoder decoder(stream, true);
    decoder.decode(frame);
    return true;
}

bool libjpegAlone(const Bytes& stream, Bytes& frame) {
    jpeg_decompress_struct info{};
    jpeg_error_mgr error{};
    info.err = jpeg_std_error(&error);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, stream.data(), static_cast<unsigned long>(stream.size()));
    (void)jpeg_read_header(&info, TRUE);
    (void)jpeg_start_decompress(&info);
    const std::size_t pitch =
        std::size_t{info.output_width} * static_cast<unsigned int>(info.output_components);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = frame.data() + info.output_scanline * pitch;
        (void)jpeg_read_scanlines(&info, &row, 1);
    }
    (void)jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return true;
}

struct Source {
    const Bytes& bytes;
    std::size_t at = 0;
};
OPJ_SIZE_T readSource(void* to, OPJ_SIZE_T length, void* self) {
    auto& source = *static_cast<Source*>(self);
    const std::size_t n = std::min(length, source.bytes.size() - source.at);
    std::memcpy(to, source.bytes.data() + source.at, n);
    source.at += n;
    return n == 0 ? static_cast<OPJ_SIZE_T>(-1) : n;
}

// Without taking the samples from the library.
bool openjpegAlone(const Bytes& bytes, Bytes&) {
    Source source{bytes};
    opj_stream_t* stream = opj_stream_create(1 << 16, OPJ_TRUE);
    opj_stream_set_user_data(stream, &source, nullptr);
    opj_stream_set_user_data_length(stream, bytes.size());
    opj_stream_set_read_function(stream, readSource);
    opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_J2K);
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* image = nullptr;
    const bool whole = opj_setup_decoder(codec, &parameters) && opj_read_header(stream, codec, &image) &&
                       opj_decode(codec, stream, image);
    opj_image_destroy(image);
    opj_destroy_codec(codec);
    opj_stream_destroy(stream);
    return whole;
}

void row(const char* name, unsigned int bits, unsigned int samples,
         bool (*alone)(const Bytes&, Bytes&) = nullptr) {
    const DcImagePixels pixels = described(bits, samples);
    const Bytes frame = frameOf(pixels);
    Bytes stream, room(frame.size());
    const double encoding = seconds(
        [&] { return imageEncodeFrame(name, pixels, frame.data(), frame.size(), {}, stream) == RESULT_OK; });
    const char* uid = imageFindCodec(name)->uid;
    double best = 1e9, bare = 1e9;
    for (int i = 0; i < kRounds; ++i) {
        best = std::min(best, seconds([&] {
                            return imageDecodeFrame(uid, pixels, stream.data(), stream.size(), room.data(),
                                                    room.size()) == RESULT_OK;
                        }));
        if (alone != nullptr) bare = std::min(bare, seconds([&] { return alone(stream, room); }));
    }
    std::printf("%-14s %2u bits x %u  %5.2f : 1  encode %7.1f ms  decode %7.1f ms %6.0f MB/s", name, bits,
                samples, static_cast<double>(frame.size()) / static_cast<double>(stream.size()),
                encoding * 1e3, best * 1e3, static_cast<double>(frame.size()) / best / 1e6);
    if (alone != nullptr) std::printf("   library %7.1f ms  ratio %.2f", bare * 1e3, best / bare);
    std::puts("");
}

// A frame of runs.
void runs() {
    const DcImagePixels pixels = described(16, 1);
    const Bytes frame(imageFrameBytes(pixels), 0);
    Bytes stream, room(frame.size());
    (void)imageEncodeFrame("rle", pixels, frame.data(), frame.size(), {}, stream);
    double best = 1e9, copy = 1e9;
    for (int i = 0; i < kRounds; ++i) {
        best = std::min(best, seconds([&] {
                            return imageDecodeFrame("1.2.840.10008.1.2.5", pixels, stream.data(),
                                                    stream.size(), room.data(), room.size()) == RESULT_OK;
                        }));
        copy = std::min(copy, seconds([&] {
                            std::memcpy(room.data(), frame.data(), frame.size());
                            return room[frame.size() / 2] == 0;
                        }));
    }
    std::printf("rle, runs of 16 bits: %.2f of memcpy\n", copy / best);
}

}  // namespace

int main() {
    runs();
    row("rle", 12, 1);
    row("jpeg", 8, 1, libjpegAlone);
    row("jpeg", 8, 3, libjpegAlone);
    row("jpeg-lossless", 12, 1);
    row("jpeg-lossless", 8, 3);
    row("jpegls", 12, 1, charlsAlone);
    row("j2k", 12, 1, openjpegAlone);
    row("htj2k", 12, 1, openjpegAlone);
    row("jxl", 12, 1);
    row("deflated-frames", 12, 1);
    return 0;
}
