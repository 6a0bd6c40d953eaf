#include "platform/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>

#include "platform/file.h"

namespace orvkit::platform {
namespace {

// The terminal gives each character at once and shows none, as long as this lives.
class Quiet {
  public:
    explicit Quiet(int terminal) : terminal_(terminal), isSet_(::tcgetattr(terminal, &before_) == 0) {
        if (!isSet_) return;
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        isSet_ = ::tcsetattr(terminal_, TCSANOW, &quiet) == 0;
    }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
    ~Quiet() {
        if (isSet_) (void)::tcsetattr(terminal_, TCSANOW, &before_);
    }
    explicit operator bool() const { return isSet_; }

  private:
    int terminal_;
    termios before_{};
    bool isSet_;
};

}  // namespace

TerminalSize outputSize() noexcept {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return {};
    return {size.ws_col, size.ws_row, size.ws_xpixel, size.ws_ypixel};
}

std::string askTerminal(const char* question, char end, int milliseconds) {
    constexpr std::size_t most = 256;
    const FileHandle terminal(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!terminal) return {};
    const Quiet quiet(terminal.get());
    if (!quiet || !writeAll(terminal.get(), question, std::strlen(question))) return {};
    std::string answer;
    pollfd ready = {terminal.get(), POLLIN, 0};
    while (answer.size() < most && ::poll(&ready, 1, milliseconds) == 1) {
        char c = 0;
        if (::read(terminal.get(), &c, 1) != 1) break;
        answer += c;
        if (c == end) return answer;
    }
    return {};
}

}  // namespace orvkit::platform
