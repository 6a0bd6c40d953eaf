#include "platform/program.h"

namespace orvkit::platform {

// Nobody asks for it here: the users of a server are checked by a program where there is a shell.
int runProgram(const std::string&, std::string_view, std::string&, std::size_t, int) {
    return -1;
}

}  // namespace orvkit::platform
