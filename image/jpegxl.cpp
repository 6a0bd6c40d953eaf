// JPEG XL (ISO 18181) by libjxl: lossless, with loss, and JPEG codestreams repacked without loss both ways.
#include <jxl/decode.h>
#include <jxl/encode.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "image/codec.h"
#include "image/module.h"

namespace orvkit::image {

namespace {

using Decoder = std::unique_ptr<JxlDecoder, Release<JxlDecoderDestroy>>;
using Encoder = std::unique_ptr<JxlEncoder, Release<JxlEncoderDestroy>>;

constexpr std::size_t kPiece = 64 << 10;
constexpr int kEffort = 3;  // of 9: what more brings costs ten times the time and saves a few hundredths

// The library knows samples of whole words only: values of fewer bits are spread over the word's range, and
// come back exactly.
template <typename Word>
void scale(Room samples, std::uint32_t from, std::uint32_t to) {
    if (from == to) return;
    for (std::size_t at = 0; at + sizeof(Word) <= samples.size(); at += sizeof(Word)) {
        Word word;
        std::memcpy(&word, samples.data() + at, sizeof word);
        word = static_cast<Word>((std::uint64_t{word} * to + from / 2) / from);
        std::memcpy(samples.data() + at, &word, sizeof word);
    }
}
void spread(Room samples, unsigned int bits) {
    sampleBytes(bits) == 1 ? scale<std::uint8_t>(samples, maskOf(bits), maskOf(8))
                           : scale<std::uint16_t>(samples, maskOf(bits), maskOf(16));
}
void gather(Room samples, unsigned int bits) {
    sampleBytes(bits) == 1 ? scale<std::uint8_t>(samples, maskOf(8), maskOf(bits))
                           : scale<std::uint16_t>(samples, maskOf(16), maskOf(bits));
}

JxlPixelFormat formatOf(unsigned int samples, unsigned int bits) {
    return {samples, sampleBytes(bits) == 1 ? JXL_TYPE_UINT8 : JXL_TYPE_UINT16, JXL_NATIVE_ENDIAN, 0};
}

Decoder decoderOf(Bytes stream, int events) {
    Decoder decoder(JxlDecoderCreate(nullptr));
    if (!decoder) throw std::bad_alloc();
    (void)JxlDecoderSubscribeEvents(decoder.get(), events);
    (void)JxlDecoderSetKeepOrientation(decoder.get(), JXL_TRUE);
    (void)JxlDecoderSetInput(decoder.get(), stream.data(), stream.size());
    JxlDecoderCloseInput(decoder.get());
    return decoder;
}

// The library has no words of its own.
Fault faultOf(JxlDecoderStatus status) {
    return damaged(status == JXL_DEC_NEED_MORE_INPUT ? "the codestream ends too early"
                                                     : "the decoder gives up on the codestream");
}

Fault inspect(const DcImagePixels&, Bytes stream, Header& header) {
    const JxlSignature signature = JxlSignatureCheck(stream.data(), stream.size());
    if (signature != JXL_SIG_CODESTREAM && signature != JXL_SIG_CONTAINER) {
        return damaged("no JPEG XL codestream");
    }
    const Decoder decoder = decoderOf(stream, JXL_DEC_BASIC_INFO);
    const JxlDecoderStatus status = JxlDecoderProcessInput(decoder.get());
    JxlBasicInfo info;
    if (status != JXL_DEC_BASIC_INFO || JxlDecoderGetBasicInfo(decoder.get(), &info) != JXL_DEC_SUCCESS) {
        return faultOf(status);
    }
    if (info.exponent_bits_per_sample != 0) return {IMAGE_CANNOT_HOLD, "samples are floating point numbers"};
    header.rows = info.ysize;
    header.columns = info.xsize;
    header.samples = info.num_color_channels;
    header.bits = info.bits_per_sample;
    header.lossy = info.uses_original_profile == JXL_FALSE;
    return {};
}

Fault decode(DecodeJob& job) {
    const Decoder decoder = decoderOf(job.stream, JXL_DEC_FULL_IMAGE);
    const JxlPixelFormat format = formatOf(job.header.samples, job.header.bits);
    JxlDecoderStatus status = JxlDecoderProcessInput(decoder.get());
    if (status != JXL_DEC_NEED_IMAGE_OUT_BUFFER) return faultOf(status);
    std::size_t size = 0;
    if (JxlDecoderImageOutBufferSize(decoder.get(), &format, &size) != JXL_DEC_SUCCESS ||
        size != job.samples.size() ||
        JxlDecoderSetImageOutBuffer(decoder.get(), &format, job.samples.data(), size) != JXL_DEC_SUCCESS) {
        return {IMAGE_CODEC, "the decoder wants other room"};
    }
    status = JxlDecoderProcessInput(decoder.get());
    if (status != JXL_DEC_FULL_IMAGE) return faultOf(status);
    gather(job.samples, job.header.bits);
    job.planar = false;
    if (job.header.samples == 3) job.photometric = DcPhotometric::rgb;
    return {};
}

Fault drain(JxlEncoder* encoder, std::vector<unsigned char>& out) {
    JxlEncoderCloseInput(encoder);
    JxlEncoderStatus status = JXL_ENC_NEED_MORE_OUTPUT;
    while (status == JXL_ENC_NEED_MORE_OUTPUT) {
        const std::size_t before = out.size();
        out.resize(before + kPiece);
        unsigned char* next = out.data() + before;
        std::size_t room = kPiece;
        status = JxlEncoderProcessOutput(encoder, &next, &room);
        out.resize(out.size() - room);
    }
    if (status == JXL_ENC_SUCCESS) return {};
    if (JxlEncoderGetError(encoder) == JXL_ENC_ERR_OOM) throw std::bad_alloc();
    return {IMAGE_CODEC, "encoder error " + std::to_string(JxlEncoderGetError(encoder))};
}

Encoder newEncoder() {
    Encoder encoder(JxlEncoderCreate(nullptr));
    if (!encoder) throw std::bad_alloc();
    return encoder;
}

bool describe(JxlEncoder* encoder, const EncodeJob& job) {
    JxlBasicInfo info;
    JxlEncoderInitBasicInfo(&info);
    info.xsize = job.pixels.columns;
    info.ysize = job.pixels.rows;
    info.bits_per_sample = job.pixels.bitsStored;
    info.num_color_channels = job.pixels.samples;
    info.uses_original_profile = job.lossless ? JXL_TRUE : JXL_FALSE;
    JxlColorEncoding colour;
    JxlColorEncodingSetToSRGB(&colour, job.pixels.samples == 1 ? JXL_TRUE : JXL_FALSE);
    // Samples of more than 12 bits are of a level that codestreams alone cannot tell.
    const bool levelled =
        job.pixels.bitsStored <= 12 || JxlEncoderSetCodestreamLevel(encoder, 10) == JXL_ENC_SUCCESS;
    return levelled && JxlEncoderSetBasicInfo(encoder, &info) == JXL_ENC_SUCCESS &&
           JxlEncoderSetColorEncoding(encoder, &colour) == JXL_ENC_SUCCESS;
}

// Distances as the library's own programs make them of a quality.
float distanceOf(unsigned int quality) {
    const float q = static_cast<float>(quality);
    return q >= 30 ? 0.1F + (100 - q) * 0.09F : 6.4F + (30 - q) * (30 - q) / 50;
}

Fault encode(EncodeJob& job) {
    if (job.options.quality < 1 || job.options.quality > 100) return {IMAGE_OPTION, "quality is 1 to 100"};
    if (job.pixels.samples == 3 && job.pixels.photometric != DcPhotometric::rgb) {
        return {IMAGE_CANNOT_HOLD,
                std::string("cannot hold ") + imagePhotometricText(job.pixels.photometric) + ": RGB"};
    }
    Scratch samples(job.samples.begin(), job.samples.end());
    spread(samples, job.pixels.bitsStored);
    const Encoder encoder = newEncoder();
    const JxlPixelFormat format = formatOf(job.pixels.samples, job.pixels.bitsStored);
    JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder.get(), nullptr);
    const bool chosen =
        describe(encoder.get(), job) && settings != nullptr &&
        JxlEncoderFrameSettingsSetOption(settings, JXL_ENC_FRAME_SETTING_EFFORT, kEffort) ==
            JXL_ENC_SUCCESS &&
        (job.lossless
             ? JxlEncoderSetFrameLossless(settings, JXL_TRUE)
             : JxlEncoderSetFrameDistance(settings, distanceOf(job.options.quality))) == JXL_ENC_SUCCESS &&
        JxlEncoderAddImageFrame(settings, &format, samples.data(), samples.size()) == JXL_ENC_SUCCESS;
    if (!chosen) {
        return {IMAGE_CODEC,
                "the encoder refuses the frame: error " + std::to_string(JxlEncoderGetError(encoder.get()))};
    }
    if (!job.lossless && job.pixels.samples == 3) job.photometric = DcPhotometric::xyb;
    return drain(encoder.get(), job.out);
}

Fault packJpeg(Bytes jpeg, std::vector<unsigned char>& out) {
    const Encoder encoder = newEncoder();
    JxlEncoderFrameSettings* settings = JxlEncoderFrameSettingsCreate(encoder.get(), nullptr);
    if (settings == nullptr || JxlEncoderStoreJPEGMetadata(encoder.get(), JXL_TRUE) != JXL_ENC_SUCCESS ||
        JxlEncoderAddJPEGFrame(settings, jpeg.data(), jpeg.size()) != JXL_ENC_SUCCESS) {
        return damaged("the JPEG codestream cannot be repacked");
    }
    return drain(encoder.get(), out);
}

Fault unpackJpeg(Bytes stream, std::vector<unsigned char>& out) {
    const Decoder decoder = decoderOf(stream, JXL_DEC_JPEG_RECONSTRUCTION | JXL_DEC_FULL_IMAGE);
    JxlDecoderStatus status = JxlDecoderProcessInput(decoder.get());
    if (status != JXL_DEC_JPEG_RECONSTRUCTION) {
        return status == JXL_DEC_NEED_IMAGE_OUT_BUFFER ? Fault{IMAGE_CANNOT_HOLD, "it was no JPEG codestream"}
                                                       : faultOf(status);
    }
    const std::size_t begin = out.size();
    std::size_t used = 0;
    do {
        out.resize(begin + used + kPiece);
        (void)JxlDecoderSetJPEGBuffer(decoder.get(), out.data() + begin + used, kPiece);
        status = JxlDecoderProcessInput(decoder.get());
        used += kPiece - JxlDecoderReleaseJPEGBuffer(decoder.get());
    } while (status == JXL_DEC_JPEG_NEED_MORE_OUTPUT);
    out.resize(begin + used);
    return status == JXL_DEC_FULL_IMAGE ? Fault{} : faultOf(status);
}

}  // namespace

const Coder kJpegXl{inspect, decode, encode};
const Coder kJpegXlOfJpeg{inspect, decode, nullptr, packJpeg, unpackJpeg};

}  // namespace orvkit::image

ORVKIT_IMAGE_PART const orvkit::image::Coder* orvkitJpegXl() {
    return &orvkit::image::kJpegXl;
}

ORVKIT_IMAGE_PART const orvkit::image::Coder* orvkitJpegXlOfJpeg() {
    return &orvkit::image::kJpegXlOfJpeg;
}
