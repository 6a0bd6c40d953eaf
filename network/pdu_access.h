// What the upper layer needs of PDUs beyond their public interface.
#ifndef ORVKIT_NETWORK_PDU_ACCESS_H
#define ORVKIT_NETWORK_PDU_ACCESS_H

#include <cstdint>
#include <span>

#include "dataset/elemlist_access.h"
#include "orvkit/datatf.h"
#include "orvkit/pdu.h"

namespace orvkit {

enum class AssoFault : unsigned char;

// Decides on values while their PDU is arriving: which are refused, and which are taken as they come, so that
// no PDU is held as a whole.
class DataSink {
  public:
    DataSink() = default;
    DataSink(const DataSink&) = delete;
    DataSink& operator=(const DataSink&) = delete;
    virtual ~DataSink() = default;
    // Asked before a value that is not empty is read; `kept`: it will be held in memory. A result other than
    // RESULT_OK ends the reading with it.
    enum class Of : unsigned char { command, dataSet, nextDataSet };  // the last: behind a command in its PDU
    virtual int admit(Of what, bool kept, unsigned int length) = 0;
    // Whether values of the presentation context are wanted; others are kept as buffers.
    virtual bool wants(unsigned char presCtxId) = 0;
    // Room for the next piece.
    virtual std::span<unsigned char> room() = 0;
    // Takes a piece out of the room; a result other than RESULT_OK ends the reading with it.
    virtual int take(std::span<const unsigned char> piece) = 0;
};

struct PduAccess {
    static unsigned int length(const DcPdu& pdu) noexcept { return pdu.length_; }
    static unsigned int maxPduLen(const DcPdu& pdu) noexcept { return pdu.maxPduLen_; }
    static unsigned int readTimeout(const DcPdu& pdu) noexcept { return pdu.readTimeout_; }
    static unsigned int writeTimeout(const DcPdu& pdu) noexcept { return pdu.writeTimeout_; }
    static void setWriteTimeout(DcPdu& pdu, unsigned int seconds) noexcept { pdu.writeTimeout_ = seconds; }
    static int sendPatience(const DcPdu& pdu) noexcept { return pdu.sendPatience(); }

    static void setReception(DcPdu& pdu, Reception* reception) noexcept { pdu.reception_ = reception; }

    // Reads what follows the type of a PDU, and forgets it.
    static int skipBody(DcPdu& pdu, PDU_BLOCK block) {
        unsigned char start = 0;
        unsigned int length = 0;
        return pdu.readStart(&start, 1, length, block);
    }

    // Of a request or its answer. A version is enough to be among those that the peer knows (PS3.8 9.3.2).
    static AssoFault fault(const DcPduAssoAcRq& pdu) noexcept;
    static void takeOneVersionAmongOthers(DcPduAssoAcRq& pdu) noexcept;
    static void learnClasses(DcPduAssoAcRq& pdu) noexcept;

    // What read collected; null until a buffer came.
    static DcBufList* buffers(const DcPduDataTf& pdu) noexcept { return ElemListAccess::pending(pdu); }
    // The fields of a message, without the checks of setInfo. `tfMaxPduLen` is what the peer accepts.
    static unsigned char& presCtxId(DcPduDataTf& pdu) noexcept { return pdu.presCtxId_; }
    static unsigned char& msgCtrl(DcPduDataTf& pdu) noexcept { return pdu.msgCtrl_; }
    static DICT_UID& xferSyn(DcPduDataTf& pdu) noexcept { return pdu.xferSyn_; }
    // Received: whether data follow a whole command in the PDU, and its last buffer (null when it has none).
    static bool commandEnds(const DcPduDataTf& pdu) noexcept { return pdu.commandEnds_; }
    static const DcBuf* commandEnd(const DcPduDataTf& pdu) noexcept { return pdu.commandEnd_; }
    static void setSink(DcPduDataTf& pdu, DataSink* sink) noexcept { pdu.sink_ = sink; }
    static std::uint64_t sunkBytes(const DcPduDataTf& pdu) noexcept { return pdu.sunkBytes_; }
    static std::uint64_t commandBytes(const DcPduDataTf& pdu) noexcept { return pdu.commandBytes_; }
    // Whether the last write handed bytes to the connection.
    static bool sent(const DcPduDataTf& pdu) noexcept { return pdu.sent_; }
    static unsigned int& tfMaxPduLen(DcPduDataTf& pdu) noexcept { return pdu.maxPduLen_; }
};

}  // namespace orvkit

#endif
