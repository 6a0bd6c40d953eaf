#include "platform/terminal.h"

#include <windows.h>

namespace orvkit::platform {

TerminalSize outputSize() noexcept {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (::GetConsoleScreenBufferInfo(::GetStdHandle(STD_OUTPUT_HANDLE), &info) == 0) return {};
    TerminalSize size;
    size.columns = static_cast<unsigned int>(info.srWindow.Right - info.srWindow.Left + 1);
    size.rows = static_cast<unsigned int>(info.srWindow.Bottom - info.srWindow.Top + 1);
    return size;
}

// Consoles do not tell what they draw.
std::string askTerminal(const char*, char, int) {
    return {};
}

}  // namespace orvkit::platform
