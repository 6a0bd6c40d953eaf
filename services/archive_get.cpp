// C-GET (PS3.4 C.4.3): objects go over the association that asks for them.
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/archive_delivery.h"
#include "services/handlers.h"
#include "services/network_text.h"
#include "services/report.h"

namespace services {
namespace {

class SameAssociation final : public Outlet {
  public:
    explicit SameAssociation(Inquiry& inquiry) : inquiry_(inquiry), msm_(inquiry.provider().msm()) {
        (void)msm_.getAssoInfo(contexts_);
    }
    bool takes(DICT_UID sopClass, DICT_UID xferSyn) const override {
        for (int i = 0; i < contexts_.assoNum; ++i) {
            if (contexts_.sopClass[i] == sopClass && contexts_.xferSyn[i] == xferSyn &&
                (contexts_.role[i] & TSM_ROLE_SCP) != 0)
                return true;
        }
        return false;
    }
    std::optional<unsigned int> store(DcCmdCStoreRq& request, DICT_UID sopClass, DICT_UID xferSyn) override {
        forgetFault();
        if (const int result = msm_.write(sopClass, &request, xferSyn); result != RESULT_OK) {
            why_ = outcomeText(result, msm_);
            // Of a file that cannot be read nothing was sent.
            if (!msm_.isConnected()) (void)inquiry_.note(inquiry_.provider().abort(why_));
            return std::nullopt;
        }
        unsigned short id = 0;
        (void)request.getValue(T_0000_0110_messageId, id);
        return response(id);
    }
    std::string why() const override { return why_; }
    bool isOpen() const override { return !inquiry_.isOver(); }

  private:
    // A C-CANCEL may come in front of it.
    std::optional<unsigned int> response(unsigned short id) {
        while (!inquiry_.isOver()) {
            const std::unique_ptr<DcMsg> message = inquiry_.provider().next();
            if (!inquiry_.note(message != nullptr)) break;
            unsigned short answered = 0;
            (void)message->getValue(T_0000_0120_messageIdBeingRespondedTo, answered);
            if (message->getType() == DICT_MSG_C_STORE_RSP && answered == id) return statusOf(*message);
            (void)inquiry_.take(*message);
        }
        return std::nullopt;
    }

    Inquiry& inquiry_;
    DcMsm& msm_;
    DcMsmAssoInfo contexts_;
    std::string why_;
};

}  // namespace

bool answerGet(Provider& provider, DICT_UID sopClass, DcMsg& message) {
    auto& request = static_cast<DcCmdCGetRq&>(message);
    Inquiry inquiry(provider, sopClass, request);
    if (!inquiry.receive()) return false;
    Delivery delivery(inquiry, [&request] { return std::make_unique<DcCmdCGetRsp>(&request); });
    unsigned short status = inquiry.isOf(DICT_MSG_C_GET_RQ) ? delivery.count() : kClassNotSupported;
    SameAssociation outlet(inquiry);
    if (status == kSuccess) status = delivery.run(&outlet);
    return delivery.end(status);
}

}  // namespace services
