// What a data set says of its pixels, and how it says what has become of them.
#ifndef ORVKIT_SERVICES_IMAGE_ATTRIBUTES_H
#define ORVKIT_SERVICES_IMAGE_ATTRIBUTES_H

#include <string>

#include "orvkit/elemlist.h"
#include "orvkit/image.h"

namespace services {

DcImagePixels pixelsOf(DcElemList& dataset);

// What was done to the pixels of a data set.
struct PixelChange {
    DcImagePixels pixels;    // as they are now
    bool everLossy = false;  // the pixels have lost something at some time
    // Of a loss just now; otherwise null.
    const DcImageCodec* lossyCodec = nullptr;
    double ratio = 1;  // of its native bytes to those of its codestreams
};
// Photometric interpretation, planar configuration and High Bit; the flag of a loss; after one just now its
// ratio and method, the derivation, the instance it was derived from, and the new UID, which is returned.
std::string tellChange(DcElemList& dataset, const PixelChange& change);

}  // namespace services

#endif
