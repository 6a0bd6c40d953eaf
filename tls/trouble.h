// Certificates and failures in words.
#ifndef ORVKIT_TLS_TROUBLE_H
#define ORVKIT_TLS_TROUBLE_H

#include <span>

#include "orvkit/security.h"
#include "tls/openssl.h"
#include "tls/words.h"

namespace orvkit::tls {

// What is known of the peer's certificate.
void describe(const X509& certificate, DcSecurityInfo& info) noexcept;

// That this side's certificate has expired, or is not valid yet.
void tellOutdated(const X509& certificate, Words& words) noexcept;

// Why a certificate in the peer's chain is not good. `host`: the name that it should be for; may be null.
void tellUnverified(X509_STORE_CTX& check, const char* host, Words& words) noexcept;

// How far a connection had come, and what its peer sent first.
struct Scene {
    bool isUser;
    bool handshake;                           // it is not done yet
    std::span<const unsigned char, 2> first;  // zeros where nothing came
};
// Why OpenSSL went no further, by its error queue, which is empty then.
void tellBroken(const Scene& scene, Words& words) noexcept;
// Whether these are the first bytes of a DICOM PDU (PS3.8 9.3.1).
bool isPlainDicom(std::span<const unsigned char, 2> first) noexcept;

}  // namespace orvkit::tls

#endif
