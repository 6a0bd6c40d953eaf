#include "tls/trouble.h"

#include <cstdio>
#include <cstring>
#include <ctime>

namespace orvkit::tls {

namespace {

template <std::size_t N>
void printName(const X509_NAME* name, char (&text)[N]) noexcept {
    text[0] = '\0';
    const BioPtr out(BIO_new(BIO_s_mem()));
    if (out == nullptr || X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_RFC2253) < 0) return;
    const int count = BIO_read(out.get(), text, N - 1);
    text[count > 0 ? count : 0] = '\0';
}

template <std::size_t N>
void printTime(const ASN1_TIME* time, char (&text)[N]) noexcept {
    std::tm parts{};
    text[0] = '\0';
    if (ASN1_TIME_to_tm(time, &parts) == 1) (void)std::strftime(text, N, "%Y-%m-%d %H:%M:%S", &parts);
}

// Appends, as far as there is room.
class Joiner {
  public:
    Joiner(char* text, std::size_t room) noexcept : text_(text), room_(room) { text_[0] = '\0'; }
    void add(const unsigned char* bytes, std::size_t length) noexcept {
        blank();
        for (std::size_t i = 0; i < length; ++i) {
            put(bytes[i] > ' ' && bytes[i] <= '~' ? static_cast<char>(bytes[i]) : '?');
        }
    }
    void addAddress(const unsigned char* bytes, std::size_t length) noexcept {
        blank();
        char part[8];
        for (std::size_t i = 0; i < length; i += length == 4 ? 1 : 2) {
            const unsigned int number = length == 4 ? bytes[i] : bytes[i] * 256u + bytes[i + 1];
            (void)std::snprintf(part, sizeof part, length == 4 ? "%s%u" : "%s%x",
                                i == 0 ? "" : (length == 4 ? "." : ":"), number);
            for (const char* at = part; *at != '\0'; ++at) put(*at);
        }
    }

  private:
    void blank() noexcept {
        if (used_ > 0) put(' ');
    }
    void put(char c) noexcept {
        if (used_ + 1 >= room_) return;
        text_[used_++] = c;
        text_[used_] = '\0';
    }
    char* text_;
    std::size_t room_;
    std::size_t used_ = 0;
};

void printNames(const X509& certificate, char* text, std::size_t room) noexcept {
    Joiner joiner(text, room);
    const NamesPtr names(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(&certificate, NID_subject_alt_name, nullptr, nullptr)));
    for (int i = 0; names != nullptr && i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* const name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type != GEN_DNS && name->type != GEN_IPADD) continue;
        const ASN1_STRING* const value = name->type == GEN_DNS ? name->d.dNSName : name->d.iPAddress;
        const auto length = static_cast<std::size_t>(ASN1_STRING_length(value));
        if (name->type == GEN_DNS) {
            joiner.add(ASN1_STRING_get0_data(value), length);
        } else if (length == 4 || length == 16) {
            joiner.addAddress(ASN1_STRING_get0_data(value), length);
        }
    }
}

// The reasons of OpenSSL that a user can do something about.
struct Reason {
    int number;
    const char* text;
};
constexpr Reason reasons[] = {
    {SSL_R_NO_SHARED_CIPHER, "no cipher suite in common"},
    {SSL_R_NO_SUITABLE_KEY_SHARE, "no key exchange in common"},
    {SSL_R_NO_SUITABLE_SIGNATURE_ALGORITHM, "no signature algorithm in common"},
    {SSL_R_NO_SHARED_SIGNATURE_ALGORITHMS, "no signature algorithm in common"},
    {SSL_R_UNSUPPORTED_PROTOCOL, "the peer speaks a version below TLS 1.2 alone"},
    {SSL_R_VERSION_TOO_LOW, "the peer speaks a version below TLS 1.2 alone"},
    {SSL_R_PEER_DID_NOT_RETURN_A_CERTIFICATE, "the peer has shown no certificate"},
    {SSL_R_UNEXPECTED_EOF_WHILE_READING, "the peer closed the connection without ending TLS"},
    {SSL_R_WRONG_VERSION_NUMBER, "the peer does not speak TLS"},
    {SSL_R_HTTP_REQUEST, "the peer speaks HTTP"},
    {SSL_R_HTTPS_PROXY_REQUEST, "the peer speaks HTTP"},
    {SSL_R_DECRYPTION_FAILED_OR_BAD_RECORD_MAC, "the bytes were changed on the way, or are not TLS"},
    {SSL_R_DH_KEY_TOO_SMALL, "the peer's Diffie-Hellman key is too small"},
    {SSL_R_EE_KEY_TOO_SMALL, "the key of a certificate is too small"},
};
constexpr Reason alerts[] = {
    {SSL_AD_HANDSHAKE_FAILURE, "nothing in common, or it wants a certificate (handshake failure)"},
    {SSL_AD_PROTOCOL_VERSION, "no TLS version in common"},
    {SSL_AD_INSUFFICIENT_SECURITY, "its security demands are higher"},
    {SSL_AD_BAD_CERTIFICATE, "it does not accept this side's certificate"},
    {SSL_AD_UNSUPPORTED_CERTIFICATE, "it does not take certificates like this side's"},
    {SSL_AD_CERTIFICATE_REVOKED, "this side's certificate is revoked"},
    {SSL_AD_CERTIFICATE_EXPIRED, "this side's certificate has expired"},
    {SSL_AD_CERTIFICATE_UNKNOWN, "it does not accept this side's certificate"},
    {SSL_AD_UNKNOWN_CA, "it does not know the authority of this side's certificate"},
    {SSL_AD_ACCESS_DENIED, "access denied"},
    {SSL_AD_CERTIFICATE_REQUIRED, "it wants a certificate of this side"},
    {SSL_AD_NO_APPLICATION_PROTOCOL, "no application protocol in common"},
    {SSL_AD_UNRECOGNIZED_NAME, "it does not know the host name"},
    {SSL_AD_INTERNAL_ERROR, "it cannot serve now (internal error)"},
};

template <std::size_t N>
const char* find(const Reason (&table)[N], int number) noexcept {
    for (const Reason& row : table) {
        if (row.number == number) return row.text;
    }
    return nullptr;
}

}  // namespace

void describe(const X509& certificate, DcSecurityInfo& info) noexcept {
    printName(X509_get_subject_name(&certificate), info.subject);
    printName(X509_get_issuer_name(&certificate), info.issuer);
    printNames(certificate, info.names, sizeof info.names);
    printTime(X509_get0_notBefore(&certificate), info.validFrom);
    printTime(X509_get0_notAfter(&certificate), info.validUntil);
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (X509_digest(&certificate, EVP_sha256(), digest, &length) != 1) return;
    for (unsigned int i = 0; i < length && 2 * i + 2 < sizeof info.fingerprint; ++i) {
        (void)std::snprintf(info.fingerprint + std::size_t{2} * i, 3, "%02x", unsigned{digest[i]});
    }
}

void tellOutdated(const X509& certificate, Words& words) noexcept {
    DcSecurityInfo info;
    describe(certificate, info);
    if (X509_cmp_current_time(X509_get0_notAfter(&certificate)) <= 0) {
        words.set("this side's certificate (%s) has expired, and peers will refuse it: %s UTC", info.subject,
                  info.validUntil);
    } else if (X509_cmp_current_time(X509_get0_notBefore(&certificate)) >= 0) {
        words.set("this side's certificate (%s) is not valid before %s UTC, and peers will refuse it",
                  info.subject, info.validFrom);
    }
}

void tellUnverified(X509_STORE_CTX& check, const char* host, Words& words) noexcept {
    const int error = X509_STORE_CTX_get_error(&check);
    const X509* const certificate = X509_STORE_CTX_get_current_cert(&check);
    DcSecurityInfo info;
    if (certificate != nullptr) describe(*certificate, info);
    const char* const who = X509_STORE_CTX_get_error_depth(&check) == 0 ? "the peer's certificate"
                                                                        : "a certificate of the peer's chain";
    switch (error) {
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return words.set("%s (%s) has expired: %s UTC", who, info.subject, info.validUntil);
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return words.set("%s (%s) is not valid before %s UTC", who, info.subject, info.validFrom);
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
            return words.set("%s (%s) is self-signed and not known here", who, info.subject);
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
            return words.set("unknown issuer: %s (%s) was issued by %s", who, info.subject, info.issuer);
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return words.set("%s is for %s, not for %s", who,
                             info.names[0] != '\0' ? info.names : info.subject, host != nullptr ? host : "");
        case X509_V_ERR_CERT_REVOKED:
            return words.set("%s (%s) is revoked", who, info.subject);
        case X509_V_ERR_UNABLE_TO_GET_CRL:
            return words.set("there is no revocation list of %s", info.issuer);
        case X509_V_ERR_CRL_HAS_EXPIRED:
            return words.set("the revocation list of %s has expired", info.issuer);
        default:
            return words.set("%s (%s): %s", who, info.subject, X509_verify_cert_error_string(error));
    }
}

bool isPlainDicom(std::span<const unsigned char, 2> first) noexcept {
    return first[0] >= 1 && first[0] <= 7 && first[1] == 0;
}

void tellBroken(const Scene& scene, Words& words) noexcept {
    const unsigned long error = ERR_peek_error();
    const int reason = ERR_GET_REASON(error);
    const bool isSsl = ERR_GET_LIB(error) == ERR_LIB_SSL;
    const char* text = isSsl ? find(reasons, reason) : nullptr;
    if (scene.handshake && isPlainDicom(scene.first)) {
        words.set("the peer speaks plain DICOM, without TLS");
    } else if (isSsl && reason > SSL_AD_REASON_OFFSET) {
        const char* const alert = find(alerts, reason - SSL_AD_REASON_OFFSET);
        const char* const raw = ERR_reason_error_string(error);
        words.set("the peer refused: %s", alert != nullptr ? alert : raw != nullptr ? raw : "TLS alert");
    } else if (scene.handshake && (error == 0 || (isSsl && reason == SSL_R_UNEXPECTED_EOF_WHILE_READING))) {
        words.set(scene.first[0] == 0 ? "the peer closed the connection instead of speaking TLS"
                                      : "the peer broke off the handshake");
    } else if (text != nullptr) {
        words.set("%s", text);
    } else {
        const char* const raw = ERR_reason_error_string(error);
        words.set("%s", raw != nullptr ? raw : "the connection broke");
    }
    ERR_clear_error();
}

}  // namespace orvkit::tls
