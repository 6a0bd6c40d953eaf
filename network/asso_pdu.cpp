// A-ASSOCIATE-RQ and -AC as objects: their data, presentation contexts and role table.
#include "network/asso_pdu.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "foundation/fail.h"
#include "foundation/text.h"
#include "network/pdu_access.h"

using namespace orvkit;

AssoFault orvkit::PduAccess::fault(const DcPduAssoAcRq& pdu) noexcept {
    return pdu.body_->fault;
}

void orvkit::PduAccess::takeOneVersionAmongOthers(DcPduAssoAcRq& pdu) noexcept {
    pdu.body_->oneVersionAmongOthers = true;
}

void orvkit::PduAccess::learnClasses(DcPduAssoAcRq& pdu) noexcept {
    pdu.body_->learnsClasses = true;
}

void DcPduPresCtx::addXferSyn(DICT_UID uid) {
    const auto free = std::find(std::begin(xferSyn), std::end(xferSyn), UID_NONE);
    if (free != std::end(xferSyn)) *free = uid;
}

DcPduAssoAcRq::DcPduAssoAcRq(PDU_TYPE type) : DcPduAssoAcRq(PDU_SOCKET_NONE, type) {}
DcPduAssoAcRq::DcPduAssoAcRq(unsigned int sockConv, PDU_TYPE type) : DcPdu(sockConv, type), body_(new Body) {}
DcPduAssoAcRq::~DcPduAssoAcRq() {
    delete body_;
}

int DcPduAssoAcRq::setInfo(DcPduInfoAcRq* info) {
    if (info == nullptr) return failNull(ACRQ_NULL_ARGUMENT, "DcPduAssoAcRq::setInfo", LOG_ERROR);
    DcPduInfoAcRq copy;
    copyText(copy.calledAeTitle, info->calledAeTitle);
    copyText(copy.callingAeTitle, info->callingAeTitle);
    copyText(copy.appCtxName, info->appCtxName);
    copy.maxPduLen = info->maxPduLen;
    copyText(copy.implClassUid, info->implClassUid);
    copyText(copy.implVerName, info->implVerName);
    body_->info = copy;
    return RESULT_OK;
}

int DcPduAssoAcRq::getInfo(DcPduInfoAcRq* info) {
    constexpr const char* reporter = "DcPduAssoAcRq::getInfo";
    if (!body_->info) return fail(ACRQ_INVALID, LOG_ERROR, reporter, "AC/RQ data does not exist");
    if (info == nullptr) return failNull(ACRQ_NULL_ARGUMENT, reporter, LOG_ERROR);
    *info = *body_->info;
    return RESULT_OK;
}

int DcPduAssoAcRq::setTolerant(int flag) {
    body_->tolerant = flag != 0;
    return RESULT_OK;
}

DcPduNegotiation& DcPduAssoAcRq::negotiation() {
    return body_->negotiation;
}
const DcPduNegotiation& DcPduAssoAcRq::negotiation() const {
    return body_->negotiation;
}

int DcPduAssoAcRq::presCtxItemAdd(DcPduPresCtx* context) {
    constexpr const char* reporter = "DcPduAssoAcRq::presCtxItemAdd";
    if (context == nullptr) return failNull(ACRQ_NULL_ARGUMENT, reporter, LOG_ERROR);
    const PDU_TYPE type = getType();
    if (type != PDU_TYPE_ASSO_RQ && type != PDU_TYPE_ASSO_AC) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter, "Invalid PDU type 0x%04x",
                    static_cast<unsigned int>(type));
    }
    const bool request = type == PDU_TYPE_ASSO_RQ;
    if (context->itemType != (request ? PRES_CTX_TYPE_RQ : PRES_CTX_TYPE_AC)) {
        return fail(ACRQ_INVALID, LOG_ERROR, reporter,
                    "Invalid presCtxItem 0x%04x, expecting PRES_CTX_TYPE_%s",
                    static_cast<unsigned int>(context->itemType), request ? "RQ" : "AC");
    }
    std::unique_ptr<DcPduPresCtx>* free = nullptr;
    for (auto& slot : body_->contexts) {
        if (slot == nullptr) {
            if (free == nullptr) free = &slot;
        } else if (slot->presCtxId == context->presCtxId) {
            return fail(ACRQ_CONTEXT_EXISTS, LOG_ERROR, reporter, "Presentation context already in list");
        }
    }
    if (free == nullptr) {
        return fail(ACRQ_CONTEXT_LIMIT, LOG_ERROR, reporter, "Presentation context limit reached");
    }
    *free = std::make_unique<DcPduPresCtx>(*context);
    return RESULT_OK;
}

int DcPduAssoAcRq::getPresCtxList(DcPduPresCtx** contexts) const {
    if (contexts == nullptr) return failNull(ACRQ_NULL_ARGUMENT, "DcPduAssoAcRq::getPresCtxList", LOG_ERROR);
    for (const auto& slot : body_->contexts) {
        *contexts++ = slot != nullptr ? new DcPduPresCtx(*slot) : nullptr;
    }
    return RESULT_OK;
}

int DcPduAssoAcRq::deletePresCtxList() {
    for (auto& slot : body_->contexts) slot.reset();
    return RESULT_OK;
}

int DcPduAssoAcRq::getScpScuRoleList(DcPduScpScuRole* roles) const {
    if (roles == nullptr) return failNull(ACRQ_NULL_ARGUMENT, "DcPduAssoAcRq::getScpScuRoleList", LOG_ERROR);
    std::copy(std::begin(body_->roles), std::end(body_->roles), roles);
    return RESULT_OK;
}
