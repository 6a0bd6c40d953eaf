// PDUs from a peer: the type that stands in their first byte picks the parser. Requests and answers that
// could be read are framed and read once more.
#include "fuzz/target.h"
#include "orvkit/datatf.h"
#include "orvkit/result.h"
#include "tests/support/socket_pair.h"

namespace {

using fuzz::require;

template <typename Pdu>
void prepare(Pdu& pdu, unsigned int socket, bool inBits) {
    DcPduInfo info{inBits ? 7u : 524288u, 0, 0};
    pdu.setInfo(info);
    pdu.setSockConv(socket);
}

int countContexts(const DcPduAssoAcRq& pdu) {
    static DcPduPresCtx* slots[PDU_PRES_CTX_MAX];
    require(pdu.getPresCtxList(slots) == RESULT_OK);
    int count = 0;
    for (DcPduPresCtx* slot : slots) {
        if (slot != nullptr) ++count;
        delete slot;
    }
    return count;
}

void runAssociation(PDU_TYPE type, unsigned int socket, bool inBits) {
    DcPduAssoAcRq pdu(type);
    prepare(pdu, socket, inBits);
    if (pdu.read(PDU_BLOCK_POLL) != RESULT_OK) return;
    DcPduInfoAcRq info;
    require(pdu.getInfo(&info) == RESULT_OK && info.calledAeTitle[15] != '\0');
    const int contexts = countContexts(pdu);
    require(contexts > 0);

    const SocketPair ends;
    pdu.setSockConv(ends.ours());
    if (pdu.write() != RESULT_OK) return;
    DcPduAssoAcRq again(type);
    prepare(again, ends.peer(), false);
    PDU_TYPE found;
    require(again.readType(found, PDU_BLOCK_POLL) == RESULT_OK && found == type);
    require(again.read(PDU_BLOCK_POLL) == RESULT_OK);
    require(countContexts(again) <= contexts);
}

void runData(unsigned int socket, bool inBits, std::size_t size) {
    DcPduDataTf pdu;
    prepare(pdu, socket, inBits);
    const int result = pdu.read(-1, PDU_BLOCK_POLL);
    require(result == RESULT_OK || result == DATATF_READ);
    std::size_t total = 0;
    for (const DcBuf* b = pdu.firstBuf(); b != nullptr; b = b->next()) total += b->getLen();
    require(total < size);
}

template <typename Pdu>
void runSmall(unsigned int socket, bool inBits) {
    Pdu pdu;
    prepare(pdu, socket, inBits);
    (void)pdu.read(PDU_BLOCK_POLL);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 65536) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    const SocketPair ends(bytes);
    const bool inBits = data[0] % 2 != 0;
    DcPdu current;
    prepare(current, ends.ours(), inBits);
    for (PDU_TYPE type; current.readType(type, PDU_BLOCK_POLL) == RESULT_OK;) {
        switch (type) {
            case PDU_TYPE_ASSO_RQ:
            case PDU_TYPE_ASSO_AC:
                runAssociation(type, ends.ours(), inBits);
                break;
            case PDU_TYPE_DATA_TF:
                runData(ends.ours(), inBits, size);
                break;
            case PDU_TYPE_ASSO_RJ:
                runSmall<DcPduAssoRj>(ends.ours(), inBits);
                break;
            case PDU_TYPE_RELEASE_RQ:
            case PDU_TYPE_RELEASE_RP:
                runSmall<DcPduReleaseRq>(ends.ours(), inBits);
                break;
            case PDU_TYPE_ABORT:
                runSmall<DcPduAbort>(ends.ours(), inBits);
                break;
            default:
                break;
        }
    }
    return 0;
}
