// The association service: proposing presentation contexts and answering proposals (PS3.8 7.1, PS3.7 D.3).
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "dictionary/learned_uids.h"
#include "foundation/fail.h"
#include "network/msm_own.h"
#include "network/wire.h"
#include "orvkit/util.h"
#include "platform/socket.h"

using namespace orvkit;

namespace {

// PS3.8 9.3.4
constexpr int kRejectCalled = 7;   // called AE title not recognized
constexpr int kRejectCalling = 3;  // calling AE title not recognized
constexpr int kRejectOther = 1;    // no reason given

// The records of an association PDU, deleted with it.
class Contexts {
  public:
    explicit Contexts(const DcPduAssoAcRq& pdu) { (void)pdu.getPresCtxList(slots_.data()); }
    Contexts(const Contexts&) = delete;
    Contexts& operator=(const Contexts&) = delete;
    ~Contexts() {
        for (DcPduPresCtx* context : slots_) delete context;
    }
    auto begin() const { return slots_.begin(); }
    auto end() const { return slots_.end(); }

  private:
    std::array<DcPduPresCtx*, PDU_PRES_CTX_MAX> slots_{};
};

template <std::size_t N>
void copyStripped(char (&to)[N], const char* from) {
    copyText(to, from);
    (void)utilRemoveSpace(to, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
}

const char* applicationContextName() {
    const DcDictUidInfo* const uid = Dict.findUid(UID_DICOM_APP_CONTEXT_NAME);
    return uid != nullptr ? uid->uid : "1.2.840.10008.3.1.1.1";
}

void keepPeer(DcMsmAssoInfo& asso, const DcPduInfoAcRq& info) {
    copyStripped(asso.callingAeTitle, info.callingAeTitle);
    copyStripped(asso.calledAeTitle, info.calledAeTitle);
    copyStripped(asso.implClassUid, info.implClassUid);
    copyStripped(asso.implVerName, info.implVerName);
    asso.maxPduLen = info.maxPduLen;
}

bool lists(const DICT_UID* list, DICT_UID wanted) {
    for (int i = 0; i < MSM_XFER_SYN_MAX && list[i] != UID_NONE; ++i) {
        if (list[i] == wanted) return true;
    }
    return false;
}

// No fragment fits into what the peer accepts.
int checkPeerMaximum(const DcMsmAssoInfo& asso, const char* reporter) {
    if (asso.maxPduLen == 0 || asso.maxPduLen > wire::kMargin) return RESULT_OK;
    return fail(MSM_CONTEXT_SYNTAX, LOG_ERROR, reporter,
                "Maximum PDU length %d of the peer has no room for data, association will be ended",
                static_cast<int>(asso.maxPduLen));
}

}  // namespace

// ---- as a user --------------------------------------------------------------------------------------

int DcMsm::scuAssoRq(DcMsmScuInfo& info) {
    DcPduInfoAcRq data;
    copyText(data.calledAeTitle, info.calledAeTitle);
    copyText(data.callingAeTitle, own_->aeTitle);
    copyText(data.appCtxName, applicationContextName());
    data.maxPduLen = own_->maxPduLen;
    copyText(data.implClassUid, own_->implClassUid);
    copyText(data.implVerName, own_->implVerName);
    DcPduAssoRq pdu;
    int result = pdu.setInfo(&data);
    pdu.negotiation() = own_->ownNegotiation;
    own_->peerNegotiation.clear();
    DcMsmAssoInfo& asso = own_->asso;
    int id = 1;
    for (const DcMsmSopXferSyn& entry : own_->support) {
        if (result != RESULT_OK) return result;
        DcPduPresCtx context;
        context.itemType = PRES_CTX_TYPE_RQ;
        context.presCtxId = id;
        context.abstractSyntax = entry.sopClass;
        context.role = entry.role;
        for (int i = 0; entry.xferSyn[i] != UID_NONE; ++i) context.addXferSyn(entry.xferSyn[i]);
        result = pdu.presCtxItemAdd(&context);
        asso.presCtxId[asso.assoNum] = static_cast<unsigned char>(id);
        asso.sopClass[asso.assoNum] = entry.sopClass;
        asso.result[asso.assoNum] = PRES_CTX_AC_NO_ANSWER;
        ++asso.assoNum;
        id += 2;
    }
    return result == RESULT_OK ? event01_writeAssoRqPdu(&pdu) : result;
}

int DcMsm::scuAssoAcRsp(DcPduAssoAc* pdu) {
    DcMsmAssoInfo& asso = own_->asso;
    std::fill(std::begin(asso.result), std::end(asso.result), int{PRES_CTX_AC_NO_ANSWER});
    std::fill(std::begin(asso.xferSyn), std::end(asso.xferSyn), UID_NONE);
    std::fill(std::begin(asso.role), std::end(asso.role), 0);
    own_->peerNegotiation = pdu->negotiation();
    DcPduInfoAcRq info;
    if (const int result = pdu->getInfo(&info); result != RESULT_OK) return result;
    for (const DcPduPresCtx* context : Contexts(*pdu)) {
        if (context == nullptr) continue;
        const auto id = std::find(asso.presCtxId, asso.presCtxId + asso.assoNum, context->presCtxId);
        if (id == asso.presCtxId + asso.assoNum) continue;
        const auto slot = static_cast<std::size_t>(id - asso.presCtxId);
        asso.result[slot] = context->result;
        asso.role[slot] = context->role;
        if (context->result == PRES_CTX_AC_ACCEPT) asso.xferSyn[slot] = context->xferSyn[0];
    }
    std::array<DcPduScpScuRole, PDU_PRES_CTX_MAX> roles{};
    (void)pdu->getScpScuRoleList(roles.data());
    for (const DcPduScpScuRole& role : roles) {
        if (role.abstractSyntax == UID_NONE) break;
        for (int i = 0; i < asso.assoNum; ++i) {
            if (asso.sopClass[i] == role.abstractSyntax) asso.role[i] = role.role;
        }
    }
    keepPeer(asso, info);
    return checkPeerMaximum(asso, "DcMsm::scuAssoAcRsp");
}

// ---- as a provider ----------------------------------------------------------------------------------

int DcMsm::acceptAssoInfo(DcPduInfoAcRq& info) {
    return acceptAeTitle(info);
}

int DcMsm::acceptAeTitle(DcPduInfoAcRq& info) {
    constexpr const char* reporter = "DcMsm::acceptAeTitle";
    if (own_->aeTitleCheck == 0) return RESULT_OK;
    char title[wire::kAeTitleLength + 1];
    copyStripped(title, info.calledAeTitle);
    if (std::strcmp(title, own_->aeTitle) != 0) {
        return fail(MSM_CALLED_AE, LOG_VALIDATION, reporter, "Invalid Called AE Title - '%s'", title);
    }
    if ((own_->aeTitleCheck & 1) == 0) return RESULT_OK;
    copyStripped(title, info.callingAeTitle);
    const auto& accepted = own_->callingAccepted;
    if (std::find(accepted.begin(), accepted.end(), title) != accepted.end()) return RESULT_OK;
    return fail(MSM_CALLING_AE, LOG_VALIDATION, reporter, "Invalid Calling AE Title - '%s'", title);
}

int DcMsm::acceptSopXfer(const DcPduPresCtx& proposal, DICT_UID chosen[2], PRES_CTX_AC_RESULT& result,
                         int& role) {
    chosen[0] = UID_LITTLE_ENDIAN_IMPLICIT;
    chosen[1] = UID_NONE;
    role = 0;
    const DICT_UID wanted =
        orvkit::learnedUid(proposal.abstractSyntax) != nullptr ? MSM_SOP_UNKNOWN : proposal.abstractSyntax;
    const auto entry = std::ranges::find(own_->support, wanted, &DcMsmSopXferSyn::sopClass);
    if (proposal.abstractSyntax == UID_NONE || entry == own_->support.end()) {
        result = PRES_CTX_AC_SOP_REJECTED;
        return MSM_SOP_CLASS;
    }
    // A class for whose transfer syntaxes one entry is too small goes on in the next one.
    for (auto at = entry; at != own_->support.end() && at->sopClass == entry->sopClass; ++at) {
        for (int i = 0; i < MSM_XFER_SYN_MAX && at->xferSyn[i] != UID_NONE; ++i) {
            if (!lists(proposal.xferSyn, at->xferSyn[i])) continue;
            chosen[0] = at->xferSyn[i];
            result = PRES_CTX_AC_ACCEPT;
            role = proposal.role & entry->role;
            return RESULT_OK;
        }
        if (at->xferSyn[MSM_XFER_SYN_MAX - 1] == UID_NONE) break;
    }
    result = PRES_CTX_AC_XFER_SYN_REJECTED;
    return MSM_NO_SUPPORT_LIST;
}

// The result is that of sending the answer.
int DcMsm::scpAssoRqRsp(DcPduAssoRq* pdu) {
    resetAssoInfo();
    own_->peerNegotiation = pdu->negotiation();
    platform::Address peer;
    std::memcpy(peer.bytes, peerAddress_, sizeof peer.bytes);
    peer.length = peerAddressLen_;
    copyText(own_->asso.peerAddress, platform::addressText(peer).c_str());
    DcPduInfoAcRq request;
    if (const int result = pdu->getInfo(&request); result != RESULT_OK) return result;
    keepPeer(own_->asso, request);
    int result = acceptAssoInfo(request);
    if (result == RESULT_OK) result = checkPeerMaximum(own_->asso, "DcMsm::scpAssoRqRsp");
    return result == RESULT_OK ? scpAssoRqRspAc(pdu, request) : scpAssoRqRspRj(result);
}

int DcMsm::scpAssoRqRspAc(DcPduAssoRq* pdu, const DcPduInfoAcRq& request) {
    // The titles go back as they came (PS3.8 9.3.3).
    DcPduInfoAcRq data = request;
    copyText(data.appCtxName, applicationContextName());
    data.maxPduLen = own_->maxPduLen != 0 ? own_->maxPduLen : maxPduLen_;
    copyText(data.implClassUid, own_->implClassUid);
    copyText(data.implVerName, own_->implVerName);
    DcPduAssoAc answer;
    (void)answer.setInfo(&data);
    DcMsmAssoInfo& asso = own_->asso;
    for (const DcPduPresCtx* proposal : Contexts(*pdu)) {
        if (proposal == nullptr) continue;
        const int id = proposal->presCtxId;
        const auto known = asso.presCtxId + asso.assoNum;
        if (id < 1 || id > 255 || id % 2 == 0 || std::find(asso.presCtxId, known, id) != known) continue;
        DcPduPresCtx context;
        DICT_UID chosen[2];
        PRES_CTX_AC_RESULT verdict = PRES_CTX_AC_NO_REASON;
        int role = 0;
        const bool accepted = acceptSopXfer(*proposal, chosen, verdict, role) == RESULT_OK;
        context.itemType = PRES_CTX_TYPE_AC;
        context.presCtxId = id;
        context.result = verdict;
        // Framing takes the UID of a role selection from here.
        context.abstractSyntax = proposal->abstractSyntax;
        context.role = role;
        context.addXferSyn(chosen[0]);
        if (const int result = answer.presCtxItemAdd(&context); result != RESULT_OK) return result;
        const int slot = asso.assoNum++;
        asso.presCtxId[slot] = static_cast<unsigned char>(id);
        asso.sopClass[slot] = proposal->abstractSyntax;
        asso.xferSyn[slot] = accepted ? chosen[0] : UID_NONE;
        asso.result[slot] = verdict;
        asso.role[slot] = role;
    }
    // A request without a context that could be answered is refused, so that the peer hears of it.
    if (asso.assoNum == 0) return scpAssoRqRspRj(MSM_NO_SUPPORT_LIST);
    DcPduInfoRj refusal{wire::kPermanent, wire::kByUser, kRejectOther};
    if (askApplication(*pdu, answer, refusal) != RESULT_OK) return reject(refusal);
    return event06_writeAssoAcPdu(&answer);
}

// Nothing of what was accepted is left when it refuses.
int DcMsm::askApplication(DcPduAssoRq& request, DcPduAssoAc& answer, DcPduInfoRj& refusal) {
    if (own_->requestCB == nullptr) return RESULT_OK;
    const int result = own_->requestCB(own_->requestUser, request, answer.negotiation(), refusal);
    if (result == RESULT_OK) return RESULT_OK;
    if (refusal.result == 0) refusal.result = wire::kPermanent;
    DcMsmAssoInfo& asso = own_->asso;
    std::fill(std::begin(asso.presCtxId), std::end(asso.presCtxId), static_cast<unsigned char>(0));
    std::fill(std::begin(asso.xferSyn), std::end(asso.xferSyn), UID_NONE);
    asso.assoNum = 0;
    return result;
}

int DcMsm::scpAssoRqRspRj(int result) {
    DcPduInfoRj info{wire::kPermanent, wire::kByUser, kRejectOther};
    if (result == MSM_CALLED_AE) info.reason = kRejectCalled;
    if (result == MSM_CALLING_AE) info.reason = kRejectCalling;
    return reject(info);
}

int DcMsm::reject(const DcPduInfoRj& info) {
    own_->asso.reject = info;
    DcPduAssoRj pdu;
    (void)pdu.setInfo(&own_->asso.reject);
    return event07_writeAssoRjPdu(&pdu);
}
