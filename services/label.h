// Words in pictures, in a small font of 5 x 7 dots.
#ifndef ORVKIT_SERVICES_LABEL_H
#define ORVKIT_SERVICES_LABEL_H

#include <string_view>

#include "orvkit/render.h"

namespace services {

inline constexpr unsigned int labelAdvance = 6;  // from one character to the next, in dots
inline constexpr unsigned int labelHeight = 7;

// Draws a line of UTF-8 text into a grey or colour picture of 8 bits, from its left upper corner on, each dot
// a square of `dot` pixels. Small letters are drawn as capitals, what the font lacks as a question mark; what
// does not fit in `width` pixels, or in the picture, is left out.
void drawLabel(DcPicture& picture, unsigned int left, unsigned int top, unsigned int width, unsigned int dot,
               unsigned char level, std::string_view text);

}  // namespace services

#endif
