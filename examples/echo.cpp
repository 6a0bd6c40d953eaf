// A C-ECHO from both sides: a provider that answers one association, and a user that asks it.
//     example_echo PORT               waits on the port and answers
//     example_echo PORT HOST AETITLE  asks
#include <cstdio>
#include <cstdlib>

#include "orvkit/msm.h"
#include "orvkit/result.h"

namespace {

int answer(int port) {
    DcMsm provider("ECHO", TSM_ROLE_SCP, port);
    DcMsmSopXferSyn supported[] = {{UID_VERIFICATION, nullptr, TSM_ROLE_NONE},
                                   {}};  // ended by an empty entry
    DcMsmScpInfo info;
    info.sopList = supported;
    int result = provider.connect(info, MSM_BLOCK_CONNECT_WAIT);
    if (result != RESULT_OK) return result;
    for (;;) {
        DcMsg* message = nullptr;
        result = provider.receiveMessage(nullptr, &message, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_WAIT);
        if (result == MSM_REQUEST_ANSWERED) continue;  // an association was negotiated
        if (result != MSM_MESSAGE) break;              // released, aborted, timed out
        if (auto* request = dynamic_cast<DcCmdCEchoRq*>(message)) {
            std::puts("answering an echo");
            DcCmdCEchoRsp response(request);  // takes over message ID, SOP class and presentation context
            const unsigned short success = 0;
            response + new DcElem(T_0000_0900_status, success);
            DcPduInfoTf travel;
            response.getInfo(travel);
            provider.write(travel.presCtxId, &response);
        }
        delete message;
    }
    provider.closeAssociation();
    return result == MSM_RELEASE_REQUESTED ? RESULT_OK : result;
}

int ask(int port, const char* host, const char* aeTitle) {
    DcMsm user("EXAMPLE", TSM_ROLE_SCU, port);
    DcMsmSopXferSyn proposed[] = {{UID_VERIFICATION, nullptr, TSM_ROLE_NONE}, {}};
    DcMsmScuInfo info;
    info.calledAeTitle = aeTitle;
    info.sopList = proposed;
    int result = user.connect(host, info);
    if (result != MSM_ACCEPTED) return result;

    DcCmdCEchoRq request;  // message ID and SOP class are filled in when it is sent
    result = user.sendMessage(UID_VERIFICATION, &request);
    DcMsg* response = nullptr;
    unsigned short status = 0xFFFF;
    if (result == RESULT_OK) {
        result = user.receiveMessage(nullptr, &response, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        if (result == MSM_MESSAGE) result = response->getValue(T_0000_0900_status, status);
    }
    delete response;
    std::printf("status 0x%04X\n", static_cast<unsigned int>(status));

    user.releaseAssociation();
    user.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);  // the answer: 11351
    user.closeAssociation();
    return status == 0 ? RESULT_OK : result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 4) {
        std::fprintf(stderr, "usage: %s PORT [HOST AETITLE]\n", argv[0]);
        return 2;
    }
    const int port = std::atoi(argv[1]);
    const int result = argc == 2 ? answer(port) : ask(port, argv[2], argv[3]);
    if (result != RESULT_OK) std::fprintf(stderr, "result %d\n", result);
    return result == RESULT_OK ? 0 : 1;
}
