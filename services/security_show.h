// What `orvkit tls` does.
#ifndef ORVKIT_SERVICES_SECURITY_SHOW_H
#define ORVKIT_SERVICES_SECURITY_SHOW_H

#include <string>
#include <utility>
#include <vector>

#include "services/peer.h"

namespace services {

// By number, as the command calls them.
inline constexpr std::pair<const char*, TLS_PROFILE> kTlsProfiles[] = {
    {"rfc8996", TLS_PROFILE_RFC8996},   {"rfc8996-modified", TLS_PROFILE_RFC8996_MODIFIED},
    {"bcp195", TLS_PROFILE_BCP195},     {"non-downgrading", TLS_PROFILE_NON_DOWNGRADING},
    {"extended", TLS_PROFILE_EXTENDED},
};

// Shakes hands with a peer in every profile, and prints what came of it and its certificate. EXIT_FAILED when
// it took none, or its certificate is not good by the options' authorities or fingerprints.
[[nodiscard]] int showSecurity(const PeerOptions& options);

struct SiteOptions {
    std::string directory;
    std::vector<std::string> parties;  // "NAME[,HOST...]"
    std::string authority = "orvkit site";
    int authorityDays = 3650;
    int days = 825;
};
// An authority in the directory, unless it is there, and a key pair of each party: NAME.pem and NAME.key.
[[nodiscard]] int makeSite(const SiteOptions& options);

}  // namespace services

#endif
