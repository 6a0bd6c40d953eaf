// What a server makes of objects in other transfer syntaxes than the one that it stores in.
#ifndef ORVKIT_SERVICES_STORE_TRANSCODE_H
#define ORVKIT_SERVICES_STORE_TRANSCODE_H

#include <string>

#include "services/conversion.h"
#include "services/store_file.h"

namespace services {

// Brings a file to what is asked for, once it is complete. Where that cannot be it stays as it came, and the
// text tells why. What has no pixels has none to pack, and stays without a word.
std::string transcodeStored(StoreFile& file, const std::string& directory, const ConversionRequest& wanted);

}  // namespace services

#endif
