// JSON Web Tokens (RFC 7519) as the identity of a user.
#ifndef ORVKIT_SERVICES_JWT_H
#define ORVKIT_SERVICES_JWT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace services {

struct TokenRules {
    std::string keys;      // what the file of keys holds (tlsCheckSignature)
    std::string audience;  // that a token must be for
};

// Reads a file of keys. False: `fault` tells why.
[[nodiscard]] bool readKeys(const std::string& file, TokenRules& rules, std::string& fault);

// Why a token does not hold at a time in seconds since 1970, or "": then `subject` is the user. It must be
// signed by a key that is known, be for this audience, tell its subject and its end, and have begun; a minute
// more or less is nothing.
std::string checkToken(std::string_view token, const TokenRules& rules, std::int64_t now,
                       std::string& subject);

}  // namespace services

#endif
