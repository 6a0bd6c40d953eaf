// TLS between an association and its socket.
#ifndef ORVKIT_TLS_LAYER_H
#define ORVKIT_TLS_LAYER_H

#include <memory>
#include <string>

#include "network/connection.h"
#include "platform/deadline.h"
#include "tls/context.h"
#include "tls/wire.h"

namespace orvkit::tls {

class Layer final : public ConnectionLayer {
  public:
    Layer(std::shared_ptr<Context> context, const DcSecurity::End& end);

    platform::Received open(int timeout) noexcept override;
    platform::Received receive(void* data, std::size_t length, int timeout,
                               std::size_t& count) noexcept override;
    std::int64_t peek(void* data, std::size_t length) noexcept override;
    std::int64_t send(const platform::Run* runs, std::size_t count, int timeout) noexcept override;
    bool waitReadable(int timeout) noexcept override;
    bool peerIsDone() noexcept override;
    void close() noexcept override;
    void describe(DcSecurityInfo& info) const noexcept override;

    static Layer& of(const SSL* ssl) noexcept { return *static_cast<Layer*>(SSL_get_app_data(ssl)); }
    // Whether the peer is who it should be, for verifyPeer.
    bool verify(X509_STORE_CTX& check) noexcept;
    void keep(SessionPtr session) noexcept;
    void noteAsked() noexcept { asked_ = true; }
    Context& context() const noexcept { return *context_; }

  private:
    enum class State : unsigned char { handshake, open, ended, broken };

    void prepare();
    std::size_t copyAhead(void* data, std::size_t length) const noexcept;
    bool expectName(const char* host) noexcept;
    platform::Received broken() noexcept;
    template <typename Step>
    platform::Received run(Step step, const platform::Deadline& deadline) noexcept;
    platform::Received goOn(int error, const platform::Deadline& deadline) noexcept;
    platform::Received opened(const platform::Deadline& deadline) noexcept;
    bool encrypt(const unsigned char* data, std::size_t length, bool isFirst,
                 const platform::Deadline& deadline) noexcept;

    std::shared_ptr<Context> context_;
    unsigned int socket_;
    bool isUser_;
    std::string host_;  // the name that is checked; "" for none
    std::string peer_;  // "host:port", by which sessions are kept; "" where it is not known
    platform::Deadline handshake_;
    Wire wire_;
    SslPtr ssl_;  // goes before the wire
    std::unique_ptr<unsigned char[]> record_;
    std::unique_ptr<unsigned char[]> ahead_;  // what was looked at and not taken yet
    std::size_t aheadAt_ = 0;
    std::size_t aheadEnd_ = 0;
    State state_ = State::handshake;
    bool verified_ = false;
    bool asked_ = false;
    Words fault_;
};

}  // namespace orvkit::tls

#endif
