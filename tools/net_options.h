// The options that network subcommands share.
#ifndef ORVKIT_TOOLS_NET_OPTIONS_H
#define ORVKIT_TOOLS_NET_OPTIONS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "services/peer.h"
#include "services/query_keys.h"
#include "tools/commands.h"

namespace tools {

// Answers --aet.
Option& addEntityOptions(Command& command, EntityOptions& options);
// Those of TLS that a user has alone, or a provider.
void addUserTlsOptions(Command& command, TlsOptions& options);
void addProviderTlsOptions(Command& command, TlsOptions& options);
// Reads the files of TLS where it is asked for. False, with a complaint, when something is wrong with them.
bool openSecurity(EntityOptions& options);
// What stands on the command line beside options: the peer, and what follows it.
using Words = std::vector<std::string>;
// `rest` names what follows the peer on the command line, "" for nothing; `help` tells what it is. Answers
// the words that the command line will have.
std::shared_ptr<Words> addPeerOptions(Command& command, PeerOptions& options, const char* rest,
                                      const char* help);
// AET=HOST:PORT. False, with a complaint, when it is not.
bool takeDestination(const std::string& word, PeerOptions& peer);
// Takes the peer from the front of the words into the options, and does the work with what is left of them:
// nothing, or at least one. EXIT_USAGE, with a complaint, when they are no peer or not as many.
int runAsUser(PeerOptions& options, Words& words, bool wantsMore, const std::function<int()>& work);
// Answers --root, of which the words are to be told.
Option& addQueryOptions(Command& command, QueryOptions& options);
// The same for who retrieves, also by instances alone.
void addRetrieveOptions(Command& command, QueryOptions& options);

}  // namespace tools

#endif
