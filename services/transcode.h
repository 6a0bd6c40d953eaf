// Pixel data from one transfer syntax to another, frame by frame, and what a data set has to say of it then.
#ifndef ORVKIT_SERVICES_TRANSCODE_H
#define ORVKIT_SERVICES_TRANSCODE_H

#include <string>

#include "orvkit/buf.h"
#include "orvkit/elemlist.h"
#include "orvkit/image.h"
#include "platform/new_file.h"

namespace services {

struct TranscodeRequest {
    const DcImageCodec* target = nullptr;  // null: native
    DcImageOptions options;
    unsigned int jobs = 1;  // frames at a time, each on a thread
};

// Unpacks the frames of a data set's pixel data, which may stand in a file, and packs them again into
// `scratch`; then the element refers to that, and the attributes are those of the new pixels (PS3.3 C.7.6.3,
// C.7.6.1.1.5). `source` is the UID of their transfer syntax. After a loss it is another instance:
// `instance` receives its UID then. Encapsulated pixel data in sequences, such as icons, becomes native.
// Nothing is changed where there is none, and the text tells why where it cannot be.
std::string transcode(DcElemList& dataset, const std::string& source, const TranscodeRequest& request,
                      orvkit::platform::ScratchFile& scratch, std::string& instance);

}  // namespace services

#endif
