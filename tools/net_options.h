// The options that network subcommands share.
#ifndef ORVKIT_TOOLS_NET_OPTIONS_H
#define ORVKIT_TOOLS_NET_OPTIONS_H

#include "services/peer.h"
#include "services/query_keys.h"
#include "tools/commands.h"

namespace tools {

// Answers --aet.
Option& addEntityOptions(Command& command, EntityOptions& options);
// `rest` names what follows the peer on the command line, "" for nothing; `help` tells what it is.
void addPeerOptions(Command& command, PeerOptions& options, const char* rest, const char* help);
void addQueryOptions(Command& command, QueryOptions& options);

}  // namespace tools

#endif
