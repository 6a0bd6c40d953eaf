// The state of an association service (DcMsm), shared by its sources.
#ifndef ORVKIT_NETWORK_MSM_OWN_H
#define ORVKIT_NETWORK_MSM_OWN_H

#include <string>
#include <vector>

#include "foundation/text.h"
#include "network/wire.h"
#include "orvkit/msm.h"

struct DcMsm::Own {
    char aeTitle[orvkit::wire::kAeTitleLength + 1] = {};
    int aeTitleCheck = 2;
    std::vector<std::string> callingAccepted;
    std::vector<DcMsmSopXferSyn> support;  // at most MSM_SOP_MAX
    DcMsmAssoInfo asso;
    DcPduNegotiation ownNegotiation;
    DcPduNegotiation peerNegotiation;
    void* requestUser = nullptr;
    DcMsmRequestCB requestCB = nullptr;
    char hostName[65] = {};  // as the caller gave it
    // What this side announces.
    unsigned int maxPduLen = 0;
    char implClassUid[orvkit::wire::kUidLength + 1] = {};
    char implVerName[orvkit::wire::kAeTitleLength + 1] = {};
};

#endif
