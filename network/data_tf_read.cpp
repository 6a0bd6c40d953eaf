// P-DATA-TF: the object, and reading one PDU (PS3.8 9.3.5).
#include <new>

#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/pdu_access.h"
#include "orvkit/datatf.h"
#include "orvkit/util.h"
#include "platform/file.h"

using orvkit::fail;
using orvkit::PduAccess;

namespace {

constexpr unsigned int kPdvHeader = 6;  // item length, context, message control

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
    if (info.msgCtrl > 3) {
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
        const auto itemLength = orvkit::loadAt<std::uint32_t>(header, orvkit::ByteOrder::big);
        presCtxId = header[4];
        msgCtrl = header[5];
        if (itemLength > std::uint64_t{left} + 2) return failPdvLength(itemLength, pduLength);
        const unsigned int length = itemLength - 2;
        if (itemLength < 2) return failMemory(length);
        if (length == 0) continue;

        unsigned char* data = nullptr;
        const int result = readBlock(data, length, block);
        if (result == ELEM_NO_MEMORY) return failMemory(length);
        if (result != RESULT_OK) return DATATF_READ;
        left -= length;
        (void)add(new DcBuf(data, length, xferSyn_));
        if (dumpFd != -1 && !orvkit::platform::writeAll(dumpFd, data, length)) {
            return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::read",
                        "Error writing 0x%x (%d) received bytes, disk may be full", length,
                        static_cast<int>(length));
        }
    }
    presCtxId_ = presCtxId;
    msgCtrl_ = msgCtrl;
    return RESULT_OK;
}
