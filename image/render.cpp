#include "orvkit/render.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <vector>

#include "image/attributes.h"
#include "image/render_job.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::render {
namespace {

constexpr unsigned int kFloatPixelData = 0x7FE00008;
constexpr unsigned int kDoubleFloatPixelData = 0x7FE00009;
constexpr unsigned int kMostSide = 65535;

// Whether the numbers describe pixels that can be drawn; "" or why not.
const char* faultOf(const DcRenderPixels& pixels) {
    const DcImagePixels& layout = pixels.layout;
    const unsigned int bits = layout.bitsAllocated;
    if (layout.rows < 1 || layout.rows > kMostSide || layout.columns < 1 || layout.columns > kMostSide) {
        return "rows or columns that cannot be";
    }
    if (layout.samples != 1 && layout.samples != 3) return "neither one nor three samples a pixel";
    if (pixels.isReal) return bits == 32 || bits == 64 ? "" : "real numbers of neither 32 nor 64 bits";
    if (bits != 1 && bits != 8 && bits != 16 && bits != 32) return "bits allocated that are not supported";
    if (layout.bitsStored < 1 || layout.highBit >= bits || layout.bitsStored > layout.highBit + 1) {
        return "bits stored that do not fit the bits allocated";
    }
    return bits == 1 && layout.samples != 1 ? "colours of one bit" : "";
}

std::uint64_t frameBytes(const DcImagePixels& layout) {
    const std::uint64_t pixels = std::uint64_t{layout.rows} * layout.columns;
    if (layout.bitsAllocated == 1) return (pixels + 7) / 8;
    if (layout.samples == 3 && layout.photometric == DcPhotometric::ybrFull422) {
        return std::uint64_t{layout.rows} * ((layout.columns + 1) / 2 * 4) * (layout.bitsAllocated / 8);
    }
    return pixels * layout.samples * (layout.bitsAllocated / 8);
}

// Pixels of one bit as bytes.
std::vector<unsigned char> unpack(const DcRenderPixels& bits, DcRenderPixels& pixels) {
    std::vector<unsigned char> bytes(std::size_t{bits.layout.rows} * bits.layout.columns);
    const auto* const from = static_cast<const unsigned char*>(bits.data);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = from[i / 8] >> i % 8 & 1;
    pixels = bits;
    pixels.layout.bitsAllocated = 8;
    pixels.layout.bitsStored = 1;
    pixels.layout.highBit = 0;
    pixels.data = bytes.data();
    pixels.length = bytes.size();
    return bytes;
}

int renderPixels(const RenderJob& job) {
    const DcImagePixels& layout = job.pixels.layout;
    if (layout.samples == 3) return renderColour(job);
    return layout.photometric == DcPhotometric::paletteColor ? renderPalette(job)
                                                             : renderGreyWithColours(job);
}

// How much higher a pixel is than wide.
double pixelShape(const RenderJob& job) {
    DcElemList& measures = FrameGroups(job.dataset, job.frame).find(T_0028_9110_pixelMeasuresSequence);
    const auto ratio = [](DcElemList& list, unsigned int tag) {
        const auto vertical = realOf(list, tag, 0);
        const auto horizontal = realOf(list, tag, 1);
        const double shape = vertical && horizontal && *horizontal != 0 ? *vertical / *horizontal : 0;
        return std::isfinite(shape) && shape > 0.01 && shape < 100 ? shape : 0;
    };
    if (const double shape = ratio(measures, T_0028_0030_pixelSpacing); shape != 0) return shape;
    for (const unsigned int tag : {T_0018_1164_imagerPixelSpacing, T_0018_2010_nominalScannedPixelSpacing,
                                   T_0028_0034_pixelAspectRatio}) {
        if (const double shape = ratio(job.dataset, tag); shape != 0) return shape;
    }
    return 1;
}

int scaleToSize(const RenderJob& job) {
    const PictureSize size = sizeOf(job);
    if (size.width == job.picture.width() && size.height == job.picture.height()) return RESULT_OK;
    DcPicture scaled;
    const int result =
        renderScale(job.picture, size.width, size.height, job.options.scaling, job.options.threads, scaled);
    if (result != RESULT_OK) return job.fail(result, "not enough memory for a picture of that size");
    job.picture.swap(scaled);
    return RESULT_OK;
}

int renderChecked(const RenderJob& job) {
    int result = renderPixels(job);
    if (result != RESULT_OK) return result;
    if (job.options.overlays) burnOverlays(job);
    result = scaleToSize(job);
    if (result != RESULT_OK || job.picture.samples() != 3) return result;
    const std::vector<unsigned char> profile = bytesOf(job.dataset, T_0028_2000_iccProfile);
    return job.picture.setProfile(profile.data(), static_cast<unsigned int>(profile.size()));
}

int check(const RenderJob& job) {
    const DcRenderOptions& options = job.options;
    if ((options.bits != 8 && options.bits != 16) || options.boxWidth > kMostSide ||
        options.boxHeight > kMostSide || job.frame == 0) {
        return job.fail(IMAGE_OPTION, "bits, a size or a frame that cannot be");
    }
    if (const char* const fault = faultOf(job.pixels); *fault != '\0') return job.fail(IMAGE_PIXELS, fault);
    if (job.pixels.data == nullptr || job.pixels.length < frameBytes(job.pixels.layout)) {
        return job.fail(IMAGE_ROOM, "the pixels end before the frame does");
    }
    return RESULT_OK;
}

}  // namespace

int RenderJob::fail(int result, const char* why) const {
    std::snprintf(fault.text, sizeof fault.text, "%s", why);
    return result;
}

PictureSize sizeOf(const RenderJob& job) {
    const DcRenderOptions& options = job.options;
    double width = job.picture.width();
    double height = job.picture.height();
    const double shape = options.squarePixels ? pixelShape(job) : 1;
    if (std::abs(shape - 1) > 0.001) (shape > 1 ? height : width) *= std::max(shape, 1 / shape);
    if (options.boxWidth != 0 || options.boxHeight != 0) {
        const double across = options.boxWidth == 0 ? HUGE_VAL : options.boxWidth / width;
        const double down = options.boxHeight == 0 ? HUGE_VAL : options.boxHeight / height;
        width *= std::min(across, down);
        height *= std::min(across, down);
    }
    const auto side = [](double length) {
        return static_cast<unsigned int>(std::clamp(std::round(length), 1.0, double{kMostSide}));
    };
    return {side(width), side(height)};
}

}  // namespace orvkit::render

int renderDescribe(DcElemList& dataset, DcRenderPixels& pixels) {
    using namespace orvkit::render;
    const auto number = [&dataset](unsigned int tag, unsigned int otherwise) {
        const auto value = integerOf(dataset, tag);
        return value && *value >= 0 ? static_cast<unsigned int>(*value) : otherwise;
    };
    DcImagePixels& layout = pixels.layout;
    pixels.isReal = dataset.getElem(kFloatPixelData, static_cast<DcElem**>(nullptr)) == RESULT_OK ||
                    dataset.getElem(kDoubleFloatPixelData, static_cast<DcElem**>(nullptr)) == RESULT_OK;
    layout.rows = number(T_0028_0010_rows, 0);
    layout.columns = number(T_0028_0011_columns, 0);
    layout.frames = number(T_0028_0008_numberOfFrames, 1);
    layout.samples = number(T_0028_0002_samplesPerPixel, 1);
    layout.bitsAllocated = number(T_0028_0100_bitsAllocated, 0);
    layout.bitsStored =
        pixels.isReal ? layout.bitsAllocated : number(T_0028_0101_bitsStored, layout.bitsAllocated);
    layout.highBit =
        pixels.isReal ? layout.bitsAllocated - 1 : number(T_0028_0102_highBit, layout.bitsStored - 1);
    layout.isSigned = number(T_0028_0103_pixelRepresentation, 0) == 1;
    layout.planar = number(T_0028_0006_planarConfiguration, 0) == 1;
    layout.photometric = imagePhotometricOf(codeOf(dataset, T_0028_0004_photometricInterpretation).c_str());
    return layout.rows == 0 || layout.columns == 0 || layout.bitsAllocated == 0 ? ELEM_NOT_FOUND : RESULT_OK;
}

int renderFrame(DcElemList& dataset, const DcRenderPixels& pixels, unsigned int frame,
                const DcRenderOptions& options, DcPicture& picture, DcRenderFault* fault) try {
    using namespace orvkit::render;
    DcRenderFault ignored;
    DcPicture made;
    const RenderJob job = {dataset, pixels, frame, options, made, fault != nullptr ? *fault : ignored};
    int result = check(job);
    if (result != RESULT_OK) return result;
    if (pixels.layout.bitsAllocated == 1) {
        DcRenderPixels bytes;
        const std::vector<unsigned char> room = unpack(pixels, bytes);
        result = renderChecked({dataset, bytes, frame, options, made, job.fault});
    } else {
        result = renderChecked(job);
    }
    if (result == RESULT_OK) picture.swap(made);
    return result;
} catch (const std::bad_alloc&) {
    if (fault != nullptr) std::snprintf(fault->text, sizeof fault->text, "not enough memory");
    return IMAGE_NO_MEMORY;
}
