// How the scanners tell what a walk met.
#ifndef ORVKIT_DATASET_SCAN_REPORT_H
#define ORVKIT_DATASET_SCAN_REPORT_H

#include "encoding/walk.h"

namespace orvkit {

// Logs the walk's fault at LOG_ERROR under that name; gives its result code.
[[nodiscard]] int reportFault(const Walker& walker, const char* reporter);

// "Value length field ... exceeds buffer length ...", at LOG_ERROR; UTIL_LENGTH_FIELD.
[[nodiscard]] int reportLengthPastEnd(const char* reporter, unsigned int length, std::uint64_t remaining);

}  // namespace orvkit

#endif
