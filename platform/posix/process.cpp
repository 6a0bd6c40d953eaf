#include "platform/process.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>

#include <csignal>

namespace orvkit::platform {

unsigned int processId() noexcept {
    return static_cast<unsigned int>(::getpid());
}

unsigned int threadId() noexcept {
    thread_local const auto id = static_cast<unsigned int>(::syscall(SYS_gettid));
    return id;
}

unsigned int mostOpenFiles() noexcept {
    constexpr rlim_t plenty = 1u << 20;
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0) return 256;
    return static_cast<unsigned int>(std::min(files.rlim_cur, plenty));
}

std::vector<std::string> programArguments(int argc, char** argv) {
    return {argv, argv + argc};
}

void prepareStandardStreams() noexcept {
    // Writing to a stream that was closed goes on failing.
    for (int handle = ::open("/dev/null", O_RDONLY); handle >= 0; handle = ::open("/dev/null", O_RDONLY)) {
        if (handle <= STDERR_FILENO) continue;
        ::close(handle);
        break;
    }
}

bool errorIsTerminal() noexcept {
    return ::isatty(STDERR_FILENO) != 0;
}

void ignoreBrokenPipe() noexcept {
    (void)std::signal(SIGPIPE, SIG_IGN);
}
void ignoreSizeLimit() noexcept {
    (void)std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace orvkit::platform
