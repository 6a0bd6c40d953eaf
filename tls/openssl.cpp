// What the engine over OpenSSL gives.
#include "tls/authority.h"
#include "tls/context.h"
#include "tls/engine.h"
#include "tls/password.h"
#include "tls/signature.h"

using namespace orvkit::tls;

const Engine* orvkitTlsEngine() {
    static constexpr Engine engine{Context::make,  makeAuthority, makePair,      describeKeys,
                                   checkSignature, hashPassword,  checkPassword, checkPasswordHash};
    return &engine;
}
