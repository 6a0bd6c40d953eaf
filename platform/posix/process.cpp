#include "platform/process.h"

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

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

bool becomeUser(const std::string& name, std::string& fault) {
    const passwd* user = ::getpwnam(name.c_str());
    if (user == nullptr && !name.empty() && name.find_first_not_of("0123456789") == std::string::npos) {
        user = ::getpwuid(static_cast<uid_t>(std::strtoul(name.c_str(), nullptr, 10)));
    }
    if (user == nullptr) {
        fault = "there is no user '" + name + "'";
        return false;
    }
    const uid_t id = user->pw_uid;
    if (::getuid() == id && ::geteuid() == id) return true;
    if (::initgroups(user->pw_name, user->pw_gid) != 0 || ::setgid(user->pw_gid) != 0 || ::setuid(id) != 0) {
        fault = "the rights of user '" + name + "' cannot be taken: " + std::strerror(errno);
        return false;
    }
    if (id == 0 || ::setuid(0) != 0) return true;
    fault = "the rights of before cannot be given up";
    return false;
}

void ignoreBrokenPipe() noexcept {
    (void)std::signal(SIGPIPE, SIG_IGN);
}
void ignoreSizeLimit() noexcept {
    (void)std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace orvkit::platform
