#include "platform/socket.h"

#include <winsock2.h>
// winsock2.h first
#include <ws2tcpip.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/deadline.h"
#include "platform/socket_address.h"

namespace orvkit::platform {

namespace {

// Socket numbers fit 32 bits on every Windows; only "none" differs.
SOCKET handleOf(unsigned int socket) noexcept {
    return socket == kNoSocket ? INVALID_SOCKET : SOCKET{socket};
}
unsigned int numberOf(SOCKET socket) noexcept {
    return socket == INVALID_SOCKET ? kNoSocket : static_cast<unsigned int>(socket);
}

// 1 when the event (or a failure that the next call will tell) is there, 0 after the time-out, -1 on failure.
int waitFor(unsigned int socket, short events, int timeout) noexcept {
    WSAPOLLFD entry{handleOf(socket), events, 0};
    const int n = ::WSAPoll(&entry, 1, timeout);
    if (n == SOCKET_ERROR) return -1;
    if (n > 0 && (entry.revents & POLLNVAL) != 0) {
        ::WSASetLastError(WSAENOTSOCK);
        return -1;
    }
    return n > 0 ? 1 : 0;
}

bool setBlocking(unsigned int socket, bool blocking) noexcept {
    u_long on = blocking ? 0 : 1;
    return ::ioctlsocket(handleOf(socket), static_cast<long>(FIONBIO), &on) == 0;
}

bool setOption(unsigned int socket, int level, int option, int value) noexcept {
    return ::setsockopt(handleOf(socket), level, option,
                        static_cast<const char*>(static_cast<const void*>(&value)), sizeof value) == 0;
}

int lengthOf(std::size_t length) noexcept {
    return static_cast<int>(std::min<std::size_t>(length, INT_MAX));
}

}  // namespace

bool startSockets() noexcept {
    WSADATA data{};
    return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
}
void endSockets() noexcept {
    ::WSACleanup();
}

int lastSocketError() noexcept {
    return ::WSAGetLastError();
}

void closeSocket(unsigned int socket) noexcept {
    if (socket == kNoSocket) return;
    const int reason = ::WSAGetLastError();
    ::closesocket(handleOf(socket));
    ::WSASetLastError(reason);
}

std::string addressText(const Address& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.length == 0) return text;
    if (::getnameinfo(record(address), static_cast<socklen_t>(address.length), text, sizeof text, nullptr, 0,
                      NI_NUMERICHOST) != 0) {
        text[0] = '\0';
    }
    return text;
}

bool resolve(const char* host, int port, Address& address) noexcept {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* list = nullptr;
    int error = ::getaddrinfo(host, nullptr, &hints, &list);
    if (error != 0) {
        hints.ai_flags = 0;
        error = ::getaddrinfo(host, nullptr, &hints, &list);
    }
    if (error != 0) {
        ::WSASetLastError(error);
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(list, &::freeaddrinfo);
    return takeOne(list, port, address);
}

Socket openSocket(const Address& address) noexcept {
    const int family = address.length == 0 ? AF_INET : record(address)->sa_family;
    return Socket(numberOf(::socket(family, SOCK_STREAM, IPPROTO_TCP)));
}

// Ends also when connecting has failed, which WSAPoll tells only from Windows 10 version 2004 on.
static int waitConnected(unsigned int socket, int timeout) noexcept {
    fd_set connected;
    fd_set failed;
    FD_ZERO(&connected);
    FD_ZERO(&failed);
    FD_SET(handleOf(socket), &connected);
    FD_SET(handleOf(socket), &failed);
    timeval bound{timeout / 1000, timeout % 1000 * 1000};
    const int n = ::select(0, nullptr, &connected, &failed, timeout < 0 ? nullptr : &bound);
    return n == SOCKET_ERROR ? -1 : n > 0 ? 1 : 0;
}

bool connectSocket(unsigned int socket, const Address& address, int timeout) noexcept {
    if (!setBlocking(socket, false)) return false;
    if (::connect(handleOf(socket), record(address), static_cast<int>(address.length)) != 0) {
        if (::WSAGetLastError() != WSAEWOULDBLOCK) return false;
        const int ready = waitConnected(socket, timeout);
        if (ready < 0) return false;
        if (ready == 0) {
            ::WSASetLastError(WSAETIMEDOUT);
            return false;
        }
        int error = 0;
        int length = sizeof error;
        if (::getsockopt(handleOf(socket), SOL_SOCKET, SO_ERROR,
                         static_cast<char*>(static_cast<void*>(&error)), &length) != 0) {
            return false;
        }
        if (error != 0) {
            ::WSASetLastError(error);
            return false;
        }
    }
    sendAtOnce(socket);
    return setBlocking(socket, true);
}

void adoptSocket(unsigned int socket) noexcept {
    (void)setBlocking(socket, true);
    sendAtOnce(socket);
}

void sendAtOnce(unsigned int socket) noexcept {
    (void)setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
}
// A port that was closed a moment ago is free here anyway. The option of the same name would share a port
// with a listener that has it.
bool reuseAddress(unsigned int socket) noexcept {
    return setOption(socket, SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
}

Socket openForAny() noexcept {
    Socket both(numberOf(::socket(AF_INET6, SOCK_STREAM, IPPROTO_TCP)));
    if (both && setOption(both.get(), IPPROTO_IPV6, IPV6_V6ONLY, 0)) return both;
    return openSocket({});
}

static bool isIpv6(unsigned int socket) noexcept {
    WSAPROTOCOL_INFOW info{};
    int length = sizeof info;
    return ::getsockopt(handleOf(socket), SOL_SOCKET, SO_PROTOCOL_INFOW,
                        static_cast<char*>(static_cast<void*>(&info)), &length) == 0 &&
           info.iAddressFamily == AF_INET6;
}

bool bindAny(unsigned int socket, int port) noexcept {
    if (port < 0 || port > 65535) {
        ::WSASetLastError(WSAEINVAL);
        return false;
    }
    Address any;  // all zeros
    if (isIpv6(socket)) {
        record(any)->sa_family = AF_INET6;
        any.length = sizeof(sockaddr_in6);
    } else {
        record(any)->sa_family = AF_INET;
        any.length = sizeof(sockaddr_in);
    }
    setPort(any, port);
    return bindTo(socket, any);
}

bool bindTo(unsigned int socket, const Address& address) noexcept {
    return ::bind(handleOf(socket), record(address), static_cast<socklen_t>(address.length)) == 0;
}

bool listenSocket(unsigned int socket, int backlog) noexcept {
    // Another thread may take the connection that woke this one: accepting must not wait then.
    return setBlocking(socket, false) && ::listen(handleOf(socket), backlog) == 0;
}

Socket acceptSocket(unsigned int listener, Address& peer, int timeout) noexcept {
    const Deadline deadline(timeout);
    for (;;) {
        const int ready = waitFor(listener, POLLIN, deadline.left());
        if (ready <= 0) {
            if (ready == 0) ::WSASetLastError(WSAETIMEDOUT);
            return {};
        }
        int length = sizeof peer.bytes;
        Socket accepted(numberOf(::accept(handleOf(listener), record(peer), &length)));
        if (accepted) {
            peer.length = static_cast<unsigned int>(length);
            unwrap(peer);
            // A connection inherits from its listener that it does not wait.
            (void)setBlocking(accepted.get(), true);
            sendAtOnce(accepted.get());
            return accepted;
        }
        const int error = ::WSAGetLastError();
        if (error != WSAEWOULDBLOCK && error != WSAECONNRESET) return {};
    }
}

bool peerAddress(unsigned int socket, Address& address) noexcept {
    int length = sizeof address.bytes;
    if (::getpeername(handleOf(socket), record(address), &length) != 0) return false;
    address.length = static_cast<unsigned int>(length);
    unwrap(address);
    return true;
}

bool ownAddress(unsigned int socket, Address& address) noexcept {
    int length = sizeof address.bytes;
    if (::getsockname(handleOf(socket), record(address), &length) != 0) return false;
    address.length = static_cast<unsigned int>(length);
    return true;
}

bool setSocketTimeouts(unsigned int socket, int receive, int send) noexcept {
    return setOption(socket, SOL_SOCKET, SO_RCVTIMEO, receive) &&
           setOption(socket, SOL_SOCKET, SO_SNDTIMEO, send);
}

bool waitReadable(unsigned int socket, int timeout) noexcept {
    const int ready = waitFor(socket, POLLIN, timeout);
    if (ready == 0) ::WSASetLastError(WSAETIMEDOUT);
    return ready > 0;
}

void waitAny(WaitEntry* entries, std::size_t count, int timeout) {
    std::vector<WSAPOLLFD> polls(count);
    for (std::size_t i = 0; i < count; ++i) polls[i] = {handleOf(entries[i].socket), POLLIN, 0};
    const int n = ::WSAPoll(polls.data(), static_cast<ULONG>(count), timeout);
    for (std::size_t i = 0; i < count; ++i) entries[i].ready = n > 0 && polls[i].revents != 0;
}

// A datagram to itself.
Bell::Bell() noexcept {
    Socket own(numberOf(::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP)));
    sockaddr_in home{};
    home.sin_family = AF_INET;
    home.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    Address address;
    std::memcpy(address.bytes, &home, sizeof home);
    int length = sizeof address.bytes;
    if (!own || ::bind(handleOf(own.get()), record(address), sizeof home) != 0 ||
        ::getsockname(handleOf(own.get()), record(address), &length) != 0 ||
        ::connect(handleOf(own.get()), record(address), length) != 0 || !setBlocking(own.get(), false)) {
        return;
    }
    inside_ = std::move(own);
}

void Bell::ring() noexcept {
    (void)::send(handleOf(inside_.get()), "", 1, 0);
}

void Bell::silence() noexcept {
    char heard[64];
    while (::recv(handleOf(inside_.get()), heard, sizeof heard, 0) > 0) {
    }
}

Received receive(unsigned int socket, void* data, std::size_t length, int timeout,
                 std::size_t& count) noexcept {
    count = 0;
    const int ready = waitFor(socket, POLLIN, timeout);
    if (ready < 0) return Received::failed;
    if (ready == 0) {
        ::WSASetLastError(WSAETIMEDOUT);
        return Received::timeout;
    }
    const int n = ::recv(handleOf(socket), static_cast<char*>(data), lengthOf(length), 0);
    if (n == 0) return Received::closed;
    if (n < 0) return Received::failed;
    count = static_cast<std::size_t>(n);
    return Received::data;
}

std::int64_t peekArrived(unsigned int socket, void* data, std::size_t length) noexcept {
    const int ready = waitFor(socket, POLLIN, 0);
    if (ready == 0) return -1;
    if (ready < 0) return -2;
    const int n = ::recv(handleOf(socket), static_cast<char*>(data), lengthOf(length), MSG_PEEK);
    return n >= 0 ? n : -2;
}

bool peerIsDone(unsigned int socket) noexcept {
    WSAPOLLFD entry{handleOf(socket), POLLIN, 0};
    return ::WSAPoll(&entry, 1, 0) > 0 && (entry.revents & (POLLHUP | POLLERR)) != 0;
}

// One call: a socket that does not block is not waited for.
std::int64_t sendRuns(unsigned int socket, const Run* runs, std::size_t count, int) noexcept {
    WSABUF parts[kMostRuns] = {};
    DWORD used = 0;
    for (; count > 0 && used < kMostRuns; ++runs, --count) {
        if (runs->length == 0) continue;
        parts[used].buf = const_cast<char*>(static_cast<const char*>(runs->data));
        parts[used++].len = static_cast<ULONG>(runs->length);
    }
    DWORD sent = 0;
    if (::WSASend(handleOf(socket), parts, used, &sent, 0, nullptr, nullptr) != 0) return -1;
    return static_cast<std::int64_t>(sent);
}

void shutdownSocket(unsigned int socket) noexcept {
    ::shutdown(handleOf(socket), SD_BOTH);
}

}  // namespace orvkit::platform
