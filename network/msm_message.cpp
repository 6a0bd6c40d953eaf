// The association service: sending and receiving messages, and acting on what the peer sends.
#include <algorithm>
#include <chrono>
#include <memory>
#include <string>

#include "dataset/elemlist_access.h"
#include "dictionary/syntax_table.h"
#include "foundation/fail.h"
#include "media/meta_info.h"
#include "network/cmd_factory.h"
#include "network/cmd_table.h"
#include "network/msm_own.h"
#include "network/pdu_access.h"
#include "network/reception.h"
#include "network/store_request.h"
#include "network/wire.h"
#include "orvkit/file.h"
#include "orvkit/util.h"
#include "platform/socket.h"

using namespace orvkit;

namespace {

// Larger fragments win nothing, and one from disk is held in memory.
constexpr unsigned int kLargestPdu = 1u << 20;

using Clock = std::chrono::steady_clock;

bool saysDataSet(DcMsg& message) {
    unsigned short follows = wire::kNoDataSet;
    (void)ElemListAccess::firstValue(message, T_0000_0800_dataSetType, follows);
    return follows != wire::kNoDataSet;
}

// Says so, and may (PS3.7 9.3, 10.3).
bool announcesDataSet(DcMsg& message) {
    const CmdRow* const row = cmdRow(message.getType());
    return saysDataSet(message) && (row == nullptr || row->dataset != CMD_DATASET_ABSENT);
}

bool hasDataSet(const DcMsg& message) {
    const DcElem* const last = message.lastElem();
    return last != nullptr && ElemAccess::tag(*last) >> 16 != 0;
}

}  // namespace

// ---- sending ----------------------------------------------------------------------------------------

int DcMsm::write(unsigned char presCtxId, DcMsg* msg) {
    constexpr const char* reporter = "DcMsm::write";
    if (msg == nullptr) return failNull(MSM_PRINT, reporter);
    const DcMsmAssoInfo& asso = own_->asso;
    const auto end = asso.presCtxId + asso.assoNum;
    const auto id = std::find(asso.presCtxId, end, presCtxId);
    if (id == end) {
        return fail(MSM_CONTEXT_ID, LOG_ERROR, reporter, "Invalid Presentation Context ID %d", presCtxId);
    }
    const DICT_UID syntax = asso.xferSyn[id - asso.presCtxId];
    if (Dict.getUidType(syntax) != UID_TYPE_XFER_SYN) {
        return fail(MSM_CONTEXT_SYNTAX, LOG_ERROR, reporter, "Invalid TS for Pres Ctx ID %d (%s)", presCtxId,
                    uidName(syntax));
    }
    // The state machine passes over data where it expects none, without an error.
    if (!isConnected() ||
        (getState() != TSM_STATE_06_ASSOCIATED && getState() != TSM_STATE_08_AWAIT_LOCAL_REL_RP)) {
        return TSM_NO_CONNECTION;
    }
    const unsigned int own = own_->maxPduLen != 0 ? own_->maxPduLen : maxPduLen_;
    DcPduInfoTf info;
    info.presCtxId = presCtxId;
    info.xferSyn = syntax;
    info.maxPduLen = asso.maxPduLen == 0 ? own : std::min(asso.maxPduLen, std::max(own, kLargestPdu));
    if (const int result = msg->setInfo(info); result != RESULT_OK) return result;
    const unsigned int socket = sockConv_;
    msg->setSockConv(socket);  // it may have travelled on another association before
    const int result = event08_writeDataTfPdu(msg);
    // Part of a message cannot be taken back: the association is over.
    if (result != RESULT_OK && PduAccess::sent(*msg)) closeTransport();
    return result;
}

int DcMsm::write(DICT_UID sop, DcMsg* msg, DICT_UID xfer) {
    constexpr const char* reporter = "DcMsm::write";
    if (msg == nullptr) return failNull(MSM_PRINT, reporter);
    const bool fromFile = ElemListAccess::find(*msg, T_0006_0007_fileReference) != nullptr;
    if (xfer == UID_NONE) {
        const DcElem* const pixels = ElemListAccess::find(*msg, T_7fe0_0010_pixelData);
        const DcBuf* const buffer = pixels != nullptr ? ElemAccess::firstBuf(*pixels) : nullptr;
        if (buffer != nullptr) xfer = buffer->getXferSyn();
        if (xfer == UID_NONE) xfer = UID_LITTLE_ENDIAN_EXPLICIT;
    }
    const DcMsmAssoInfo& asso = own_->asso;
    int chosen = -1;
    for (int i = 0; i < asso.assoNum; ++i) {
        if (asso.sopClass[i] != sop || asso.xferSyn[i] == UID_NONE) continue;
        if (asso.xferSyn[i] == xfer) {
            chosen = i;
            break;
        }
        const bool interchangeable = !fromFile && isLittleNative(xfer) && isLittleNative(asso.xferSyn[i]);
        if (interchangeable && chosen == -1) chosen = i;
    }
    if (chosen == -1) {
        return fail(MSM_CONTEXT_SYNTAX, LOG_ERROR, reporter, "No valid Association negotiated for %s (%s)",
                    uidName(sop), uidName(xfer));
    }
    return write(asso.presCtxId[chosen], msg);
}

int DcMsm::sendMessage(DICT_UID sop, DcMsg* msg, DICT_UID xfer) {
    return write(sop, msg, xfer);
}

int DcMsm::sendMessage(const char* path) {
    constexpr const char* reporter = "DcMsm::sendMessage";
    if (path == nullptr) return failNull(MSM_PRINT, reporter);
    std::string name(path);
    (void)utilChangeBackslash(name.data());
    DcDirMetaInfo meta;
    unsigned int end = 0;
    if (const int result = dirReadFileMetaInfo(name.c_str(), meta, end); result != RESULT_OK) {
        return fail(result, LOG_ERROR, reporter, "failed to read file meta info for %s", path);
    }
    DcCmdCStoreRq request;
    if (!fillStoreRequest(request, name.c_str(), meta.sopClassUid, meta.sopInstanceUid)) {
        return fail(DIR_OPEN, LOG_ERROR, reporter, "%s cannot be referred to", path);
    }
    return write(meta.sopClassUid, &request, meta.transferSyntax);
}

// ---- receiving --------------------------------------------------------------------------------------

int DcMsm::read(DICT_UID* sop, DcMsg** msg, MSM_BLOCK_READ block, MSM_BLOCK_CONNECT connectBlock) {
    const Reception::Message clock(reception());
    if (msg != nullptr) return readNext(sop, msg, block, connectBlock);
    DcMsg* unwanted = nullptr;
    const int result = readNext(sop, &unwanted, block, connectBlock);
    delete unwanted;
    return result;
}

int DcMsm::readNext(DICT_UID* sop, DcMsg** msg, MSM_BLOCK_READ block, MSM_BLOCK_CONNECT connectBlock) {
    *msg = nullptr;
    if (sop != nullptr) *sop = UID_NONE;
    Clock::time_point begun = Clock::now();
    for (;;) {
        if (!isConnected()) {
            if ((role_ & TSM_ROLE_SCP) == 0) return MSM_NO_CONNECTION;
            if (const int result = accept(connectBlock); result != RESULT_OK) return result;
            begun = Clock::now();
            reception().beginMessage();
        }
        DcPdu* next = nullptr;
        const int result = readNextPdu(&next, own_->asso.presCtxId, own_->asso.xferSyn,
                                       block == MSM_BLOCK_READ_POLL ? PDU_BLOCK_POLL : PDU_BLOCK_WAIT);
        const std::unique_ptr<DcPdu> pdu(next);
        int code = 0;
        if (pdu == nullptr) {
            code = isTooLate(result) ? MSM_READ_TIMEOUT : outcome(result, block);
        } else {
            switch (pdu->getType()) {
                case PDU_TYPE_DATA_TF:
                    code = makeMsg(static_cast<DcPduDataTf*>(pdu.get()), msg, sop);
                    if (code == MSM_MESSAGE && result == ELEM_REFUSED) code = ELEM_REFUSED;
                    break;
                default:
                    code = actOn(*pdu);
                    break;
            }
        }
        // A peer that goes on sending what means nothing here holds the caller no longer than a silent one.
        if (code == 0 && Clock::now() - begun >= std::chrono::seconds(timeouts_.readTimeout)) {
            code = outcome(DATATF_NOT_READY, block);
        }
        if (code != 0) return code;
    }
}

// Whether nothing more can be read because the message took its time.
bool DcMsm::isTooLate(int result) {
    if ((result != DATATF_NOT_READY && result != TUL_PDU_REFUSED) || !reception().isLate()) return false;
    (void)fail(MSM_READ_TIMEOUT, LOG_ERROR, "DcMsm::read",
               "No whole message received within %d seconds, Association will be closed",
               reception().message.seconds);
    closeTransport();
    return true;
}

// What a PDU of the association itself means; 0 for nothing.
int DcMsm::actOn(DcPdu& pdu) {
    switch (pdu.getType()) {
        case PDU_TYPE_ASSO_RQ:
            if (scpAssoRqRsp(static_cast<DcPduAssoRq*>(&pdu)) == RESULT_OK) return MSM_REQUEST_ANSWERED;
            closeTransport();
            return MSM_CLOSED;
        case PDU_TYPE_ASSO_AC:
            if (scuAssoAcRsp(static_cast<DcPduAssoAc*>(&pdu)) == RESULT_OK) return MSM_ACCEPTED;
            (void)releaseAssociation();
            return MSM_REJECTED;
        case PDU_TYPE_ASSO_RJ: {
            const auto& reject = static_cast<DcPduAssoRj&>(pdu);
            own_->asso.reject = {reject.getResult(), reject.getSource(), reject.getReason()};
            return MSM_REJECTED;
        }
        case PDU_TYPE_RELEASE_RQ:
            return MSM_RELEASE_REQUESTED;
        case PDU_TYPE_RELEASE_RP:
            return MSM_RELEASED;
        case PDU_TYPE_ABORT:
            return MSM_ABORTED;
        default:
            return 0;
    }
}

// What a code of the upper layer without a PDU means; 0 for nothing.
int DcMsm::outcome(int result, MSM_BLOCK_READ block) {
    switch (result) {
        case TUL_PROTOCOL:
        case TUL_PDU_REFUSED:
        case ELEM_NO_MEMORY:
            closeTransport();
            return MSM_CLOSED;
        case TSM_RELEASE_INDICATION:
            // In a collision the side that accepted the association answers when it has its own answer.
            if (getState() == TSM_STATE_10_COLLISION_SCP) return 0;
            (void)event13_writeRelRpPdu();
            return MSM_RELEASE_REQUESTED;
        case TSM_RELEASE_CONFIRM:
            if (getState() == TSM_STATE_12_COLLISION_SCP_RP) (void)event13_writeRelRpPdu();
            return MSM_RELEASED;
        case TSM_CLOSED:
            return MSM_NO_CONNECTION;
        case TSM_ABORT_INDICATION:
        case TSM_ABORT_CLIENT:
            return MSM_ABORTED;
        case DATATF_SOCKET:
            closeTransport();
            return MSM_RECEIVE;
        case DATATF_NOT_READY:
            if (block != MSM_BLOCK_READ_POLL) closeTransport();
            return MSM_READ_TIMEOUT;
        default:
            return 0;
    }
}

// A whole command or data set has come: the upper layer put its fragments together.
int DcMsm::makeMsg(DcPduDataTf* pdu, DcMsg** msg, DICT_UID* sop) {
    const DcMsmAssoInfo& asso = own_->asso;
    const auto id = std::find(asso.presCtxId, asso.presCtxId + asso.assoNum, PduAccess::presCtxId(*pdu));
    if (sop != nullptr && id != asso.presCtxId + asso.assoNum) *sop = asso.sopClass[id - asso.presCtxId];
    // An unknown command is the application's to answer (PS3.7 annex C: unrecognized operation).
    *msg = makeReceived(*pdu).message.release();
    expectDataSet(announcesDataSet(**msg));
    return MSM_MESSAGE;
}

int DcMsm::receiveMessage(DICT_UID* sop, DcMsg** msg, MSM_BLOCK_READ block, MSM_BLOCK_CONNECT connectBlock) {
    const Reception::Message clock(reception());
    DcMsg* received = nullptr;
    const int result = readNext(sop, &received, block, connectBlock);
    std::unique_ptr<DcMsg> message(received);
    if (msg != nullptr) *msg = nullptr;
    if (result != MSM_MESSAGE) {
        if (msg != nullptr) *msg = message.release();
        return result;
    }
    const int last = processMsg(*message);
    if (msg != nullptr && (last == MSM_MESSAGE || last == ELEM_REFUSED)) *msg = message.release();
    return last;
}

// Completes a command by its data set.
int DcMsm::processMsg(DcMsg& message) {
    constexpr const char* reporter = "DcMsm::receiveMessage";
    const auto refuse = [this](const char* text) {
        (void)fail(MSM_CLOSED, LOG_ERROR, reporter, "%s, Association will be closed", text);
        closeTransport();
        return MSM_CLOSED;
    };
    if (message.getType() == MSG_TYPE_DATASET) return refuse("Data set without a command received");
    // Some peers put both into one PDU.
    if (!saysDataSet(message) || hasDataSet(message)) return MSM_MESSAGE;
    DcMsg* next = nullptr;
    const int result = readNext(nullptr, &next, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    const std::unique_ptr<DcMsg> dataset(next);
    if (dataset == nullptr) return result;
    if (dataset->getType() != MSG_TYPE_DATASET) return refuse("Command received, expecting a data set");
    if (PduAccess::presCtxId(*dataset) != PduAccess::presCtxId(message)) {
        return refuse("Data set received on another presentation context than its command");
    }
    (void)dataset->moveElem(&message);
    return result;
}
