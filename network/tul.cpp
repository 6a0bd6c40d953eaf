#include "orvkit/tul.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "foundation/fail.h"
#include "network/connection.h"
#include "network/pdu_access.h"
#include "network/pixel_search.h"
#include "network/reception.h"
#include "orvkit/util.h"
#include "platform/file.h"

using orvkit::fail;
using orvkit::PduAccess;
namespace platform = orvkit::platform;

namespace {

constexpr unsigned char kCommand = 1;  // bits of the message control header
constexpr unsigned char kLastFragment = 2;
constexpr unsigned int kLargestCommand = 1u << 20;  // far above any (PS3.7 annex E)
using Clock = std::chrono::steady_clock;
constexpr std::size_t kPiece = 65536;  // of a data set that passes through; stays in the processor's cache
constexpr unsigned int kLongest = 0xFFFFFFFE;  // that a value can be

// The syntax that was accepted for a presentation context; UID_NONE for none.
DICT_UID acceptedSyntax(unsigned char id, const unsigned char* presCtxIds, const DICT_UID* xferSyns) {
    for (int i = 0; id != 0 && i < PDU_PRES_CTX_MAX; ++i) {
        if (presCtxIds[i] == id) return xferSyns[i];
    }
    return UID_NONE;
}

int failContext(unsigned char id, unsigned char own) {
    return fail(TUL_PROTOCOL, LOG_ERROR, "DcTul::readPduDataTf",
                "Presentation Context ID %d within a message of %d, Association will be closed", id, own);
}

int failRefused(int result) {
    return fail(TUL_PDU_REFUSED, LOG_ERROR, "DcTul::readNextPdu", "error code 0x%04x",
                static_cast<unsigned int>(result));
}

int failAppend(const char* reporter, const char* path) {
    return fail(TUL_APPEND, LOG_ERROR, reporter, "Failed to open file %s in append mode", path);
}

char* copyOf(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    char* const copy = new char[size];
    std::memcpy(copy, text, size);
    return copy;
}

}  // namespace

// What becomes of the values of one message while their PDUs arrive.
class DcTul::Sink final : public orvkit::DataSink {
  public:
    explicit Sink(DcTul& owner) : owner_(owner) {}

    // For the first PDU of a message: any accepted context.
    void begin(const unsigned char* presCtxIds, const DICT_UID* xferSyns) {
        presCtxIds_ = presCtxIds;
        xferSyns_ = xferSyns;
        presCtxId_ = 0;
        passes_ = owner_.dataSetCB_ != nullptr;
        refused_ = false;
        commandBytes_ = 0;
        keptBytes_ = 0;
    }
    // For the others: the message's own.
    void goOn(unsigned char presCtxId, DICT_UID xferSyn, bool passes) {
        presCtxId_ = presCtxId;
        xferSyn_ = xferSyn;
        passes_ = passes;
    }

    bool wants(unsigned char presCtxId) override {
        if (!passes_) return false;
        if (presCtxId_ != 0) return presCtxId == presCtxId_;
        xferSyn_ = acceptedSyntax(presCtxId, presCtxIds_, xferSyns_);
        if (xferSyn_ != UID_NONE) presCtxId_ = presCtxId;
        return xferSyn_ != UID_NONE;
    }
    unsigned char presCtxId() const { return presCtxId_; }
    std::span<unsigned char> room() override {
        unsigned int size = 0;
        unsigned char* const room =
            owner_.roomCB_ != nullptr ? owner_.roomCB_(owner_.dataSetUser_, &size) : nullptr;
        if (room != nullptr && size > 0) return {room, size};
        buffer_.resize(kPiece);
        return buffer_;
    }
    int take(std::span<const unsigned char> piece) override {
        return owner_.toCallback(piece.data(), static_cast<unsigned int>(piece.size()), xferSyn_, false);
    }

    int admit(Of what, bool kept, unsigned int length) override {
        int result = RESULT_OK;
        if (what == Of::command) {
            result = admitCommand(length);
        } else {
            if (what == Of::dataSet) result = checkAsked();
            if (result == RESULT_OK && kept) result = admitKept(length);
        }
        refused_ = result != RESULT_OK;
        return result;
    }
    // Whether the data set that comes now was asked for.
    int checkAsked() const {
        if (!owner_.dataSetCheck_ || owner_.dataSetExpected_) return RESULT_OK;
        return fail(TUL_PROTOCOL, LOG_ERROR, kReporter,
                    "Data set received that was not asked for, Association will be closed");
    }
    bool refused() const { return refused_; }
    // Bytes that were kept have gone elsewhere.
    void letGo(unsigned int length) { keptBytes_ -= std::min<std::uint64_t>(keptBytes_, length); }

  private:
    // A command ends, and is small.
    int admitCommand(unsigned int length) {
        commandBytes_ += length;
        if (commandBytes_ <= kLargestCommand) return RESULT_OK;
        return fail(TUL_PROTOCOL, LOG_ERROR, kReporter,
                    "Command of more than %u bytes received, Association will be closed", kLargestCommand);
    }
    int admitKept(unsigned int length) {
        const std::uint64_t limit = owner_.reception().limit;
        keptBytes_ += length;
        if (limit == 0 || keptBytes_ <= limit) return RESULT_OK;
        return fail(TUL_PROTOCOL, LOG_ERROR, kReporter,
                    "Data set of more than %llu bytes received, Association will be closed",
                    static_cast<unsigned long long>(limit));
    }

    static constexpr const char* kReporter = "DcTul::readPduDataTf";

    DcTul& owner_;
    const unsigned char* presCtxIds_ = nullptr;
    const DICT_UID* xferSyns_ = nullptr;
    unsigned char presCtxId_ = 0;
    DICT_UID xferSyn_ = UID_NONE;
    bool passes_ = false;  // to the callback
    bool refused_ = false;
    std::uint64_t commandBytes_ = 0;
    std::uint64_t keptBytes_ = 0;
    std::vector<unsigned char> buffer_;
};

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

DcPdu* DcTul::newPdu(PDU_TYPE type) {
    DcPdu* pdu = nullptr;
    switch (type) {
        case PDU_TYPE_ASSO_RQ: {
            auto* const request = new DcPduAssoRq;
            if (answersBroken_) PduAccess::takeOneVersionAmongOthers(*request);
            pdu = request;
            break;
        }
        case PDU_TYPE_ASSO_AC:
            pdu = new DcPduAssoAc;
            break;
        case PDU_TYPE_ASSO_RJ:
            pdu = new DcPduAssoRj;
            break;
        case PDU_TYPE_DATA_TF: {
            auto* const data = new DcPduDataTf;
            (void)data->registerValueExceptionCB(exceptionUser_, exceptionCB_);
            pdu = data;
            break;
        }
        case PDU_TYPE_RELEASE_RQ:
            pdu = new DcPduReleaseRq;
            break;
        case PDU_TYPE_RELEASE_RP:
            pdu = new DcPduReleaseRp;
            break;
        case PDU_TYPE_ABORT:
            pdu = new DcPduAbort;
            break;
        default:
            return nullptr;
    }
    DcPduInfo info{maxPduLen_, static_cast<unsigned int>(timeouts_.readTimeout),
                   static_cast<unsigned int>(timeouts_.writeTimeout)};
    pdu->DcPdu::setInfo(info);
    PduAccess::setReception(*pdu, &reception());
    (void)pdu->attach(sockConv_);
    return pdu;
}

namespace {

TSM_EVENT eventOf(PDU_TYPE type) {
    switch (type) {
        case PDU_TYPE_ASSO_RQ:
            return TSM_EVENT_05_RQ_PDU;
        case PDU_TYPE_ASSO_AC:
            return TSM_EVENT_02_AC_PDU;
        case PDU_TYPE_ASSO_RJ:
            return TSM_EVENT_03_RJ_PDU;
        case PDU_TYPE_DATA_TF:
            return TSM_EVENT_09_DATA_TF_PDU;
        case PDU_TYPE_RELEASE_RQ:
            return TSM_EVENT_11_RELEASE_RQ_PDU;
        case PDU_TYPE_RELEASE_RP:
            return TSM_EVENT_12_RELEASE_RP_PDU;
        case PDU_TYPE_ABORT:
            return TSM_EVENT_15_ABORT_PDU;
        default:
            return TSM_EVENT_18_INVALID_PDU;
    }
}

}  // namespace

// Behind a PDU of no known type nothing tells where the next one begins: what has arrived with it is dropped,
// so that it is answered and reported once and not byte by byte.
void DcTul::discardArrived() {
    if (connectionRole_ == 0) return;
    orvkit::Connection connection(sockConv_);
    unsigned char forgotten[4096];
    std::size_t left = 65536;
    for (std::size_t count = 0; left > 0; left -= count) {
        if (connection.receive(forgotten, std::min(left, sizeof forgotten), 0, count) !=
            platform::Received::data) {
            return;
        }
    }
}

int DcTul::readNextPdu(DcPdu** pdu, unsigned char* presCtxIds, DICT_UID* xferSyns, PDU_BLOCK block) {
    constexpr const char* reporter = "DcTul::readNextPdu";
    *pdu = nullptr;
    if (connectionRole_ == 0) return TUL_NO_CONNECTION;
    PDU_TYPE type = PDU_TYPE_DATA_TF;
    int result = RESULT_OK;
    std::unique_ptr<DcPdu> received(takeCarried());
    if (received != nullptr) {
        result = sink_->checkAsked();
    } else {
        result = readNextPduType(type, block);
        if (result != RESULT_OK || type == PDU_TYPE_NONE) return result;
        received.reset(newPdu(type));
        if (type == PDU_TYPE_RELEASE_RQ) {
            (void)static_cast<DcPduReleaseRq&>(*received).read(PDU_BLOCK_WAIT);
        } else if (type == PDU_TYPE_RELEASE_RP && state_ == TSM_STATE_10_COLLISION_SCP) {
            // The connection stays open behind this answer.
            (void)static_cast<DcPduReleaseRp&>(*received).read(PDU_BLOCK_WAIT);
        } else if (type == PDU_TYPE_ABORT) {
            (void)static_cast<DcPduAbort&>(*received).read(PDU_BLOCK_WAIT);
        }
        if (type == PDU_TYPE_DATA_TF) {
            sink_->begin(presCtxIds, xferSyns);
            PduAccess::setSink(static_cast<DcPduDataTf&>(*received), sink_);
        }
        result = stateMachine(eventOf(type), received.get());
        if (type == PDU_TYPE_INVALID) discardArrived();
        if (answersBroken_ && result == ACRQ_INVALID && type == PDU_TYPE_ASSO_RQ) {
            answerBrokenRequest(static_cast<DcPduAssoRq&>(*received));
        }
        if (result == RESULT_OK && type == PDU_TYPE_DATA_TF) carry(static_cast<DcPduDataTf&>(*received));
    }
    if (result == RESULT_OK && type == PDU_TYPE_DATA_TF) {
        auto& message = static_cast<DcPduDataTf&>(*received);
        const unsigned char id = PduAccess::presCtxId(message);
        const DICT_UID xferSyn = acceptedSyntax(id, presCtxIds, xferSyns);
        if (PduAccess::sunkBytes(message) != 0 && sink_->presCtxId() != id) {
            return failRefused(failContext(id, sink_->presCtxId()));
        }
        if (xferSyn == UID_NONE) {
            (void)fail(TUL_PROTOCOL, LOG_ERROR, reporter,
                       "Invalid Presentation Context ID - %d, association will be closed", id);
            return failRefused(TUL_PROTOCOL);
        }
        PduAccess::xferSyn(message) = xferSyn;
        result = readPduDataTf(&message, xferSyn, block);
        if (result == RESULT_OK) result = message.parse();
    }
    // An application's own result may be any number, also one that means something here.
    if (std::exchange(callbackEnded_, false)) return failRefused(result);
    if (result == RESULT_OK || result == ELEM_REFUSED) {
        *pdu = received.release();
        PduAccess::setReception(**pdu, nullptr);  // it may outlive the transport
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
    PduAccess::msgCtrl(*carried_) = std::exchange(PduAccess::msgCtrl(pdu), kCommand | kLastFragment);
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

// ---- a command or a data set ------------------------------------------------------------------------

// Mode: 0 everything is kept, 1 Pixel Data is being looked for, 2 its bytes are arriving.
struct DcTul::Part {
    Part(DcPduDataTf& pdu, DICT_UID syntax) : message(pdu), xferSyn(syntax), search(syntax) {}

    DcPduDataTf& message;
    DICT_UID xferSyn;
    bool toSink = false;  // its bytes go to the data set callback
    int mode = 0;
    std::uint64_t pixelLength = 0;
    orvkit::PixelSearch search;
    platform::FileHandle file;                 // the pixel data file, once opened
    Clock::time_point movedAt = Clock::now();  // when bytes were dealt with last
};

namespace {

bool bringsBytes(const DcPduDataTf& pdu) {
    return pdu.firstBuf() != nullptr || PduAccess::sunkBytes(pdu) != 0;
}

}  // namespace

// Fragments that bring nothing hold the receiver no longer than silence.
int DcTul::checkProgress(Part& part, DcPduDataTf& latest) const {
    if (bringsBytes(latest) || (PduAccess::msgCtrl(latest) & kLastFragment) != 0 ||
        Clock::now() - part.movedAt <= std::chrono::seconds(timeouts_.readTimeout)) {
        return RESULT_OK;
    }
    return fail(TUL_PROTOCOL, LOG_ERROR, "DcTul::readPduDataTf",
                "Nothing but empty fragments received in time, Association will be closed");
}

int DcTul::takeFragment(Part& part, DcPduDataTf& latest) {
    const bool brings = bringsBytes(latest);
    int result = checkProgress(part, latest);
    if (result == RESULT_OK) result = processPduDataTf(part, &latest);
    // What a callback or the disk takes is no idleness of the peer's.
    if (brings) part.movedAt = Clock::now();
    return result;
}

int DcTul::readPduDataTf(DcPduDataTf* message, DICT_UID xferSyn, PDU_BLOCK) {
    constexpr const char* reporter = "DcTul::readPduDataTf";
    Part part(*message, xferSyn);
    if (dataSetCB_ != nullptr) {
        part.toSink = (PduAccess::msgCtrl(*message) & kCommand) == 0;
    } else if (pixelHandle_ > 0 || pixelFileName_ != nullptr || pixRecvCB_ != nullptr ||
               pixDataCB_ != nullptr) {
        part.mode = 1;
    }
    int result = takeFragment(part, *message);
    unsigned char control = PduAccess::msgCtrl(*message);
    while (result == RESULT_OK && (control & kLastFragment) == 0) {
        // A part that has begun is waited for, also by a caller who polls.
        PDU_TYPE type = PDU_TYPE_NONE;
        result = readNextPduType(type, PDU_BLOCK_WAIT);
        if (result != RESULT_OK || type == PDU_TYPE_NONE) return result;
        if (type != PDU_TYPE_DATA_TF) {
            return fail(TUL_PROTOCOL, LOG_ERROR, reporter,
                        "Out-of-sequence PDU 0x%02x received, expecting P-DATA-TF PDU, "
                        "Association will be closed",
                        static_cast<unsigned int>(type));
        }
        const std::unique_ptr<DcPdu> next(newPdu(type));
        auto& latest = static_cast<DcPduDataTf&>(*next);
        sink_->goOn(PduAccess::presCtxId(*message), xferSyn, part.toSink);
        PduAccess::setSink(latest, sink_);
        if (const int read = stateMachine(TSM_EVENT_09_DATA_TF_PDU, next.get()); read != RESULT_OK) {
            if (callbackEnded_ || sink_->refused()) return read;
            return fail(TUL_PROTOCOL, LOG_ERROR, reporter,
                        "Incomplete DIMSE message received, Association will be closed");
        }
        if (PduAccess::presCtxId(latest) != PduAccess::presCtxId(*message)) {
            return failContext(PduAccess::presCtxId(latest), PduAccess::presCtxId(*message));
        }
        const bool holdsCommand =
            PduAccess::commandBytes(latest) != 0 || (PduAccess::msgCtrl(latest) & kCommand) != 0;
        if (holdsCommand && (control & kCommand) == 0) {
            return fail(TUL_PROTOCOL, LOG_ERROR, reporter,
                        "Command within a data set, Association will be closed");
        }
        carry(latest);
        control = PduAccess::msgCtrl(latest);
        PduAccess::msgCtrl(*message) = control;
        result = takeFragment(part, latest);
    }
    if (result != RESULT_OK) return result;
    return part.mode == 2 ? finishPixels(part) : RESULT_OK;
}

int DcTul::processPduDataTf(Part& part, DcPduDataTf* latest) {
    const bool last = (PduAccess::msgCtrl(*latest) & kLastFragment) != 0;
    DcBufList* const arrived = PduAccess::buffers(*latest);
    DcBuf* next = arrived == nullptr ? nullptr : arrived->first();
    if (next == nullptr && part.toSink && last) return toCallback(nullptr, 0, part.xferSyn, true);
    for (DcBuf* buffer = next; buffer != nullptr; buffer = next) {
        next = buffer->next();
        buffer->setXferSyn(part.xferSyn);
        auto* const data = static_cast<unsigned char*>(buffer->getBuf());
        const unsigned int length = buffer->getLen();
        if (part.toSink) {
            const int result = toCallback(data, length, part.xferSyn, last && next == nullptr);
            (void)latest->subtract(buffer);
            delete buffer;
            if (result != RESULT_OK) return result;
            continue;
        }
        if (latest != &part.message) {
            (void)latest->subtract(buffer);
            std::unique_ptr<DcBuf> owner(buffer);
            if (part.mode == 2) {
                if (pixDataCB_ != nullptr) (void)pixDataCB_(pixDataUser_, data, length, part.xferSyn);
                if (pixelFileName_ != nullptr || pixelHandle_ >= 0) {
                    if (const int result = divert(part, data, length); result != RESULT_OK) return result;
                    continue;
                }
            }
            (void)part.message.add(owner.release());
        }
        if (part.mode == 1) part.search.append({data, length});
    }
    return part.mode == 1 && part.search.look(last) ? findPixelData(part) : RESULT_OK;
}

int DcTul::toCallback(const unsigned char* data, unsigned int length, DICT_UID xferSyn, bool last) {
    // A callback that is ended in the middle of a data set loses the rest of it.
    if (dataSetCB_ == nullptr) return RESULT_OK;
    const int result = dataSetCB_(dataSetUser_, data, length, xferSyn, last ? 1 : 0);
    callbackEnded_ = result != RESULT_OK;
    return result;
}

// Pixel Data has been found: hands out what stands in front of it, and begins with what stands behind.
int DcTul::findPixelData(Part& part) {
    constexpr const char* reporter = "DcTul::processPduDataTf";
    const orvkit::PixelSearch& search = part.search;
    part.mode = 2;
    if (search.offset() > kLongest) return ELEM_NO_MEMORY;
    auto before = static_cast<unsigned int>(search.offset());
    const bool keepAll = pixelFileName_ == nullptr && pixelHandle_ < 0;
    // Where the buffers stay as they are, the elements in front are joined for the callback alone.
    std::unique_ptr<unsigned char, decltype(&utilDelete)> front(nullptr, &utilDelete);
    if (before > 0 && (pixRecvCB_ != nullptr || !keepAll)) {
        front.reset(static_cast<unsigned char*>(::operator new(before, std::nothrow)));
        if (front == nullptr) {
            return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter,
                        "Insufficient memory to allocate %d bytes, Association will be closed",
                        static_cast<int>(before));
        }
        search.source().copy(0, before, front.get());
    }
    if (pixRecvCB_ != nullptr) {
        DcElemList elements;
        unsigned int length = before;
        if (before > 0) (void)elements.parse(front.get(), length, part.xferSyn);
        const int result =
            pixRecvCB_(pixRecvUser_, elements, part.xferSyn, &PduAccess::presCtxId(part.message));
        if (result != RESULT_OK) {
            callbackEnded_ = true;
            return fail(result, LOG_ERROR, reporter,
                        "DcMsmPixRecvCB function returned error code 0x%x (%d), Association will be closed",
                        static_cast<unsigned int>(result), result);
        }
    }
    if (pixDataCB_ == nullptr && keepAll) return RESULT_OK;

    // The pixel bytes that have arrived, piece by piece.
    std::uint64_t skip = search.valueOffset();
    DcBuf* next = part.message.firstBuf();
    while (next != nullptr) {
        DcBuf* const buffer = next;
        next = buffer->next();
        const unsigned int length = buffer->getLen();
        const auto from = static_cast<unsigned int>(skip < length ? skip : length);
        skip -= from;
        auto* const data = static_cast<unsigned char*>(buffer->getBuf()) + from;
        if (from < length) {
            if (pixDataCB_ != nullptr) (void)pixDataCB_(pixDataUser_, data, length - from, part.xferSyn);
            if (!keepAll) {
                if (const int result = divert(part, data, length - from); result != RESULT_OK) return result;
            }
        }
        if (!keepAll) {
            (void)part.message.subtract(buffer);
            delete buffer;
        }
    }
    if (!keepAll && before > 0) (void)part.message.add(new DcBuf(front.release(), before, part.xferSyn));
    return RESULT_OK;
}

int DcTul::divert(Part& part, const unsigned char* data, unsigned int length) {
    constexpr const char* reporter = "DcTul::processPduDataTf";
    part.pixelLength += length;
    sink_->letGo(length);
    if (pixelFileName_ != nullptr) {
        if (!part.file) part.file = platform::openAppend(pixelFileName_);
        if (!part.file) return failAppend(reporter, pixelFileName_);
        if (!platform::writeAll(part.file.get(), data, length)) {
            return fail(TUL_APPEND, LOG_ERROR, reporter, "Failed to write 0x%x (%d) bytes to file %s", length,
                        static_cast<int>(length), pixelFileName_);
        }
    }
    if (pixelHandle_ >= 0 && !platform::writeAll(pixelHandle_, data, length)) {
        return fail(TUL_APPEND, LOG_ERROR, reporter, "Failed to write 0x%x (%d) bytes to file handle %d",
                    length, static_cast<int>(length), pixelHandle_);
    }
    return RESULT_OK;
}

// Refers the message to its pixel bytes where they are now.
int DcTul::finishPixels(Part& part) {
    constexpr const char* reporter = "DcTul::readPduDataTf";
    if (part.pixelLength > kLongest && (pixelHandle_ >= 0 || pixelFileName_ != nullptr)) {
        return fail(TUL_PROTOCOL, LOG_ERROR, reporter,
                    "Pixel Data of %llu bytes is too long for an element, Association will be closed",
                    static_cast<unsigned long long>(part.pixelLength));
    }
    auto length = static_cast<unsigned int>(part.pixelLength);
    if (pixelHandle_ >= 0) {
        platform::FileHandle copy = platform::duplicate(pixelHandle_);
        if (!copy) {
            return fail(TUL_DUPLICATE, LOG_ERROR, reporter, "Failed to duplicate file handle %d",
                        pixelHandle_);
        }
        (void)part.message.add(new DcBuf(copy.release(), 0, length, part.xferSyn));
    }
    if (pixelFileName_ == nullptr) return RESULT_OK;

    platform::FileInfo info;
    part.file.reset();
    platform::FileHandle file = platform::openRead(pixelFileName_);
    if (!file || !platform::examine(file.get(), info)) {
        return fail(TUL_PROTOCOL, LOG_ERROR, reporter, "Failed to stat %s", pixelFileName_);
    }
    if (info.size < static_cast<std::int64_t>(length)) {
        return fail(TUL_PROTOCOL, LOG_ERROR, reporter, "pixDataLen 0x%x exceeds file size 0x%x in %s", length,
                    static_cast<unsigned int>(info.size), pixelFileName_);
    }
    const std::int64_t start = info.size - length;
    unsigned char tail[orvkit::kDelimitationSize];
    if (Dict.isEncapsulated(part.xferSyn) != 0 && length >= sizeof tail &&
        platform::readAt(file.get(), tail, sizeof tail, info.size - 8) == 8 &&
        std::memcmp(tail, orvkit::kPixelDataEnd, sizeof tail) == 0) {
        length -= 8;
    }
    // Offsets of 2 GByte and more are kept as the unsigned 32-bit numbers that they are.
    if (start > 0xFFFFFFFFll) {
        return fail(TUL_PROTOCOL, LOG_ERROR, reporter, "pixel data in %s begins beyond 4 GByte",
                    pixelFileName_);
    }
    (void)part.message.add(
        new DcBuf(pixelFileName_, static_cast<int>(static_cast<unsigned int>(start)), length, part.xferSyn));
    return RESULT_OK;
}
