// The memory of pictures.
#include <algorithm>
#include <cstdint>
#include <new>
#include <utility>

#include "orvkit/render.h"
#include "orvkit/result.h"

DcPicture::~DcPicture() {
    delete[] pixels_;
    delete[] profile_;
}

int DcPicture::make(unsigned int width, unsigned int height, unsigned int samples,
                    unsigned int bits) noexcept {
    constexpr unsigned int mostSide = 65535;
    if (width == 0 || height == 0 || width > mostSide || height > mostSide) return IMAGE_OPTION;
    if ((samples != 1 && samples != 3) || (bits != 8 && bits != 16)) return IMAGE_OPTION;
    const std::uint64_t bytes = std::uint64_t{width} * height * samples * (bits / 8);
    if (bytes > PTRDIFF_MAX) return IMAGE_NO_MEMORY;
    auto* const pixels = new (std::nothrow) unsigned char[static_cast<std::size_t>(bytes)]();
    if (pixels == nullptr) return IMAGE_NO_MEMORY;
    delete[] std::exchange(pixels_, pixels);
    width_ = width;
    height_ = height;
    samples_ = samples;
    bits_ = bits;
    return RESULT_OK;
}

int DcPicture::setProfile(const unsigned char* profile, unsigned int length) noexcept {
    unsigned char* copy = nullptr;
    if (profile != nullptr && length > 0) {
        copy = new (std::nothrow) unsigned char[length];
        if (copy == nullptr) return IMAGE_NO_MEMORY;
        std::copy_n(profile, length, copy);
    }
    delete[] std::exchange(profile_, copy);
    profileLength_ = copy == nullptr ? 0 : length;
    return RESULT_OK;
}

void DcPicture::swap(DcPicture& other) noexcept {
    std::swap(width_, other.width_);
    std::swap(height_, other.height_);
    std::swap(samples_, other.samples_);
    std::swap(bits_, other.bits_);
    std::swap(pixels_, other.pixels_);
    std::swap(profile_, other.profile_);
    std::swap(profileLength_, other.profileLength_);
}
