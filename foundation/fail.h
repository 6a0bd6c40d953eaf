// The failure idiom: log once, return the code, in one line.
#ifndef ORVKIT_FOUNDATION_FAIL_H
#define ORVKIT_FOUNDATION_FAIL_H

#include <new>

#include "orvkit/log.h"
#include "orvkit/result.h"

namespace orvkit {

// Reports through logReport and returns `code`, whatever became of the message.
[[nodiscard, gnu::cold]] int fail(int code, LOG_MSG level, const char* reporter, const char* format, ...)
    ORVKIT_PRINTF(4, 5);

[[nodiscard]] inline int failNull(int code, const char* reporter, LOG_MSG level = LOG_VALIDATION) {
    return fail(code, level, reporter, "Null argument passed");
}

// The text of the last message that the calling thread reported, cut to 1023 bytes; "" before the first.
// MsgBuf is that of all threads.
const char* lastMessage() noexcept;

// What a function that returns a code makes of std::bad_alloc: it is told, and is ELEM_NO_MEMORY.
[[nodiscard]] int failMemory(const char* reporter) noexcept;

// The other way, where there is no code to return.
inline void needMemory(int code) {
    if (code == ELEM_NO_MEMORY) throw std::bad_alloc();
}

}  // namespace orvkit

#endif
