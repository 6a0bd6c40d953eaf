// Settings that were read: what all connections that begin with them share.
#ifndef ORVKIT_TLS_CONTEXT_H
#define ORVKIT_TLS_CONTEXT_H

#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "orvkit/tls.h"
#include "tls/openssl.h"
#include "tls/trouble.h"

namespace orvkit::tls {

using Fingerprint = std::array<unsigned char, 32>;  // SHA-256

struct Settings {
    TLS_PROFILE profile = TLS_PROFILE_RFC8996;
    std::string certificateFile;
    std::string keyFile;
    DcTlsPasswordCB passwordCB = nullptr;
    void* passwordUser = nullptr;
    std::vector<std::string> authorities;
    std::vector<std::string> revocations;
    std::vector<Fingerprint> pins;
    TLS_CHECK check = TLS_CHECK_REQUIRE;
    std::string peerName;
};

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

class Context {
  public:
    // Null when the files are not as they should be: the result and the reason.
    static std::shared_ptr<Context> make(const Settings& settings, int& result, Words& fault);

    // A connection of one side; null without memory.
    SslPtr connection(bool isUser) const noexcept;
    // What is asked of the peer's certificate, beside its chain. The name that it is to be for goes to
    // OpenSSL.
    bool isPinned(const X509& certificate) const noexcept;
    bool hasPins() const noexcept { return !settings_.pins.empty(); }
    bool hasAuthorities() const noexcept { return !settings_.authorities.empty(); }
    const Settings& settings() const noexcept { return settings_; }
    Sessions& sessions() noexcept { return sessions_; }

  private:
    friend class Loader;
    explicit Context(Settings settings) : settings_(std::move(settings)) {}

    Settings settings_;
    SslCtxPtr context_;
    Sessions sessions_;
};

// Calls of OpenSSL about one connection, which its layer answers (layer.cpp).
int verifyPeer(X509_STORE_CTX* check, void* unused) noexcept;
int keepSession(SSL* connection, SSL_SESSION* session) noexcept;
int askedForCertificate(SSL* connection, X509** certificate, EVP_PKEY** key) noexcept;

}  // namespace orvkit::tls

#endif
