#include "tls/profiles.h"

#include <iterator>

namespace orvkit::tls {

namespace {

#define SUITES_GCM_128                                           \
    "ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-RSA-AES128-GCM-SHA256"  \
    ":ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-RSA-AES256-GCM-SHA384" \
    ":DHE-RSA-AES128-GCM-SHA256:DHE-RSA-AES256-GCM-SHA384"
#define SUITES_256                                               \
    "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-RSA-AES256-GCM-SHA384"  \
    ":ECDHE-ECDSA-CHACHA20-POLY1305:ECDHE-RSA-CHACHA20-POLY1305" \
    ":ECDHE-ECDSA-AES256-CCM:DHE-RSA-AES256-GCM-SHA384"          \
    ":DHE-RSA-CHACHA20-POLY1305:DHE-RSA-AES256-CCM"
#define SUITES_GCM_256                                          \
    "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-RSA-AES256-GCM-SHA384" \
    ":DHE-RSA-AES256-GCM-SHA384:ECDHE-ECDSA-AES128-GCM-SHA256"  \
    ":ECDHE-RSA-AES128-GCM-SHA256:DHE-RSA-AES128-GCM-SHA256"
#define SUITES_128                                               \
    ":ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-RSA-AES128-GCM-SHA256" \
    ":ECDHE-ECDSA-AES128-CCM:DHE-RSA-AES128-GCM-SHA256:DHE-RSA-AES128-CCM"
#define SUITES_CBC                                       \
    ":ECDHE-ECDSA-AES128-SHA256:ECDHE-RSA-AES128-SHA256" \
    ":ECDHE-ECDSA-AES256-SHA384:ECDHE-RSA-AES256-SHA384" \
    ":DHE-RSA-AES128-SHA256:DHE-RSA-AES256-SHA256"

constexpr const char* kAll13 = "TLS_AES_128_GCM_SHA256:TLS_AES_256_GCM_SHA384:TLS_CHACHA20_POLY1305_SHA256";
constexpr const char* kStrong13 =
    "TLS_AES_256_GCM_SHA384:TLS_CHACHA20_POLY1305_SHA256:TLS_AES_128_GCM_SHA256";
constexpr const char* kGroups = "X25519:P-256:P-384:P-521";

// By their numbers.
constexpr Profile profiles[] = {
    {SUITES_GCM_128, kAll13, kGroups},
    {SUITES_256 SUITES_128, kStrong13, kGroups},
    {SUITES_GCM_128 SUITES_CBC, kAll13, kGroups},
    {SUITES_GCM_128, kAll13, kGroups},
    {SUITES_GCM_256, kStrong13, kGroups},
};

}  // namespace

const Profile* profileOf(TLS_PROFILE profile) noexcept {
    return profile >= 0 && profile < static_cast<int>(std::size(profiles)) ? &profiles[profile] : nullptr;
}

}  // namespace orvkit::tls
