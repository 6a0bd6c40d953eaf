#include "platform/process.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace orvkit::platform {

unsigned int processId() noexcept {
    return static_cast<unsigned int>(::getpid());
}

unsigned int threadId() noexcept {
    thread_local const auto id = static_cast<unsigned int>(::syscall(SYS_gettid));
    return id;
}

}  // namespace orvkit::platform
