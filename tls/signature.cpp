#include "tls/signature.h"

#include <openssl/ecdsa.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

#include "orvkit/result.h"
#include "tls/openssl.h"

namespace orvkit::tls {

namespace {

constexpr std::size_t kShortestSecret = 32;  // bytes (RFC 7518 3.2)
constexpr int kShortestRsa = 2048;           // bits (RFC 7518 3.3)
constexpr std::size_t kHalf = 32;            // of an ECDSA signature on P-256, in bytes

using EcdsaPtr = Owned<ECDSA_SIG, ECDSA_SIG_free>;
using DigestPtr = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;

// The keys of a file: public ones, or one secret.
struct Keys {
    std::vector<KeyPtr> open;
    Bytes secret;
};

// ---- the algorithms: whether a key is for it, and whether a signature is one
// ------------------------------------

bool isRsa(const EVP_PKEY& key) noexcept {
    return EVP_PKEY_is_a(&key, "RSA") == 1 && EVP_PKEY_get_bits(&key) >= kShortestRsa;
}
bool isP256(const EVP_PKEY& key) noexcept {
    char group[32] = "";
    return EVP_PKEY_is_a(&key, "EC") == 1 &&
           EVP_PKEY_get_group_name(&key, group, sizeof group, nullptr) == 1 &&
           (std::strcmp(group, "prime256v1") == 0 || std::strcmp(group, "P-256") == 0);
}
bool isEd25519(const EVP_PKEY& key) noexcept {
    return EVP_PKEY_is_a(&key, "ED25519") == 1;
}

bool verify(EVP_PKEY& key, const EVP_MD* digest, bool pss, Bytes text, Bytes signature) noexcept {
    const DigestPtr context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* options = nullptr;  // the context's
    if (context == nullptr || EVP_DigestVerifyInit(context.get(), &options, digest, nullptr, &key) != 1) {
        return false;
    }
    const bool padded = !pss || (EVP_PKEY_CTX_set_rsa_padding(options, RSA_PKCS1_PSS_PADDING) == 1 &&
                                 EVP_PKEY_CTX_set_rsa_pss_saltlen(options, RSA_PSS_SALTLEN_DIGEST) == 1);
    return padded &&
           EVP_DigestVerify(context.get(), signature.data(), signature.size(), text.data(), text.size()) == 1;
}

bool verifyRs256(EVP_PKEY& key, Bytes text, Bytes signature) noexcept {
    return verify(key, EVP_sha256(), false, text, signature);
}
bool verifyPs256(EVP_PKEY& key, Bytes text, Bytes signature) noexcept {
    return verify(key, EVP_sha256(), true, text, signature);
}
bool verifyEdDsa(EVP_PKEY& key, Bytes text, Bytes signature) noexcept {
    return verify(key, nullptr, false, text, signature);
}
// Two numbers, where OpenSSL wants them in DER.
bool verifyEs256(EVP_PKEY& key, Bytes text, Bytes signature) noexcept {
    if (signature.size() != 2 * kHalf) return false;
    NumberPtr r(BN_bin2bn(signature.data(), kHalf, nullptr));
    NumberPtr s(BN_bin2bn(signature.data() + kHalf, kHalf, nullptr));
    const EcdsaPtr pair(ECDSA_SIG_new());
    if (pair == nullptr || r == nullptr || s == nullptr ||
        ECDSA_SIG_set0(pair.get(), r.get(), s.get()) != 1) {
        return false;
    }
    (void)r.release();
    (void)s.release();
    unsigned char der[2 * kHalf + 16];
    unsigned char* at = der;
    const int length = i2d_ECDSA_SIG(pair.get(), nullptr);
    if (length < 0 || static_cast<std::size_t>(length) > sizeof der) return false;
    (void)i2d_ECDSA_SIG(pair.get(), &at);
    return verify(key, EVP_sha256(), false, text, {der, static_cast<std::size_t>(length)});
}

// clang-format off
constexpr struct {
    const char* name;
    bool (*isFor)(const EVP_PKEY& key) noexcept;
    bool (*verify)(EVP_PKEY& key, Bytes text, Bytes signature) noexcept;
} algorithms[] = {
    {"RS256", isRsa,     verifyRs256},
    {"PS256", isRsa,     verifyPs256},
    {"ES256", isP256,    verifyEs256},
    {"EdDSA", isEd25519, verifyEdDsa},
};
// clang-format on
constexpr const char* kSymmetric = "HS256";

bool isBySecret(Bytes secret, Bytes text, Bytes signature) noexcept {
    unsigned char own[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    return HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()), text.data(), text.size(), own,
                &length) != nullptr &&
           length == signature.size() && CRYPTO_memcmp(own, signature.data(), length) == 0;
}

// ---- files of keys
// ----------------------------------------------------------------------------------------------

struct PemBlock {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long length = 0;

    PemBlock() = default;
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;
    ~PemBlock() {
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
    }
    KeyPtr key() const noexcept {
        const unsigned char* at = data;
        const std::string_view kind = name;
        if (kind == PEM_STRING_PUBLIC) return KeyPtr(d2i_PUBKEY(nullptr, &at, length));
        if (kind != PEM_STRING_X509) return nullptr;
        const CertificatePtr certificate(d2i_X509(nullptr, &at, length));
        return KeyPtr(certificate == nullptr ? nullptr : X509_get_pubkey(certificate.get()));
    }
};

int readPublic(Bytes bytes, Keys& keys, Words& fault) {
    const BioPtr in(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    if (in == nullptr) throw std::bad_alloc();
    for (;;) {
        PemBlock block;
        if (PEM_read_bio(in.get(), &block.name, &block.header, &block.data, &block.length) != 1) break;
        KeyPtr key = block.key();
        if (key == nullptr) {
            fault.set("'%s' is no public key and no certificate", block.name);
            return TLS_FILE;
        }
        keys.open.push_back(std::move(key));
    }
    if (!keys.open.empty()) return RESULT_OK;
    fault.set("there is no public key in it (PEM)");
    return TLS_FILE;
}

int readKeys(Bytes bytes, Keys& keys, Words& fault) {
    ERR_clear_error();
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (text.find("-----BEGIN ") != std::string_view::npos) {
        const int result = readPublic(bytes, keys, fault);
        ERR_clear_error();
        return result;
    }
    keys.secret = bytes.first(text.find_last_not_of("\r\n") + 1);
    if (keys.secret.size() >= kShortestSecret) return RESULT_OK;
    fault.set("it holds no public key (PEM), and fewer than %zu bytes are no secret", kShortestSecret);
    return TLS_SETTING;
}

}  // namespace

int describeKeys(Bytes bytes, std::string& names, Words& fault) {
    Keys keys;
    if (const int result = readKeys(bytes, keys, fault); result != RESULT_OK) return result;
    names = keys.open.empty() ? kSymmetric : "";
    for (const auto& row : algorithms) {
        if (std::ranges::none_of(keys.open, [&](const KeyPtr& key) { return row.isFor(*key); })) continue;
        names += (names.empty() ? "" : " ") + std::string(row.name);
    }
    if (!names.empty()) return RESULT_OK;
    fault.set("its keys are for none of RS256, PS256 (RSA from 2048 bits), ES256 (P-256), EdDSA (Ed25519)");
    return TLS_SETTING;
}

// A public key is never taken for a secret: who has it could sign.
int checkSignature(const char* algorithm, Bytes bytes, Bytes text, Bytes signature, Words& fault) {
    Keys keys;
    if (const int result = readKeys(bytes, keys, fault); result != RESULT_OK) return result;
    bool suits = false;
    bool good = false;
    if (std::strcmp(algorithm, kSymmetric) == 0) {
        suits = keys.open.empty();
        good = suits && isBySecret(keys.secret, text, signature);
    }
    for (const auto& row : algorithms) {
        if (std::strcmp(algorithm, row.name) != 0) continue;
        for (const KeyPtr& key : keys.open) {
            if (!row.isFor(*key)) continue;
            suits = true;
            good = good || row.verify(*key, text, signature);
        }
    }
    ERR_clear_error();
    if (good) return RESULT_OK;
    if (suits) {
        fault.set("the signature is not by a key that is known here");
    } else {
        fault.set("the algorithm '%.32s' is not that of a key that is known here", algorithm);
    }
    return suits ? TLS_KEY_MISMATCH : TLS_SETTING;
}

}  // namespace orvkit::tls
