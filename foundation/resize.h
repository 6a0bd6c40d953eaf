// The methods of utilResizeImage.
#ifndef ORVKIT_FOUNDATION_RESIZE_H
#define ORVKIT_FOUNDATION_RESIZE_H

namespace orvkit {

// Bits of the method. Without spline bits: bilinear.
inline constexpr unsigned int RESIZE_SPLINE = 1;     // natural cubic spline through 4 x 4 pixels
inline constexpr unsigned int RESIZE_BSPLINE = 2;    // cubic B-spline convolution of 4 x 4 pixels
inline constexpr unsigned int RESIZE_RELIEF_8 = 4;   // relief image around 64
inline constexpr unsigned int RESIZE_RELIEF_12 = 8;  // relief image around 2048

// The method of the process. Nothing in the library changes it; not to be changed while images are resized.
extern unsigned int resizeMode;

}  // namespace orvkit

#endif
