// What secures the connection of a transport: an object that a library beside this one makes, such as DcTls
// (tls.h), is given to DcTsm::setSecurity; and what is known of a connection that it secures.
#ifndef ORVKIT_SECURITY_H
#define ORVKIT_SECURITY_H

#include "orvkit/export.h"

// Opaque to applications. One object may secure any number of connections at once.
class DcSecurity;

// Texts are ended by 0, and cut where they are longer; those of the peer's certificate are empty when it has
// shown none. They are the peer's words: bytes that are no printable ASCII are shown as escapes.
struct ORVKIT_API DcSecurityInfo {
    char version[16] = {};      // of the protocol: "TLSv1.3"; empty before the handshake is done
    char cipher[64] = {};       // "TLS_AES_256_GCM_SHA384"
    char subject[256] = {};     // of the peer's certificate: "CN=scanner,O=Hospital" (RFC 2253)
    char issuer[256] = {};      //
    char names[512] = {};       // hosts and addresses that it is for, with blanks between
    char validFrom[24] = {};    // "2026-11-22 08:00:00", UTC
    char validUntil[24] = {};   //
    char fingerprint[65] = {};  // SHA-256 of the whole certificate, lower-case hexadecimal
    int verified = 0;           // not 0: it was checked and found to be good
    int resumed = 0;            // not 0: by a session of before, with what was checked then
    int askedForOwn = 0;        // not 0: the peer asked for this side's certificate, which had none
    char fault[320] = {};       // why it failed, in one line; empty when it did not
};

#endif
