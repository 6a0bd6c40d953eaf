#include "services/security_show.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "orvkit/result.h"
#include "services/network_text.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/security.h"

namespace services {

namespace {

// A connection without an association.
class Probe : public DcTsm {
  public:
    Probe() : DcTsm(TSM_ROLE_SCU, 0, nullptr) {}
    int connect(const PeerOptions& options, DcSecurityInfo& info) {
        DcTsmTimeoutInfo timeouts = options.timeouts();
        (void)setTimeoutInfo(timeouts);
        forgetFault();
        const int result = sockConvOpenClient(options.host.c_str(), options.port);
        (void)getSecurityInfo(info);
        return result;
    }
};

// Nothing is sent: whoever the peer is may be looked at.
int shakeHands(const PeerOptions& options, const TlsOptions& tls, DcSecurityInfo& info) {
    Security security;
    if (!security.open(tls)) {
        std::snprintf(info.fault, sizeof info.fault, "%s", security.fault().c_str());
        return TSM_SECURITY;
    }
    Probe probe;
    (void)probe.setSecurity(security.get());
    return probe.connect(options, info);
}

void printCertificate(const DcSecurityInfo& info) {
    std::printf("subject     %s\nissuer      %s\n", info.subject, info.issuer);
    if (info.names[0] != '\0') std::printf("names       %s\n", info.names);
    std::printf("valid       %s to %s UTC\nfingerprint %s\n", info.validFrom, info.validUntil,
                info.fingerprint);
    std::printf("wants a certificate of this side: %s\n", info.askedForOwn != 0 ? "yes" : "no");
}

// Whether it is good, where the options tell how to know that.
int judge(const PeerOptions& options, const TlsOptions& tls) {
    if (tls.authorities.empty() && tls.pins.empty()) return EXIT_OK;
    DcSecurityInfo info;
    if (shakeHands(options, tls, info) == RESULT_OK) {
        std::printf("verified    yes\n");
        return EXIT_OK;
    }
    std::printf("verified    no: %s\n", info.fault);
    return EXIT_FAILED;
}

}  // namespace

int showSecurity(const PeerOptions& options) {
    TlsOptions tls = options.tls;
    tls.authorities.clear();
    tls.revocations.clear();
    tls.pins.clear();
    tls.check = TLS_CHECK_NONE;
    DcSecurityInfo best;
    for (const auto& [name, profile] : kTlsProfiles) {
        tls.profile = profile;
        DcSecurityInfo info;
        const int result = shakeHands(options, tls, info);
        if (result == RESULT_OK) {
            std::printf("%-17s %s %s\n", name, info.version, info.cipher);
            best = info;
        } else if (info.fault[0] == '\0') {  // not for reasons of TLS
            return failed("%s: %s", options.peer().c_str(), connectionText(result).c_str());
        } else {
            std::printf("%-17s %s\n", name, info.fault);
        }
    }
    if (best.version[0] == '\0') return EXIT_FAILED;
    printCertificate(best);
    return judge(options, options.tls);
}

#ifdef ORVKIT_WITH_TLS

namespace {

struct Files {
    std::string certificate;
    std::string key;
    Files(const std::string& directory, const std::string& name)
        : certificate(directory + "/" + name + ".pem"), key(directory + "/" + name + ".key") {}
};

bool exists(const std::string& file) {
    std::error_code error;
    return std::filesystem::exists(pathOf(file), error);
}

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> parts;
    for (std::size_t from = 0; from <= text.size();) {
        const std::size_t comma = std::min(text.find(',', from), text.size());
        parts.push_back(text.substr(from, comma - from));
        from = comma + 1;
    }
    return parts;
}

bool makeParty(const SiteOptions& options, const Files& authority, const std::string& party) {
    const std::vector<std::string> names = split(party);
    if (names.front() == "ca") return complain("ca is the name of the authority");
    const Files files(options.directory, names.front());
    std::vector<const char*> hosts;
    hosts.reserve(names.size());
    for (const std::string& name : names) hosts.push_back(name.c_str());
    forgetFault();
    if (tlsMakePair(authority.certificate.c_str(), authority.key.c_str(), hosts.data(),
                    static_cast<unsigned int>(hosts.size()), options.days, files.certificate.c_str(),
                    files.key.c_str()) != RESULT_OK) {
        return complain("%s", lastFault().c_str());
    }
    std::printf("%s and %s: for %s\n", files.certificate.c_str(), files.key.c_str(), party.c_str());
    return true;
}

}  // namespace

int makeSite(const SiteOptions& options) {
    std::error_code error;
    std::filesystem::create_directories(pathOf(options.directory), error);
    const Files authority(options.directory, "ca");
    if (!exists(authority.certificate)) {
        forgetFault();
        if (tlsMakeAuthority(options.authority.c_str(), options.authorityDays, authority.certificate.c_str(),
                             authority.key.c_str()) != RESULT_OK) {
            return failed("%s", lastFault().c_str());
        }
        std::printf("%s and %s: the authority; its key stays in a safe place\n",
                    authority.certificate.c_str(), authority.key.c_str());
    }
    for (const std::string& party : options.parties) {
        if (!makeParty(options, authority, party)) return EXIT_FAILED;
    }
    return EXIT_OK;
}

#else

int makeSite(const SiteOptions&) {
    Security none;
    return none.open({}) ? EXIT_OK : misused("%s", none.fault().c_str());
}

#endif

}  // namespace services
