// What the upper layer needs of PDUs beyond their public interface.
#ifndef ORVKIT_NETWORK_PDU_ACCESS_H
#define ORVKIT_NETWORK_PDU_ACCESS_H

#include "dataset/elemlist_access.h"
#include "orvkit/datatf.h"
#include "orvkit/pdu.h"

namespace orvkit {

struct PduAccess {
    static unsigned int length(const DcPdu& pdu) noexcept { return pdu.length_; }
    static unsigned int maxPduLen(const DcPdu& pdu) noexcept { return pdu.maxPduLen_; }
    static unsigned int readTimeout(const DcPdu& pdu) noexcept { return pdu.readTimeout_; }
    static unsigned int writeTimeout(const DcPdu& pdu) noexcept { return pdu.writeTimeout_; }

    // Reads what follows the type of a PDU, and forgets it.
    static int skipBody(DcPdu& pdu, PDU_BLOCK block) {
        unsigned char start = 0;
        unsigned int length = 0;
        return pdu.readStart(&start, 1, length, block);
    }

    // What read collected; null until a buffer came.
    static DcBufList* buffers(const DcPduDataTf& pdu) noexcept { return ElemListAccess::pending(pdu); }
    // The fields of a message, without the checks of setInfo. `tfMaxPduLen` is what the peer accepts.
    static unsigned char& presCtxId(DcPduDataTf& pdu) noexcept { return pdu.presCtxId_; }
    static unsigned char& msgCtrl(DcPduDataTf& pdu) noexcept { return pdu.msgCtrl_; }
    static DICT_UID& xferSyn(DcPduDataTf& pdu) noexcept { return pdu.xferSyn_; }
    static DcBuf*& commandEnd(DcPduDataTf& pdu) noexcept { return pdu.commandEnd_; }
    // Whether the last write handed bytes to the connection.
    static bool sent(const DcPduDataTf& pdu) noexcept { return pdu.sent_; }
    static unsigned int& tfMaxPduLen(DcPduDataTf& pdu) noexcept { return pdu.maxPduLen_; }
};

}  // namespace orvkit

#endif
