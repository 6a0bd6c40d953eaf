#include "platform/child.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

extern "C" char** environ;

namespace orvkit::platform {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

constexpr int kLine = STDIN_FILENO;  // of the child
constexpr const char* kNothing = "/dev/null";
constexpr const char* kThisProgram = "/proc/self/exe";

// Its standard output goes nowhere, and what it says as it ends neither; sanitizers are to be heard.
int spawn(const std::string& program, const std::string& argument, int line, pid_t& child) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    (void)::posix_spawn_file_actions_init(&actions);
    (void)::posix_spawnattr_init(&attributes);
    (void)::posix_spawn_file_actions_adddup2(&actions, line, kLine);
    (void)::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, kNothing, O_WRONLY, 0);
    if (!kSanitized) (void)::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, kNothing, O_WRONLY, 0);
    sigset_t none;
    sigset_t all;
    (void)::sigemptyset(&none);
    (void)::sigfillset(&all);
    (void)::posix_spawnattr_setsigmask(&attributes, &none);
    (void)::posix_spawnattr_setsigdefault(&attributes, &all);
    (void)::posix_spawnattr_setpgroup(&attributes, 0);
    (void)::posix_spawnattr_setflags(&attributes,
                                     POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    std::string name = program.empty() ? kThisProgram : program;
    std::string word = argument;
    char* const words[] = {name.data(), word.data(), nullptr};
    const int result = ::posix_spawn(&child, name.c_str(), &actions, &attributes, words, environ);
    (void)::posix_spawn_file_actions_destroy(&actions);
    (void)::posix_spawnattr_destroy(&attributes);
    return result;
}

void limit(decltype(RLIMIT_CORE) what, rlim_t most, bool forEver) noexcept {
    rlimit now{};
    if (::getrlimit(what, &now) != 0) return;
    now.rlim_cur = std::min(most, now.rlim_max);
    if (forEver) now.rlim_max = now.rlim_cur;
    (void)::setrlimit(what, &now);
}

// Moves all bytes by `move`, which is told where it is.
template <typename Byte, typename Move>
bool moveAll(std::span<Byte> bytes, Move move) noexcept {
    while (!bytes.empty()) {
        const ssize_t count = move(bytes);
        if (count == 0) return false;
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

// False when the time is over.
bool awaitLine(int line, short event, const Deadline& deadline) noexcept {
    pollfd entry{line, event, 0};
    int ready = 0;
    do ready = ::poll(&entry, 1, deadline.left());
    while (ready < 0 && errno == EINTR);
    return ready > 0;
}

}  // namespace

bool Child::start(const std::string& program, const std::string& argument, std::string& fault) {
    (void)end();
    int lines[2] = {-1, -1};
    int error = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, lines) == 0 ? 0 : errno;
    pid_t child = -1;
    // A line that has the number already would be closed with the others when the program begins.
    const int line = error == 0 && lines[1] == kLine ? ::fcntl(lines[1], F_DUPFD_CLOEXEC, 3) : lines[1];
    if (line != lines[1]) ::close(lines[1]);
    if (error == 0) error = spawn(program, argument, line, child);
    if (line >= 0) ::close(line);
    if (error != 0) {
        if (lines[0] >= 0) ::close(lines[0]);
        fault = std::strerror(error);
        return false;
    }
    line_ = lines[0];
    id_ = child;
    return true;
}

bool Child::send(std::span<const unsigned char> bytes, const Deadline& deadline) noexcept {
    return moveAll(bytes, [&](std::span<const unsigned char> rest) -> ssize_t {
        if (!awaitLine(line_, POLLOUT, deadline)) return 0;
        const ssize_t count = ::send(line_, rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return count < 0 && errno == EAGAIN ? (errno = EINTR, -1) : count;
    });
}

bool Child::receive(std::span<unsigned char> bytes, const Deadline& deadline) noexcept {
    return moveAll(bytes, [&](std::span<unsigned char> rest) -> ssize_t {
        if (!awaitLine(line_, POLLIN, deadline)) return 0;
        return ::recv(line_, rest.data(), rest.size(), 0);
    });
}

// One that has closed its line is ending: that is waited for, but not for ever.
std::string Child::end() {
    if (id_ < 0) return "";
    const bool gone = [&] {
        pollfd entry{line_, POLLIN | POLLRDHUP, 0};
        return ::poll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLRDHUP | POLLERR)) != 0;
    }();
    ::close(std::exchange(line_, -1));
    const pid_t child = std::exchange(id_, -1);
    int status = 0;
    const Deadline patience(1000);
    while (gone && patience.left() > 0) {
        const pid_t ended = ::waitpid(child, &status, WNOHANG);
        if (ended < 0 && errno != EINTR) return "ended";
        if (ended == child) {
            return WIFSIGNALED(status) ? "ended by signal " + std::to_string(WTERMSIG(status))
                                       : "ended with status " + std::to_string(WEXITSTATUS(status));
        }
        (void)::poll(nullptr, 0, 1);
    }
    (void)::kill(child, SIGKILL);
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return "";
}

bool parent::receive(std::span<unsigned char> bytes) noexcept {
    return moveAll(bytes, [](auto rest) { return ::recv(kLine, rest.data(), rest.size(), 0); });
}

bool parent::send(std::span<const unsigned char> bytes) noexcept {
    return moveAll(bytes, [](auto rest) { return ::send(kLine, rest.data(), rest.size(), MSG_NOSIGNAL); });
}

void parent::closeFiles() noexcept {
    limit(RLIMIT_CORE, 0, true);
    if (kSanitized) return;
    limit(RLIMIT_NOFILE, 0, true);
    limit(RLIMIT_FSIZE, 0, true);
}

void parent::allow(unsigned int seconds, unsigned long long bytes) noexcept {
    (void)::alarm(seconds);
    if (!kSanitized) limit(RLIMIT_AS, static_cast<rlim_t>(bytes), false);
}

void parent::leave(int status) noexcept {
    ::_exit(status);
}

}  // namespace orvkit::platform
