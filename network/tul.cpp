// The upper layer: its settings, its requests, and the next PDU.
#include "orvkit/tul.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "encoding/codec.h"
#include "foundation/fail.h"
#include "media/meta_info.h"
#include "network/connection.h"
#include "network/pdu_access.h"
#include "network/tul_own.h"
#include "network/wire.h"
#include "platform/file.h"

using namespace orvkit;

namespace {

int failRefused(int result) {
    return fail(TUL_PDU_REFUSED, LOG_ERROR, "DcTul::readNextPdu", "error code 0x%04x",
                static_cast<unsigned int>(result));
}

char* copyOf(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    char* const copy = new char[size];
    std::memcpy(copy, text, size);
    return copy;
}

}  // namespace

// ---- life and settings ------------------------------------------------------------------------------

DcTul::DcTul(TSM_ROLE role, int port) : DcTsm(role, port, &DcTul::artimExpiredCB), sink_(new Sink(*this)) {}

DcTul::~DcTul() {
    delete carried_;
    delete sink_;
    platform::closeHandle(pixelHandle_);
    delete[] pixelFileName_;
}

int DcTul::setArtimTimeout(int seconds) {
    if (seconds < 1) return TUL_PROTOCOL;
    artimTimeout_ = seconds;
    return RESULT_OK;
}

int DcTul::setDecodingFlag(int flag) {
    decodingFlag_ = flag;
    return RESULT_OK;
}

int DcTul::setReceiveLimit(unsigned long long bytes) {
    reception().limit = bytes;
    return RESULT_OK;
}

int DcTul::setDataSetCheck(int flag) {
    dataSetCheck_ = flag != 0;
    return RESULT_OK;
}

int DcTul::setTolerant(int flag) {
    reception().tolerant = flag != 0;
    return RESULT_OK;
}

int DcTul::setPixelDataHandle(int handle) {
    platform::closeHandle(pixelHandle_);
    pixelHandle_ = -1;
    if (handle == -1) return RESULT_OK;
    platform::FileHandle copy = platform::duplicate(handle);
    if (!copy) {
        return fail(TUL_DUPLICATE, LOG_ERROR, "DcTul::setPixelDataHandle",
                    "Failed to duplicate file handle %d", handle);
    }
    pixelHandle_ = copy.release();
    return RESULT_OK;
}

int DcTul::getPixelDataHandle(int& handle) const {
    handle = pixelHandle_;
    return RESULT_OK;
}

int DcTul::setPixelDataFileName(const char* path) {
    if (path != nullptr && !platform::openAppend(path))
        return failAppend("DcTul::setPixelDataFileName", path);
    char* const name = path == nullptr ? nullptr : copyOf(path);
    delete[] pixelFileName_;
    pixelFileName_ = name;
    return RESULT_OK;
}

int DcTul::registerValueExceptionCB(void* user, DcElemValueExceptionCB callback) {
    exceptionUser_ = user;
    exceptionCB_ = callback;
    return RESULT_OK;
}
int DcTul::registerPixDataCB(void* user, DcTulPixDataCB callback) {
    pixDataUser_ = user;
    pixDataCB_ = callback;
    return RESULT_OK;
}
int DcTul::registerPixRecvCB(void* user, DcMsmPixRecvCB callback) {
    pixRecvUser_ = user;
    pixRecvCB_ = callback;
    return RESULT_OK;
}
int DcTul::registerDataSetCB(void* user, DcTulDataSetCB callback, DcTulRoomCB room) {
    dataSetUser_ = user;
    dataSetCB_ = callback;
    roomCB_ = room;
    return RESULT_OK;
}

// ---- requests ---------------------------------------------------------------------------------------

int DcTul::event00_connectScu(const char* host, int port) {
    if ((role_ & TSM_ROLE_SCU) == 0) return TUL_NOT_SCU;
    TsmPeer peer{host, port};
    return stateMachine(TSM_EVENT_00_ASSO_REQUEST, &peer);
}
int DcTul::event01_writeAssoRqPdu(DcPduAssoRq* pdu) {
    if ((role_ & TSM_ROLE_SCU) == 0) return TUL_NOT_SCU;
    return stateMachine(TSM_EVENT_01_CONNECTED, static_cast<DcPdu*>(pdu));
}
int DcTul::event04_connectScp() {
    if ((role_ & TSM_ROLE_SCP) == 0) return TUL_NOT_SCP;
    return stateMachine(TSM_EVENT_04_CONNECTION_INDICATION, nullptr);
}
int DcTul::event06_writeAssoAcPdu(DcPduAssoAc* pdu) {
    return stateMachine(TSM_EVENT_06_ACCEPT, static_cast<DcPdu*>(pdu));
}
int DcTul::event07_writeAssoRjPdu(DcPduAssoRj* pdu) {
    return stateMachine(TSM_EVENT_07_REJECT, static_cast<DcPdu*>(pdu));
}
int DcTul::event08_writeDataTfPdu(DcPduDataTf* pdu) {
    return stateMachine(TSM_EVENT_08_DATA_REQUEST, static_cast<DcPdu*>(pdu));
}
int DcTul::event10_writeRelRqPdu() {
    return stateMachine(TSM_EVENT_10_RELEASE_REQUEST, nullptr);
}
int DcTul::event13_writeRelRpPdu() {
    return stateMachine(TSM_EVENT_13_RELEASE_RESPONSE, nullptr);
}
int DcTul::event14_writeAbortPdu() {
    return stateMachine(TSM_EVENT_14_ABORT_REQUEST, nullptr);
}
int DcTul::event16_closeTrans() {
    return stateMachine(TSM_EVENT_16_CLOSED, nullptr);
}
int DcTul::event17_artimExpired() {
    return stateMachine(TSM_EVENT_17_ARTIM, nullptr);
}

// For a timer of the application's; the library arms none.
void DcTul::artimExpiredCB(unsigned int, unsigned int, std::uintptr_t, std::uintptr_t, std::uintptr_t) {
    DcTsm* const transport = artimTransport();
    if (transport == nullptr) return;
    if (transport->isConnected()) {
        if (auto* const upper = dynamic_cast<DcTul*>(transport)) (void)upper->event17_artimExpired();
        return;
    }
    clearArtim(transport);
    delete transport;
}

// ---- the next PDU -----------------------------------------------------------------------------------

namespace {

// What a PDU that arrives is, and what it means to the state machine.
struct Arrival {
    DcPdu* (*make)();  // null for an invalid one
    TSM_EVENT event;
};

template <typename Pdu>
DcPdu* make() {
    return new Pdu;
}

const Arrival& arrivalOf(PDU_TYPE type) {
    static constexpr Arrival arrivals[] = {
        {nullptr, TSM_EVENT_18_INVALID_PDU},  // and any type without a row
        {&make<DcPduAssoRq>, TSM_EVENT_05_RQ_PDU},
        {&make<DcPduAssoAc>, TSM_EVENT_02_AC_PDU},
        {&make<DcPduAssoRj>, TSM_EVENT_03_RJ_PDU},
        {&make<DcPduDataTf>, TSM_EVENT_09_DATA_TF_PDU},
        {&make<DcPduReleaseRq>, TSM_EVENT_11_RELEASE_RQ_PDU},
        {&make<DcPduReleaseRp>, TSM_EVENT_12_RELEASE_RP_PDU},
        {&make<DcPduAbort>, TSM_EVENT_15_ABORT_PDU},
    };
    return arrivals[type >= PDU_TYPE_ASSO_RQ && type <= PDU_TYPE_ABORT ? type : PDU_TYPE_NONE];
}

}  // namespace

DcPdu* DcTul::newPdu(PDU_TYPE type) {
    const Arrival& arrival = arrivalOf(type);
    if (arrival.make == nullptr) return nullptr;
    DcPdu* const pdu = arrival.make();
    if (type == PDU_TYPE_DATA_TF) {
        (void)static_cast<DcPduDataTf*>(pdu)->registerValueExceptionCB(exceptionUser_, exceptionCB_);
    }
    DcPduInfo info{maxPduLen_, static_cast<unsigned int>(timeouts_.readTimeout),
                   static_cast<unsigned int>(timeouts_.writeTimeout)};
    pdu->setInfo(info);
    PduAccess::setReception(*pdu, &reception());
    (void)pdu->attach(sockConv_);
    return pdu;
}

// Behind a PDU of no known type nothing tells where the next one begins: what has arrived with it is dropped,
// so that it is answered and reported once and not byte by byte.
void DcTul::discardArrived() {
    if (!isConnected()) return;
    Connection connection(sockConv_);
    unsigned char forgotten[4096];
    std::size_t left = 65536;
    for (std::size_t count = 0; left > 0; left -= count) {
        if (connection.receive(forgotten, std::min(left, sizeof forgotten), 0, count) !=
            platform::Received::data) {
            return;
        }
    }
}

// The event of a PDU whose type has come; those that the actions leave are read first.
int DcTul::receivePdu(PDU_TYPE type, DcPdu* pdu, const unsigned char* presCtxIds, const DICT_UID* xferSyns) {
    switch (type) {
        case PDU_TYPE_ASSO_RQ:
            if (answersBroken_) PduAccess::takeOneVersionAmongOthers(static_cast<DcPduAssoRq&>(*pdu));
            if (reception().learnsClasses) PduAccess::learnClasses(static_cast<DcPduAssoRq&>(*pdu));
            [[fallthrough]];
        case PDU_TYPE_ASSO_AC:
            (void)static_cast<DcPduAssoAcRq&>(*pdu).setTolerant(reception().tolerant ? 1 : 0);
            break;
        case PDU_TYPE_DATA_TF: {
            auto& data = static_cast<DcPduDataTf&>(*pdu);
            sink_->begin(presCtxIds, xferSyns);
            PduAccess::setSink(data, sink_);
            break;
        }
        case PDU_TYPE_RELEASE_RQ:
            (void)static_cast<DcPduReleaseRq&>(*pdu).read(PDU_BLOCK_WAIT);
            break;
        case PDU_TYPE_RELEASE_RP:
            // The connection stays open behind this answer in a collision alone.
            if (state_ == TSM_STATE_10_COLLISION_SCP) {
                (void)static_cast<DcPduReleaseRp&>(*pdu).read(PDU_BLOCK_WAIT);
            }
            break;
        case PDU_TYPE_ABORT:
            (void)static_cast<DcPduAbort&>(*pdu).read(PDU_BLOCK_WAIT);
            break;
        default:
            break;
    }
    const int result = stateMachine(arrivalOf(type).event, pdu);
    if (type == PDU_TYPE_INVALID) discardArrived();
    if (answersBroken_ && result == ACRQ_INVALID && type == PDU_TYPE_ASSO_RQ) {
        answerBrokenRequest(static_cast<DcPduAssoRq&>(*pdu));
    }
    if (result == RESULT_OK && type == PDU_TYPE_DATA_TF) carry(static_cast<DcPduDataTf&>(*pdu));
    return result;
}

namespace {

// The buffers of a data set that is compressed as a whole become one of what they hold.
int unpackMessage(DcPduDataTf& message, const orvkit::DataSetCodec& codec, DICT_UID inside) {
    constexpr const char* reporter = "DcTul::readNextPdu";
    orvkit::MemorySink plain;
    orvkit::CodecPump pump(codec.decoder(), plain,
                           std::min(codec.most(), static_cast<std::uint64_t>(orvkit::maxFileSize())));
    while (DcBuf* const buffer = message.firstBuf()) {
        (void)message.subtract(buffer);
        const std::unique_ptr<DcBuf> owner(buffer);
        (void)pump.push({static_cast<const unsigned char*>(buffer->getBuf()), buffer->getLen()}, false);
    }
    (void)pump.push({}, true);
    if (pump.fault() == orvkit::CodecFault::memory || pump.fault() == orvkit::CodecFault::refused) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "No memory for a compressed data set");
    }
    const int result = pump.fault() == orvkit::CodecFault::none       ? int{RESULT_OK}
                       : pump.fault() == orvkit::CodecFault::tooLarge ? int{DIR_FILE_SIZE}
                                                                      : int{ELEM_PACKED_STREAM};
    auto length = static_cast<unsigned int>(plain.bytes().size());
    const int parsed = message.DcElemList::parse(plain.bytes().data(), length, inside);
    if (result == RESULT_OK) return parsed;
    return fail(result, LOG_ERROR, reporter, "A compressed data set is cut, damaged or too large");
}

// A codec is for data sets, of which whoever takes them as they come gets the packed bytes.
int parseMessage(DcPduDataTf& message, DICT_UID xferSyn) {
    const orvkit::DataSetCodec* const codec = orvkit::codecOf(xferSyn);
    const bool isCommand = (PduAccess::msgCtrl(message) & orvkit::wire::kCommand) != 0;
    if (codec == nullptr || isCommand || message.firstBuf() == nullptr) return message.parse();
    return unpackMessage(message, *codec, orvkit::unpackedSyntax(xferSyn));
}

}  // namespace

// The rest of the message that has begun, decoded.
int DcTul::completeMessage(DcPduDataTf& message, const unsigned char* presCtxIds, const DICT_UID* xferSyns,
                           PDU_BLOCK block) {
    const unsigned char id = PduAccess::presCtxId(message);
    if (PduAccess::sunkBytes(message) != 0 && sink_->presCtxId() != id) {
        return failContext(id, sink_->presCtxId());
    }
    const DICT_UID xferSyn = acceptedSyntax(id, presCtxIds, xferSyns);
    if (xferSyn == UID_NONE) {
        return fail(TUL_PROTOCOL, LOG_ERROR, "DcTul::readNextPdu",
                    "Invalid Presentation Context ID - %d, association will be closed", id);
    }
    PduAccess::xferSyn(message) = xferSyn;
    const int result = readPduDataTf(&message, xferSyn, block);
    return result == RESULT_OK ? parseMessage(message, xferSyn) : result;
}

int DcTul::readNextPdu(DcPdu** pdu, unsigned char* presCtxIds, DICT_UID* xferSyns, PDU_BLOCK block) {
    *pdu = nullptr;
    if (!isConnected()) return TUL_NO_CONNECTION;
    PDU_TYPE type = PDU_TYPE_DATA_TF;
    int result = RESULT_OK;
    std::unique_ptr<DcPdu> received(takeCarried());
    if (received != nullptr) {
        result = sink_->checkAsked();
    } else {
        result = readNextPduType(type, block);
        if (result != RESULT_OK || type == PDU_TYPE_NONE) return result;
        received.reset(newPdu(type));
        result = receivePdu(type, received.get(), presCtxIds, xferSyns);
    }
    if (result == RESULT_OK && type == PDU_TYPE_DATA_TF) {
        result = completeMessage(static_cast<DcPduDataTf&>(*received), presCtxIds, xferSyns, block);
    }
    // An application's own result may be any number, also one that means something here.
    if (std::exchange(callbackEnded_, false)) return failRefused(result);
    if (result == RESULT_OK || result == ELEM_REFUSED) {
        *pdu = received.release();
        if (*pdu != nullptr) PduAccess::setReception(**pdu, nullptr);  // it may outlive the transport
        return result;
    }
    if (result == ELEM_NO_MEMORY || (result >= TSM_ABORT_INDICATION && result <= TSM_RELEASE_INDICATION)) {
        return result;
    }
    return failRefused(result);
}

// A peer may begin the data set in the PDU that ends its command. Where data sets go to a callback, or only
// behind a command that announces them, the command is handed out first, and the rest of the PDU is kept for
// the next call.
void DcTul::carry(DcPduDataTf& pdu) {
    if ((dataSetCB_ == nullptr && !dataSetCheck_) || !PduAccess::commandEnds(pdu)) return;
    const DcBuf* const end = PduAccess::commandEnd(pdu);
    carried_ = static_cast<DcPduDataTf*>(newPdu(PDU_TYPE_DATA_TF));
    PduAccess::presCtxId(*carried_) = PduAccess::presCtxId(pdu);
    PduAccess::msgCtrl(*carried_) = std::exchange(PduAccess::msgCtrl(pdu), wire::kCommand | wire::kLast);
    while (DcBuf* const next = end != nullptr ? end->next() : pdu.firstBuf()) {
        (void)pdu.subtract(next);
        (void)carried_->add(next);
    }
}

// What was kept, if the association is still the same.
DcPdu* DcTul::takeCarried() {
    DcPduDataTf* const carried = std::exchange(carried_, nullptr);
    if (carried == nullptr) return nullptr;
    if (carried->getSockConv() == sockConv_ && state_ == TSM_STATE_06_ASSOCIATED) return carried;
    delete carried;
    return nullptr;
}
