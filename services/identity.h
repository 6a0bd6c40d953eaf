// The identity that a peer's user gives (PS3.7 D.3.3.7).
#ifndef ORVKIT_SERVICES_IDENTITY_H
#define ORVKIT_SERVICES_IDENTITY_H

#include <optional>
#include <string>
#include <vector>

#include "orvkit/negotiation.h"

namespace services {

struct Judgement {
    bool accepted = true;
    std::optional<std::vector<unsigned char>> response;  // the confirmation that was asked for
    std::string told;                                    // for the log; nothing that is secret
};

// What a server makes of the identity in a request; null: it has none. This is the one place where that is
// decided: every user is taken, and nothing is checked. A name, with or without a passcode, is confirmed to a
// peer that asks for it; a ticket, assertion or token is not, as its confirmation would have to be one, too.
Judgement judgeIdentity(const DcPduIdentity* identity);

// What is told of an identity: "user 'joe', with a passcode". Escapes are the caller's affair.
std::string identityText(const DcPduIdentity& identity);

}  // namespace services

#endif
