#include "platform/program.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>

#include "platform/deadline.h"

extern "C" char** environ;

namespace orvkit::platform {

namespace {

constexpr int kNap = 5;  // milliseconds

class Pipe {
  public:
    Pipe() {
        if (::pipe2(ends_, O_CLOEXEC) != 0) ends_[0] = ends_[1] = -1;
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close(0);
        close(1);
    }
    bool isOpen(int end) const { return ends_[end] >= 0; }
    int get(int end) const { return ends_[end]; }
    void close(int end) {
        if (const int handle = std::exchange(ends_[end], -1); handle >= 0) ::close(handle);
    }
    void unblock(int end) { (void)::fcntl(ends_[end], F_SETFL, O_NONBLOCK); }

  private:
    int ends_[2];
};

// The shell in a process group of its own, with the signals as they usually are; -1 when it does not start.
pid_t start(const std::string& command, Pipe& in, Pipe& out) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    (void)::posix_spawn_file_actions_init(&actions);
    (void)::posix_spawnattr_init(&attributes);
    (void)::posix_spawn_file_actions_adddup2(&actions, in.get(0), STDIN_FILENO);
    (void)::posix_spawn_file_actions_adddup2(&actions, out.get(1), STDOUT_FILENO);
    sigset_t usual;
    (void)::sigemptyset(&usual);
    (void)::posix_spawnattr_setsigmask(&attributes, &usual);
    for (const int signal : {SIGPIPE, SIGHUP, SIGINT, SIGTERM, SIGXFSZ}) (void)::sigaddset(&usual, signal);
    (void)::posix_spawnattr_setsigdefault(&attributes, &usual);
    (void)::posix_spawnattr_setpgroup(&attributes, 0);
    (void)::posix_spawnattr_setflags(&attributes,
                                     POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    std::string shell = "/bin/sh";
    std::string option = "-c";
    std::string text = command;
    char* const words[] = {shell.data(), option.data(), text.data(), nullptr};
    pid_t child = -1;
    if (::posix_spawn(&child, shell.c_str(), &actions, &attributes, words, environ) != 0) child = -1;
    (void)::posix_spawn_file_actions_destroy(&actions);
    (void)::posix_spawnattr_destroy(&attributes);
    return child;
}

// Writes to a pipe that may have no reader any more: the signal for that goes nowhere, whatever the process
// does with it.
ssize_t writeQuietly(int handle, std::string_view bytes) {
    sigset_t broken;
    sigset_t before;
    (void)::sigemptyset(&broken);
    (void)::sigaddset(&broken, SIGPIPE);
    (void)::pthread_sigmask(SIG_BLOCK, &broken, &before);
    const ssize_t count = ::write(handle, bytes.data(), bytes.size());
    const int why = errno;
    constexpr timespec now{};
    if (count < 0 && why == EPIPE) (void)::sigtimedwait(&broken, nullptr, &now);
    (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = why;
    return count;
}

// What it does not read is its affair.
void feed(Pipe& in, std::string_view& input) {
    const ssize_t count = writeQuietly(in.get(1), input);
    if (count > 0) input.remove_prefix(static_cast<std::size_t>(count));
    if (input.empty() || (count < 0 && errno != EAGAIN && errno != EINTR)) in.close(1);
}

void drain(Pipe& out, std::string& output, std::size_t most) {
    char bytes[4096];
    const ssize_t count = ::read(out.get(0), bytes, sizeof bytes);
    if (count > 0) output.append(bytes, std::min(static_cast<std::size_t>(count), most - output.size()));
    if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) out.close(0);
}

// False when it is not done with its output in time.
bool talk(Pipe& in, Pipe& out, std::string_view input, std::string& output, std::size_t most,
          const Deadline& deadline) {
    if (input.empty()) in.close(1);
    while (out.isOpen(0)) {
        pollfd entries[] = {{out.get(0), POLLIN, 0}, {in.get(1), POLLOUT, 0}};
        const int ready = ::poll(entries, 2, deadline.left());
        if (ready == 0) return false;
        if (ready < 0) continue;
        if (in.isOpen(1) && entries[1].revents != 0) feed(in, input);
        if (entries[0].revents != 0) drain(out, output, most);
        if (deadline.left() == 0 && out.isOpen(0)) return false;
    }
    return true;
}

}  // namespace

int runProgram(const std::string& command, std::string_view input, std::string& output, std::size_t most,
               int timeout) {
    const Deadline deadline(timeout);
    Pipe in;
    Pipe out;
    output.clear();
    if (!in.isOpen(0) || !out.isOpen(0)) return -1;
    const pid_t child = start(command, in, out);
    if (child < 0) return -1;
    in.close(0);
    out.close(1);
    in.unblock(1);
    out.unblock(0);
    bool inTime = talk(in, out, input, output, most, deadline);
    in.close(1);
    int status = 0;
    pid_t ended = 0;
    while (inTime && (ended = ::waitpid(child, &status, WNOHANG)) == 0) {
        inTime = deadline.left() != 0;
        if (inTime) (void)::poll(nullptr, 0, kNap);
    }
    if (inTime) return ended == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    (void)::kill(-child, SIGKILL);
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return -1;
}

}  // namespace orvkit::platform
