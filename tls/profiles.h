// The profiles of PS3.15 as OpenSSL is told of them.
#ifndef ORVKIT_TLS_PROFILES_H
#define ORVKIT_TLS_PROFILES_H

#include "orvkit/tls.h"

namespace orvkit::tls {

struct Profile {
    const char* suites12;  // of TLS 1.2, in order of preference
    const char* suites13;
    const char* groups;  // of the key exchange
};

// Null for a number that is none.
const Profile* profileOf(TLS_PROFILE profile) noexcept;

}  // namespace orvkit::tls

#endif
