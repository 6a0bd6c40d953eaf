// PDUs from a peer: the type that stands in their first byte picks the parser. Requests and answers that
// could be read are framed and read once more. The second bit of the first byte makes their reader tolerant.
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

// What is framed of a request or answer; empty where it cannot be.
Bytes framed(DcPduAssoAcRq& pdu) {
    const SocketPair ends;
    pdu.setSockConv(ends.ours());
    return pdu.write() == RESULT_OK ? ends.arrived() : Bytes();
}

void runAssociation(PDU_TYPE type, unsigned int socket, bool inBits, bool tolerant) {
    DcPduAssoAcRq pdu(type);
    prepare(pdu, socket, inBits);
    (void)pdu.setTolerant(tolerant ? 1 : 0);
    if (pdu.read(PDU_BLOCK_POLL) != RESULT_OK) return;
    DcPduInfoAcRq info;
    require(pdu.getInfo(&info) == RESULT_OK && info.calledAeTitle[15] != '\0');
    const int contexts = countContexts(pdu);
    require(contexts > 0);
    require(tolerant || pdu.negotiation().isEmpty());

    const Bytes bytes = framed(pdu);
    if (bytes.empty()) return;
    const SocketPair ends(bytes);
    DcPduAssoAcRq again(type);
    prepare(again, ends.ours(), false);
    (void)again.setTolerant(tolerant ? 1 : 0);
    PDU_TYPE found;
    require(again.readType(found, PDU_BLOCK_POLL) == RESULT_OK && found == type);
    require(again.read(PDU_BLOCK_POLL) == RESULT_OK);
    require(countContexts(again) <= contexts);
    require(framed(again) == bytes);
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
    const bool inBits = data[0] % 2 != 0, tolerant = data[0] / 2 % 2 != 0;
    DcPdu current;
    prepare(current, ends.ours(), inBits);
    for (PDU_TYPE type; current.readType(type, PDU_BLOCK_POLL) == RESULT_OK;) {
        const unsigned int from = ends.ours();
        if (type == PDU_TYPE_ASSO_RQ || type == PDU_TYPE_ASSO_AC)
            runAssociation(type, from, inBits, tolerant);
        if (type == PDU_TYPE_DATA_TF) runData(from, inBits, size);
        if (type == PDU_TYPE_ASSO_RJ) runSmall<DcPduAssoRj>(from, inBits);
        if (type == PDU_TYPE_RELEASE_RQ || type == PDU_TYPE_RELEASE_RP)
            runSmall<DcPduReleaseRq>(from, inBits);
        if (type == PDU_TYPE_ABORT) runSmall<DcPduAbort>(from, inBits);
    }
    return 0;
}
