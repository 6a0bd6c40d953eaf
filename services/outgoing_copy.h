// A copy of an object in the transfer syntax that a peer takes.
#ifndef ORVKIT_SERVICES_OUTGOING_COPY_H
#define ORVKIT_SERVICES_OUTGOING_COPY_H

#include <string>

#include "platform/new_file.h"
#include "services/source_file.h"

namespace services {

// A Part 10 file, where the system keeps temporary ones; nothing is lost by it. `odd`: the file at `path` is
// none by the letter. "" or why there is none.
std::string copyInSyntax(const std::string& path, const FileIdentity& object, bool odd, DICT_UID syntax,
                         orvkit::platform::NewFile& copy);

// The same without pixels, overlays, curves, sounds, waveforms, spectra and documents (PS3.4 Z.1), in
// explicit VR little endian, as `object` tells then.
std::string copyWithoutBulkData(const std::string& path, FileIdentity& object,
                                orvkit::platform::NewFile& copy);

}  // namespace services

#endif
