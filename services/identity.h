// The identity that a peer's user gives (PS3.7 D.3.3.7).
#ifndef ORVKIT_SERVICES_IDENTITY_H
#define ORVKIT_SERVICES_IDENTITY_H

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orvkit/negotiation.h"
#include "services/jwt.h"
#include "services/known_peers.h"
#include "services/users.h"

namespace services {

struct Judgement {
    bool accepted = true;
    std::optional<std::vector<unsigned char>> response;  // the confirmation that was asked for
    std::string told;                                    // for the log; nothing that is secret
    std::string user;                                    // who it is, where that was checked
};

// What a server checks users by; with nothing of it every user is taken, and so is a request without one.
struct IdentityRules {
    std::shared_ptr<const Users> users;  // names and passcodes
    std::optional<TokenRules> tokens;    // JSON Web Tokens
    // A command line that judges what there is nothing else for: it reads what is known of the identity,
    // accepts by exit status 0, and may write the confirmation that is to be sent.
    std::string program;
    int programTime = 10;   // seconds
    bool insecure = false;  // what is secret may come in clear

    bool check() const { return users != nullptr || tokens || !program.empty(); }
};

// The one place where it is decided who is taken. From any thread.
class IdentityCheck {
  public:
    // From now on.
    void use(IdentityRules rules);
    // Null: the request has none. The caller is the association's.
    Judgement judge(const DcPduIdentity* identity, const Caller& caller) const;

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<const IdentityRules> rules_ = std::make_shared<IdentityRules>();
};

// What is told of an identity: "user 'joe', with a passcode". Escapes are the caller's affair.
std::string identityText(const DcPduIdentity& identity);

}  // namespace services

#endif
