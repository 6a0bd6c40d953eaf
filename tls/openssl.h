// What OpenSSL hands out, owned.
#ifndef ORVKIT_TLS_OPENSSL_H
#define ORVKIT_TLS_OPENSSL_H

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <string>

namespace orvkit::tls {

template <auto Free>
struct Freed {
    template <typename T>
    void operator()(T* object) const noexcept {
        (void)Free(object);
    }
};
template <typename T, auto Free>
using Owned = std::unique_ptr<T, Freed<Free>>;

using SslPtr = Owned<SSL, SSL_free>;
using SslCtxPtr = Owned<SSL_CTX, SSL_CTX_free>;
using SessionPtr = Owned<SSL_SESSION, SSL_SESSION_free>;
using BioPtr = Owned<BIO, BIO_free_all>;
using BioMethodPtr = Owned<BIO_METHOD, BIO_meth_free>;
using CertificatePtr = Owned<X509, X509_free>;
using KeyPtr = Owned<EVP_PKEY, EVP_PKEY_free>;
using NumberPtr = Owned<BIGNUM, BN_free>;
using ExtensionPtr = Owned<X509_EXTENSION, X509_EXTENSION_free>;
using AddressPtr = Owned<ASN1_OCTET_STRING, ASN1_OCTET_STRING_free>;
using NamesPtr = Owned<GENERAL_NAMES, GENERAL_NAMES_free>;

}  // namespace orvkit::tls

#endif
