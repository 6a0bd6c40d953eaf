// A private authority, and key pairs under it: tlsMakeAuthority, tlsMakePair.
#ifndef ORVKIT_TLS_AUTHORITY_H
#define ORVKIT_TLS_AUTHORITY_H

#include <span>

#include "tls/words.h"

namespace orvkit::tls {

int makeAuthority(const char* name, int days, const char* certificateFile, const char* keyFile, Words& fault);
int makePair(const char* authorityFile, const char* authorityKeyFile, std::span<const char* const> hosts,
             int days, const char* certificateFile, const char* keyFile, Words& fault);

}  // namespace orvkit::tls

#endif
