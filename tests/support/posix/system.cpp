#include "tests/support/system.h"

#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

const char* const nullDevice = "/dev/null";

bool keepsHoles(const std::string& path) {
    struct stat status = {};
    std::ofstream(path).put('x');
    std::filesystem::resize_file(path, 1 << 24);
    const bool known = ::stat(path.c_str(), &status) == 0;
    std::filesystem::remove(path);
    return known && status.st_blocks < (1 << 24) / 512 / 2;
}

std::size_t openHandles() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

ConnectedSockets connectedSockets() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("no socket pair");
    ConnectedSockets pair;
    pair.one.reset(static_cast<unsigned int>(ends[0]));
    pair.other.reset(static_cast<unsigned int>(ends[1]));
    return pair;
}

void endSending(unsigned int socket) {
    ::shutdown(static_cast<int>(socket), SHUT_WR);
}

int openMemoryFile(std::string& path) {
    const int handle = ::memfd_create("file", 0);
    path = "/proc/self/fd/" + std::to_string(handle);
    return handle;
}

void emptyMemoryFile(int handle) {
    if (::ftruncate(handle, 0) != 0 || ::lseek(handle, 0, SEEK_SET) != 0) std::abort();
}

void keepTemporariesInMemory() {
    if (::access("/dev/shm", W_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
}
