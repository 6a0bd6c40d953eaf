// The failure idiom: log once, return the code, in one line.
#ifndef ORVKIT_FOUNDATION_FAIL_H
#define ORVKIT_FOUNDATION_FAIL_H

#include "orvkit/log.h"
#include "orvkit/result.h"

namespace orvkit {

// Reports through logReport and returns `code`, whatever became of the message.
#if defined(__GNUC__)
__attribute__((cold))
#endif
int fail(int code, LOG_MSG level, const char* reporter, const char* format, ...) ORVKIT_PRINTF(4, 5);

}  // namespace orvkit

#endif
