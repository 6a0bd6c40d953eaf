#include "network/listening_ports.h"

#include <mutex>
#include <string>

#include "foundation/fail.h"
#include "orvkit/tsm.h"
#include "platform/socket.h"

using orvkit::platform::kNoSocket;

unsigned int DcScpSockListen[TSM_LISTEN_MAX] = {kNoSocket, kNoSocket, kNoSocket, kNoSocket};
int DcScpPort[TSM_LISTEN_MAX] = {-1, -1, -1, -1};
int DcScpListenRefCount[TSM_LISTEN_MAX] = {0, 0, 0, 0};

namespace orvkit {

namespace {

std::mutex& tableMutex() {
    static std::mutex mutex;
    return mutex;
}

constexpr int kBacklog = 5;

struct SocketError {
    int number;
    const char* name;
};
constexpr SocketError socketErrors[] = {
    {10004, "WSAEINTR"},         {10013, "WSAEACCES"},         {10014, "WSAEFAULT"},
    {10022, "WSAEINVAL"},        {10024, "WSAEMFILE"},         {10035, "WSAEWOULDBLOCK"},
    {10036, "WSAEINPROGRESS"},   {10037, "WSAEALREADY"},       {10038, "WSAENOTSOCK"},
    {10045, "WSAEOPNOTSUPP"},    {10047, "WSAEAFNOSUPPORT"},   {10048, "WSAEADDRINUSE"},
    {10049, "WSAEADDRNOTAVAIL"}, {10050, "WSAENETDOWN"},       {10051, "WSAENETUNREACH"},
    {10055, "WSAENOBUFS"},       {10056, "WSAEISCONN"},        {10060, "WSAETIMEDOUT"},
    {10061, "WSAECONNREFUSED"},  {10093, "WSANOTINITIALISED"},
};

// The machine's own name must be known: a listener without one has no address to give to its peers.
int checkOwnName() {
    std::string name;
    if (!platform::ownHostName(name)) return failSocket(TSM_HOST_NAME, "DcTsm::sockListenOpen - gethostname");
    platform::Address unused;
    if (platform::resolve(name.c_str(), 0, unused)) return RESULT_OK;
    failSocket(TSM_RESOLVE, "DcTsm::sockListenOpen - gethostbyname");
    return fail(TSM_RESOLVE, LOG_ERROR, "DcTsm::sockListenOpen",
                "The name of this machine, '%s', has no address: enter it in the hosts file", name.c_str());
}

int openListener(int& port, unsigned int& socket) {
    constexpr const char* reporter = "DcTsm::sockListenOpen";
    if (!platform::startSockets()) {
        return fail(TSM_SOCKET_STARTUP, LOG_ERROR, reporter, "WSAStartup failed for WinSock ver 2.2");
    }
    int result = checkOwnName();
    platform::Socket listener;
    if (result == RESULT_OK) {
        listener = platform::openForAny();
        if (!listener) result = failSocket(TSM_SOCKET, "DcTsm::sockListenOpen - socket");
    }
    if (result == RESULT_OK) {
        if (!platform::reuseAddress(listener.get())) failSocket(0, "DcTsm::sockListenOpen - reuseaddr");
        if (!platform::bindAny(listener.get(), port)) {
            result = failSocket(TSM_BIND, "DcTsm::sockListenOpen - bind");
        } else if (!platform::listenSocket(listener.get(), kBacklog)) {
            result = failSocket(TSM_LISTEN, "DcTsm::sockListenOpen - listen");
        }
    }
    if (result != RESULT_OK) {
        listener.reset();
        platform::endSockets();
        return result;
    }
    if (platform::Address own; port == 0 && platform::ownAddress(listener.get(), own)) {
        port = platform::addressPort(own);
    }
    socket = listener.release();
    return RESULT_OK;
}

}  // namespace

int failSocket(int code, const char* reporter) {
    const int error = platform::lastSocketError();
    for (const SocketError& known : socketErrors) {
        if (known.number == error) return fail(code, LOG_ERROR, reporter, "winSock error %s", known.name);
    }
    return fail(code, LOG_ERROR, reporter, "winSock error 0x%x", static_cast<unsigned int>(error));
}

int openListeningPort(int& port, unsigned int& socket) {
    const std::lock_guard lock(tableMutex());
    int free = -1;
    for (int i = TSM_LISTEN_MAX - 1; i >= 0; --i) {
        if (DcScpPort[i] == -1) free = i;
    }
    for (int i = 0; i < TSM_LISTEN_MAX; ++i) {
        if (DcScpSockListen[i] == kNoSocket || DcScpPort[i] != port || port == 0) continue;
        ++DcScpListenRefCount[i];
        socket = DcScpSockListen[i];
        return RESULT_OK;
    }
    if (free == -1) {
        return fail(TSM_LISTEN_LIMIT, LOG_ERROR, "DcTsm::sockListenOpen",
                    "Limit of %d listening ports exceeded", TSM_LISTEN_MAX);
    }
    if (const int result = openListener(port, socket); result != RESULT_OK) return result;
    DcScpSockListen[free] = socket;
    DcScpPort[free] = port;
    DcScpListenRefCount[free] = 1;
    return RESULT_OK;
}

void leaveListeningPort(unsigned int socket) noexcept {
    const std::lock_guard lock(tableMutex());
    for (int i = 0; i < TSM_LISTEN_MAX; ++i) {
        if (DcScpPort[i] == -1 || DcScpSockListen[i] != socket) continue;
        if (--DcScpListenRefCount[i] > 0) return;
        platform::closeSocket(socket);
        platform::endSockets();
        DcScpSockListen[i] = kNoSocket;
        DcScpPort[i] = -1;
        DcScpListenRefCount[i] = 0;
        return;
    }
}

}  // namespace orvkit
