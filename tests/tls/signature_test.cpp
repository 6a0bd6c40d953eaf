// Signatures of tokens: each algorithm with its own keys, and with none of the others'.
#include <openssl/ecdsa.h>
#include <openssl/hmac.h>

#include <functional>
#include <map>

#include "orvkit/tls.h"
#include "support/capture_log.h"
#include "tls/openssl.h"

namespace {

using namespace orvkit::tls;

const std::string kText = "eyJhbGciOiJub25lIn0.e30";
const std::string kSecret(32, 's');

template <typename Write>
std::string written(Write write) {
    const BioPtr out(BIO_new(BIO_s_mem()));
    EXPECT_EQ(write(out.get()), 1);
    char* text = nullptr;
    const long length = BIO_get_mem_data(out.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}
std::string pemOf(EVP_PKEY* key) {
    return written([key](BIO* out) { return PEM_write_bio_PUBKEY(out, key); });
}

std::string sign(EVP_PKEY* key, const EVP_MD* digest, bool pss) {
    const Owned<EVP_MD_CTX, EVP_MD_CTX_free> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* options = nullptr;
    EXPECT_EQ(EVP_DigestSignInit(context.get(), &options, digest, nullptr, key), 1);
    if (pss) {
        EVP_PKEY_CTX_set_rsa_padding(options, RSA_PKCS1_PSS_PADDING);
        EVP_PKEY_CTX_set_rsa_pss_saltlen(options, RSA_PSS_SALTLEN_DIGEST);
    }
    const auto* const text = reinterpret_cast<const unsigned char*>(kText.data());
    std::string signature(1024, '\0');
    std::size_t length = signature.size();
    auto* const room = reinterpret_cast<unsigned char*>(signature.data());
    EXPECT_EQ(EVP_DigestSign(context.get(), room, &length, text, kText.size()), 1);
    signature.resize(length);
    return signature;
}

std::string signEs256(EVP_PKEY* key) {
    const std::string der = sign(key, EVP_sha256(), false);
    const auto* at = reinterpret_cast<const unsigned char*>(der.data());
    const Owned<ECDSA_SIG, ECDSA_SIG_free> pair(d2i_ECDSA_SIG(nullptr, &at, static_cast<long>(der.size())));
    std::string both(64, '\0');
    auto* const room = reinterpret_cast<unsigned char*>(both.data());
    BN_bn2binpad(ECDSA_SIG_get0_r(pair.get()), room, 32);
    BN_bn2binpad(ECDSA_SIG_get0_s(pair.get()), room + 32, 32);
    return both;
}

std::string signHs256(const std::string& secret) {
    unsigned char code[32];
    HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
         reinterpret_cast<const unsigned char*>(kText.data()), kText.size(), code, nullptr);
    return {reinterpret_cast<const char*>(code), sizeof code};
}

int check(const char* algorithm, const std::string& keys, const std::string& text,
          const std::string& signature) {
    const auto length = [](const std::string& bytes) { return static_cast<unsigned int>(bytes.size()); };
    return tlsCheckSignature(algorithm, keys.data(), length(keys), text.data(), length(text),
                             signature.data(), length(signature));
}

TEST(Signatures, HoldByTheirOwnKeysAlone) {
    const QuietLog quiet;
    const KeyPtr rsa(EVP_RSA_gen(2048));
    const KeyPtr ec(EVP_EC_gen("P-256"));
    const KeyPtr ed(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    const KeyPtr other(EVP_EC_gen("P-256"));
    const struct {
        const char* algorithm;
        std::string keys, signature;
    } rows[] = {{"RS256", pemOf(rsa.get()), sign(rsa.get(), EVP_sha256(), false)},
                {"PS256", pemOf(rsa.get()), sign(rsa.get(), EVP_sha256(), true)},
                {"ES256", pemOf(ec.get()), signEs256(ec.get())},
                {"EdDSA", pemOf(ed.get()), sign(ed.get(), nullptr, false)},
                {"HS256", kSecret + "\n", signHs256(kSecret)}};
    for (const auto& row : rows) {
        EXPECT_EQ(check(row.algorithm, row.keys, kText, row.signature), RESULT_OK) << row.algorithm;
        EXPECT_EQ(check(row.algorithm, row.keys, kText + "x", row.signature), TLS_KEY_MISMATCH);
        EXPECT_EQ(check(row.algorithm, row.keys, kText, row.signature.substr(1)), TLS_KEY_MISMATCH);
        EXPECT_EQ(check("none", row.keys, kText, row.signature), TLS_SETTING);
        for (const auto& with : rows) {
            if (with.keys == row.keys) continue;
            EXPECT_EQ(check(row.algorithm, with.keys, kText, row.signature), TLS_SETTING)
                << row.algorithm << with.algorithm;
        }
    }
    // One who knows the public key has no secret.
    EXPECT_EQ(check("HS256", rows[0].keys, kText, signHs256(rows[0].keys)), TLS_SETTING);
    // Keys that follow one another, and one that has not signed.
    EXPECT_EQ(check("ES256", pemOf(other.get()) + rows[2].keys, kText, rows[2].signature), RESULT_OK);
    EXPECT_EQ(check("ES256", pemOf(other.get()), kText, rows[2].signature), TLS_KEY_MISMATCH);
}

TEST(Signatures, TellWhatKeysAreFor) {
    const QuietLog quiet;
    const KeyPtr small(EVP_RSA_gen(1024));
    const KeyPtr p384(EVP_EC_gen("P-384"));
    const KeyPtr ec(EVP_EC_gen("P-256"));
    const std::string own = written([&ec](BIO* out) {
        return PEM_write_bio_PrivateKey(out, ec.get(), nullptr, nullptr, 0, nullptr, nullptr);
    });
    const std::string rsa = pemOf(KeyPtr(EVP_RSA_gen(2048)).get());
    const struct {
        std::string keys;
        int result;
        const char* algorithms;
    } rows[] = {{pemOf(ec.get()) + rsa, RESULT_OK, "RS256 PS256 ES256"},
                {kSecret, RESULT_OK, "HS256"},
                {pemOf(small.get()), TLS_SETTING, ""},
                {pemOf(p384.get()), TLS_SETTING, ""},
                {kSecret.substr(1) + "\n", TLS_SETTING, ""},
                {own, TLS_FILE, ""},
                {"-----BEGIN PUBLIC KEY-----\nAAAA\n-----END PUBLIC KEY-----\n", TLS_FILE, ""},
                {"-----BEGIN PUBLIC KEY-----\n", TLS_FILE, ""}};
    for (const auto& row : rows) {
        char names[64] = "";
        EXPECT_EQ(
            tlsDescribeKeys(row.keys.data(), static_cast<unsigned int>(row.keys.size()), names, sizeof names),
            row.result)
            << row.keys;
        EXPECT_STREQ(names, row.algorithms);
    }
}

}  // namespace
