#include "platform/process.h"

#include <windows.h>

namespace orvkit::platform {

unsigned int processId() noexcept {
    return ::GetCurrentProcessId();
}
unsigned int threadId() noexcept {
    return ::GetCurrentThreadId();
}

}  // namespace orvkit::platform
