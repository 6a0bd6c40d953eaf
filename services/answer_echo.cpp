// C-ECHO (PS3.7 9.1.5).
#include "services/handlers.h"
#include "services/provider.h"

namespace services {
namespace {

constexpr unsigned short kNotAuthorized = 0x0124;  // PS3.7 C.5

}  // namespace

bool answerEcho(Provider& provider, DICT_UID, DcMsg& request) {
    DcCmdCEchoRsp response(static_cast<DcCmdCEchoRq*>(&request));
    if (provider.may(Right::echo)) {
        ++provider.server().echoes;
        return provider.respond(request, response, kStoreSuccess);
    }
    provider.tell("refused an echo: this peer may not ask for one");
    return provider.respond(request, response, kNotAuthorized);
}

}  // namespace services
