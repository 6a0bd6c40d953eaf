// The bytes of TLS between OpenSSL and a socket. OpenSSL never waits: what it sends is collected here until
// it is flushed, and what it receives must have been filled in before. So every wait is one of the
// platform's, with its time-out.
#ifndef ORVKIT_TLS_WIRE_H
#define ORVKIT_TLS_WIRE_H

#include <array>
#include <cstddef>
#include <memory>

#include "platform/socket.h"
#include "tls/openssl.h"

namespace orvkit::tls {

class Wire {
  public:
    explicit Wire(unsigned int socket);
    Wire(const Wire&) = delete;
    Wire& operator=(const Wire&) = delete;

    // For OpenSSL; it must not outlive this. Null without memory.
    BioPtr makeBio() noexcept;

    // Waits for more from the peer, when all that came was taken.
    platform::Received fill(int timeout) noexcept;
    // Sends what was collected: as a whole, or else nothing more will be sent. The time-out is that of
    // platform::sendRuns.
    bool flush(int timeout) noexcept;

    // Whether OpenSSL has taken all that came.
    bool isEmpty() const noexcept { return inAt_ == inEnd_; }
    // The first bytes that the peer has sent, 0 where there are none.
    const std::array<unsigned char, 2>& first() const noexcept { return first_; }

  private:
    static const BIO_METHOD* method() noexcept;
    static int readCall(BIO* bio, char* data, int length) noexcept;
    static int writeCall(BIO* bio, const char* data, int length) noexcept;
    static long controlCall(BIO* bio, int command, long number, void* pointer) noexcept;
    bool collect(const char* data, std::size_t length) noexcept;

    static constexpr std::size_t kInRoom = 128 * 1024;
    static constexpr std::size_t kOutRoom = 160 * 1024;

    unsigned int socket_;
    std::unique_ptr<unsigned char[]> in_;
    std::size_t inAt_ = 0;
    std::size_t inEnd_ = 0;
    std::unique_ptr<unsigned char[]> out_;
    std::size_t outEnd_ = 0;
    int sendTimeout_ = -1;
    bool peerClosed_ = false;
    bool sendFailed_ = false;
    std::array<unsigned char, 2> first_{};
    std::size_t firstCount_ = 0;
};

}  // namespace orvkit::tls

#endif
