// Passwords as crypt(5) hashes them: tlsHashPassword, tlsCheckPassword, tlsCheckPasswordHash.
#ifndef ORVKIT_TLS_PASSWORD_H
#define ORVKIT_TLS_PASSWORD_H

#include <string>
#include <string_view>

#include "tls/words.h"

namespace orvkit::tls {

int hashPassword(const char* password, std::string& hash, Words& fault);
int checkPassword(std::string_view password, const char* hash, Words& fault);
int checkPasswordHash(const char* hash, Words& fault);

}  // namespace orvkit::tls

#endif
