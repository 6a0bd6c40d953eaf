// Values that stand in files of their own, on their way into another file.
#ifndef ORVKIT_MEDIA_PIXEL_COPY_H
#define ORVKIT_MEDIA_PIXEL_COPY_H

#include "encoding/sink.h"
#include "orvkit/elem.h"

namespace orvkit {

// Appends the bytes of all buffers to `to`, in the byte order of the stream. Logs failures under that name;
// 22533 a file that cannot be opened, 22532 bytes that cannot be read or written.
[[nodiscard]] int copyPixels(ByteSink& to, const DcElem& element, DICT_UID xferSyn, const char* reporter);

}  // namespace orvkit

#endif
