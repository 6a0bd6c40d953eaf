// JPEG 2000 (ISO 15444-1) by OpenJPEG: both ways, and high throughput (ISO 15444-15) one way.
#include <openjpeg.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "image/jpeg2000_header.h"
#include "image/module.h"

namespace orvkit::image {

namespace {

using Stream = std::unique_ptr<opj_stream_t, Release<opj_stream_destroy>>;
using Library = std::unique_ptr<opj_codec_t, Release<opj_destroy_codec>>;
using Image = std::unique_ptr<opj_image_t, Release<opj_image_destroy>>;

constexpr std::size_t kStreamBuffer = 64 << 10;
constexpr auto kEnd = static_cast<OPJ_SIZE_T>(-1);

// The library's first words on what went wrong, without the line's end.
struct Words {
    std::string text;
    static void keep(const char* message, void* self) {
        std::string& text = static_cast<Words*>(self)->text;
        if (!text.empty()) return;
        text = message;
        while (!text.empty() && text.back() == '\n') text.pop_back();
    }
    static void ignore(const char*, void*) {}
    void listen(opj_codec_t* codec) {
        opj_set_error_handler(codec, keep, this);
        opj_set_warning_handler(codec, ignore, this);
        opj_set_info_handler(codec, ignore, this);
    }
    Fault fault(int code) const { return {code, text.empty() ? "the library says nothing" : text}; }
};

struct Source {
    Bytes bytes;
    std::size_t at = 0;

    static OPJ_SIZE_T read(void* to, OPJ_SIZE_T length, void* self) {
        Source& source = *static_cast<Source*>(self);
        const std::size_t n = std::min<std::size_t>(length, source.bytes.size() - source.at);
        if (n == 0) return kEnd;
        std::memcpy(to, source.bytes.data() + source.at, n);
        source.at += n;
        return n;
    }
    static OPJ_OFF_T skip(OPJ_OFF_T length, void* self) {
        Source& source = *static_cast<Source*>(self);
        const auto left = static_cast<OPJ_OFF_T>(source.bytes.size() - source.at);
        const OPJ_OFF_T n = std::clamp<OPJ_OFF_T>(length, 0, left);
        source.at += static_cast<std::size_t>(n);
        return n != 0 ? n : -1;
    }
    static OPJ_BOOL seek(OPJ_OFF_T place, void* self) {
        Source& source = *static_cast<Source*>(self);
        if (place < 0 || static_cast<std::uint64_t>(place) > source.bytes.size()) return OPJ_FALSE;
        source.at = static_cast<std::size_t>(place);
        return OPJ_TRUE;
    }
    Stream stream() {
        Stream made(opj_stream_create(kStreamBuffer, OPJ_TRUE));
        if (!made) throw std::bad_alloc();
        opj_stream_set_user_data(made.get(), this, nullptr);
        opj_stream_set_user_data_length(made.get(), bytes.size());
        opj_stream_set_read_function(made.get(), read);
        opj_stream_set_skip_function(made.get(), skip);
        opj_stream_set_seek_function(made.get(), seek);
        return made;
    }
};

// Writes behind `begin`, where the library goes back to now and then.
struct Sink {
    std::vector<unsigned char>& out;
    std::size_t begin;
    std::size_t at;
    bool noMemory = false;

    bool reach(std::size_t end) {
        try {
            if (end > out.size()) out.resize(end);
        } catch (const std::bad_alloc&) {  // none may go through the library
            noMemory = true;
        }
        return !noMemory;
    }
    static OPJ_SIZE_T write(void* from, OPJ_SIZE_T length, void* self) {
        Sink& sink = *static_cast<Sink*>(self);
        if (!sink.reach(sink.at + length)) return kEnd;
        std::memcpy(sink.out.data() + sink.at, from, length);
        sink.at += length;
        return length;
    }
    static OPJ_OFF_T skip(OPJ_OFF_T length, void* self) {
        Sink& sink = *static_cast<Sink*>(self);
        if (length < 0 || !sink.reach(sink.at + static_cast<std::size_t>(length))) return -1;
        sink.at += static_cast<std::size_t>(length);
        return length;
    }
    static OPJ_BOOL seek(OPJ_OFF_T place, void* self) {
        Sink& sink = *static_cast<Sink*>(self);
        if (place < 0 || !sink.reach(sink.begin + static_cast<std::size_t>(place))) return OPJ_FALSE;
        sink.at = sink.begin + static_cast<std::size_t>(place);
        return OPJ_TRUE;
    }
    Stream stream() {
        Stream made(opj_stream_create(kStreamBuffer, OPJ_FALSE));
        if (!made) throw std::bad_alloc();
        opj_stream_set_user_data(made.get(), this, nullptr);
        opj_stream_set_write_function(made.get(), write);
        opj_stream_set_skip_function(made.get(), skip);
        opj_stream_set_seek_function(made.get(), seek);
        return made;
    }
};

template <typename Word>
void storePlane(const OPJ_INT32* from, std::size_t count, unsigned char* to, std::size_t step) {
    for (std::size_t i = 0; i < count; ++i) {
        const Word word = static_cast<Word>(from[i]);
        std::memcpy(to + i * step * sizeof word, &word, sizeof word);
    }
}

Fault store(const opj_image_t& image, DecodeJob& job) {
    const Header& header = job.header;
    const unsigned int width = sampleBytes(header.bits);
    const std::size_t plane = std::size_t{header.rows} * header.columns;
    if (image.numcomps != header.samples) return damaged("components have changed on the way");
    job.planar = job.says.planar;
    for (unsigned int s = 0; s < header.samples; ++s) {
        const opj_image_comp_t& component = image.comps[s];
        if (component.w != header.columns || component.h != header.rows || component.data == nullptr) {
            return damaged("component " + std::to_string(s + 1) + " is not complete");
        }
        unsigned char* to = job.samples.data() + (job.planar ? s * plane : s) * width;
        const std::size_t step = job.planar ? 1 : header.samples;
        (width == 1 ? storePlane<std::uint8_t> : storePlane<std::uint16_t>)(component.data, plane, to, step);
    }
    return {};
}

template <typename Word>
void loadPlane(const unsigned char* from, std::size_t count, std::size_t step, unsigned int sign,
               OPJ_INT32* to) {
    for (std::size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, from + i * step * sizeof word, sizeof word);
        to[i] = static_cast<OPJ_INT32>((word ^ sign) - sign);
    }
}

Image imageOf(const EncodeJob& job) {
    const DcImagePixels& pixels = job.pixels;
    opj_image_cmptparm_t one{};
    one.dx = one.dy = 1;
    one.w = pixels.columns;
    one.h = pixels.rows;
    one.prec = pixels.bitsStored;
    one.sgnd = pixels.isSigned ? 1 : 0;
    std::vector<opj_image_cmptparm_t> components(pixels.samples, one);
    Image image(opj_image_create(pixels.samples, components.data(),
                                 pixels.samples == 1 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB));
    if (!image) throw std::bad_alloc();
    image->x1 = pixels.columns;
    image->y1 = pixels.rows;
    const unsigned int sign = pixels.isSigned ? 1u << (pixels.bitsStored - 1) : 0;
    const unsigned int width = sampleBytes(pixels.bitsStored);
    for (unsigned int s = 0; s < pixels.samples; ++s) {
        (width == 1 ? loadPlane<std::uint8_t>
                    : loadPlane<std::uint16_t>)(job.samples.data() + s * width,
                                                std::size_t{pixels.rows} * pixels.columns, pixels.samples,
                                                sign, image->comps[s].data);
    }
    return image;
}

void choose(const EncodeJob& job, opj_cparameters_t& parameters) {
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_rates[0] = job.lossless ? 0 : static_cast<float>(jpeg2000::ratioOfStored(job));
    parameters.irreversible = job.lossless ? 0 : 1;
    parameters.numresolution = static_cast<int>(jpeg2000::decompositions(job.pixels)) + 1;
    parameters.tcp_mct = jpeg2000::mixesColours(job.pixels) ? 1 : 0;
}

}  // namespace

Fault jpeg2000::encode(EncodeJob& job) {
    if (!job.lossless && !(job.options.ratio > 1)) return {IMAGE_OPTION, "the ratio is above 1"};
    opj_cparameters_t parameters;
    choose(job, parameters);
    const Image image = imageOf(job);
    Sink sink{job.out, job.out.size(), job.out.size()};
    Words words;
    const Stream stream = sink.stream();
    const Library library(opj_create_compress(OPJ_CODEC_J2K));
    if (!library) throw std::bad_alloc();
    words.listen(library.get());
    const bool whole = opj_setup_encoder(library.get(), &parameters, image.get()) &&
                       opj_start_compress(library.get(), image.get(), stream.get()) &&
                       opj_encode(library.get(), stream.get()) &&
                       opj_end_compress(library.get(), stream.get());
    if (sink.noMemory) throw std::bad_alloc();
    if (!whole) return words.fault(IMAGE_CODEC);
    job.photometric = jpeg2000::encodedColour(job);
    return {};
}

Fault jpeg2000::decode(DecodeJob& job) {
    Source source{jpeg2000::codestreamOf(job.stream)};
    jpeg2000::MainHeader header;
    if (Fault fault = jpeg2000::readMainHeader(source.bytes, header)) return fault;
    Words words;
    const Stream stream = source.stream();
    const Library library(opj_create_decompress(OPJ_CODEC_J2K));
    if (!library) throw std::bad_alloc();
    words.listen(library.get());
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* read = nullptr;
    if (!opj_setup_decoder(library.get(), &parameters) ||
        !opj_read_header(stream.get(), library.get(), &read)) {
        return words.fault(IMAGE_STREAM);
    }
    const Image image(read);
    if (!opj_decode(library.get(), stream.get(), image.get())) return words.fault(IMAGE_STREAM);
    job.photometric = jpeg2000::decodedColour(header, job.says.photometric);
    return store(*image, job);
}

}  // namespace orvkit::image

ORVKIT_IMAGE_PART decltype(&orvkit::image::jpeg2000::decode) orvkitDecodeJpeg2000() {
    return &orvkit::image::jpeg2000::decode;
}
ORVKIT_IMAGE_PART decltype(&orvkit::image::jpeg2000::encode) orvkitEncodeJpeg2000() {
    return &orvkit::image::jpeg2000::encode;
}
