// What a platform must implement: another program, run to its end.
#ifndef ORVKIT_PLATFORM_PROGRAM_H
#define ORVKIT_PLATFORM_PROGRAM_H

#include <cstddef>
#include <string>
#include <string_view>

namespace orvkit::platform {

// Runs a command line of the system's shell with that standard input, takes what it writes to standard
// output, up to `most` bytes, and gives its exit status; -1 when it was not run, was ended by a signal, or
// was not done in that many milliseconds: then it is killed, with those that it started.
int runProgram(const std::string& command, std::string_view input, std::string& output, std::size_t most,
               int timeout);

}  // namespace orvkit::platform

#endif
