// Stored values of native pixels: codes, as the stored bits hold them, and the numbers that those stand for
// (PS3.5 8.1.1).
#ifndef ORVKIT_IMAGE_STORED_VALUES_H
#define ORVKIT_IMAGE_STORED_VALUES_H

#include <cstdint>
#include <cstring>
#include <vector>

#include "orvkit/render.h"

namespace orvkit::render {

class StoredBits {
  public:
    explicit StoredBits(const DcImagePixels& layout)
        : shift_(layout.highBit + 1 - layout.bitsStored),
          mask_(layout.bitsStored >= 32 ? ~0u : (1u << layout.bitsStored) - 1),
          sign_(layout.isSigned ? 1u << (layout.bitsStored - 1) : 0) {}

    template <typename Raw>
    std::uint32_t code(Raw raw) const {
        return (static_cast<std::uint32_t>(raw) >> shift_) & mask_;
    }
    double number(std::uint32_t code) const {
        return static_cast<double>(code) - ((code & sign_) != 0 ? static_cast<double>(mask_) + 1 : 0);
    }
    std::uint32_t most() const { return mask_; }
    double least() const { return sign_ == 0 ? 0 : -static_cast<double>(sign_); }
    double greatest() const { return sign_ == 0 ? mask_ : static_cast<double>(sign_ - 1); }

  private:
    unsigned int shift_;
    std::uint32_t mask_;
    std::uint32_t sign_;
};

template <typename Raw>
Raw rawAt(const unsigned char* data, std::size_t i) {
    Raw raw;
    std::memcpy(&raw, data + i * sizeof raw, sizeof raw);
    return raw;
}

// Calls `work` with a zero of the type of a sample as it is allocated.
template <typename Work>
void withSampleType(const DcRenderPixels& pixels, Work work) {
    const unsigned int bits = pixels.layout.bitsAllocated;
    if (pixels.isReal) return bits == 32 ? work(float{}) : work(double{});
    if (bits == 8) return work(std::uint8_t{});
    return bits == 16 ? work(std::uint16_t{}) : work(std::uint32_t{});
}

}  // namespace orvkit::render

#endif
