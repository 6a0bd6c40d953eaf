#include "tls/layer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "orvkit/log.h"
#include "tls/trouble.h"

namespace orvkit::tls {

using platform::Deadline;
using platform::Received;

namespace {

constexpr std::size_t kRecord = 16384;       // the most that a record carries (RFC 8446 5.1)
constexpr std::size_t kChunk = 4 * kRecord;  // encrypted at once, before it is sent
constexpr int kFarewell = 1000;              // milliseconds for the last word to a peer

}  // namespace

// ---- calls of OpenSSL
// ---------------------------------------------------------------------------------------

int verifyPeer(X509_STORE_CTX* check, void*) noexcept {
    const void* const ssl = X509_STORE_CTX_get_ex_data(check, SSL_get_ex_data_X509_STORE_CTX_idx());
    return Layer::of(static_cast<const SSL*>(ssl)).verify(*check) ? 1 : 0;
}

// A session that is kept is owned from then on.
int keepSession(SSL* connection, SSL_SESSION* session) noexcept {
    Layer::of(connection).keep(SessionPtr(session));
    return 1;
}

int askedForCertificate(SSL* connection, X509**, EVP_PKEY**) noexcept {
    Layer::of(connection).noteAsked();
    return 0;
}

// ---- beginning
// ----------------------------------------------------------------------------------------------

Layer::Layer(std::shared_ptr<Context> context, const DcSecurity::End& end)
    : context_(std::move(context)),
      socket_(end.socket),
      isUser_(end.isUser),
      handshake_(end.patience),
      wire_(end.socket),
      record_(std::make_unique_for_overwrite<unsigned char[]>(kRecord)),
      ahead_(std::make_unique_for_overwrite<unsigned char[]>(kRecord)) {
    const std::string& name = context_->settings().peerName;
    if (end.host != nullptr) {
        host_ = end.host;
        peer_ = host_ + ":" + std::to_string(end.port);
    }
    if (!name.empty()) host_ = name;
    prepare();
}

void Layer::prepare() {
    ssl_ = context_->connection(isUser_);
    BioPtr bio = wire_.makeBio();
    if (ssl_ == nullptr || bio == nullptr || SSL_set_app_data(ssl_.get(), this) != 1) throw std::bad_alloc();
    BIO* const both = bio.release();
    SSL_set_bio(ssl_.get(), both, both);
    const bool byName = context_->settings().check != TLS_CHECK_NONE && !context_->hasPins();
    const bool wantsName = isUser_ || !context_->settings().peerName.empty();
    if (byName && wantsName && !expectName(host_.c_str())) {
        fault_.set("there is no name that the peer's certificate could be compared with");
    }
    if (!isUser_ || peer_.empty()) return;
    const std::string host = peer_.substr(0, peer_.rfind(':'));
    const AddressPtr address(a2i_IPADDRESS(host.c_str()));
    if (address == nullptr) (void)SSL_set_tlsext_host_name(ssl_.get(), host.c_str());
    ERR_clear_error();
    const SessionPtr session = context_->sessions().take(peer_);
    if (session != nullptr) (void)SSL_set_session(ssl_.get(), session.get());
}

bool Layer::expectName(const char* host) noexcept {
    if (*host == '\0') return false;
    X509_VERIFY_PARAM* const expected = SSL_get0_param(ssl_.get());
    if (X509_VERIFY_PARAM_set1_ip_asc(expected, host) == 1) return true;
    X509_VERIFY_PARAM_set_hostflags(expected, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return X509_VERIFY_PARAM_set1_host(expected, host, 0) == 1;
}

bool Layer::verify(X509_STORE_CTX& check) noexcept {
    if (context_->settings().check == TLS_CHECK_NONE) return true;
    const X509* const certificate = X509_STORE_CTX_get0_cert(&check);
    if (context_->hasPins() && (certificate == nullptr || !context_->isPinned(*certificate))) {
        DcSecurityInfo info;
        if (certificate != nullptr) tls::describe(*certificate, info);
        fault_.set("the peer's certificate (%s) has another fingerprint: %s", info.subject, info.fingerprint);
        X509_STORE_CTX_set_error(&check, X509_V_ERR_CERT_UNTRUSTED);
        return false;
    }
    if (context_->hasAuthorities()) {
        verified_ = X509_verify_cert(&check) == 1;
    } else {
        const bool begun = X509_cmp_current_time(X509_get0_notBefore(certificate)) < 0;
        verified_ = begun && X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
        if (!verified_) {
            X509_STORE_CTX_set_current_cert(&check, X509_STORE_CTX_get0_cert(&check));
            X509_STORE_CTX_set_error(&check,
                                     begun ? X509_V_ERR_CERT_HAS_EXPIRED : X509_V_ERR_CERT_NOT_YET_VALID);
        }
    }
    if (!verified_) tellUnverified(check, host_.c_str(), fault_);
    return verified_;
}

void Layer::keep(SessionPtr session) noexcept {
    if (peer_.empty()) return;
    try {
        context_->sessions().put(peer_, std::move(session));
    } catch (const std::bad_alloc&) {
        // The next connection begins anew.
    }
}

// ---- the one loop
// -------------------------------------------------------------------------------------------

// Told once.
Received Layer::broken() noexcept {
    if (fault_.isEmpty()) {
        tellBroken({isUser_, state_ == State::handshake, std::span<const unsigned char, 2>(wire_.first())},
                   fault_);
    }
    ERR_clear_error();
    if (state_ != State::broken) (void)logReport(LOG_ERROR, "DcTls", "%s", fault_.text());
    state_ = State::broken;
    return Received::failed;
}

// Runs a call of OpenSSL until it has done its work: sends what it has to say, and waits for the peer.
template <typename Step>
Received Layer::run(Step step, const Deadline& deadline) noexcept {
    for (;;) {
        ERR_clear_error();
        const int result = step();
        const int error = result > 0 ? SSL_ERROR_NONE : SSL_get_error(ssl_.get(), result);
        const bool sent = wire_.flush(deadline.left());
        if (result > 0 && sent) return Received::data;
        const Received next = sent ? goOn(error, deadline) : broken();
        if (next != Received::data) return next;
    }
}

Received Layer::goOn(int error, const Deadline& deadline) noexcept {
    if (error == SSL_ERROR_ZERO_RETURN) {
        state_ = State::ended;
        return Received::closed;
    }
    if (error != SSL_ERROR_WANT_READ) return broken();
    const Received more = wire_.fill(deadline.left());
    // OpenSSL is told of the end, and tells whether it may be one.
    if (more == Received::closed) return Received::data;
    return more == Received::failed ? broken() : more;
}

Received Layer::open(int timeout) noexcept {
    return opened(Deadline(timeout));
}

Received Layer::opened(const Deadline& deadline) noexcept {
    if (state_ == State::open) return Received::data;
    if (state_ == State::ended) return Received::closed;
    if (!fault_.isEmpty()) return broken();
    const int whole = handshake_.left();
    const int own = deadline.left();
    const Deadline bound(own < 0 || (whole >= 0 && whole < own) ? whole : own);
    const Received done = run([this] { return SSL_do_handshake(ssl_.get()); }, bound);
    if (done == Received::data) {
        state_ = State::open;
    } else if (done == Received::timeout && handshake_.left() == 0) {
        fault_.set(wire_.first()[0] == 0 ? "the peer does not answer the TLS handshake"
                                         : "the TLS handshake was not done in time");
        return broken();
    }
    return done;
}

// ---- bytes
// --------------------------------------------------------------------------------------------------

Received Layer::receive(void* data, std::size_t length, int timeout, std::size_t& count) noexcept {
    count = copyAhead(data, length);
    aheadAt_ += count;
    if (count > 0) return Received::data;
    const Deadline deadline(timeout);
    if (const Received done = opened(deadline); done != Received::data) return done;
    return run([&] { return SSL_read_ex(ssl_.get(), data, length, &count); }, deadline);
}

std::size_t Layer::copyAhead(void* data, std::size_t length) const noexcept {
    const std::size_t count = std::min(length, aheadEnd_ - aheadAt_);
    if (count > 0) std::memcpy(data, ahead_.get() + aheadAt_, count);
    return count;
}

// OpenSSL shows one record; what is asked for may be in several, which are kept here until they are taken.
std::int64_t Layer::peek(void* data, std::size_t length) noexcept {
    const Deadline now(0);
    const std::size_t wanted = std::min(length, kRecord);
    if (wanted > kRecord - aheadAt_) {
        std::memmove(ahead_.get(), ahead_.get() + aheadAt_, aheadEnd_ - aheadAt_);
        aheadEnd_ -= std::exchange(aheadAt_, 0);
    }
    Received done = Received::data;
    while (done == Received::data && aheadEnd_ - aheadAt_ < wanted) {
        std::size_t count = 0;
        const std::size_t left = wanted - (aheadEnd_ - aheadAt_);
        done = opened(now);
        if (done != Received::data) break;
        done = run([&] { return SSL_read_ex(ssl_.get(), ahead_.get() + aheadEnd_, left, &count); }, now);
        aheadEnd_ += count;
    }
    if (const std::size_t seen = copyAhead(data, length); seen > 0) return static_cast<std::int64_t>(seen);
    if (done == Received::closed) return 0;
    return done == Received::failed ? -2 : -1;
}

bool Layer::waitReadable(int timeout) noexcept {
    const Deadline deadline(timeout);
    unsigned char first = 0;
    std::size_t count = 0;
    if (aheadAt_ != aheadEnd_) return true;
    Received done = opened(deadline);
    if (done == Received::data) {
        done = run([&] { return SSL_peek_ex(ssl_.get(), &first, 1, &count); }, deadline);
    }
    return done != Received::timeout;  // nor does a receive wait that fails
}

bool Layer::peerIsDone() noexcept {
    return state_ == State::ended || state_ == State::broken || platform::peerIsDone(socket_);
}

// Who reads a little now and then does not get the time-out anew for each part.
bool Layer::encrypt(const unsigned char* data, std::size_t length, bool isFirst,
                    const Deadline& deadline) noexcept {
    std::size_t written = 0;
    const int left = deadline.left();
    ERR_clear_error();
    if (!isFirst && left == 0) {
        fault_.set("the peer does not read in time");
    } else if (SSL_write_ex(ssl_.get(), data, length, &written) == 1 && wire_.flush(left)) {
        return true;
    }
    (void)broken();
    return false;
}

// Short runs share a record with what follows; of long ones whole records are taken where they are.
std::int64_t Layer::send(const platform::Run* runs, std::size_t count, int timeout) noexcept {
    const Deadline deadline(timeout);
    if (opened(deadline) != Received::data) return -1;
    bool isFirst = true;
    const auto put = [&](const unsigned char* part, std::size_t length) {
        return encrypt(part, length, std::exchange(isFirst, false), deadline);
    };
    std::int64_t sent = 0;
    std::size_t gathered = 0;
    for (; count > 0; ++runs, --count) {
        const auto* data = static_cast<const unsigned char*>(runs->data);
        sent += static_cast<std::int64_t>(runs->length);
        for (std::size_t left = runs->length; left > 0;) {
            const bool direct = gathered == 0 && left >= kRecord;
            const std::size_t here =
                direct ? std::min(left / kRecord * kRecord, kChunk) : std::min(left, kRecord - gathered);
            if (!direct) std::memcpy(record_.get() + gathered, data, here);
            if (!direct) gathered += here;
            if (direct && !put(data, here)) return -1;
            if (gathered == kRecord && !put(record_.get(), std::exchange(gathered, 0))) return -1;
            data += here;
            left -= here;
        }
    }
    return gathered == 0 || put(record_.get(), gathered) ? sent : -1;
}

void Layer::close() noexcept {
    if (state_ != State::open && state_ != State::ended) return;
    (void)platform::setSocketTimeouts(socket_, kFarewell, kFarewell);
    ERR_clear_error();
    (void)SSL_shutdown(ssl_.get());
    (void)wire_.flush(kFarewell);
    ERR_clear_error();
}

void Layer::describe(DcSecurityInfo& info) const noexcept {
    info = DcSecurityInfo();
    std::memcpy(info.fault, fault_.text(), std::strlen(fault_.text()));
    info.askedForOwn = asked_ ? 1 : 0;
    if (ssl_ == nullptr) return;
    if (const X509* const certificate = SSL_get0_peer_certificate(ssl_.get()))
        tls::describe(*certificate, info);
    if (SSL_is_init_finished(ssl_.get()) == 0) return;
    const auto copy = [](auto& to, const char* from) { std::strncpy(to, from, sizeof to - 1); };
    copy(info.version, SSL_get_version(ssl_.get()));
    copy(info.cipher, SSL_get_cipher_name(ssl_.get()));
    info.resumed = SSL_session_reused(ssl_.get());
    const bool asks = context_->settings().check != TLS_CHECK_NONE;
    info.verified = info.subject[0] != '\0' && asks && (verified_ || info.resumed != 0) ? 1 : 0;
}

}  // namespace orvkit::tls
