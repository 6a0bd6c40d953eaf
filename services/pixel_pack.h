// Pixel Data through the LZW codec, from where it stands in a file into a file without a name: memory holds a
// piece of it at a time.
#ifndef ORVKIT_SERVICES_PIXEL_PACK_H
#define ORVKIT_SERVICES_PIXEL_PACK_H

#include <string>

#include "orvkit/buf.h"
#include "orvkit/uids.h"
#include "platform/new_file.h"

namespace services {

// Why pixels could not be packed or unpacked; empty when they were.
using PackFault = std::string;

// The bytes that `from` refers to, with units of `unit` bytes turned round on the way. `to` receives a buffer
// over the bytes of `scratch`.
PackFault packPixels(const DcBuf& from, unsigned int unit, orvkit::platform::ScratchFile& scratch, DcBuf& to);
PackFault unpackPixels(const DcBuf& from, orvkit::platform::ScratchFile& scratch, DcBuf& to);

}  // namespace services

#endif
