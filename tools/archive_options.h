// What `orvkit serve --archive` is asked for beside receiving: the index, and where peers listen.
#ifndef ORVKIT_TOOLS_ARCHIVE_OPTIONS_H
#define ORVKIT_TOOLS_ARCHIVE_OPTIONS_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "services/peer.h"
#include "services/provider.h"
#include "tools/commands.h"

namespace tools {

struct ServedArchive {
    bool on = false;
    std::string index;
    int maxResults = 0;
    std::string onDuplicate;
    std::string layout;
    std::vector<std::string> destinationWords;
    std::string worklist;
    int reportTime = 3600;

    // Where peers listen, once takeDestinations has read it.
    std::vector<PeerOptions> destinations;
    // What all of them share: this side's title, its patience and its TLS.
    EntityOptions outward;

    // Whether what goes out can be secured as what comes in.
    bool canReach() const { return !outward.tls.on || outward.security != nullptr; }
};

void addArchiveOptions(Command& command, ServedArchive& options);
// What these lack, or "".
std::string archiveFault(const ServedArchive& options, bool fileSet);
// Reads where peers listen, over TLS where this server speaks it: then they show a certificate, too. False,
// with a complaint.
bool takeDestinations(const EntityOptions& own, ServedArchive& options);

// The archive of a server and its storage commitment, for as long as it lives. Null, with a complaint, when
// it cannot begin.
class RunningArchive {
  public:
    virtual ~RunningArchive() = default;
};
std::unique_ptr<RunningArchive> beginArchive(const ServedArchive& options, StoreServer& server);

}  // namespace tools

#endif
