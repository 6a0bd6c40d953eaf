#include "tls/tickets.h"

#include <openssl/core_names.h>
#include <openssl/rand.h>

#include <algorithm>
#include <utility>

#include "tls/context.h"
#include "tls/layer.h"

namespace orvkit::tls {

// After two times as long without a connection neither is of use.
bool TicketKeys::turn(Clock::time_point now) {
    if (hasCurrent_ && now - since_ < kSessionTime) return true;
    hasBefore_ = hasCurrent_ && now - since_ < 2 * kSessionTime;
    std::swap(before_, current_);
    hasCurrent_ = RAND_bytes(current_.name.data(), static_cast<int>(current_.name.size())) == 1 &&
                  RAND_priv_bytes(current_.cipher.data(), static_cast<int>(current_.cipher.size())) == 1 &&
                  RAND_priv_bytes(current_.code.data(), static_cast<int>(current_.code.size())) == 1;
    since_ = now;
    return hasCurrent_;
}

bool TicketKeys::current(Clock::time_point now, Key& key) {
    const std::lock_guard lock(mutex_);
    if (!turn(now)) return false;
    key = current_;
    return true;
}

bool TicketKeys::find(Clock::time_point now, const Name& name, Key& key) {
    const std::lock_guard lock(mutex_);
    if (!turn(now)) return false;
    const bool old = hasBefore_ && before_.name == name;
    if (!old && current_.name != name) return false;
    key = old ? before_ : current_;
    return true;
}

// 0: the ticket is not taken, and the handshake is one without it. 2: it is, and a new one follows: each
// serves once.
int ticketCall(SSL* connection, unsigned char* name, unsigned char* start, EVP_CIPHER_CTX* cipher,
               EVP_MAC_CTX* code, int seals) noexcept {
    TicketKeys& keys = Layer::of(connection).context().ticketKeys();
    const auto now = TicketKeys::Clock::now();
    const EVP_CIPHER* const method = EVP_aes_256_cbc();
    TicketKeys::Key key;
    if (seals != 0) {
        if (!keys.current(now, key) || RAND_bytes(start, EVP_CIPHER_get_iv_length(method)) != 1) return -1;
        std::ranges::copy(key.name, name);
    } else {
        TicketKeys::Name wanted;
        std::copy_n(name, wanted.size(), wanted.begin());
        if (!keys.find(now, wanted, key)) return 0;
    }
    char digest[] = "SHA256";
    const OSSL_PARAM settings[] = {
        OSSL_PARAM_construct_octet_string(OSSL_MAC_PARAM_KEY, key.code.data(), key.code.size()),
        OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, digest, 0), OSSL_PARAM_construct_end()};
    const bool set = EVP_CipherInit_ex2(cipher, method, key.cipher.data(), start, seals, nullptr) == 1 &&
                     EVP_MAC_CTX_set_params(code, settings) == 1;
    return !set ? -1 : seals != 0 ? 1 : 2;
}

}  // namespace orvkit::tls
