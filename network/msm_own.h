// The state of an association service (DcMsm), shared by its sources.
#ifndef ORVKIT_NETWORK_MSM_OWN_H
#define ORVKIT_NETWORK_MSM_OWN_H

#include <string>
#include <vector>

#include "network/wire.h"
#include "orvkit/msm.h"

namespace orvkit {

// Copies at most `N - 1` characters of a text; null counts as empty.
template <std::size_t N>
void copyText(char (&to)[N], const char* from) {
    std::size_t n = 0;
    while (from != nullptr && n + 1 < N && from[n] != '\0') {
        to[n] = from[n];
        ++n;
    }
    to[n] = '\0';
}

}  // namespace orvkit

struct DcMsm::Own {
    char aeTitle[orvkit::wire::kAeTitleLength + 1] = {};
    int aeTitleCheck = 2;
    std::vector<std::string> callingAccepted;
    std::vector<DcMsmSopXferSyn> support;  // at most MSM_SOP_MAX
    DcMsmAssoInfo asso;
    char hostName[65] = {};  // as the caller gave it
    // What this side announces.
    unsigned int maxPduLen = 0;
    char implClassUid[orvkit::wire::kUidLength + 1] = {};
    char implVerName[orvkit::wire::kAeTitleLength + 1] = {};
};

#endif
