#include "platform/process.h"

#include <windows.h>
// windows.h first
#include <fcntl.h>
#include <io.h>

// The C runtime's own splitting of the command line, with wildcards in file names filled in as main's are.
extern "C" int __wgetmainargs(int* count, wchar_t*** arguments, wchar_t*** environment, int fillWildcards,
                              int* startup);

namespace orvkit::platform {

namespace {

std::string utf8(const wchar_t* text) {
    const int room = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    std::string result(room > 0 ? static_cast<std::size_t>(room) : 1, '\0');
    (void)::WideCharToMultiByte(CP_UTF8, 0, text, -1, result.data(), room, nullptr, nullptr);
    result.pop_back();  // the closing NUL
    return result;
}

}  // namespace

unsigned int processId() noexcept {
    return ::GetCurrentProcessId();
}
unsigned int threadId() noexcept {
    return ::GetCurrentThreadId();
}
// Sockets are bounded by memory alone; files by the C runtime, which allows no more than these.
unsigned int mostOpenFiles() noexcept {
    return 8192;
}

std::vector<std::string> programArguments(int argc, char** argv) {
    int count = 0;
    wchar_t** wide = nullptr;
    wchar_t** environment = nullptr;
    int startup = 0;
    if (::__wgetmainargs(&count, &wide, &environment, 1, &startup) < 0) return {argv, argv + argc};
    std::vector<std::string> arguments;
    for (int i = 0; i < count; ++i) arguments.push_back(utf8(wide[i]));
    return arguments;
}

void prepareStandardStreams() noexcept {
    // The runtime keeps the numbers of closed streams by itself.
    for (int handle : {0, 1, 2}) (void)::_setmode(handle, _O_BINARY);
    for (const DWORD stream : {STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        const HANDLE console = ::GetStdHandle(stream);
        DWORD mode = 0;
        if (::GetConsoleMode(console, &mode) == 0) continue;
        (void)::SetConsoleOutputCP(CP_UTF8);
        // Lines of progress are wiped by an escape sequence.
        (void)::SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
}

bool errorIsTerminal() noexcept {
    DWORD mode = 0;
    return ::GetConsoleMode(::GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

// There are no such signals.
bool becomeUser(const std::string&, std::string& fault) {
    fault = "another user's rights cannot be taken on this system";
    return false;
}

void ignoreBrokenPipe() noexcept {}
void ignoreSizeLimit() noexcept {}

}  // namespace orvkit::platform
