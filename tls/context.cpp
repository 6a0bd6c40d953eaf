#include "tls/context.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "orvkit/result.h"
#include "platform/secret.h"
#include "tls/layer.h"
#include "tls/profiles.h"
#include "tls/trouble.h"

namespace orvkit::tls {

namespace {

constexpr int kSecurityLevel = 2;  // of OpenSSL: 112 bits
constexpr unsigned char kProtocol[] = {5, 'd', 'i', 'c', 'o', 'm'};
constexpr unsigned char kSessionContext[] = {'o', 'r', 'v', 'k', 'i', 't'};

std::filesystem::path pathOf(const std::string& file) {
    return std::filesystem::path(std::u8string(file.begin(), file.end()));
}

// The only protocol that is spoken here. Who offers none by name speaks it.
int chooseProtocol(SSL*, const unsigned char** chosen, unsigned char* length, const unsigned char* offered,
                   unsigned int offeredLength, void*) noexcept {
    for (unsigned int at = 0; at < offeredLength; at += offered[at] + 1u) {
        if (offered[at] != kProtocol[0] || at + sizeof kProtocol > offeredLength) continue;
        if (!std::equal(std::begin(kProtocol), std::end(kProtocol), offered + at)) continue;
        *chosen = offered + at + 1;
        *length = kProtocol[0];
        return SSL_TLSEXT_ERR_OK;
    }
    return SSL_TLSEXT_ERR_ALERT_FATAL;
}

struct PasswordRequest {
    const Settings& settings;
    bool asked = false;
};
int passwordCall(char* password, int room, int, void* user) noexcept {
    auto& request = *static_cast<PasswordRequest*>(user);
    request.asked = true;
    const Settings& settings = request.settings;
    if (settings.passwordCB == nullptr) return -1;
    return settings.passwordCB(settings.passwordUser, settings.keyFile.c_str(), password, room);
}

}  // namespace

// Reads the files of settings into a context.
class Loader {
  public:
    Loader(Context& context, Words& fault) : context_(context), settings_(context.settings_), fault_(fault) {}

    int load() {
        ERR_clear_error();
        context_.context_.reset(SSL_CTX_new(TLS_method()));
        ctx_ = context_.context_.get();
        if (ctx_ == nullptr) return failed(ELEM_NO_MEMORY, "no memory for TLS");
        int result = setProtocol();
        if (result == RESULT_OK && !settings_.certificateFile.empty()) result = loadCertificate();
        if (const X509* const own = SSL_CTX_get0_certificate(ctx_)) tellOutdated(*own, context_.remark_);
        if (result == RESULT_OK) result = loadTrust();
        if (result == RESULT_OK) setCalls();
        ERR_clear_error();
        return result;
    }

  private:
    [[gnu::format(printf, 3, 4)]] int failed(int result, const char* format, ...) {
        va_list values;
        va_start(values, format);
        fault_.setList(format, values);
        va_end(values);
        return result;
    }
    int readable(const std::string& file) {
        if (std::ifstream(pathOf(file), std::ios::binary).peek() != std::ifstream::traits_type::eof()) {
            return RESULT_OK;
        }
        return failed(TLS_FILE, "%s: cannot be read, or is empty", file.c_str());
    }
    int setProtocol();
    int loadCertificate();
    int loadKey();
    int loadTrust();
    void setCalls();

    Context& context_;
    const Settings& settings_;
    Words& fault_;
    SSL_CTX* ctx_ = nullptr;
};

int Loader::setProtocol() {
    const Profile* const profile = profileOf(settings_.profile);
    SSL_CTX_set_security_level(ctx_, kSecurityLevel);
    (void)SSL_CTX_set_options(ctx_, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                        SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_PRIORITIZE_CHACHA);
    (void)SSL_CTX_set_mode(ctx_, SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    (void)SSL_CTX_set_dh_auto(ctx_, 1);
    const bool sound = profile != nullptr && SSL_CTX_set_min_proto_version(ctx_, TLS1_2_VERSION) == 1 &&
                       SSL_CTX_set_cipher_list(ctx_, profile->suites12) == 1 &&
                       SSL_CTX_set_ciphersuites(ctx_, profile->suites13) == 1 &&
                       SSL_CTX_set1_groups_list(ctx_, profile->groups) == 1;
    return sound ? int{RESULT_OK} : failed(TLS_SETTING, "OpenSSL here does not know the profile's suites");
}

int Loader::loadCertificate() {
    if (const int result = readable(settings_.certificateFile); result != RESULT_OK) return result;
    if (SSL_CTX_use_certificate_chain_file(ctx_, settings_.certificateFile.c_str()) != 1) {
        const bool weak = ERR_GET_REASON(ERR_peek_error()) == SSL_R_EE_KEY_TOO_SMALL ||
                          ERR_GET_REASON(ERR_peek_error()) == SSL_R_CA_MD_TOO_WEAK;
        if (weak) return failed(TLS_SETTING, "%s: the key is too weak", settings_.certificateFile.c_str());
        return failed(TLS_FILE, "%s: there is no certificate in it (PEM)", settings_.certificateFile.c_str());
    }
    return loadKey();
}

int Loader::loadKey() {
    const char* const name = settings_.keyFile.c_str();
    if (const int result = readable(settings_.keyFile); result != RESULT_OK) return result;
    if (platform::isExposed(name)) {
        return failed(TLS_KEY_EXPOSED, "%s: everybody can read this private key (chmod 600)", name);
    }
    const BioPtr in(BIO_new_file(name, "rb"));
    PasswordRequest request{settings_};
    const KeyPtr key(in == nullptr ? nullptr
                                   : PEM_read_bio_PrivateKey(in.get(), nullptr, passwordCall, &request));
    if (key == nullptr && request.asked) {
        return failed(TLS_PASSWORD,
                      settings_.passwordCB == nullptr
                          ? "%s: the private key is encrypted, and there is no password"
                          : "%s: the password of the private key is wrong",
                      name);
    }
    if (key == nullptr) return failed(TLS_FILE, "%s: there is no private key in it (PEM)", name);
    if (SSL_CTX_use_PrivateKey(ctx_, key.get()) == 1 && SSL_CTX_check_private_key(ctx_) == 1)
        return RESULT_OK;
    return failed(TLS_KEY_MISMATCH, "%s: it is not the private key of %s", name,
                  settings_.certificateFile.c_str());
}

// Whoever is in the files of authorities is trusted, whether it signed its own certificate or not.
int Loader::loadTrust() {
    if (settings_.check != TLS_CHECK_NONE && !context_.hasAuthorities() && !context_.hasPins()) {
        return failed(TLS_SETTING,
                      "nothing tells how to know the peer: neither authorities nor fingerprints");
    }
    X509_STORE* const store = SSL_CTX_get_cert_store(ctx_);
    (void)X509_STORE_set_flags(store, X509_V_FLAG_PARTIAL_CHAIN);
    STACK_OF(X509_NAME)* const names = sk_X509_NAME_new_null();
    SSL_CTX_set_client_CA_list(ctx_, names);
    for (const std::string& file : settings_.authorities) {
        if (const int result = readable(file); result != RESULT_OK) return result;
        if (X509_STORE_load_file(store, file.c_str()) != 1) {
            return failed(TLS_FILE, "%s: there is no certificate in it (PEM)", file.c_str());
        }
        // By their names a peer that has several certificates knows which to show.
        (void)SSL_add_file_cert_subjects_to_stack(names, file.c_str());
    }
    if (settings_.revocations.empty()) return RESULT_OK;
    X509_LOOKUP* const lookup = X509_STORE_add_lookup(store, X509_LOOKUP_file());
    for (const std::string& file : settings_.revocations) {
        if (const int result = readable(file); result != RESULT_OK) return result;
        if (lookup == nullptr || X509_load_crl_file(lookup, file.c_str(), X509_FILETYPE_PEM) < 1) {
            return failed(TLS_FILE, "%s: there is no revocation list in it (PEM)", file.c_str());
        }
    }
    (void)X509_STORE_set_flags(store, X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
    return RESULT_OK;
}

void Loader::setCalls() {
    int mode = SSL_VERIFY_NONE;
    if (settings_.check == TLS_CHECK_ACCEPT) mode = SSL_VERIFY_PEER;
    if (settings_.check == TLS_CHECK_REQUIRE) mode = SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT;
    SSL_CTX_set_verify(ctx_, mode, nullptr);
    SSL_CTX_set_cert_verify_callback(ctx_, verifyPeer, nullptr);
    SSL_CTX_set_client_cert_cb(ctx_, askedForCertificate);
    SSL_CTX_set_alpn_select_cb(ctx_, chooseProtocol, nullptr);
    (void)SSL_CTX_set_alpn_protos(ctx_, kProtocol, sizeof kProtocol);
    (void)SSL_CTX_set_session_cache_mode(ctx_, SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    (void)SSL_CTX_set_session_id_context(ctx_, kSessionContext, sizeof kSessionContext);
    (void)SSL_CTX_set_timeout(ctx_, static_cast<long>(kSessionTime.count()));
    (void)SSL_CTX_set_tlsext_ticket_key_evp_cb(ctx_, ticketCall);
    SSL_CTX_sess_set_new_cb(ctx_, keepSession);
}

// ---- context
// ------------------------------------------------------------------------------------------------

std::shared_ptr<Ground> Context::make(const Settings& settings, int& result, Words& fault) {
    std::shared_ptr<Context> context(new Context(settings));
    result = Loader(*context, fault).load();
    if (result != RESULT_OK) context.reset();
    return context;
}

std::unique_ptr<ConnectionLayer> Context::layer(const DcSecurity::End& end) {
    return std::make_unique<Layer>(shared_from_this(), end);
}

SslPtr Context::connection(bool isUser) const noexcept {
    SslPtr ssl(SSL_new(context_.get()));
    if (ssl == nullptr) return ssl;
    if (isUser) {
        SSL_set_connect_state(ssl.get());
    } else {
        SSL_set_accept_state(ssl.get());
    }
    return ssl;
}

bool Context::isPinned(const X509& certificate) const noexcept {
    Fingerprint digest{};
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (X509_digest(&certificate, EVP_sha256(), bytes, &length) != 1 || length != digest.size()) return false;
    std::copy_n(bytes, digest.size(), digest.begin());
    return std::ranges::find(settings_.pins, digest) != settings_.pins.end();
}

// ---- sessions
// -----------------------------------------------------------------------------------------------

void Sessions::put(const std::string& peer, SessionPtr session) {
    const std::lock_guard lock(mutex_);
    if (byPeer_.size() >= kMost && byPeer_.find(peer) == byPeer_.end()) byPeer_.erase(byPeer_.begin());
    byPeer_[peer] = std::move(session);
}

SessionPtr Sessions::take(const std::string& peer) {
    const std::lock_guard lock(mutex_);
    const auto at = byPeer_.find(peer);
    if (at == byPeer_.end()) return nullptr;
    SessionPtr session = std::move(at->second);
    byPeer_.erase(at);
    return session;
}

}  // namespace orvkit::tls
