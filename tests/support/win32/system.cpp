#include "tests/support/system.h"

#include <winsock2.h>
// winsock2.h first
#include <windows.h>
// windows.h first
#include <fcntl.h>
#include <io.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/support/temp_dir.h"

namespace net = orvkit::platform;

const char* const nullDevice = "NUL";

// They are to be asked for there.
bool keepsHoles(const std::string&) {
    return false;
}

std::size_t openHandles() {
    DWORD count = 0;
    ::GetProcessHandleCount(::GetCurrentProcess(), &count);
    return count;
}

// Over the loopback: there are no pairs.
ConnectedSockets connectedSockets() {
    static const bool started = net::startSockets();
    const net::Socket listener = net::openSocket({});
    net::Address address;
    net::Address peer;
    if (!started || !net::bindAny(listener.get(), 0) || !net::listenSocket(listener.get(), 1) ||
        !net::ownAddress(listener.get(), address) ||
        !net::resolve("127.0.0.1", net::addressPort(address), address)) {
        throw std::runtime_error("no listener");
    }
    ConnectedSockets pair;
    pair.one = net::openSocket(address);
    if (!net::connectSocket(pair.one.get(), address, 5000)) throw std::runtime_error("no connection");
    pair.other = net::acceptSocket(listener.get(), peer, 5000);
    // A send to a peer that has gone is not told at once everywhere.
    (void)net::setSocketTimeouts(pair.one.get(), 0, 1000);
    return pair;
}

void endSending(unsigned int socket) {
    ::shutdown(socket, SD_SEND);
}

int openMemoryFile(std::string& path) {
    static const TempDir dir;
    static int count = 0;
    path = dir / std::to_string(++count);
    const HANDLE file = ::CreateFileA(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    return ::_open_osfhandle(reinterpret_cast<std::intptr_t>(file), _O_BINARY);
}

void emptyMemoryFile(int handle) {
    if (::_chsize(handle, 0) != 0 || ::_lseek(handle, 0, SEEK_SET) != 0) std::abort();
}

void keepTemporariesInMemory() {}
