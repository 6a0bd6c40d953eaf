// What `orvkit send` sends, and over which associations.
#ifndef ORVKIT_SERVICES_SEND_PLAN_H
#define ORVKIT_SERVICES_SEND_PLAN_H

#include <string>
#include <utility>
#include <vector>

#include "orvkit/msm.h"

namespace services {

struct OutgoingFile {
    std::string path;
    DICT_UID sopClass = UID_NONE;
    DICT_UID xferSyn = UID_NONE;
    unsigned long long size = 0;  // bytes
    bool odd = false;             // no Part 10 file by the letter: sent from a copy
    bool converted = false;       // sent in another transfer syntax
    std::string instance;         // that was sent
    int attempts = 0;
    std::string fault;  // why it was not sent, last
};

// Files whose presentation contexts fit one association: for each SOP class one in each of their transfer
// syntaxes, and where these can be converted, one in the uncompressed fallbacks and one in the others.
struct SendGroup {
    std::vector<DcMsmSopXferSyn> contexts;
    std::vector<OutgoingFile> files;
};

struct SendPlan {
    std::vector<SendGroup> groups;
    std::vector<std::pair<std::string, std::string>> faults;  // paths that cannot be sent, and why
    std::vector<std::pair<std::string, std::string>> notes;   // paths that are, and what is odd about them
    std::size_t files = 0;
    unsigned long long bytes = 0;
};

// The syntaxes beside its own in which a file may go where the peer does not take that, as they are
// preferred: the uncompressed ones, and with `transcode` those without loss behind them, also for files whose
// frames must be unpacked.
std::vector<DICT_UID> fallbacksOf(DICT_UID xferSyn, bool transcode);

// Reads the beginnings of files, and of those below directories (readIdentity); SOP classes and transfer
// syntaxes that the dictionary does not know are added to it. A DICOMDIR in a directory is passed over.
SendPlan planSend(const std::vector<std::string>& paths, bool transcode);

}  // namespace services

#endif
