#include "tls/authority.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "orvkit/result.h"
#include "platform/secret.h"
#include "tls/openssl.h"

namespace orvkit::tls {

namespace {

constexpr long kClockSlack = 3600;  // seconds that a peer's clock may be behind

// How something went that has to do with a file, or a name.
class Outcome {
  public:
    explicit Outcome(Words& fault) : fault_(fault) {}
    int failed(int result, const char* what, const char* which) const {
        fault_.set("%s: %s", which, what);
        ERR_clear_error();
        return result;
    }

  private:
    Words& fault_;
};

// Letters, digits, dots, hyphens, colons and the asterisk of a pattern: nothing that means something to
// whoever reads the extension's text.
bool isHost(const std::string& name) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
               c == '-' || c == ':' || c == '*';
    };
    return !name.empty() && name.size() <= 64 && std::ranges::all_of(name, allowed);
}

bool isAddress(const std::string& host) {
    const AddressPtr address(a2i_IPADDRESS(host.c_str()));
    ERR_clear_error();
    return address != nullptr;
}

// What a certificate says.
struct Statement {
    std::string commonName;
    std::vector<std::pair<int, std::string>> extensions;  // by their numbers, as OpenSSL writes them
    int days;
};

bool setSerial(X509& certificate) {
    const NumberPtr number(BN_new());
    return number != nullptr && BN_rand(number.get(), 127, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) == 1 &&
           BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(&certificate)) != nullptr;
}

bool addExtensions(X509& certificate, X509* issuer, const Statement& statement) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer != nullptr ? issuer : &certificate, &certificate, nullptr, nullptr, 0);
    for (const auto& [number, value] : statement.extensions) {
        const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, &context, number, value.c_str()));
        if (extension == nullptr || X509_add_ext(&certificate, extension.get(), -1) != 1) return false;
    }
    return true;
}

// Without an issuer it signs itself.
CertificatePtr certify(const Statement& statement, EVP_PKEY& key, X509* issuer, EVP_PKEY& issuerKey) {
    CertificatePtr certificate(X509_new());
    if (certificate == nullptr || !setSerial(*certificate)) return nullptr;
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    const auto* const text = reinterpret_cast<const unsigned char*>(statement.commonName.c_str());
    const bool made =
        X509_set_version(certificate.get(), X509_VERSION_3) == 1 &&
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kClockSlack) != nullptr &&
        X509_time_adj_ex(X509_getm_notAfter(certificate.get()), statement.days, 0, nullptr) != nullptr &&
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, text, -1, -1, 0) == 1 &&
        X509_set_issuer_name(certificate.get(), issuer != nullptr ? X509_get_subject_name(issuer) : name) ==
            1 &&
        X509_set_pubkey(certificate.get(), &key) == 1 && addExtensions(*certificate, issuer, statement) &&
        X509_sign(certificate.get(), &issuerKey, EVP_sha256()) > 0;
    return made ? std::move(certificate) : nullptr;
}

// A certificate, and its key, which is for its owner alone; neither takes the place of another file.
int writePem(const Outcome& outcome, const char* path, X509* certificate, EVP_PKEY* key) {
    const BioPtr memory(BIO_new(BIO_s_mem()));
    const bool made =
        memory != nullptr && (key == nullptr ? PEM_write_bio_X509(memory.get(), certificate)
                                             : PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr,
                                                                        0, nullptr, nullptr)) == 1;
    if (!made) return outcome.failed(ELEM_NO_MEMORY, "no memory for TLS", path);
    char* bytes = nullptr;
    const auto length = static_cast<std::size_t>(BIO_get_mem_data(memory.get(), &bytes));
    platform::FileHandle file = platform::createNew(path, key != nullptr);
    if (!file) return outcome.failed(TLS_FILE, "is there already, or cannot be made", path);
    const bool whole = platform::writeAll(file.get(), bytes, length) && file.close();
    return whole ? int{RESULT_OK} : outcome.failed(TLS_FILE, "cannot be written", path);
}

// The key first: a certificate without its key would be of no use.
int writePair(const Outcome& outcome, const char* certificateFile, X509* certificate, const char* keyFile,
              EVP_PKEY* key) {
    const int result = writePem(outcome, keyFile, certificate, key);
    return result == RESULT_OK ? writePem(outcome, certificateFile, certificate, nullptr) : result;
}

KeyPtr makeKey() {
    return KeyPtr(EVP_EC_gen("P-256"));
}

// Nobody is asked at the keyboard.
int noPassword(char*, int, int, void*) noexcept {
    return -1;
}

template <typename Ptr, typename Read>
Ptr readPem(const char* path, Read read) {
    const BioPtr in(BIO_new_file(path, "rb"));
    return Ptr(in == nullptr ? nullptr : read(in.get(), nullptr, noPassword, nullptr));
}

int makeStated(const Outcome& outcome, const char* authorityFile, const char* authorityKeyFile,
               const Statement& statement, const char* certificateFile, const char* keyFile) {
    const auto issuer = readPem<CertificatePtr>(authorityFile, PEM_read_bio_X509);
    if (issuer == nullptr)
        return outcome.failed(TLS_FILE, "there is no certificate in it (PEM)", authorityFile);
    const auto issuerKey = readPem<KeyPtr>(authorityKeyFile, PEM_read_bio_PrivateKey);
    if (issuerKey == nullptr)
        return outcome.failed(TLS_FILE, "there is no private key in it (PEM)", authorityKeyFile);
    if (X509_check_private_key(issuer.get(), issuerKey.get()) != 1) {
        return outcome.failed(TLS_KEY_MISMATCH, "it is not the private key of the authority",
                              authorityKeyFile);
    }
    const KeyPtr key = makeKey();
    const CertificatePtr certificate =
        key == nullptr ? nullptr : certify(statement, *key, issuer.get(), *issuerKey);
    if (certificate == nullptr) return outcome.failed(ELEM_NO_MEMORY, "cannot be made", certificateFile);
    return writePair(outcome, certificateFile, certificate.get(), keyFile, key.get());
}

}  // namespace

int makeAuthority(const char* name, int days, const char* certificateFile, const char* keyFile,
                  Words& fault) {
    const Outcome outcome(fault);
    if (days < 1 || *name == '\0' || std::string(name).size() > 64) {
        return outcome.failed(TLS_SETTING, "no name of 1 to 64 bytes, or no days", name);
    }
    const Statement statement = {name,
                                 {{NID_basic_constraints, "critical,CA:TRUE"},
                                  {NID_key_usage, "critical,keyCertSign,cRLSign"},
                                  {NID_subject_key_identifier, "hash"}},
                                 days};
    const KeyPtr key = makeKey();
    const CertificatePtr certificate = key == nullptr ? nullptr : certify(statement, *key, nullptr, *key);
    if (certificate == nullptr)
        return outcome.failed(TLS_SETTING, "cannot be the name of an authority", name);
    return writePair(outcome, certificateFile, certificate.get(), keyFile, key.get());
}

int makePair(const char* authorityFile, const char* authorityKeyFile, std::span<const char* const> hosts,
             int days, const char* certificateFile, const char* keyFile, Words& fault) {
    const Outcome outcome(fault);
    std::string names;
    for (const char* const given : hosts) {
        const std::string host = given != nullptr ? given : "";
        if (!isHost(host))
            return outcome.failed(TLS_SETTING, "is no name or address of a host", host.c_str());
        names += (names.empty() ? "" : ",") + std::string(isAddress(host) ? "IP:" : "DNS:") + host;
    }
    if (hosts.empty() || days < 1)
        return outcome.failed(TLS_SETTING, "no hosts, or no days", certificateFile);
    const Statement statement = {hosts[0],
                                 {{NID_basic_constraints, "critical,CA:FALSE"},
                                  {NID_key_usage, "critical,digitalSignature"},
                                  {NID_ext_key_usage, "serverAuth,clientAuth"},
                                  {NID_subject_key_identifier, "hash"},
                                  {NID_authority_key_identifier, "keyid"},
                                  {NID_subject_alt_name, names}},
                                 days};
    return makeStated(outcome, authorityFile, authorityKeyFile, statement, certificateFile, keyFile);
}

}  // namespace orvkit::tls
