// Sends DICOM files to a storage provider (C-STORE), as they are on disk, over one association each.
//     example_store HOST PORT AETITLE FILE...
#include <cstdio>
#include <cstdlib>

#include "orvkit/file.h"
#include "orvkit/msm.h"
#include "orvkit/result.h"

namespace {

int store(const char* host, int port, const char* aeTitle, const char* path) {
    // The header tells what to propose: the SOP class of the file in the transfer syntax it is in.
    DcDirMetaInfo meta;
    unsigned int end = 0;
    int result = dirReadFileMetaInfo(path, meta, end);
    if (result != RESULT_OK) return result;
    DICT_UID syntaxes[] = {meta.transferSyntax, UID_NONE};
    DcMsmSopXferSyn proposed[] = {{meta.sopClassUid, syntaxes, TSM_ROLE_NONE}, {}};

    DcMsm user("EXAMPLE", TSM_ROLE_SCU, port);
    DcMsmScuInfo info;
    info.calledAeTitle = aeTitle;
    info.sopList = proposed;
    info.timeouts.readTimeout = 60;  // seconds
    result = user.connect(host, info);
    if (result != MSM_ACCEPTED) {
        user.closeAssociation();
        return result;
    }

    result = user.sendMessage(path);  // the bytes go from the disk to the socket, whatever their number
    if (result == RESULT_OK) {
        DcMsg* response = nullptr;
        result = user.receiveMessage(nullptr, &response, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        if (result == MSM_MESSAGE) {
            unsigned short status = 0xFFFF;
            result = response->getValue(T_0000_0900_status, status);
            std::printf("%s: status 0x%04X\n", path, static_cast<unsigned int>(status));
            if (result == RESULT_OK) result = status;  // 0 stored; warnings begin with 0xB
        }
        delete response;
    }
    user.releaseAssociation();
    user.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);  // the answer: 11351
    user.closeAssociation();
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::fprintf(stderr, "usage: %s HOST PORT AETITLE FILE...\n", argv[0]);
        return 2;
    }
    int status = 0;
    for (int i = 4; i < argc; ++i) {
        const int result = store(argv[1], std::atoi(argv[2]), argv[3], argv[i]);
        if (result == RESULT_OK) continue;
        std::fprintf(stderr, "%s: result %d\n", argv[i], result);
        status = 1;
    }
    return status;
}
