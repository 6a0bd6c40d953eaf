// Pictures as text that terminals draw.
#ifndef ORVKIT_SERVICES_TERMINAL_PICTURE_H
#define ORVKIT_SERVICES_TERMINAL_PICTURE_H

#include <string>

#include "orvkit/render.h"

namespace services {

// Two pixels of 8 bits in each character, one above the other, in 24-bit colours.
std::string halfBlocks(const DcPicture& picture);
// As sixel graphics: 64 levels of grey, or 216 colours.
std::string sixels(const DcPicture& picture);
// Whether the terminal says that it draws sixels.
bool terminalHasSixels();
// The box for a picture in the terminal, in the pixels of that way of drawing: what there is
// room for with a line of text to spare.
struct TerminalBox {
    unsigned int width;
    unsigned int height;
};
TerminalBox terminalBox(bool inSixels);

}  // namespace services

#endif
