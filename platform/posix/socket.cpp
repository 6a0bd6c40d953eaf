#include "platform/socket.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <vector>

#include "platform/deadline.h"
#include "platform/socket_address.h"

namespace orvkit::platform {

namespace {

int handleOf(unsigned int socket) noexcept {
    return static_cast<int>(socket);
}

// 1 when the event (or a failure that the next call will tell) is there, 0 after the time-out, -1 on failure.
int waitFor(unsigned int socket, short events, int timeout) noexcept {
    const Deadline deadline(timeout);
    pollfd entry{handleOf(socket), events, 0};
    int wait = timeout;
    for (;;) {
        const int n = ::poll(&entry, 1, wait);
        if (n > 0 && (entry.revents & POLLNVAL) != 0) {
            errno = EBADF;
            return -1;
        }
        if (n >= 0) return n > 0 ? 1 : 0;
        if (errno != EINTR) return -1;
        wait = deadline.left();
    }
}

void acknowledge(unsigned int socket) noexcept {
    const int on = 1;
    (void)::setsockopt(handleOf(socket), IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
}

// Looks for bytes for as long as going to sleep and being woken would take: an answer that is on its way is
// met awake. Whoever else wants the processor gets it.
bool arrivesSoon(unsigned int socket) noexcept {
    constexpr std::chrono::microseconds awake(50);
    const auto until = std::chrono::steady_clock::now() + awake;
    do {
        char first = 0;
        if (::recv(handleOf(socket), &first, 1, MSG_DONTWAIT | MSG_PEEK) >= 0) return true;
        ::sched_yield();
    } while (std::chrono::steady_clock::now() < until);
    return false;
}

bool setBlocking(unsigned int socket, bool blocking) noexcept {
    const int flags = ::fcntl(handleOf(socket), F_GETFL);
    if (flags == -1) return false;
    return ::fcntl(handleOf(socket), F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) == 0;
}

bool setTimeout(unsigned int socket, int option, int timeout) noexcept {
    timeval time{};
    if (timeout > 0) {
        time.tv_sec = timeout / 1000;
        time.tv_usec = (timeout % 1000) * 1000;
    }
    return ::setsockopt(handleOf(socket), SOL_SOCKET, option, &time, sizeof time) == 0;
}

// What is left of the socket's own time-out for sends, in milliseconds; -1 when it has none.
int sendTimeLeft(unsigned int socket, std::chrono::steady_clock::time_point begun) noexcept {
    timeval time{};
    socklen_t length = sizeof time;
    if (::getsockopt(handleOf(socket), SOL_SOCKET, SO_SNDTIMEO, &time, &length) != 0) return 0;
    const auto bound = std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
    if (bound == bound.zero()) return -1;
    const auto left = begun + bound - std::chrono::steady_clock::now();
    return left > left.zero()
               ? static_cast<int>(std::chrono::duration_cast<std::chrono::milliseconds>(left).count())
               : 0;
}

void skipSent(iovec (&parts)[kMostRuns], std::size_t sent) noexcept {
    for (iovec& part : parts) {
        const std::size_t here = std::min(sent, part.iov_len);
        part.iov_base = static_cast<char*>(part.iov_base) + here;
        part.iov_len -= here;
        sent -= here;
    }
}

struct ErrorNumber {
    int here;
    int winsock;
};
constexpr ErrorNumber errorNumbers[] = {
    {EINTR, 10004},      {EACCES, 10013},       {EFAULT, 10014},       {EINVAL, 10022},
    {EMFILE, 10024},     {ENFILE, 10024},       {EAGAIN, 10035},       {EINPROGRESS, 10036},
    {EALREADY, 10037},   {ENOTSOCK, 10038},     {EBADF, 10038},        {EMSGSIZE, 10040},
    {EOPNOTSUPP, 10045}, {EAFNOSUPPORT, 10047}, {EADDRINUSE, 10048},   {EADDRNOTAVAIL, 10049},
    {ENETDOWN, 10050},   {ENETUNREACH, 10051},  {ECONNABORTED, 10053}, {ECONNRESET, 10054},
    {ENOBUFS, 10055},    {EISCONN, 10056},      {ENOTCONN, 10057},     {EPIPE, 10058},
    {ETIMEDOUT, 10060},  {ECONNREFUSED, 10061}, {EHOSTUNREACH, 10065},
};

// The resolver's answers in the same numbers.
thread_local int resolverError = 0;
int resolverNumber(int error) noexcept {
    switch (error) {
        case EAI_AGAIN:
            return 11002;
        case EAI_FAIL:
            return 11003;
        case EAI_MEMORY:
            return 10055;
        default:
            return 11001;  // host not found
    }
}

}  // namespace

bool startSockets() noexcept {
    return true;
}
void endSockets() noexcept {}

int lastSocketError() noexcept {
    if (resolverError != 0) return std::exchange(resolverError, 0);
    const int error = errno;
    for (const ErrorNumber& known : errorNumbers) {
        if (known.here == error) return known.winsock;
    }
    return error;
}

void closeSocket(unsigned int socket) noexcept {
    if (socket == kNoSocket) return;
    const int reason = errno;
    ::close(handleOf(socket));
    errno = reason;
}

std::string addressText(const Address& address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.length == 0) return text;
    if (record(address)->sa_family == AF_INET6) {
        const auto form = formOf<sockaddr_in6>(address);
        ::inet_ntop(AF_INET6, &form.sin6_addr, text, sizeof text);
    } else {
        const auto form = formOf<sockaddr_in>(address);
        ::inet_ntop(AF_INET, &form.sin_addr, text, sizeof text);
    }
    return text;
}

bool resolve(const char* host, int port, Address& address) noexcept {
    resolverError = 0;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    hints.ai_flags = AI_NUMERICHOST;
    int error = ::getaddrinfo(host, nullptr, &hints, &list);
    if (error != 0) {
        hints.ai_flags = 0;
        error = ::getaddrinfo(host, nullptr, &hints, &list);
    }
    if (error != 0) {
        resolverError = resolverNumber(error);
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(list, &::freeaddrinfo);
    return takeOne(list, port, address);
}

Socket openSocket(const Address& address) noexcept {
    const int family = address.length == 0 ? AF_INET : record(address)->sa_family;
    return Socket(static_cast<unsigned int>(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP)));
}

bool connectSocket(unsigned int socket, const Address& address, int timeout) noexcept {
    if (!setBlocking(socket, false)) return false;
    if (::connect(handleOf(socket), record(address), address.length) != 0) {
        if (errno != EINPROGRESS && errno != EINTR) return false;
        const int ready = waitFor(socket, POLLOUT, timeout);
        if (ready < 0) return false;
        if (ready == 0) {
            errno = ETIMEDOUT;
            return false;
        }
        int error = 0;
        socklen_t length = sizeof error;
        if (::getsockopt(handleOf(socket), SOL_SOCKET, SO_ERROR, &error, &length) != 0) return false;
        if (error != 0) {
            errno = error;
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
    const int on = 1;
    (void)::setsockopt(handleOf(socket), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

bool reuseAddress(unsigned int socket) noexcept {
    const int on = 1;
    return ::setsockopt(handleOf(socket), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0;
}

Socket openForAny() noexcept {
    const int off = 0;
    Socket both(static_cast<unsigned int>(::socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP)));
    if (both && ::setsockopt(handleOf(both.get()), IPPROTO_IPV6, IPV6_V6ONLY, &off, sizeof off) == 0)
        return both;
    return openSocket({});
}

// A socket that is not bound yet has the zeros of its family for an address.
bool bindAny(unsigned int socket, int port) noexcept {
    Address any;
    if (port < 0 || port > 65535) {
        errno = EINVAL;
        return false;
    }
    if (!ownAddress(socket, any)) return false;
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
            if (ready == 0) errno = ETIMEDOUT;
            return {};
        }
        socklen_t length = sizeof peer.bytes;
        const int connection = ::accept4(handleOf(listener), record(peer), &length, SOCK_CLOEXEC);
        if (connection >= 0) {
            Socket accepted(static_cast<unsigned int>(connection));
            peer.length = length;
            unwrap(peer);
            sendAtOnce(accepted.get());
            return accepted;
        }
        if (errno != EINTR && errno != ECONNABORTED && errno != EAGAIN && errno != EWOULDBLOCK) return {};
    }
}

bool peerAddress(unsigned int socket, Address& address) noexcept {
    socklen_t length = sizeof address.bytes;
    if (::getpeername(handleOf(socket), record(address), &length) != 0) return false;
    address.length = length;
    unwrap(address);
    return true;
}

bool ownAddress(unsigned int socket, Address& address) noexcept {
    socklen_t length = sizeof address.bytes;
    if (::getsockname(handleOf(socket), record(address), &length) != 0) return false;
    address.length = length;
    return true;
}

bool setSocketTimeouts(unsigned int socket, int receive, int send) noexcept {
    return setTimeout(socket, SO_RCVTIMEO, receive) && setTimeout(socket, SO_SNDTIMEO, send);
}

bool waitReadable(unsigned int socket, int timeout) noexcept {
    const int ready = waitFor(socket, POLLIN, timeout);
    if (ready == 0) errno = ETIMEDOUT;
    return ready > 0;
}

void waitAny(WaitEntry* entries, std::size_t count, int timeout) {
    std::vector<pollfd> polls(count);
    for (std::size_t i = 0; i < count; ++i) polls[i] = {handleOf(entries[i].socket), POLLIN, 0};
    const int n = ::poll(polls.data(), count, timeout);
    for (std::size_t i = 0; i < count; ++i) entries[i].ready = n > 0 && polls[i].revents != 0;
}

Bell::Bell() noexcept {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return;
    inside_.reset(static_cast<unsigned int>(ends[0]));
    outside_.reset(static_cast<unsigned int>(ends[1]));
}

// A full pipe has rung already.
void Bell::ring() noexcept {
    const ssize_t rung = ::write(handleOf(outside_.get()), "", 1);
    (void)rung;
}

void Bell::silence() noexcept {
    char heard[64];
    while (::read(handleOf(inside_.get()), heard, sizeof heard) > 0) {
    }
}

Received receive(unsigned int socket, void* data, std::size_t length, int timeout,
                 std::size_t& count) noexcept {
    count = 0;
    bool watched = false;
    const Deadline deadline(timeout);
    for (;;) {
        const ssize_t n = ::recv(handleOf(socket), data, length, MSG_DONTWAIT);
        if (n > 0) {
            count = static_cast<std::size_t>(n);
            return Received::data;
        }
        if (n == 0) return Received::closed;
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return Received::failed;
        const int left = deadline.left();
        if (left != 0 && !std::exchange(watched, true) && arrivesSoon(socket)) continue;
        // A peer that collects small sends (Nagle) keeps the rest back until what came is acknowledged, which
        // would wait for 40 ms otherwise.
        if (left != 0) acknowledge(socket);
        const int ready = left == 0 ? 0 : waitFor(socket, POLLIN, left);
        if (ready < 0) return Received::failed;
        if (ready == 0) {
            errno = ETIMEDOUT;
            return Received::timeout;
        }
    }
}

std::int64_t peekArrived(unsigned int socket, void* data, std::size_t length) noexcept {
    ssize_t n;
    do {
        n = ::recv(handleOf(socket), data, length, MSG_PEEK | MSG_DONTWAIT);
    } while (n < 0 && errno == EINTR);
    if (n >= 0) return n;
    return errno == EAGAIN || errno == EWOULDBLOCK ? -1 : -2;
}

bool peerIsDone(unsigned int socket) noexcept {
    pollfd entry{handleOf(socket), POLLRDHUP, 0};
    return ::poll(&entry, 1, 0) > 0 && entry.revents != 0;
}

std::int64_t sendRuns(unsigned int socket, const Run* runs, std::size_t count, int timeout) noexcept {
    iovec parts[kMostRuns] = {};
    msghdr message{};
    message.msg_iov = parts;
    std::size_t whole = 0;
    for (; count > 0 && message.msg_iovlen < kMostRuns; ++runs, --count) {
        if (runs->length == 0) continue;
        parts[message.msg_iovlen++] = {const_cast<void*>(runs->data), runs->length};
        whole += runs->length;
    }
    const auto begun = std::chrono::steady_clock::now();
    const Deadline deadline(timeout);
    std::size_t sent = 0;
    int flags = MSG_NOSIGNAL;
    for (;;) {
        const ssize_t n = ::sendmsg(handleOf(socket), &message, flags);
        const bool full = n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
        if (n >= 0) {
            sent += static_cast<std::size_t>(n);
            if (sent == whole) break;
            skipSent(parts, static_cast<std::size_t>(n));
        } else if (errno != EINTR && !full) {
            break;
        }
        // Short: the time-out for sends has passed, or a signal came in between. What is left of the time-out
        // is waited for from now on, and no more. A socket without one waits by itself, unless it was told
        // not to.
        int left = sendTimeLeft(socket, begun);
        if (left == -1) {
            if (!full) continue;
            left = deadline.left();
        } else {
            flags = MSG_NOSIGNAL | MSG_DONTWAIT;
        }
        if (left == 0 || waitFor(socket, POLLOUT, left) <= 0) break;
    }
    return sent == 0 ? -1 : static_cast<std::int64_t>(sent);
}

void shutdownSocket(unsigned int socket) noexcept {
    ::shutdown(handleOf(socket), SHUT_RDWR);
}

}  // namespace orvkit::platform
