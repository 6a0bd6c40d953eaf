#include "services/identity.h"

#include <algorithm>
#include <ctime>
#include <string_view>
#include <utility>

#include "platform/program.h"

namespace services {
namespace {

constexpr std::size_t kMostOfName = 64;  // bytes of it in a line of the log

std::string_view textOfBytes(const DcPduBytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data), bytes.length};
}

std::string identityName(const DcPduIdentity& identity) {
    const std::string name(textOfBytes(identity.primary).substr(0, kMostOfName));
    return name + (identity.primary.length > kMostOfName ? "..." : "");
}

// ---- checks: "" when the identity holds, and else why it does not
// -------------------------------------------

struct Question {
    const IdentityRules& rules;
    const DcPduIdentity& identity;
    const Caller& caller;
};

std::string checkName(const Question& question, Judgement& judgement) {
    const DcPduIdentity& identity = question.identity;
    const std::string name(textOfBytes(identity.primary));
    std::optional<std::string_view> password;
    if (identity.type == PDU_IDENTITY_PASSCODE) password = textOfBytes(identity.secondary);
    if (!question.rules.users->knows(name, password)) return "the name or the passcode is wrong";
    judgement.user = name;
    judgement.response.emplace();
    return "";
}

// The token itself is what a confirmation of one has to hold. Some send the end of its line with it.
std::string checkJwt(const Question& question, Judgement& judgement) {
    std::string_view token = textOfBytes(question.identity.primary);
    token = token.substr(0, token.find_last_not_of(" \r\n") + 1);
    std::string fault = checkToken(token, *question.rules.tokens, std::time(nullptr), judgement.user);
    if (fault.empty()) judgement.response.emplace(token.begin(), token.end());
    return fault;
}

std::string base64(std::string_view bytes) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        unsigned int group = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            group = group << 8 | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += at + i > bytes.size() ? '=' : digits[group >> (18 - 6 * i) & 63];
        }
    }
    return text;
}

std::string checkByProgram(const Question& question, Judgement& judgement) {
    const DcPduIdentity& identity = question.identity;
    const bool named = identity.type == PDU_IDENTITY_NAME || identity.type == PDU_IDENTITY_PASSCODE;
    const std::string input = "type " + std::to_string(identity.type) + "\ntitle " + question.caller.aet +
                              "\naddress " + question.caller.address + "\nprimary " +
                              base64(textOfBytes(identity.primary)) + "\nsecondary " +
                              base64(textOfBytes(identity.secondary)) + "\n";
    std::string output;
    constexpr std::size_t most = PDU_USER_INFO_MAX / 2;
    const int status = orvkit::platform::runProgram(question.rules.program, input, output, most,
                                                    question.rules.programTime * 1000);
    if (status < 0) return "the program that checks it has not answered";
    if (status > 0) return "the program that checks it has refused it, with status " + std::to_string(status);
    if (named) judgement.user = textOfBytes(identity.primary);
    if (named || !output.empty()) judgement.response.emplace(output.begin(), output.end());
    return "";
}

using Proof = std::string (*)(const Question& question, Judgement& judgement);

// Null when there is nothing to check it by.
Proof checkOf(const IdentityRules& rules, int type) {
    const bool named = type == PDU_IDENTITY_NAME || type == PDU_IDENTITY_PASSCODE;
    if (named && rules.users != nullptr) return checkName;
    if (type == PDU_IDENTITY_JWT && rules.tokens) return checkJwt;
    return rules.program.empty() ? nullptr : checkByProgram;
}

// Without rules all are taken.
Judgement unchecked(const DcPduIdentity& identity) {
    Judgement judgement;
    judgement.told = identityText(identity) + ", accepted without a check";
    if (identity.responseWanted == 0) return judgement;
    if (identity.type == PDU_IDENTITY_NAME || identity.type == PDU_IDENTITY_PASSCODE) {
        judgement.response.emplace();
    } else {
        judgement.told += " and not confirmed";
    }
    return judgement;
}

Judgement refused(const std::string& told) {
    Judgement judgement;
    judgement.accepted = false;
    judgement.told = told;
    return judgement;
}

}  // namespace

std::string identityText(const DcPduIdentity& identity) {
    switch (identity.type) {
        case PDU_IDENTITY_NAME:
            return "user '" + identityName(identity) + "'";
        case PDU_IDENTITY_PASSCODE:
            return "user '" + identityName(identity) + "', with a passcode";
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

void IdentityCheck::use(IdentityRules rules) {
    auto shared = std::make_shared<const IdentityRules>(std::move(rules));
    const std::lock_guard lock(mutex_);
    rules_.swap(shared);
}

Judgement IdentityCheck::judge(const DcPduIdentity* identity, const Caller& caller) const {
    std::shared_ptr<const IdentityRules> rules;
    {
        const std::lock_guard lock(mutex_);
        rules = rules_;
    }
    if (identity == nullptr) return rules->check() ? refused("no user is given") : Judgement();
    const std::string who = identityText(*identity);
    const bool secret = identity->type != PDU_IDENTITY_NAME;
    if (secret && caller.security == nullptr && !rules->insecure) {
        return refused(who + ", in clear: without TLS that is taken with --insecure alone");
    }
    if (!rules->check()) return unchecked(*identity);
    const Proof check = checkOf(*rules, identity->type);
    if (check == nullptr) return refused(who + ": nothing here checks such an identity");
    Judgement judgement;
    const std::string fault = check({*rules, *identity, caller}, judgement);
    if (!fault.empty()) return refused(who + ": " + fault);
    judgement.told = who + (judgement.user.empty() || !secret ? "" : " (" + judgement.user + ")");
    if (identity->type == PDU_IDENTITY_PASSCODE) judgement.told = who;
    if (identity->responseWanted == 0) judgement.response.reset();
    return judgement;
}

}  // namespace services
