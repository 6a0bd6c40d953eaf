// What a platform must implement: TCP sockets.
//
// A socket is the unsigned number that the library's interface shows, kNoSocket for none. Time-outs count
// milliseconds; a negative one waits without end. Calls that were interrupted go on by themselves, within
// the same time-out. A peer that has gone never raises a signal. After a failure `lastSocketError` tells why,
// in the numbers of Windows Sockets whatever the system (10061 for a refused connection, and so on), or the
// system's own number where there is no such name. Different sockets may be used by different threads at
// once.
#ifndef ORVKIT_PLATFORM_SOCKET_H
#define ORVKIT_PLATFORM_SOCKET_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

namespace orvkit::platform {

inline constexpr unsigned int kNoSocket = 0xFFFFFFFF;

// Start and end one use of the socket library; uses are counted by the system.
[[nodiscard]] bool startSockets() noexcept;
void endSockets() noexcept;

int lastSocketError() noexcept;
inline constexpr int kTimedOut = 10060;

void closeSocket(unsigned int socket) noexcept;  // kNoSocket is allowed

// Owns a socket and closes it.
class Socket {
  public:
    Socket() noexcept = default;
    explicit Socket(unsigned int socket) noexcept : socket_(socket) {}
    Socket(Socket&& other) noexcept : socket_(other.release()) {}
    Socket& operator=(Socket&& other) noexcept {
        reset(other.release());
        return *this;
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { closeSocket(socket_); }

    unsigned int get() const noexcept { return socket_; }
    explicit operator bool() const noexcept { return socket_ != kNoSocket; }
    [[nodiscard]] unsigned int release() noexcept { return std::exchange(socket_, kNoSocket); }
    void reset(unsigned int socket = kNoSocket) noexcept { closeSocket(std::exchange(socket_, socket)); }

  private:
    unsigned int socket_ = kNoSocket;
};

// One end of a connection.
struct Address {
    unsigned char bytes[128] = {};  // the system's own record
    unsigned int length = 0;        // 0 for none
};
// Numbers and dots, also for an IPv4 peer of a listener for both, or the IPv6 form; empty for none.
std::string addressText(const Address& address);
int addressPort(const Address& address) noexcept;  // 0 for none
// Such a text in 16 bytes, of IPv4 as IPv6 has it (RFC 4291 2.5.5.2). False for anything else.
bool parseAddress(const char* text, std::array<unsigned char, 16>& bytes) noexcept;

// Takes a host as a dotted address, or else resolves its name (which waits as long as the system's resolver
// does). False when there is none.
[[nodiscard]] bool resolve(const char* host, int port, Address& address) noexcept;
// The machine's own name, at most 80 characters.
[[nodiscard]] bool ownHostName(std::string& name);

// A TCP socket of the address's family (IPv4 without one).
Socket openSocket(const Address& address) noexcept;
// Connects, with no delay of small sends from then on. False on failure, 10060 after the time-out.
[[nodiscard]] bool connectSocket(unsigned int socket, const Address& address, int timeout) noexcept;
// No delay of small sends; without effect on sockets that have none.
void sendAtOnce(unsigned int socket) noexcept;
// Makes a socket of the application's behave like those that are made here.
void adoptSocket(unsigned int socket) noexcept;
bool reuseAddress(unsigned int socket) noexcept;
// A TCP socket for bindAny: of IPv6 that takes IPv4 as well, or of IPv4 where the system has nothing else.
Socket openForAny() noexcept;
// To every local address of the socket's kind; port 0 lets the system choose.
[[nodiscard]] bool bindAny(unsigned int socket, int port) noexcept;
// To that address of this machine alone.
[[nodiscard]] bool bindTo(unsigned int socket, const Address& address) noexcept;
// May be called again to change the backlog.
[[nodiscard]] bool listenSocket(unsigned int socket, int backlog) noexcept;
// Waits for a connection; none after the time-out (10060) and on failure. The new socket has no delay of
// small sends. Several threads may wait at one listener.
Socket acceptSocket(unsigned int listener, Address& peer, int timeout) noexcept;
// Who is at the other end, and at this one.
bool peerAddress(unsigned int socket, Address& address) noexcept;
[[nodiscard]] bool ownAddress(unsigned int socket, Address& address) noexcept;

// Bounds of the socket's own receives and sends.
bool setSocketTimeouts(unsigned int socket, int receive, int send) noexcept;

// Waits until a receive (or an accept) will not wait. False after the time-out and on failure.
[[nodiscard]] bool waitReadable(unsigned int socket, int timeout) noexcept;

// Waits until one of the sockets can be read or accepted from, or until a signal or the time-out; `ready`
// tells which can.
struct WaitEntry {
    unsigned int socket;
    bool ready;
};
void waitAny(WaitEntry* entries, std::size_t count, int timeout);

// Ends the wait of one thread, by others. Without a descriptor for it, it stays silent.
class Bell {
  public:
    Bell() noexcept;

    // To be waited for; it can be read once it has rung.
    unsigned int socket() const noexcept { return inside_.get(); }
    void ring() noexcept;
    void silence() noexcept;

  private:
    Socket inside_;
    Socket outside_;
};

enum class Received : unsigned char { data, closed, timeout, failed };
// Receives what has arrived, up to `length` bytes, waiting for the first of them up to the time-out; no wait
// is made where bytes have arrived already. `count` is 0 but for `data`.
[[nodiscard]] Received receive(unsigned int socket, void* data, std::size_t length, int timeout,
                               std::size_t& count) noexcept;
// Looks at the bytes that have arrived without taking or waiting for them: their number up to `length`, 0
// when the peer has closed, -1 when none is there, -2 on failure.
std::int64_t peekArrived(unsigned int socket, void* data, std::size_t length) noexcept;

// Whether the peer sends nothing more: it has closed, or broken off. What arrived before may still be there.
bool peerIsDone(unsigned int socket) noexcept;

// A run of bytes to be sent; may be empty.
struct Run {
    const void* data;
    std::size_t length;
};
inline constexpr std::size_t kMostRuns = 4;
// Sends up to kMostRuns runs of bytes, one behind the other, in one call: gives the number of bytes sent,
// which is smaller than the sum only when the socket's time-out for sends or a failure ended it; -1 when
// nothing could be sent. A socket that does not block and has no time-out of its own is waited for up to
// `timeout` where the system can.
[[nodiscard]] std::int64_t sendRuns(unsigned int socket, const Run* runs, std::size_t count,
                                    int timeout = -1) noexcept;
[[nodiscard]] inline std::int64_t sendTwo(unsigned int socket, const void* first, std::size_t firstLength,
                                          const void* second, std::size_t secondLength,
                                          int timeout = -1) noexcept {
    const Run runs[] = {{first, firstLength}, {second, secondLength}};
    return sendRuns(socket, runs, 2, timeout);
}

// No more sends, no more receives, or neither: wakes a thread that waits on the socket.
void shutdownSocket(unsigned int socket) noexcept;

}  // namespace orvkit::platform

#endif
