#include "platform/stop.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <mutex>

#include "platform/win32/path.h"

namespace orvkit::platform {

namespace {

// The system calls the handler on a thread of its own.
std::mutex doomedMutex;
std::unique_ptr<WidePath> doomed;

enum class Noted : unsigned char { none, first, all };
std::atomic<Noted> noted = Noted::none;
std::atomic<bool> asked = false;
std::atomic<unsigned int> grace = 0;  // seconds

void removeDoomed() noexcept {
    const std::lock_guard lock(doomedMutex);
    if (doomed != nullptr) (void)::DeleteFileW(doomed->get());
}

void CALLBACK endAll(void*, BOOLEAN) noexcept {
    removeDoomed();
    ::ExitProcess(STATUS_CONTROL_C_EXIT);
}

BOOL WINAPI handleEnd(DWORD reason) noexcept {
    const bool before = asked.exchange(true);
    if (noted == Noted::all || (noted == Noted::first && !before)) {
        HANDLE timer = nullptr;
        if (noted == Noted::first) {
            (void)::CreateTimerQueueTimer(&timer, nullptr, endAll, nullptr, grace * 1000, 0,
                                          WT_EXECUTEONLYONCE);
        }
        // After these the process is ended as soon as the handler returns: the program has until the system
        // loses patience.
        if (reason != CTRL_C_EVENT && reason != CTRL_BREAK_EVENT) ::Sleep(INFINITE);
        return TRUE;
    }
    removeDoomed();
    return FALSE;  // the system's own handler ends the process
}

void install() noexcept {
    static const bool installed = ::SetConsoleCtrlHandler(handleEnd, TRUE) != 0;
    (void)installed;
}

}  // namespace

bool removeWhenEnded(const char* path) noexcept {
    const std::lock_guard lock(doomedMutex);
    doomed.reset();
    if (*path == '\0') return true;
    doomed.reset(new (std::nothrow) WidePath(path));
    if (doomed == nullptr || !doomed->ok()) {
        doomed.reset();
        return false;
    }
    install();
    return true;
}

void removeDoomed() noexcept {
    const std::lock_guard lock(doomedMutex);
    if (doomed != nullptr) (void)::DeleteFileW(doomed->get());
}

void noteStops() noexcept {
    noted = Noted::all;
    install();
}
void noteFirstStop(unsigned int seconds) noexcept {
    grace = seconds;
    noted = Noted::first;
    install();
}
void noteHangups() noexcept {}
bool takeHangup() noexcept {
    return false;
}
bool stopAsked() noexcept {
    return asked;
}

}  // namespace orvkit::platform
