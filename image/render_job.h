// One frame on its way to a picture.
#ifndef ORVKIT_IMAGE_RENDER_JOB_H
#define ORVKIT_IMAGE_RENDER_JOB_H

#include <cmath>
#include <cstdint>
#include <type_traits>

#include "orvkit/render.h"

namespace orvkit::render {

struct RenderJob {
    DcElemList& dataset;
    const DcRenderPixels& pixels;
    unsigned int frame;  // from 1
    const DcRenderOptions& options;
    DcPicture& picture;
    DcRenderFault& fault;

    const unsigned char* data() const { return static_cast<const unsigned char*>(pixels.data); }
    // Writes why there is no picture, and gives the code back.
    int fail(int result, const char* why) const;
};

// Each fills the picture, which it makes. The pixels were checked.
int renderGrey(const RenderJob& job);
int renderPalette(const RenderJob& job);
// Grey, or grey with values for which there is a supplemental palette.
int renderGreyWithColours(const RenderJob& job);
int renderColour(const RenderJob& job);
// Burns the overlays in.
void burnOverlays(const RenderJob& job);
// The width and height that the picture is to have.
struct PictureSize {
    unsigned int width;
    unsigned int height;
};
PictureSize sizeOf(const RenderJob& job);

// Calls `work` with a zero of the type of the picture's samples.
template <typename Work>
void withPictureType(const DcPicture& picture, Work work) {
    return picture.bits() == 8 ? work(std::uint8_t{}) : work(std::uint16_t{});
}
template <typename Sample>
Sample* samplesOf(DcPicture& picture, unsigned int row) {
    return reinterpret_cast<Sample*>(picture.row(row));  // rows begin at multiples of their samples' size
}
// A level from 0 to 1 as a sample.
template <typename Sample>
Sample sampleOf(double level) {
    constexpr double most = static_cast<Sample>(-1);
    return static_cast<Sample>(std::lround(level * most));
}

}  // namespace orvkit::render

#endif
