#include "services/security.h"

#include <fstream>

#include "orvkit/result.h"
#include "services/paths.h"

namespace services {

std::optional<std::string> firstLine(const std::string& path) {
    std::ifstream file(pathOf(path), std::ios::binary);
    std::string line;
    if (!std::getline(file, line)) return std::nullopt;
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

std::string securityText(const DcSecurityInfo& info) {
    std::string text = std::string(info.version) + " " + info.cipher;
    text += info.subject[0] == '\0' ? ", without a certificate" : std::string(", ") + info.subject;
    if (info.subject[0] != '\0' && info.verified == 0) text += " (not verified)";
    return text;
}

#ifdef ORVKIT_WITH_TLS

namespace {

int givePassword(void* user, const char*, char* password, int room) {
    const auto& text = *static_cast<const std::string*>(user);
    if (text.size() > static_cast<std::size_t>(room)) return -1;
    return static_cast<int>(text.copy(password, text.size()));
}

}  // namespace

bool hasTls() {
    return true;
}

struct Security::Own {
    DcTls tls;
    std::string password;
};

Security::Security() : own_(std::make_unique<Own>()) {}
Security::~Security() = default;

bool Security::check(int result) {
    if (result != RESULT_OK) fault_ = own_->tls.fault();
    return result == RESULT_OK;
}

bool Security::open(const TlsOptions& options) {
    if (!options.passwordFile.empty()) {
        const std::optional<std::string> password = firstLine(options.passwordFile);
        if (!password) {
            fault_ = options.passwordFile + ": no password can be read from it";
            return false;
        }
        own_->password = *password;
        (void)own_->tls.setPasswordCB(&own_->password, givePassword);
    }
    bool sound = check(own_->tls.setProfile(options.profile)) && check(own_->tls.setCheck(options.check)) &&
                 check(own_->tls.setPeerName(options.peerName.c_str()));
    if (!options.certificate.empty()) {
        sound = sound && check(own_->tls.setCertificate(options.certificate.c_str(), options.key.c_str()));
    }
    for (const std::string& file : options.authorities)
        sound = sound && check(own_->tls.addAuthorities(file.c_str()));
    for (const std::string& file : options.revocations)
        sound = sound && check(own_->tls.addRevocations(file.c_str()));
    for (const std::string& pin : options.pins) sound = sound && check(own_->tls.addPin(pin.c_str()));
    return sound && reload();
}

bool Security::reload() {
    if (!check(own_->tls.load())) return false;
    remark_ = own_->tls.remark();
    return true;
}

DcSecurity* Security::get() {
    return own_->tls.security();
}

#else

bool hasTls() {
    return false;
}

struct Security::Own {};

Security::Security() = default;
Security::~Security() = default;
bool Security::open(const TlsOptions&) {
    fault_ = "TLS is left out of this orvkit: it was built without OpenSSL";
    return false;
}
bool Security::reload() {
    return false;
}
DcSecurity* Security::get() {
    return nullptr;
}

#endif

}  // namespace services
