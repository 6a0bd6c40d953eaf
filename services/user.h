// What a service class user does with a peer, from opening the association to its release. Each tells on
// standard output what came of it and on standard error what went wrong, and gives the exit status.
#ifndef ORVKIT_SERVICES_USER_H
#define ORVKIT_SERVICES_USER_H

#include <string>
#include <vector>

#include "services/peer.h"
#include "services/query_keys.h"

namespace services {

struct SendOptions : PeerOptions {
    int jobs = 1;            // associations side by side
    int retry = 0;           // how often more a file, or connecting, is tried
    bool transcode = false;  // frames are unpacked, and packed without loss, for a peer that takes no other
    bool commit = false;     // the peer is asked to commit itself to what it has taken
    int commitPort = 0;      // it may report here; 0: on the association that asks alone
    int commitTime = 60;     // seconds until it has
};

// As many echoes on one association.
[[nodiscard]] int echo(const PeerOptions& options, int repeat);
// Files, and those below directories.
[[nodiscard]] int send(const SendOptions& options, const std::vector<std::string>& paths);
[[nodiscard]] int find(const QueryOptions& options);
// `destination`: the AE title of the one that is sent to.
[[nodiscard]] int move(const QueryOptions& options, const std::string& destination);
// Makes the directory if it is not there.
[[nodiscard]] int get(const QueryOptions& options, const std::string& directory);

}  // namespace services

#endif
