// What a platform must implement: the terminal that standard output may be.
#ifndef ORVKIT_PLATFORM_TERMINAL_H
#define ORVKIT_PLATFORM_TERMINAL_H

#include <string>

namespace orvkit::platform {

struct TerminalSize {
    unsigned int columns = 0;  // of characters; 0 where nobody knows, or it is no terminal
    unsigned int rows = 0;
    unsigned int width = 0;  // in pixels; 0 where nobody knows
    unsigned int height = 0;
};
TerminalSize outputSize() noexcept;

// Writes a question to the terminal and gives what it answers up to a character; "" without that in time.
// What the user types meanwhile is lost.
std::string askTerminal(const char* question, char end, int milliseconds);

}  // namespace orvkit::platform

#endif
