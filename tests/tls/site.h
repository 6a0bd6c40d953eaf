// Certificates for tests: a small site whose parties each have a key pair, and some that are not as they
// should be.
#ifndef ORVKIT_TESTS_TLS_SITE_H
#define ORVKIT_TESTS_TLS_SITE_H

#include <gtest/gtest.h>

#include <vector>

#include "orvkit/result.h"
#include "orvkit/tls.h"
#include "support/temp_dir.h"
#include "tls/openssl.h"

class Site {
  public:
    Site() {
        authority("ca");
        pair("user", {"user.example"});
        pair("provider", {"127.0.0.1", "localhost"});
    }
    std::string cert(const std::string& name) const { return dir_ / (name + ".pem"); }
    std::string key(const std::string& name) const { return dir_ / (name + ".key"); }
    std::string file(const std::string& name) const { return dir_ / name; }

    void authority(const std::string& name) {
        EXPECT_EQ(tlsMakeAuthority(name.c_str(), 10, cert(name).c_str(), key(name).c_str()), RESULT_OK);
    }
    void pair(const std::string& name, const std::vector<const char*>& hosts, const std::string& by = "ca") {
        EXPECT_EQ(
            tlsMakePair(cert(by).c_str(), key(by).c_str(), hosts.data(),
                        static_cast<unsigned int>(hosts.size()), 10, cert(name).c_str(), key(name).c_str()),
            RESULT_OK);
    }
    // Valid for these seconds from now on, signed again.
    void redate(const std::string& name, long from, long until, const std::string& by = "ca") {
        const auto certificate = read<orvkit::tls::CertificatePtr>(cert(name), PEM_read_bio_X509);
        const auto issuer = read<orvkit::tls::KeyPtr>(key(by), PEM_read_bio_PrivateKey);
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), from);
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), until);
        EXPECT_GT(X509_sign(certificate.get(), issuer.get(), EVP_sha256()), 0);
        write(cert(name), [&](BIO* out) { return PEM_write_bio_X509(out, certificate.get()); });
    }
    // A list of the authority's with that one revoked; "" for none.
    std::string revoke(const std::string& name, long until = 3600) {
        const auto issuer = read<orvkit::tls::CertificatePtr>(cert("ca"), PEM_read_bio_X509);
        const auto issuerKey = read<orvkit::tls::KeyPtr>(key("ca"), PEM_read_bio_PrivateKey);
        const orvkit::tls::Owned<X509_CRL, X509_CRL_free> list(X509_CRL_new());
        const orvkit::tls::Owned<ASN1_TIME, ASN1_TIME_free> now(X509_gmtime_adj(nullptr, -7200));
        const orvkit::tls::Owned<ASN1_TIME, ASN1_TIME_free> next(X509_gmtime_adj(nullptr, until));
        X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
        X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(issuer.get()));
        X509_CRL_set1_lastUpdate(list.get(), now.get());
        X509_CRL_set1_nextUpdate(list.get(), next.get());
        if (!name.empty()) {
            const auto certificate = read<orvkit::tls::CertificatePtr>(cert(name), PEM_read_bio_X509);
            X509_REVOKED* const entry = X509_REVOKED_new();
            X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(certificate.get()));
            X509_REVOKED_set_revocationDate(entry, now.get());
            X509_CRL_add0_revoked(list.get(), entry);
        }
        EXPECT_GT(X509_CRL_sign(list.get(), issuerKey.get(), EVP_sha256()), 0);
        const std::string path = file("revoked-" + name + std::to_string(until) + ".crl");
        write(path, [&](BIO* out) { return PEM_write_bio_X509_CRL(out, list.get()); });
        return path;
    }
    // The key of a party once more, encrypted.
    std::string encrypted(const std::string& name, const char* password) {
        const auto plain = read<orvkit::tls::KeyPtr>(key(name), PEM_read_bio_PrivateKey);
        const std::string path = file(name + "-encrypted.key");
        write(path, [&](BIO* out) {
            return PEM_write_bio_PKCS8PrivateKey(out, plain.get(), EVP_aes_256_cbc(), password,
                                                 static_cast<int>(std::string(password).size()), nullptr,
                                                 nullptr);
        });
        std::filesystem::permissions(path, std::filesystem::perms::owner_read);
        return path;
    }
    std::string fingerprint(const std::string& name) const {
        const auto certificate = read<orvkit::tls::CertificatePtr>(cert(name), PEM_read_bio_X509);
        unsigned char bytes[EVP_MAX_MD_SIZE];
        unsigned int length = 0;
        X509_digest(certificate.get(), EVP_sha256(), bytes, &length);
        std::string text;
        for (unsigned int i = 0; i < length; ++i) {
            char part[4];
            std::snprintf(part, sizeof part, "%s%02X", i == 0 ? "" : ":", unsigned{bytes[i]});
            text += part;
        }
        return text;
    }

  private:
    template <typename Ptr, typename Read>
    static Ptr read(const std::string& path, Read read) {
        const orvkit::tls::BioPtr in(BIO_new_file(path.c_str(), "rb"));
        return Ptr(read(in.get(), nullptr, nullptr, nullptr));
    }
    template <typename Write>
    static void write(const std::string& path, Write write) {
        const orvkit::tls::BioPtr out(BIO_new_file(path.c_str(), "wb"));
        EXPECT_EQ(write(out.get()), 1);
    }

    TempDir dir_;
};

// That of all tests.
inline Site& site() {
    static Site all;
    return all;
}

#endif
