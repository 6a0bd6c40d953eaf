// DICOM over TLS (PS3.15 B.9 to B.13). A library of its own, orvkit_tls, over OpenSSL 3: link it beside
// orvkit.
//
//     DcTls tls;
//     tls.setCertificate("scanner.pem", "scanner.key");
//     tls.addAuthorities("ca.pem");
//     if (tls.load() != 0) puts(tls.fault());
//     DcMsm msm("SCANNER", TSM_ROLE_SCU, 2762);
//     msm.setSecurity(tls.security());
//
// Whatever the profile, it is TLS 1.2 or 1.3, with forward secrecy and keys of at least 2048 (RSA) or 224
// bits (elliptic curves); there is no renegotiation and no compression. A user names the host that it
// connects to (SNI, but not for addresses) and the protocol "dicom" (ALPN), and takes up the sessions of its
// last connections to the same host and port, as long as this side's settings stay; a provider resumes
// sessions for an hour, and refuses who offers other protocols by ALPN alone.
#ifndef ORVKIT_TLS_H
#define ORVKIT_TLS_H

#include "orvkit/security.h"

#if defined(_WIN32) && !defined(ORVKIT_STATIC)
#if defined(ORVKIT_TLS_BUILDING)
#define ORVKIT_TLS_API __declspec(dllexport)
#else
#define ORVKIT_TLS_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ORVKIT_TLS_API __attribute__((visibility("default")))
#else
#define ORVKIT_TLS_API
#endif

inline constexpr int TLS_PORT = 2762;  // registered for DICOM over TLS (PS3.8 9.1.1)

// What both sides may agree upon (PS3.15). All but the last two take the cipher suites with AES-GCM and
// forward secrecy that BCP 195 recommends, and those of TLS 1.3.
enum TLS_PROFILE : int {
    TLS_PROFILE_RFC8996 = 0,           // BCP 195 RFC 8996 (B.12)
    TLS_PROFILE_RFC8996_MODIFIED = 1,  // its modified form (B.13): more suites, preferring keys of 256 bits
    TLS_PROFILE_BCP195 = 2,            // for older peers, BCP 195 (B.9): also CBC suites with forward secrecy
    TLS_PROFILE_NON_DOWNGRADING = 3,   // for older peers (B.10)
    TLS_PROFILE_EXTENDED = 4,          // for older peers, extended BCP 195 (B.11): keys of 256 bits first
};

// What is asked of the peer.
enum TLS_CHECK : int {
    TLS_CHECK_REQUIRE = 0,  // a certificate that is found to be good
    TLS_CHECK_ACCEPT = 1,   // of a user: as before, or none at all; a provider always shows one
    TLS_CHECK_NONE = 2,     // a provider asks for none, and a user takes whatever comes: anybody may be it
};

// Puts the password of a private key into `password`, which has room for so many bytes and needs no 0 at its
// end. Gives its length, or -1 for none. `keyFile` is as it was given.
typedef int (*DcTlsPasswordCB)(void* user, const char* keyFile, char* password, int room);

// Settings of connections and what was read for them. The functions that set something take effect at the
// next load; they, load and fault are for one thread at a time. Meanwhile any number of transports in other
// threads may use security(). What is passed is copied. Results: 0; TLS_NULL_ARGUMENT; TLS_SETTING a value
// that there is not; those of load; ELEM_NO_MEMORY. Failures are told as LOG_ERROR.
class ORVKIT_TLS_API DcTls {
  public:
    DcTls();
    DcTls(const DcTls&) = delete;
    DcTls& operator=(const DcTls&) = delete;
    // Connections that it secures go on; no new ones may be made with it.
    ~DcTls();

    int setProfile(TLS_PROFILE profile);
    // PEM files: this side's certificate with those of its issuers behind it, if the peer may not know them,
    // and its private key. A provider needs both; a user where the provider asks for one.
    int setCertificate(const char* certificateFile, const char* keyFile);
    // Asked when a key is encrypted. Null: encrypted keys are TLS_PASSWORD.
    int setPasswordCB(void* user, DcTlsPasswordCB callback);
    // A PEM file with certificates: those of authorities, or of peers themselves. A peer is known by a chain
    // that ends at any of these. Nobody else is: those that the system trusts are not looked at.
    int addAuthorities(const char* file);
    // A PEM file with revocation lists. With any, there must be a current one of every issuer in a peer's
    // chain.
    int addRevocations(const char* file);
    // The SHA-256 fingerprint of a certificate, 64 hexadecimal digits with or without colons: the peer's must
    // be one of those that were added. Without authorities that is all that is asked of it, but for its
    // dates; with authorities both must hold. Names are not compared then.
    int addPin(const char* fingerprint);
    // Initially TLS_CHECK_REQUIRE.
    int setCheck(TLS_CHECK check);
    // The name or address that the peer's certificate must be for, instead of the host that a user connects
    // to; null for that again. For a provider: that of all users; null for any.
    int setPeerName(const char* name);

    // Reads the files. New connections use what was read, and those that there are stay as they are; after a
    // failure new ones go on with what was read before, and fail if that is nothing. Also for files that have
    // changed. TLS_FILE a file cannot be read or holds nothing of the kind, TLS_KEY_EXPOSED a private key is
    // readable by everybody (where the system tells), TLS_KEY_MISMATCH it is not that of the certificate,
    // TLS_PASSWORD it is encrypted and the password is missing or wrong, TLS_SETTING nothing tells how to
    // know the peer, the certificate's key is too weak. TLS_FILE also where OpenSSL cannot be loaded, which
    // the first call of this or of the functions below does.
    int load();
    // What the last failure was, in one line; "" after success. Until the next call.
    const char* fault() const;
    // What peers will not like about what was read, in one line: this side's certificate has expired, or is
    // not valid yet; "" for nothing. Also told as LOG_NOTICE. Until the next load that succeeds.
    const char* remark() const;

    // For DcTsm::setSecurity; owned by this object.
    DcSecurity* security();

  private:
    struct Own;
    Own* own_;
};

// ---- certificates for a small site ------------------------------------------------------------------------

// A private authority and key pairs under it: elliptic curve P-256, PEM files, keys for their owner alone.
// Files that exist are not touched. Results: 0; TLS_NULL_ARGUMENT; TLS_FILE; TLS_SETTING `days` below 1, or a
// name that cannot be in a certificate; ELEM_NO_MEMORY. Told as LOG_ERROR.
ORVKIT_TLS_API int tlsMakeAuthority(const char* name, int days, const char* certificateFile,
                                    const char* keyFile);
// A certificate for users and providers alike, for these hosts and addresses, of which the first is its
// common name too.
ORVKIT_TLS_API int tlsMakePair(const char* authorityFile, const char* authorityKeyFile,
                               const char* const* hosts, unsigned int count, int days,
                               const char* certificateFile, const char* keyFile);

// ---- signatures of JSON Web Tokens (RFC 7515) ------------------------------------------------------------

// `keys` is what a file holds: public keys or certificates (PEM), or else one secret of at least 32 bytes,
// without the ends of line behind it. RS256 and PS256 are for RSA keys from 2048 bits, ES256 for those on
// P-256, EdDSA for Ed25519 (RFC 7518 3, RFC 8037), HS256 for a secret alone. Results: 0; TLS_NULL_ARGUMENT;
// TLS_FILE there is something else in it, or OpenSSL cannot be loaded; TLS_SETTING a secret that is too
// short, or keys for none of these; ELEM_NO_MEMORY. Told as LOG_ERROR.
//
// The names of what these keys are for, with blanks between.
ORVKIT_TLS_API int tlsDescribeKeys(const void* keys, unsigned int length, char* algorithms,
                                   unsigned int room);
// Whether a signature is that of a text by one of the keys. Further results: TLS_SETTING the algorithm is not
// that of a key, or none of these; TLS_KEY_MISMATCH the signature is another.
ORVKIT_TLS_API int tlsCheckSignature(const char* algorithm, const void* keys, unsigned int keysLength,
                                     const void* text, unsigned int textLength, const void* signature,
                                     unsigned int signatureLength);

// ---- passwords of users
// ------------------------------------------------------------------------------------

// A password as crypt(5) hashes it: yescrypt, with a salt of its own; a few hundredths of a second, and one
// at a time. Results: 0; TLS_NULL_ARGUMENT; TLS_SETTING it is too long, there is too little room, or the
// system has no libxcrypt; TLS_FILE; ELEM_NO_MEMORY. Told as LOG_ERROR.
ORVKIT_TLS_API int tlsHashPassword(const char* password, char* hash, unsigned int room);
// Whether a password is that of a hash, which may be of any kind of crypt(5) that begins with '$'. Further
// results: TLS_PASSWORD it is another; TLS_SETTING the hash is none.
ORVKIT_TLS_API int tlsCheckPassword(const char* password, unsigned int length, const char* hash);
// Whether it is a hash.
ORVKIT_TLS_API int tlsCheckPasswordHash(const char* hash);

#endif
