#include "services/association.h"

#include <chrono>
#include <utility>

#include "dictionary/uid_text.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/elements.h"
#include "services/network_text.h"
#include "services/report.h"

namespace services {
namespace {

constexpr unsigned int kMostOfAnswer = 16u << 20;

}  // namespace

DcMsmSopXferSyn context(DICT_UID sopClass, std::vector<DICT_UID> xferSyns, TSM_ROLE role) {
    xferSyns.push_back(UID_NONE);
    return {sopClass, xferSyns.data(), role};
}

void takeDataset(DcMsg& message, DcElemList& dataset) {
    while (DcElem* e = message.lastElem()) {
        if (tagOf(*e) <= 0xFFFF) return;
        (void)static_cast<DcElemList&>(message).subtract(e);
        (void)dataset.add(e);
    }
}

Association::~Association() {
    abort();
}

bool Association::open(std::vector<DcMsmSopXferSyn> contexts) {
    abort();
    contexts_ = std::move(contexts);
    contexts_.emplace_back();  // ends the list
    msm_ = std::make_unique<DcMsm>(options_.aet.c_str(), TSM_ROLE_SCU, options_.port);
    (void)msm_->setPduTimeout(options_.timeout, kPeerPace);
    (void)msm_->setReceiveLimit(kMostOfAnswer);
    (void)msm_->setDataSetCheck(1);
    (void)msm_->setTolerant(1);
    (void)msm_->registerValueExceptionCB(nullptr, takeAnyValue);
    if (options_.security != nullptr) (void)msm_->setSecurity(options_.security->get());
    setPatience(options_.timeout);
    DcMsmScuInfo info;
    info.calledAeTitle = options_.aec.c_str();
    info.sopList = contexts_.data();
    info.maxPduLen = options_.maxPdu;
    info.timeouts = options_.timeouts();
    forgetFault();
    msm_->ownNegotiation() = proposed_;
    if (giveIdentity() && check(msm_->connect(options_.host.c_str(), info), MSM_ACCEPTED)) {
        DcPduBytes response;
        if (!options_.confirmUser || msm_->peerNegotiation().getIdentityResponse(&response) == RESULT_OK)
            return true;
        giveUp("the peer accepted the association but did not confirm the user");
        return false;
    }
    (void)msm_->closeAssociation();
    msm_.reset();
    return false;
}

bool Association::giveIdentity() {
    if (!options_.hasIdentity()) return true;
    const auto lent = [](const std::string& text) {
        return DcPduBytes{reinterpret_cast<const unsigned char*>(text.data()),
                          static_cast<unsigned int>(text.size())};
    };
    DcPduIdentity identity;
    identity.type = options_.password ? PDU_IDENTITY_PASSCODE : PDU_IDENTITY_NAME;
    identity.responseWanted = options_.confirmUser ? 1 : 0;
    identity.primary = lent(options_.user);
    if (options_.password) identity.secondary = lent(*options_.password);
    if (options_.user.empty()) {
        identity.type = options_.identityType;
        identity.primary = lent(options_.identity);
    }
    if (msm_->ownNegotiation().setIdentity(&identity) == RESULT_OK) return true;
    fault_ = "what tells the peer who the user is, is too long";
    return false;
}

std::vector<unsigned char> Association::agreed(DICT_UID sopClass) const {
    DcPduExtNeg item;
    for (unsigned int i = 0; isOpen() && msm_->peerNegotiation().getExtNeg(i, &item) == RESULT_OK; ++i) {
        if (orvkit::uidText(sopClass) == std::string_view(item.sopClassUid))
            return {item.info.data, item.info.data + item.info.length};
    }
    return {};
}

bool Association::waitReadable(int milliseconds) const {
    return !isOpen() || msm_->waitReadable(milliseconds);
}

void Association::setPatience(int seconds, unsigned int bytesPerSecond) {
    (void)msm_->setMessageTimeout(seconds, bytesPerSecond);
}

void Association::release() {
    const bool associated = isOpen() && msm_->getState() == TSM_STATE_06_ASSOCIATED;
    if (associated && msm_->releaseAssociation() == RESULT_OK) {
        using Clock = std::chrono::steady_clock;
        const auto end = Clock::now() + std::chrono::seconds(options_.timeout);
        setPatience(options_.timeout);
        int result = MSM_MESSAGE;
        while (result == MSM_MESSAGE && Clock::now() < end) {  // what was still on its way
            DcMsg* late = nullptr;
            result = msm_->read(nullptr, &late, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
            delete late;
        }
    }
    if (msm_ != nullptr) (void)msm_->closeAssociation();
    msm_.reset();
}

void Association::abort() {
    if (isOpen()) (void)msm_->abortAssociation();
    if (msm_ != nullptr) (void)msm_->closeAssociation();
    msm_.reset();
}

int Association::contextResult(DICT_UID sopClass, DICT_UID xferSyn) const {
    DcMsmAssoInfo info;
    if (msm_ != nullptr) (void)msm_->getAssoInfo(info);
    int result = PRES_CTX_AC_NO_ANSWER;
    for (std::size_t i = 0; i + 1 < contexts_.size(); ++i) {
        const DcMsmSopXferSyn& c = contexts_[i];
        if (c.sopClass != sopClass || (xferSyn != UID_NONE && c.xferSyn[0] != xferSyn)) continue;
        result = info.result[i];
        if (result == PRES_CTX_AC_ACCEPT) break;
    }
    return result;
}

DICT_UID Association::acceptedSyntax(DICT_UID sopClass, const std::vector<DICT_UID>& wanted) const {
    DcMsmAssoInfo info;
    if (msm_ != nullptr) (void)msm_->getAssoInfo(info);
    for (const DICT_UID syntax : wanted) {
        for (std::size_t i = 0; i + 1 < contexts_.size(); ++i) {
            if (info.result[i] == PRES_CTX_AC_ACCEPT && contexts_[i].sopClass == sopClass &&
                info.xferSyn[i] == syntax) {
                return syntax;
            }
        }
    }
    return UID_NONE;
}

bool Association::check(int result, int wanted) {
    if (result == wanted) return true;
    fault_ = outcomeText(result, *msm_);
    return false;
}

bool Association::send(DcMsg& request, DICT_UID sopClass, DICT_UID xferSyn) {
    forgetFault();
    (void)request.add(new DcElem(T_0000_0110_messageId, ++messageId_));
    return check(msm_->sendMessage(sopClass, &request, xferSyn), RESULT_OK);
}

std::unique_ptr<DcMsg> Association::receiveBy(int (DcMsm::*read)(DICT_UID*, DcMsg**, MSM_BLOCK_READ,
                                                                 MSM_BLOCK_CONNECT)) {
    DcMsg* message = nullptr;
    forgetFault();
    const int result = (msm_.get()->*read)(nullptr, &message, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    std::unique_ptr<DcMsg> owned(message);
    if (!check(result, MSM_MESSAGE)) return nullptr;
    return owned;
}

std::unique_ptr<DcMsg> Association::receive() {
    return receiveBy(&DcMsm::receiveMessage);
}

std::unique_ptr<DcMsg> Association::receivePart() {
    return receiveBy(&DcMsm::read);
}

std::unique_ptr<DcMsg> Association::receive(MSG_TYPE type) {
    std::unique_ptr<DcMsg> message = receive();
    if (message != nullptr && !isAnswer(*message, type)) return nullptr;
    return message;
}

bool Association::isAnswer(DcMsg& message, MSG_TYPE type) {
    if (message.getType() != type) {
        refuse(message);
        return false;
    }
    unsigned short id = 0;
    if (message.getValue(T_0000_0120_messageIdBeingRespondedTo, id) == RESULT_OK && id == messageId_)
        return true;
    giveUp("the peer answered a message that was not sent");
    return false;
}

void Association::cancel(DICT_UID sopClass) {
    DcCmdCCancelRq request;
    (void)request.add(new DcElem(T_0000_0110_messageId, messageId_));
    (void)request.add(new DcElem(T_0000_0120_messageIdBeingRespondedTo, messageId_));
    (void)msm_->sendMessage(sopClass, &request, UID_NONE);
}

void Association::refuse(const DcMsg& message) {
    char name[61] = "";
    (void)message.getDesc(name);
    giveUp(std::string("the peer sent ") + (name[0] != '\0' ? name : "something unknown") +
           " where a response was due");
}

void Association::giveUp(const std::string& why) {
    fault_ = why;
    abort();
}

}  // namespace services
