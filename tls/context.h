// Settings that were read: what all connections that begin with them share.
#ifndef ORVKIT_TLS_CONTEXT_H
#define ORVKIT_TLS_CONTEXT_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "tls/engine.h"
#include "tls/openssl.h"
#include "tls/tickets.h"

namespace orvkit::tls {

// The sessions that a user may take up again, by whom it connected to. From any thread.
class Sessions {
  public:
    void put(const std::string& peer, SessionPtr session);
    // Null for none. Each serves once (RFC 8446 C.4).
    SessionPtr take(const std::string& peer);

  private:
    static constexpr std::size_t kMost = 64;
    std::mutex mutex_;
    std::map<std::string, SessionPtr> byPeer_;
};

class Context final : public Ground, public std::enable_shared_from_this<Context> {
  public:
    // Null when the files are not as they should be: the result and the reason.
    static std::shared_ptr<Ground> make(const Settings& settings, int& result, Words& fault);
    std::unique_ptr<ConnectionLayer> layer(const DcSecurity::End& end) override;
    const char* remark() const noexcept override { return remark_.text(); }

    // A connection of one side; null without memory.
    SslPtr connection(bool isUser) const noexcept;
    // What is asked of the peer's certificate, beside its chain. The name that it is to be for goes to
    // OpenSSL.
    bool isPinned(const X509& certificate) const noexcept;
    bool hasPins() const noexcept { return !settings_.pins.empty(); }
    bool hasAuthorities() const noexcept { return !settings_.authorities.empty(); }
    const Settings& settings() const noexcept { return settings_; }
    Sessions& sessions() noexcept { return sessions_; }
    TicketKeys& ticketKeys() noexcept { return ticketKeys_; }

  private:
    friend class Loader;
    explicit Context(Settings settings) : settings_(std::move(settings)) {}

    Settings settings_;
    SslCtxPtr context_;
    Sessions sessions_;
    TicketKeys ticketKeys_;
    Words remark_;
};

// Calls of OpenSSL about one connection, which its layer answers (layer.cpp).
int verifyPeer(X509_STORE_CTX* check, void* unused) noexcept;
int keepSession(SSL* connection, SSL_SESSION* session) noexcept;
int askedForCertificate(SSL* connection, X509** certificate, EVP_PKEY** key) noexcept;

}  // namespace orvkit::tls

#endif
