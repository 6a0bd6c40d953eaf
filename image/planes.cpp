// Colours by pixel and by plane.
#include <cstdint>
#include <cstring>

#include "image/codec.h"

namespace orvkit::image {

namespace {

template <typename Word>
void spread(const unsigned char* from, std::size_t step, unsigned char* to, std::size_t stride,
            std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        Word word;
        std::memcpy(&word, from + i * step, sizeof word);
        std::memcpy(to + i * stride, &word, sizeof word);
    }
}

}  // namespace

void toPlanes(Bytes pixels, unsigned int samples, unsigned int width, Room planes) {
    const std::size_t plane = pixels.size() / samples;
    for (unsigned int s = 0; s < samples; ++s) {
        (width == 1 ? spread<std::uint8_t>
                    : spread<std::uint16_t>)(pixels.data() + s * width, std::size_t{samples} * width,
                                             planes.data() + s * plane, width, plane / width);
    }
}

void toPixels(Bytes planes, unsigned int samples, unsigned int width, Room pixels) {
    const std::size_t plane = planes.size() / samples;
    for (unsigned int s = 0; s < samples; ++s) {
        (width == 1 ? spread<std::uint8_t>
                    : spread<std::uint16_t>)(planes.data() + s * plane, width, pixels.data() + s * width,
                                             std::size_t{samples} * width, plane / width);
    }
}

}  // namespace orvkit::image
