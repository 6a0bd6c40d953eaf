#include "platform/stop.h"

#include <unistd.h>

#include <csignal>
#include <cstring>

namespace orvkit::platform {

namespace {

constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// What the signal handler removes.
char doomed[4096];
volatile std::sig_atomic_t armed = 0;

enum Noting : std::sig_atomic_t { notNoted, firstNoted, allNoted };
volatile std::sig_atomic_t noting = notNoted;
volatile std::sig_atomic_t asked = 0;
volatile std::sig_atomic_t grace = 0;  // seconds
volatile std::sig_atomic_t first = 0;  // the signal that began them

volatile std::sig_atomic_t hangupsNoted = 0;
volatile std::sig_atomic_t hungUp = 0;

extern "C" void takeSignal(int signal) {
    if (signal == SIGHUP && hangupsNoted != 0) {
        hungUp = 1;
        return;
    }
    if (noting != notNoted && signal != SIGHUP) {
        asked = 1;
        if (noting == allNoted) return;
        noting = notNoted;
        first = signal;
        ::alarm(static_cast<unsigned int>(grace));
        return;
    }
    if (armed != 0) ::unlink(doomed);
    if (signal == SIGALRM) signal = first;
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

// A signal that the caller of the program had ignored (nohup) stays ignored.
void catchSignal(int signal) noexcept {
    if (std::signal(signal, takeSignal) == SIG_IGN) std::signal(signal, SIG_IGN);
}

}  // namespace

bool removeWhenEnded(const char* path) noexcept {
    armed = 0;
    const std::size_t length = std::strlen(path);
    if (length >= sizeof doomed) return false;
    if (length == 0) return true;
    std::memcpy(doomed, path, length + 1);
    armed = 1;
    for (int signal : endingSignals) catchSignal(signal);
    return true;
}

void removeDoomed() noexcept {
    if (armed != 0) ::unlink(doomed);
}

void noteStops() noexcept {
    noting = allNoted;
    std::signal(SIGINT, takeSignal);
    std::signal(SIGTERM, takeSignal);
}
void noteFirstStop(unsigned int seconds) noexcept {
    grace = static_cast<std::sig_atomic_t>(seconds);
    if (asked == 0) noting = firstNoted;
    std::signal(SIGALRM, takeSignal);
    catchSignal(SIGINT);
    catchSignal(SIGTERM);
}
bool stopAsked() noexcept {
    return asked != 0;
}

void noteHangups() noexcept {
    hangupsNoted = 1;
    std::signal(SIGHUP, takeSignal);
}
bool takeHangup() noexcept {
    if (hungUp == 0) return false;
    hungUp = 0;
    return true;
}

}  // namespace orvkit::platform
