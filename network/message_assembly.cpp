// Putting the fragments of a command or a data set together (PS3.8 annex E).
#include <chrono>
#include <memory>

#include "encoding/codec.h"
#include "network/tul_own.h"
#include "network/wire.h"

using namespace orvkit;

namespace {

bool bringsBytes(const DcPduDataTf& pdu) {
    return pdu.firstBuf() != nullptr || PduAccess::sunkBytes(pdu) != 0;
}

}  // namespace

// Fragments that bring nothing hold the receiver no longer than silence.
int DcTul::checkProgress(Part& part, DcPduDataTf& latest) const {
    if (bringsBytes(latest) || (PduAccess::msgCtrl(latest) & wire::kLast) != 0 ||
        Part::Clock::now() - part.movedAt <= std::chrono::seconds(timeouts_.readTimeout)) {
        return RESULT_OK;
    }
    return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly,
                "Nothing but empty fragments received in time, Association will be closed");
}

int DcTul::takeFragment(Part& part, DcPduDataTf& latest) {
    const bool brings = bringsBytes(latest);
    int result = checkProgress(part, latest);
    if (result == RESULT_OK) result = processPduDataTf(part, &latest);
    // What a callback or the disk takes is no idleness of the peer's.
    if (brings) part.movedAt = Part::Clock::now();
    return result;
}

int DcTul::readPduDataTf(DcPduDataTf* message, DICT_UID xferSyn, PDU_BLOCK) {
    Part part(*message, xferSyn);
    if (dataSetCB_ != nullptr) {
        part.toSink = (PduAccess::msgCtrl(*message) & wire::kCommand) == 0;
    } else if (orvkit::codecOf(xferSyn) != nullptr) {
        part.pixels = Pixels::stay;  // nowhere to be found before the whole is unpacked
    } else if (pixelHandle_ > 0 || pixelFileName_ != nullptr || pixRecvCB_ != nullptr ||
               pixDataCB_ != nullptr) {
        part.pixels = Pixels::sought;
    }
    int result = takeFragment(part, *message);
    unsigned char control = PduAccess::msgCtrl(*message);
    while (result == RESULT_OK && (control & wire::kLast) == 0) {
        // A part that has begun is waited for, also by a caller who polls.
        PDU_TYPE type = PDU_TYPE_NONE;
        result = readNextPduType(type, PDU_BLOCK_WAIT);
        if (result != RESULT_OK || type == PDU_TYPE_NONE) return result;
        if (type != PDU_TYPE_DATA_TF) {
            return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly,
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
            return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly,
                        "Incomplete DIMSE message received, Association will be closed");
        }
        if (PduAccess::presCtxId(latest) != PduAccess::presCtxId(*message)) {
            return failContext(PduAccess::presCtxId(latest), PduAccess::presCtxId(*message));
        }
        const bool holdsCommand =
            PduAccess::commandBytes(latest) != 0 || (PduAccess::msgCtrl(latest) & wire::kCommand) != 0;
        if (holdsCommand && (control & wire::kCommand) == 0) {
            return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly,
                        "Command within a data set, Association will be closed");
        }
        carry(latest);
        control = PduAccess::msgCtrl(latest);
        PduAccess::msgCtrl(*message) = control;
        result = takeFragment(part, latest);
    }
    if (result != RESULT_OK) return result;
    return part.pixels == Pixels::found ? finishPixels(part) : RESULT_OK;
}

int DcTul::processPduDataTf(Part& part, DcPduDataTf* latest) {
    const bool last = (PduAccess::msgCtrl(*latest) & wire::kLast) != 0;
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
            if (part.pixels == Pixels::found) {
                if (pixDataCB_ != nullptr) (void)pixDataCB_(pixDataUser_, data, length, part.xferSyn);
                if (pixelFileName_ != nullptr || pixelHandle_ >= 0) {
                    if (const int result = divert(part, data, length); result != RESULT_OK) return result;
                    continue;
                }
            }
            (void)part.message.add(owner.release());
        }
        if (part.pixels == Pixels::sought) part.search.append({data, length});
    }
    return part.pixels == Pixels::sought && part.search.found() ? findPixelData(part) : RESULT_OK;
}

int DcTul::toCallback(const unsigned char* data, unsigned int length, DICT_UID xferSyn, bool last) {
    // A callback that is ended in the middle of a data set loses the rest of it.
    if (dataSetCB_ == nullptr) return RESULT_OK;
    const int result = dataSetCB_(dataSetUser_, data, length, xferSyn, last ? 1 : 0);
    callbackEnded_ = result != RESULT_OK;
    return result;
}
