// The blocks of the cosine transform of JPEG (ISO 10918-1 Annex A).
#ifndef ORVKIT_IMAGE_JPEG_BLOCKS_H
#define ORVKIT_IMAGE_JPEG_BLOCKS_H

#include <array>

namespace orvkit::image::jpeg {

inline constexpr unsigned int kSide = 8;
inline constexpr unsigned int kBlock = kSide * kSide;

using Block = std::array<float, kBlock>;

// Where the coefficients of a block stand, by their order in the codestream.
inline constexpr std::array<unsigned char, kBlock> kZigzag{
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// The cosine of frequency u at place x, at 8 u + x (A.3.3).
const Block& cosines();

}  // namespace orvkit::image::jpeg

#endif
