// The PDUs of ten bytes: A-ASSOCIATE-RJ, A-RELEASE-RQ and -RP, A-ABORT (PS3.8 9.3.4, 9.3.6 to 9.3.8).
#include <cstring>
#include <new>

#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/wire.h"
#include "orvkit/pdu.h"

using namespace orvkit;

namespace {

constexpr unsigned int kBodySize = wire::kSmallBody;
constexpr unsigned int kSize = wire::kPduHeader + kBodySize;

void put(unsigned char* buf, PDU_TYPE type, const unsigned char (&body)[kBodySize]) {
    buf[0] = static_cast<unsigned char>(type);
    buf[1] = 0;
    storeAt<std::uint32_t>(buf + 2, kBodySize, ByteOrder::big);
    std::memcpy(buf + wire::kPduHeader, body, kBodySize);
}

unsigned char byteOf(int value) {
    return static_cast<unsigned char>(value);
}

int failShort(int code, const char* reporter, unsigned int length) {
    return fail(code, LOG_ERROR, reporter, "Invalid PDU length 0x%x", length);
}

}  // namespace

// ---- A-ASSOCIATE-RJ -------------------------------------------------------------------------------------

DcPduAssoRj::~DcPduAssoRj() {
    delete info_;
}

int DcPduAssoRj::setInfo(DcPduInfoRj* info) {
    if (info == nullptr) return failNull(RJ_NULL_ARGUMENT, "DcPduAssoRj::setInfo", LOG_ERROR);
    if (info_ == nullptr) info_ = new DcPduInfoRj;
    *info_ = *info;
    return RESULT_OK;
}

int DcPduAssoRj::frameAsso(unsigned char* buf) {
    if (info_ == nullptr) {
        return fail(RJ_ABSENT, LOG_ERROR, "DcPduAssoRj::frameAsso", "RJ association data does not exist");
    }
    put(buf, getType(), {0, byteOf(info_->result), byteOf(info_->source), byteOf(info_->reason)});
    setLength(kSize);
    return RESULT_OK;
}

int DcPduAssoRj::read(PDU_BLOCK block) {
    unsigned char body[kBodySize];
    unsigned int length = 0;
    if (readStart(body, sizeof body, length, block) != RESULT_OK) return RJ_ABSENT;
    if (length < kBodySize) return failShort(RJ_ABSENT, "DcPduAssoRj::read", length);
    DcPduInfoRj info{body[1], body[2], body[3]};
    return setInfo(&info);
}

// ---- A-RELEASE-RQ and -RP -------------------------------------------------------------------------------

DcPduReleaseRpRq::~DcPduReleaseRpRq() = default;

int DcPduReleaseRpRq::frameAsso(unsigned char* buf) {
    put(buf, getType(), {0, 0, 0, 0});
    setLength(kSize);
    return RESULT_OK;
}

int DcPduReleaseRpRq::read(PDU_BLOCK block) {
    unsigned char body[kBodySize];
    unsigned int length = 0;
    return readStart(body, sizeof body, length, block) == RESULT_OK ? RESULT_OK : RELEASE_READ;
}

// ---- A-ABORT --------------------------------------------------------------------------------------------

DcPduAbort::~DcPduAbort() {
    delete info_;
}

int DcPduAbort::setInfo(DcPduInfoAbort* info) {
    if (info == nullptr) return failNull(ABORT_NULL_ARGUMENT, "DcPduAbort::setInfo");
    if (info_ == nullptr) info_ = new DcPduInfoAbort;
    *info_ = *info;
    return RESULT_OK;
}

int DcPduAbort::frameAsso(unsigned char* buf) {
    if (info_ == nullptr) {
        return fail(ABORT_ABSENT, LOG_VALIDATION, "DcPduAbort::frameAsso", "Abort data does not exist");
    }
    // A service user gives no reason.
    const int reason = info_->source == 0 ? 0 : info_->reason;
    put(buf, getType(), {0, 0, byteOf(info_->source), byteOf(reason)});
    setLength(kSize);
    return RESULT_OK;
}

int DcPduAbort::read(PDU_BLOCK block) {
    unsigned char body[kBodySize];
    unsigned int length = 0;
    if (readStart(body, sizeof body, length, block) != RESULT_OK) return ABORT_READ;
    if (length < 2) return failShort(ABORT_READ, "DcPduAbort::read", length);
    // Not where frameAsso puts them: see the class.
    DcPduInfoAbort info{body[0], body[1]};
    return setInfo(&info);
}
