// Pixel Data through the LZW codec, from where it stands in a file into a file without a name: memory holds a
// piece of it at a time.
#ifndef ORVKIT_SERVICES_PIXEL_PACK_H
#define ORVKIT_SERVICES_PIXEL_PACK_H

#include <string>

#include "orvkit/buf.h"
#include "orvkit/uids.h"
#include "platform/new_file.h"

namespace services {

// A file for a while: nothing is left of it when its handles are closed and this object is gone.
class ScratchFile {
  public:
    // In the directory of `path`; complains and is not ok() when that is impossible.
    explicit ScratchFile(const std::string& path);
    bool ok() const { return static_cast<bool>(reading_); }
    int forWriting() const { return file_.handle(); }
    // No more is written. The handle for reading is the caller's from now on.
    int finish() { return reading_.release(); }

  private:
    orvkit::platform::NewFile file_;
    orvkit::platform::FileHandle reading_;
};

// Why pixels could not be packed or unpacked; empty when they were.
using PackFault = std::string;

// The bytes that `from` refers to, with units of `unit` bytes turned round on the way. `to` receives a buffer
// over the bytes of `scratch`.
PackFault packPixels(const DcBuf& from, unsigned int unit, ScratchFile& scratch, DcBuf& to);
PackFault unpackPixels(const DcBuf& from, ScratchFile& scratch, DcBuf& to);

}  // namespace services

#endif
