// Uses the installed component: without settings that tell how to know a peer nothing is loaded.
#include "orvkit/tls.h"

#include "orvkit/msm.h"
#include "orvkit/result.h"

int main() {
    DcTls tls;
    DcMsm msm("USER", TSM_ROLE_SCU, TLS_PORT);
    return tls.load() == TLS_SETTING && msm.setSecurity(tls.security()) == RESULT_OK ? 0 : 1;
}
