// What a platform must implement: the running program.
#ifndef ORVKIT_PLATFORM_PROCESS_H
#define ORVKIT_PLATFORM_PROCESS_H

#include <string>
#include <vector>

namespace orvkit::platform {

unsigned int processId() noexcept;
// The number by which the system knows the calling thread.
unsigned int threadId() noexcept;
// How many files and sockets the process may hold open at once.
unsigned int mostOpenFiles() noexcept;

// The program's name and arguments from those of main; in UTF-8 where the system has wide characters.
std::vector<std::string> programArguments(int argc, char** argv);

// To be called first: standard streams that the caller has closed are held, or their numbers would be given
// to files that are opened later, and a message would land in a file of the user's. What is written has the
// same bytes on every system, and consoles take it as UTF-8.
void prepareStandardStreams() noexcept;
// Whether somebody watches standard error.
bool errorIsTerminal() noexcept;

// From now on a closed pipe, or a file beyond the size limit of the process, is an error of writing like
// others.
void ignoreBrokenPipe() noexcept;
void ignoreSizeLimit() noexcept;

// From now on the process has the rights of that user, by name or number, and of its groups, and no way back.
// False: `fault` tells why, and the rights are what they were, or less.
bool becomeUser(const std::string& name, std::string& fault);

}  // namespace orvkit::platform

#endif
