// What tests and fuzz targets need of the operating system; a posix/ and a win32/ twin.
#ifndef ORVKIT_TESTS_SUPPORT_SYSTEM_H
#define ORVKIT_TESTS_SUPPORT_SYSTEM_H

#include <cstddef>
#include <string>

#include "platform/socket.h"

// Whether a file takes no room for what nobody wrote; `path` is where one may be made to try.
bool keepsHoles(const std::string& path);

// Takes what is written, has nothing to read, and is no regular file.
extern const char* const nullDevice;

// How many files, sockets and other handles the process holds.
std::size_t openHandles();

// Two sockets that are connected to each other.
struct ConnectedSockets {
    orvkit::platform::Socket one, other;
};
ConnectedSockets connectedSockets();
// The other end reads to the end, while this one may still receive.
void endSending(unsigned int socket);

// A file for reading and writing, in memory where the system can, with a path to it; both last as long as the
// process.
int openMemoryFile(std::string& path);
void emptyMemoryFile(int handle);
// Directories for temporary files are made in memory from now on, where the system can.
void keepTemporariesInMemory();

#endif
