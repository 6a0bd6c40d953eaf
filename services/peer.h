// The two sides of an association: this one, and the peer.
#ifndef ORVKIT_SERVICES_PEER_H
#define ORVKIT_SERVICES_PEER_H

#include <memory>
#include <optional>
#include <string>

#include "orvkit/tsm.h"
#include "services/security.h"

namespace services {

// What a user and a provider have in common.
struct EntityOptions {
    std::string aet = "ORVKIT";
    int timeout = 45;         // seconds, each wait for the peer
    unsigned int maxPdu = 0;  // bytes; 0: the library's
    TlsOptions tls;
    std::shared_ptr<Security> security;  // by these, once their files were read; null: none

    DcTsmTimeoutInfo timeouts() const;
};

struct PeerOptions : EntityOptions {
    std::string aec = "ANY-SCP";
    std::string host;
    int port = 0;
    int connectTimeout = 15;  // seconds
    // The identity to give (PS3.7 D.3.3.7): a name in UTF-8, with its password; or else a ticket, assertion
    // or token, whose type is a PDU_IDENTITY. Empty for none.
    std::string user;
    std::optional<std::string> password;
    std::string passwordFile;  // its first line is the password, once that was read
    int identityType = 0;
    std::string identityFile;  // that it is in
    std::string identity;
    bool confirmUser = false;  // the peer must confirm that it has accepted the identity
    bool insecure = false;     // what is secret of it may go in clear

    bool hasIdentity() const { return !user.empty() || !identityFile.empty(); }
    // "AET@host:port"
    std::string peer() const;
    DcTsmTimeoutInfo timeouts() const;
};
// 1 to 16 printable characters without a backslash (PS3.5 6.2).
bool isAeTitle(const std::string& text);
// At most 64 digits and dots, no component empty (PS3.5 9.1): safe as the name of a file.
bool isUid(const std::string& text);

}  // namespace services

#endif
