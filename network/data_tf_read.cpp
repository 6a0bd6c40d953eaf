// P-DATA-TF: the object, and reading one PDU (PS3.8 9.3.5).
#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "foundation/block.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/pdu_access.h"
#include "network/wire.h"
#include "orvkit/datatf.h"
#include "orvkit/util.h"
#include "platform/file.h"

using namespace orvkit;
using wire::kPdvHeader;

namespace {

constexpr unsigned char kWholeCommand = wire::kCommand | wire::kLast;

// A buffer costs many times a value of some bytes. Behind the first values of a PDU small ones share buffers.
constexpr unsigned int kOwnBuffers = 64;
constexpr unsigned int kSmallValue = 4096;
constexpr unsigned int kSharedBuffer = 65536;

int failPdvLength(unsigned int pdv, unsigned int pdu) {
    return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::read",
                "pdv length 0x%x (%d) exceeds pdu length 0x%x (%d)", pdv, static_cast<int>(pdv), pdu,
                static_cast<int>(pdu));
}

int failMemory(unsigned int length) {
    return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::read", "Unable to allocate 0x%x (%d) bytes of memory",
                length, static_cast<int>(length));
}

}  // namespace

// Makes buffers of the values of one PDU.
class DcPduDataTf::Values {
  public:
    Values(DcPduDataTf& pdu, int dumpFd) : pdu_(pdu), dumpFd_(dumpFd) {}

    bool keptAny() const { return kept_; }

    // Reads a value of a data set that is not empty, piece by piece.
    int pass(unsigned int length, PDU_BLOCK block) {
        while (length > 0) {
            const auto room = pdu_.sink_->room();
            unsigned int count = std::min(length, static_cast<unsigned int>(room.size()));
            if (pdu_.readBuf(room.data(), count, block) != RESULT_OK) return DATATF_READ;
            if (const int result = pdu_.sink_->take(room.first(count)); result != RESULT_OK) return result;
            pdu_.sunkBytes_ += count;
            length -= count;
        }
        return RESULT_OK;
    }

    // Reads a value that is not empty.
    int read(unsigned int length, PDU_BLOCK block) {
        kept_ = true;
        const bool shares = ++count_ > kOwnBuffers && length <= kSmallValue;
        if (!shares || shared_.size() + length > kSharedBuffer) {
            if (const int result = flush(); result != RESULT_OK) return result;
        }
        if (shares) {
            const std::size_t used = shared_.size();
            shared_.resize(used + length);
            if (pdu_.readBuf(shared_.data() + used, length, block) == RESULT_OK) return RESULT_OK;
            shared_.resize(used);
            return DATATF_READ;
        }
        unsigned char* data = nullptr;
        const int result = pdu_.readBlock(data, length, block);
        if (result == ELEM_NO_MEMORY) return failMemory(length);
        return result == RESULT_OK ? keep(data, length) : DATATF_READ;
    }

    // Makes a buffer of the values that share one.
    int flush() {
        if (shared_.empty()) return RESULT_OK;
        const auto length = static_cast<unsigned int>(shared_.size());
        Block data = allocate(length);
        if (data == nullptr) return failMemory(length);
        std::memcpy(data.get(), shared_.data(), length);
        shared_.clear();
        return keep(data.release(), length);
    }

  private:
    int keep(unsigned char* data, unsigned int length) {
        (void)pdu_.add(new DcBuf(data, length, pdu_.xferSyn_));
        if (dumpFd_ == -1 || platform::writeAll(dumpFd_, data, length)) return RESULT_OK;
        return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::read",
                    "Error writing 0x%x (%d) received bytes, disk may be full", length,
                    static_cast<int>(length));
    }

    DcPduDataTf& pdu_;
    const int dumpFd_;
    unsigned int count_ = 0;
    bool kept_ = false;
    std::vector<unsigned char> shared_;
};

DcPduDataTf::DcPduDataTf() : DcPduDataTf(PDU_SOCKET_NONE) {}
DcPduDataTf::DcPduDataTf(unsigned int sockConv) : DcPdu(sockConv, PDU_TYPE_DATA_TF) {}
DcPduDataTf::~DcPduDataTf() = default;

int DcPduDataTf::verifyInfo(const DcPduInfoTf& info) const {
    constexpr const char* reporter = "DcPduDataTf::verifyInfo";
    const DcDictUidInfo* const uid = Dict.findUid(info.xferSyn);
    if (uid == nullptr || uid->type != UID_TYPE_XFER_SYN) {
        return fail(DATATF_READ, LOG_ERROR, reporter, "Invalid Transfer Syntax %s",
                    uid != nullptr ? uid->desc : "");
    }
    if (info.msgCtrl > wire::kControlBits) {
        return fail(DATATF_READ, LOG_ERROR, reporter, "Invalid message control bit 0x%x",
                    unsigned{info.msgCtrl});
    }
    if (info.maxPduLen == 0) {
        return fail(DATATF_READ, LOG_ERROR, reporter, "Invalid Maximum PDU Length %d", 0);
    }
    return RESULT_OK;
}

int DcPduDataTf::setInfo(DcPduInfoTf& info) {
    if (const int result = verifyInfo(info); result != RESULT_OK) return result;
    presCtxId_ = info.presCtxId;
    msgCtrl_ = info.msgCtrl;
    xferSyn_ = info.xferSyn;
    maxPduLen_ = info.maxPduLen;
    return RESULT_OK;
}

int DcPduDataTf::getInfo(DcPduInfoTf& info) const {
    info = {presCtxId_, msgCtrl_, xferSyn_, maxPduLen_};
    return RESULT_OK;
}

DcBuf* DcPduDataTf::firstBuf() const {
    const DcBufList* const buffers = PduAccess::buffers(*this);
    return buffers != nullptr ? buffers->first() : nullptr;
}

DcBuf* DcPduDataTf::lastBuf() const {
    const DcBufList* const buffers = PduAccess::buffers(*this);
    return buffers != nullptr ? buffers->last() : nullptr;
}

DcPduDataTf& DcPduDataTf::operator+(DcBuf* buffer) {
    (void)add(buffer);
    return *this;
}
DcPduDataTf& DcPduDataTf::operator+(DcElem* element) {
    (void)add(element);
    return *this;
}
DcPduDataTf& DcPduDataTf::operator-(DcBuf* buffer) {
    (void)subtract(buffer);
    return *this;
}
DcPduDataTf& DcPduDataTf::operator-(DcElem* element) {
    (void)subtract(element);
    return *this;
}

int DcPduDataTf::read(int dumpFd, PDU_BLOCK block) {
    Values values(*this, dumpFd);
    const int result = readValues(values, dumpFd != -1, block);
    // What came before a failure stays.
    const int kept = values.flush();
    return result != RESULT_OK ? result : kept;
}

int DcPduDataTf::readValues(Values& values, bool dumps, PDU_BLOCK block) {
    unsigned int pduLength = 0;
    if (readLength(pduLength, block) != RESULT_OK) return DATATF_READ;
    unsigned char presCtxId = presCtxId_;
    unsigned char msgCtrl = msgCtrl_;
    for (unsigned int left = pduLength; left > 0;) {
        // What the PDU has no room for is not waited for.
        if (left < kPdvHeader) return failPdvLength(kPdvHeader, pduLength);
        unsigned char header[kPdvHeader];
        unsigned int count = kPdvHeader;
        if (readBuf(header, count, block) != RESULT_OK) return DATATF_READ;
        left -= kPdvHeader;
        const auto itemLength = loadAt<std::uint32_t>(header, ByteOrder::big);
        presCtxId = header[4];
        if (msgCtrl == kWholeCommand && (header[5] & wire::kCommand) == 0) {
            if (const int result = values.flush(); result != RESULT_OK) return result;
            commandEnd_ = lastBuf();
            commandEnds_ = true;
        }
        msgCtrl = header[5];
        if (itemLength > std::uint64_t{left} + wire::kPdvPart) return failPdvLength(itemLength, pduLength);
        const unsigned int length = itemLength - wire::kPdvPart;
        if (itemLength < wire::kPdvPart) return failMemory(length);
        if (length == 0) continue;
        const bool command = (msgCtrl & wire::kCommand) != 0;
        if (command) commandBytes_ += length;
        // A command is handed out before the data that may follow it in the same PDU.
        const bool passes = sink_ != nullptr && !dumps && !command && !commandEnds_ && !values.keptAny() &&
                            sink_->wants(presCtxId);
        if (sink_ != nullptr) {
            using Of = DataSink::Of;
            const Of what = command ? Of::command : commandEnds_ ? Of::nextDataSet : Of::dataSet;
            const int refused = sink_->admit(what, !passes, length);
            if (refused != RESULT_OK) return refused;
        }
        const int result = passes ? values.pass(length, block) : values.read(length, block);
        if (result != RESULT_OK) return result;
        left -= length;
    }
    presCtxId_ = presCtxId;
    msgCtrl_ = msgCtrl;
    return RESULT_OK;
}
