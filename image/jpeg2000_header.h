// What the main header of a JPEG 2000 codestream says (ISO 15444-1 Annex A), that of high throughput
// included.
#ifndef ORVKIT_IMAGE_JPEG2000_HEADER_H
#define ORVKIT_IMAGE_JPEG2000_HEADER_H

#include "image/codec.h"

namespace orvkit::image::jpeg2000 {

struct MainHeader {
    Header frame;
    bool mixesColours = false;  // RGB is YBR_RCT or YBR_ICT in the stream
    bool highThroughput = false;
};

// The codestream itself, where somebody has put it in the boxes of a file; else all of it.
Bytes codestreamOf(Bytes stream);

// Refuses what no decoder need see: components of different kinds, and more tiles than there can be.
Fault readMainHeader(Bytes codestream, MainHeader& header);
Fault inspect(const DcImagePixels& says, Bytes stream, Header& header);
// By OpenJPEG.
Fault decode(DecodeJob& job);
Fault encode(EncodeJob& job);
// By OpenJPH.
Fault encodeHtj2k(EncodeJob& job);

// What a data set says of what is decoded, and of what was encoded.
DcPhotometric decodedColour(const MainHeader& header, DcPhotometric says);
bool mixesColours(const DcImagePixels& pixels);
DcPhotometric encodedColour(const EncodeJob& job);
// How often a frame is halved: never so that nothing is left.
unsigned int decompositions(const DcImagePixels& pixels);
// Bits stored to bits of the codestream, for a ratio of bits allocated.
double ratioOfStored(const EncodeJob& job);

}  // namespace orvkit::image::jpeg2000

#endif
