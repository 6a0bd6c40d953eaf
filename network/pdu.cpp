// The base of every PDU: reading and sending of raw bytes.
#include "orvkit/pdu.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/block.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/connection.h"
#include "network/pdu_dump.h"
#include "network/reception.h"
#include "network/wire.h"
#include "orvkit/util.h"

using namespace orvkit;
using platform::Received;

namespace {

constexpr unsigned int kFirstBlock = 1u << 20;

int milliseconds(unsigned int seconds) {
    return static_cast<int>(std::min<long long>(seconds * 1000LL, INT_MAX));
}

}  // namespace

DcPdu::DcPdu() : DcPdu(PDU_SOCKET_NONE, PDU_TYPE_NONE) {}
DcPdu::DcPdu(PDU_TYPE type) : DcPdu(PDU_SOCKET_NONE, type) {}
DcPdu::DcPdu(unsigned int sockConv, PDU_TYPE type) : type_(type), sockConv_(sockConv) {}
DcPdu::~DcPdu() = default;

int DcPdu::attach(unsigned int sockConv) {
    if (sockConv_ == PDU_SOCKET_NONE) sockConv_ = sockConv;
    return RESULT_OK;
}

void DcPdu::setInfo(DcPduInfo& info) {
    maxPduLen_ = info.maxPduLen;
    readTimeout_ = info.readTimeout;
    writeTimeout_ = info.writeTimeout;
}

int DcPdu::iflush(unsigned char*, int) {
    return RESULT_OK;
}

// ---- sending --------------------------------------------------------------------------------------------

int DcPdu::frameAsso(unsigned char*) {
    return RESULT_OK;
}

int DcPdu::write() {
    const unsigned int room = std::max(PDU_FRAME_ROOM, maxPduLen_);
    const Block buf = allocate(room);
    if (buf == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcPdu::write", "Unable to allocate 0x%x bytes of memory",
                    room);
    }
    length_ = 0;
    if (const int result = frameAsso(buf.get()); result != RESULT_OK) return result;
    const std::span<const unsigned char> bytes(buf.get(), std::min(length_, room));
    if (dumpsSent()) dumpSent(type_, {bytes});
    // A part that went out counts as success: the peer notices, and the next call fails.
    const platform::Run run{bytes.data(), bytes.size()};
    const std::int64_t sent = Connection(sockConv_).send(&run, 1, sendPatience());
    return sent < 1 ? DATATF_SOCKET : RESULT_OK;
}

int DcPdu::sendPatience() const {
    return writeTimeout_ == 0 ? -1 : milliseconds(writeTimeout_);
}

// ---- reading --------------------------------------------------------------------------------------------

// Milliseconds for the next receive; -1 when the time for the whole message is up.
int DcPdu::patience(PDU_BLOCK block) const {
    const int wait = block == PDU_BLOCK_WAIT ? milliseconds(readTimeout_) : 0;
    return reception_ != nullptr ? reception_->patience(wait) : wait;
}

int DcPdu::readBuf(unsigned char* buf, unsigned int& len, PDU_BLOCK block) {
    using Clock = Reception::Clock;
    Connection connection(sockConv_);
    const unsigned int whole = len;
    const bool timed = reception_ != nullptr && reception_->isTimed();
    int result = RESULT_OK;
    for (len = 0; len < whole && result == RESULT_OK;) {
        const int wait = patience(block);
        if (wait < 0) {
            result = DATATF_NOT_READY;
            break;
        }
        const unsigned int chunk = maxPduLen_ != 0 ? std::min(whole - len, maxPduLen_) : whole - len;
        std::size_t count = 0;
        const Clock::time_point begun = timed ? Clock::now() : Clock::time_point();
        const Received received = connection.receive(buf + len, chunk, wait, count);
        if (timed) reception_->took(begun, count);
        len += static_cast<unsigned int>(count);
        if (received == Received::timeout) {
            result = DATATF_NOT_READY;
        } else if (received != Received::data) {
            result = DATATF_SOCKET;
        }
    }
    if (dumpsReceived()) dumpReceived({buf, len});
    return result;
}

int DcPdu::readType(PDU_TYPE& type, PDU_BLOCK block) {
    type = PDU_TYPE_INVALID;
    if (dumpsReceived()) dumpReceivedEnd();
    if (reception_ != nullptr) reception_->beginPdu();
    unsigned char bytes[2];
    unsigned int length = sizeof bytes;
    if (const int result = readBuf(bytes, length, block); result != RESULT_OK) return result;
    if (bytes[0] < PDU_TYPE_ASSO_RQ || bytes[0] > PDU_TYPE_ABORT) {
        (void)fail(RESULT_OK, LOG_ERROR, "DcPdu::readType", "Invalid type 0x%x", unsigned{bytes[0]});
    } else {
        type = static_cast<PDU_TYPE>(bytes[0]);
    }
    if (dumpsReceived()) dumpReceivedBegin(type, bytes);
    return RESULT_OK;
}

int DcPdu::readLength(unsigned int& bodyLength, PDU_BLOCK block) {
    unsigned char bytes[4];
    unsigned int length = sizeof bytes;
    bodyLength = 0;
    if (const int result = readBuf(bytes, length, block); result != RESULT_OK) return result;
    bodyLength = loadAt<std::uint32_t>(bytes, ByteOrder::big);
    length_ = wire::kPduHeader + bodyLength;
    return RESULT_OK;
}

int DcPdu::readBlock(unsigned char*& data, unsigned int len, PDU_BLOCK block) {
    data = nullptr;
    Block whole;
    unsigned int used = 0;
    for (unsigned int room = std::min(len, kFirstBlock);; room = room > len / 2 ? len : 2 * room) {
        Block larger = allocate(room);
        if (larger == nullptr) return ELEM_NO_MEMORY;
        if (used != 0) std::memcpy(larger.get(), whole.get(), used);
        whole = std::move(larger);
        unsigned int count = room - used;
        if (const int result = readBuf(whole.get() + used, count, block); result != RESULT_OK) return result;
        used = room;
        if (used == len) break;
    }
    data = whole.release();
    return RESULT_OK;
}

unsigned char* DcPdu::readBody(PDU_BLOCK block) {
    unsigned int length = 0;
    if (readLength(length, block) != RESULT_OK) return nullptr;
    if (reception_ != nullptr && reception_->limit != 0 && length > reception_->limit) {
        (void)fail(RESULT_OK, LOG_ERROR, "DcPdu::readBody", "PDU of %u bytes received, more than %llu",
                   length, static_cast<unsigned long long>(reception_->limit));
        return nullptr;
    }
    return readBody(length, block);
}

unsigned char* DcPdu::readBody(unsigned int len, PDU_BLOCK block) {
    unsigned char* data = nullptr;
    (void)readBlock(data, len, block);
    return data;
}

int DcPdu::readStart(unsigned char* start, unsigned int room, unsigned int& bodyLength, PDU_BLOCK block) {
    std::memset(start, 0, room);
    if (const int result = readLength(bodyLength, block); result != RESULT_OK) return result;
    unsigned int count = std::min(room, bodyLength);
    unsigned int left = bodyLength - count;
    if (const int result = readBuf(start, count, block); result != RESULT_OK) return result;
    while (left > 0) {
        unsigned char forgotten[4096];
        count = std::min(left, static_cast<unsigned int>(sizeof forgotten));
        left -= count;
        if (const int result = readBuf(forgotten, count, block); result != RESULT_OK) return result;
    }
    return RESULT_OK;
}
