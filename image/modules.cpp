// The codecs and formats of other libraries: modules, loaded when one is first needed. An application that
// needs none does not wait for them.
#include <cstdio>
#include <string>

#include "image/codec.h"
#include "image/jpeg2000_header.h"
#include "image/jpeg_header.h"
#include "image/picture_reader.h"
#include "image/picture_writer.h"
#include "platform/module.h"

namespace orvkit {

namespace {

// What a module calls its part, and where it is.
struct Part {
    const char* module;
    const char* symbol;
};

// A part once it was asked for.
struct Loaded {
    std::string trouble;
    void* symbol;

    explicit Loaded(const Part& part) : symbol(platform::moduleSymbol(part.module, part.symbol, trouble)) {}
};

template <const Part& part>
const Loaded& loaded() {
    static const Loaded it(part);
    return it;
}

}  // namespace

namespace image {

namespace {

using GetCoder = const Coder* (*)();

// The functions of a coder that is elsewhere.
template <const Part& part>
struct Elsewhere {
    template <typename Function, typename... Arguments>
    static Fault call(Function function, Arguments&&... arguments) {
        const Loaded& module = loaded<part>();
        if (module.symbol == nullptr) return {IMAGE_NO_CODEC, module.trouble};
        return (reinterpret_cast<GetCoder>(module.symbol)()->*function)(arguments...);
    }
    static Fault inspect(const DcImagePixels& says, Bytes stream, Header& header) {
        return call(&Coder::inspect, says, stream, header);
    }
    static Fault decode(DecodeJob& job) { return call(&Coder::decode, job); }
    static Fault encode(EncodeJob& job) { return call(&Coder::encode, job); }
    static Fault packJpeg(Bytes jpeg, std::vector<unsigned char>& out) {
        return call(&Coder::packJpeg, jpeg, out);
    }
    static Fault unpackJpeg(Bytes stream, std::vector<unsigned char>& out) {
        return call(&Coder::unpackJpeg, stream, out);
    }
    static constexpr Coder coder{inspect, decode, encode};
};

// A function that is elsewhere: `function` says what it takes and gives.
template <const Part& part, auto function, typename... Arguments>
Fault elsewhere(Arguments&... arguments) {
    const Loaded& module = loaded<part>();
    if (module.symbol == nullptr) return {IMAGE_NO_CODEC, module.trouble};
    return reinterpret_cast<decltype(function) (*)()>(module.symbol)()(arguments...);
}

#if ORVKIT_WITH_JPEG
constexpr Part jpegDecoder{"orvkit_image_jpeg.so", "orvkitDecodeByLibjpeg"};
constexpr Part jpegEncoder{"orvkit_image_jpeg.so", "orvkitEncodeByLibjpeg"};
#endif
#if ORVKIT_WITH_OPENJPEG
constexpr Part jpeg2000Decoder{"orvkit_image_openjpeg.so", "orvkitDecodeJpeg2000"};
constexpr Part jpeg2000Encoder{"orvkit_image_openjpeg.so", "orvkitEncodeJpeg2000"};
#endif
#if ORVKIT_WITH_CHARLS
constexpr Part jpegLs{"orvkit_image_charls.so", "orvkitJpegLs"};
#endif
#if ORVKIT_WITH_OPENJPH
constexpr Part htj2k{"orvkit_image_openjph.so", "orvkitEncodeHtj2k"};
#endif
#if ORVKIT_WITH_JXL
constexpr Part jpegXl{"orvkit_image_jxl.so", "orvkitJpegXl"};
constexpr Part jpegXlOfJpeg{"orvkit_image_jxl.so", "orvkitJpegXlOfJpeg"};
#endif

}  // namespace

#if ORVKIT_WITH_CHARLS
const Coder kJpegLs = Elsewhere<jpegLs>::coder;
#endif
#if ORVKIT_WITH_JPEG
Fault jpeg::decodeByLibjpeg(DecodeJob& job, const Headers& headers) {
    return elsewhere<jpegDecoder, &decodeByLibjpeg>(job, headers);
}
Fault jpeg::encodeByLibjpeg(EncodeJob& job) {
    return elsewhere<jpegEncoder, &encodeByLibjpeg>(job);
}
#endif
#if ORVKIT_WITH_OPENJPEG
Fault jpeg2000::decode(DecodeJob& job) {
    return elsewhere<jpeg2000Decoder, &decode>(job);
}
Fault jpeg2000::encode(EncodeJob& job) {
    return elsewhere<jpeg2000Encoder, &encode>(job);
}
#endif
#if ORVKIT_WITH_OPENJPH
Fault jpeg2000::encodeHtj2k(EncodeJob& job) {
    return elsewhere<htj2k, &encodeHtj2k>(job);
}
#endif
#if ORVKIT_WITH_JXL
const Coder kJpegXl = Elsewhere<jpegXl>::coder;
const Coder kJpegXlOfJpeg{Elsewhere<jpegXlOfJpeg>::inspect, Elsewhere<jpegXlOfJpeg>::decode, nullptr,
                          Elsewhere<jpegXlOfJpeg>::packJpeg, Elsewhere<jpegXlOfJpeg>::unpackJpeg};
#endif

}  // namespace image

namespace render {

namespace {

template <const Part& part, typename Job>
int byModule(const char* format, const Job& job) {
    const Loaded& module = loaded<part>();
    if (module.symbol != nullptr) return reinterpret_cast<int (*)(const Job&)>(module.symbol)(job);
    std::snprintf(job.fault.text, sizeof job.fault.text, "%s: %s", format, module.trouble.c_str());
    return IMAGE_CODEC;
}

}  // namespace

#if ORVKIT_WITH_JPEG
constexpr Part jpegWriter{"orvkit_image_jpeg.so", "orvkitWriteJpeg"};
int writeJpeg(const PictureJob& job) {
    return byModule<jpegWriter>("JPEG", job);
}
#endif
#if ORVKIT_WITH_PNG
constexpr Part pngWriter{"orvkit_image_png.so", "orvkitWritePng"};
constexpr Part pngReader{"orvkit_image_png.so", "orvkitReadPng"};
int writePng(const PictureJob& job) {
    return byModule<pngWriter>("PNG", job);
}
int readPng(const PictureFile& file) {
    return byModule<pngReader>("PNG", file);
}
#endif
#if ORVKIT_WITH_TIFF
constexpr Part tiffWriter{"orvkit_image_tiff.so", "orvkitWriteTiff"};
constexpr Part tiffReader{"orvkit_image_tiff.so", "orvkitReadTiff"};
int writeTiff(const PictureJob& job) {
    return byModule<tiffWriter>("TIFF", job);
}
int readTiff(const PictureFile& file) {
    return byModule<tiffReader>("TIFF", file);
}
#endif

}  // namespace render

}  // namespace orvkit
