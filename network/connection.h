// The connection under a socket number. Whatever an association sends, receives and waits for goes through
// here, so that something can lie between its PDUs and the socket.
#ifndef ORVKIT_NETWORK_CONNECTION_H
#define ORVKIT_NETWORK_CONNECTION_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "orvkit/security.h"
#include "platform/socket.h"

namespace orvkit {

// What lies between, such as TLS. Results and time-outs are those of the functions of platform/socket.h of
// like names; it is used by one thread at a time. It does not own the socket.
class ConnectionLayer {
  public:
    ConnectionLayer() = default;
    ConnectionLayer(const ConnectionLayer&) = delete;
    ConnectionLayer& operator=(const ConnectionLayer&) = delete;
    virtual ~ConnectionLayer() = default;

    // Goes on with what must be done before bytes can cross, which every other call does, too: `data` when it
    // is done.
    virtual platform::Received open(int /*timeout*/) noexcept { return platform::Received::data; }
    virtual platform::Received receive(void* data, std::size_t length, int timeout,
                                       std::size_t& count) noexcept = 0;
    virtual std::int64_t peek(void* data, std::size_t length) noexcept = 0;
    // The runs are kMostRuns at most.
    virtual std::int64_t send(const platform::Run* runs, std::size_t count, int timeout) noexcept = 0;
    virtual bool waitReadable(int timeout) noexcept = 0;
    virtual bool peerIsDone() noexcept = 0;
    // The last word to the peer, before the socket is closed.
    virtual void close() noexcept = 0;
    virtual void describe(DcSecurityInfo& /*info*/) const noexcept {}
};

// Puts a layer (not null) under a connected socket, until the connection is closed. A socket has one at most.
void putLayer(unsigned int socket, std::unique_ptr<ConnectionLayer> layer);

// One end of a connection by its socket's number; cheap to make, owns nothing. Without a layer each call is
// that of the platform.
class Connection {
  public:
    explicit Connection(unsigned int socket) noexcept
        : socket_(socket), layer_(layers.load(std::memory_order_acquire) == 0 ? nullptr : find(socket)) {}

    platform::Received receive(void* data, std::size_t length, int timeout, std::size_t& count) noexcept {
        return layer_ == nullptr ? platform::receive(socket_, data, length, timeout, count)
                                 : layer_->receive(data, length, timeout, count);
    }
    // What has arrived, without taking it.
    std::int64_t peek(void* data, std::size_t length) noexcept {
        return layer_ == nullptr ? platform::peekArrived(socket_, data, length) : layer_->peek(data, length);
    }
    // The time-out is for sockets that do not block and have none of their own.
    std::int64_t send(const platform::Run* runs, std::size_t count, int timeout) noexcept {
        return layer_ == nullptr ? platform::sendRuns(socket_, runs, count, timeout)
                                 : layer_->send(runs, count, timeout);
    }
    platform::Received open(int timeout) noexcept {
        return layer_ == nullptr ? platform::Received::data : layer_->open(timeout);
    }
    // False without a layer.
    bool describe(DcSecurityInfo& info) const noexcept {
        if (layer_ != nullptr) layer_->describe(info);
        return layer_ != nullptr;
    }
    bool waitReadable(int timeout) noexcept {
        return layer_ == nullptr ? platform::waitReadable(socket_, timeout) : layer_->waitReadable(timeout);
    }
    bool peerIsDone() noexcept {
        return layer_ == nullptr ? platform::peerIsDone(socket_) : layer_->peerIsDone();
    }
    // Closes the socket too.
    void close() noexcept;

  private:
    static ConnectionLayer* find(unsigned int socket) noexcept;
    friend void putLayer(unsigned int socket, std::unique_ptr<ConnectionLayer> layer);

    static std::atomic<int> layers;  // of the process

    unsigned int socket_;
    ConnectionLayer* layer_;
};

}  // namespace orvkit

// Makes the layers of connections.
class DcSecurity {
  public:
    // One connection, from the side of its user or of its provider. `host` is what a user connects to, as the
    // application named it; null when it is not known.
    struct End {
        unsigned int socket;
        bool isUser;
        const char* host;
        int port;
        int patience;  // milliseconds for the handshake as a whole
    };

    DcSecurity() = default;
    DcSecurity(const DcSecurity&) = delete;
    DcSecurity& operator=(const DcSecurity&) = delete;
    virtual ~DcSecurity() = default;

    // Never null.
    virtual std::unique_ptr<orvkit::ConnectionLayer> layer(const End& end) = 0;
};

#endif
