// The seam between this library, which is light, and what links OpenSSL, which takes longer to start than
// most commands take to run: a module, loaded when it is first needed, where the system has modules.
#ifndef ORVKIT_TLS_ENGINE_H
#define ORVKIT_TLS_ENGINE_H

#include <array>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "network/connection.h"
#include "orvkit/tls.h"
#include "tls/words.h"

#if defined(__GNUC__) && !defined(_WIN32)
#define ORVKIT_TLS_PART extern "C" __attribute__((visibility("default")))
#else
#define ORVKIT_TLS_PART extern "C"
#endif

namespace orvkit::tls {

using Fingerprint = std::array<unsigned char, 32>;  // SHA-256
using Bytes = std::span<const unsigned char>;

struct Settings {
    TLS_PROFILE profile = TLS_PROFILE_RFC8996;
    std::string certificateFile;
    std::string keyFile;
    DcTlsPasswordCB passwordCB = nullptr;
    void* passwordUser = nullptr;
    std::vector<std::string> authorities;
    std::vector<std::string> revocations;
    std::vector<Fingerprint> pins;
    TLS_CHECK check = TLS_CHECK_REQUIRE;
    std::string peerName;
};

// Settings whose files were read. From any thread.
class Ground {
  public:
    Ground() = default;
    Ground(const Ground&) = delete;
    Ground& operator=(const Ground&) = delete;
    virtual ~Ground() = default;
    // A connection that keeps to them.
    virtual std::unique_ptr<ConnectionLayer> layer(const DcSecurity::End& end) = 0;
    // What peers will not like; "" for nothing.
    virtual const char* remark() const noexcept = 0;
};

// Calls of tls.h, whose arguments are not null. What fails is told in the words, not in the log.
struct Engine {
    std::shared_ptr<Ground> (*load)(const Settings& settings, int& result, Words& fault);
    int (*makeAuthority)(const char* name, int days, const char* certificateFile, const char* keyFile,
                         Words& fault);
    int (*makePair)(const char* authorityFile, const char* authorityKeyFile,
                    std::span<const char* const> hosts, int days, const char* certificateFile,
                    const char* keyFile, Words& fault);
    int (*describeKeys)(Bytes keys, std::string& algorithms, Words& fault);
    int (*checkSignature)(const char* algorithm, Bytes keys, Bytes text, Bytes signature, Words& fault);
    int (*hashPassword)(const char* password, std::string& hash, Words& fault);
    int (*checkPassword)(std::string_view password, const char* hash, Words& fault);
    int (*checkPasswordHash)(const char* hash, Words& fault);
};

// Null when the module cannot be loaded: the words tell why.
const Engine* engine(Words& fault);

}  // namespace orvkit::tls

// What the module gives. A program that has the engine in it has this function, too.
ORVKIT_TLS_PART const orvkit::tls::Engine* orvkitTlsEngine();

#endif
