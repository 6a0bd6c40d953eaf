// Requests and answers of an association: what could be read is written in the library's own words, and stays
// as it is when it is read and written once more. Bit 0 of the first byte has the input read in small pieces,
// bit 1 makes the reader tolerant. The other PDUs, and messages, are the receiver's target.
#include "fuzz/target.h"
#include "orvkit/pdu.h"
#include "orvkit/result.h"
#include "tests/support/socket_pair.h"

namespace {

using fuzz::require;

// Nothing where it cannot be read or written.
Bytes rewritten(const Bytes& bytes, bool inBits, bool tolerant) {
    const SocketPair in(bytes), out;
    DcPduAssoAcRq pdu(static_cast<PDU_TYPE>(bytes[0]));
    DcPduInfo info{inBits ? 7u : 524288u, 0, 0};
    pdu.setInfo(info);
    pdu.setSockConv(in.ours());
    (void)pdu.setTolerant(tolerant ? 1 : 0);
    PDU_TYPE type;
    if (pdu.readType(type, PDU_BLOCK_POLL) != RESULT_OK || pdu.read(PDU_BLOCK_POLL) != RESULT_OK) return {};
    DcPduInfoAcRq asso;
    require(pdu.getInfo(&asso) == RESULT_OK && asso.calledAeTitle[15] != '\0');
    require(tolerant || pdu.negotiation().isEmpty());
    pdu.setSockConv(out.ours());
    Bytes all(1 << 18);
    std::size_t count = 0;
    if (pdu.write() == RESULT_OK) orvkit::platform::receive(out.peer(), all.data(), all.size(), 0, count);
    all.resize(count);
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2 || size > 65536 || data[1] < PDU_TYPE_ASSO_RQ || data[1] > PDU_TYPE_ASSO_AC) return 0;
    const bool tolerant = (data[0] & 2) != 0;
    const Bytes once = rewritten(fuzz::content(data, size), (data[0] & 1) != 0, tolerant);
    if (!once.empty()) require(rewritten(once, false, tolerant) == once);
    return 0;
}
