#include "services/identity.h"

#include <algorithm>

namespace services {
namespace {

constexpr std::size_t kMostOfName = 64;  // bytes of it in a line of the log

std::string nameOf(const DcPduIdentity& identity) {
    const auto* const text = reinterpret_cast<const char*>(identity.primary.data);
    std::string name(text, std::min<std::size_t>(identity.primary.length, kMostOfName));
    return name + (identity.primary.length > kMostOfName ? "..." : "");
}

}  // namespace

std::string identityText(const DcPduIdentity& identity) {
    switch (identity.type) {
        case PDU_IDENTITY_NAME:
            return "user '" + nameOf(identity) + "'";
        case PDU_IDENTITY_PASSCODE:
            return "user '" + nameOf(identity) + "', with a passcode";
        case PDU_IDENTITY_KERBEROS:
            return "a user with a Kerberos ticket";
        case PDU_IDENTITY_SAML:
            return "a user with a SAML assertion";
        case PDU_IDENTITY_JWT:
            return "a user with a JSON Web Token";
        default:
            return "a user with an identity of type " + std::to_string(identity.type);
    }
}

Judgement judgeIdentity(const DcPduIdentity* identity) {
    Judgement judgement;
    if (identity == nullptr) return judgement;
    judgement.told = identityText(*identity) + ", accepted without a check";
    if (identity->responseWanted == 0) return judgement;
    if (identity->type == PDU_IDENTITY_NAME || identity->type == PDU_IDENTITY_PASSCODE) {
        judgement.response.emplace();
    } else {
        judgement.told += " and not confirmed";
    }
    return judgement;
}

}  // namespace services
