// C-ECHO (PS3.7 9.1.5).
#include "services/handlers.h"
#include "services/provider.h"

namespace services {
bool answerEcho(Provider& provider, DICT_UID, DcMsg& request) {
    DcCmdCEchoRsp response(static_cast<DcCmdCEchoRq*>(&request));
    ++provider.server().echoes;
    return provider.respond(request, response, kStoreSuccess);
}

}  // namespace services
