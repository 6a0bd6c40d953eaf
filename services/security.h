// TLS as the options of the command ask for it.
#ifndef ORVKIT_SERVICES_SECURITY_H
#define ORVKIT_SERVICES_SECURITY_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orvkit/security.h"
#include "orvkit/tls.h"

namespace services {

struct TlsOptions {
    bool on = false;
    std::string certificate;
    std::string key;
    std::string passwordFile;  // of the key; its first line is the password
    std::vector<std::string> authorities;
    std::vector<std::string> revocations;
    std::vector<std::string> pins;
    TLS_PROFILE profile = TLS_PROFILE_RFC8996;
    TLS_CHECK check = TLS_CHECK_REQUIRE;
    std::string peerName;
    bool noVerify = false;  // by --tls-no-verify
};

// Settings that were read, for all connections of a command.
class Security {
  public:
    Security();
    Security(const Security&) = delete;
    Security& operator=(const Security&) = delete;
    ~Security();

    // Reads the files. False: fault() tells why.
    [[nodiscard]] bool open(const TlsOptions& options);
    // The files again; those of before stay in use when that fails.
    [[nodiscard]] bool reload();
    const std::string& fault() const { return fault_; }
    // What peers will not like about what was read: that this side's certificate has expired; "" for nothing.
    const std::string& remark() const { return remark_; }
    // For DcTsm::setSecurity.
    DcSecurity* get();

  private:
    struct Own;  // of a build that has TLS
    bool check(int result);

    std::unique_ptr<Own> own_;
    std::string fault_;
    std::string remark_;
};

// Whether this build has TLS.
bool hasTls();

// "TLSv1.3 TLS_AES_256_GCM_SHA384, CN=scanner": what a connection is secured by, and who the peer is.
std::string securityText(const DcSecurityInfo& info);

// The first line of a file, which may be secret; nothing when there is none.
std::optional<std::string> firstLine(const std::string& path);

}  // namespace services

#endif
