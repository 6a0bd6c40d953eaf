// C-MOVE (PS3.4 C.4.2): objects go over an association of their own, to a destination that is known.
#include <map>
#include <optional>
#include <set>

#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/archive_delivery.h"
#include "services/association.h"
#include "services/handlers.h"
#include "services/network_text.h"
#include "services/send_plan.h"

namespace services {
namespace {

constexpr unsigned short kUnknownDestination = 0xA801;

class OtherAssociation final : public Outlet {
  public:
    OtherAssociation(Inquiry& inquiry, const PeerOptions& destination)
        : inquiry_(inquiry), association_(destination) {}

    // False: why() tells.
    [[nodiscard]] bool open() {
        if (association_.open(contexts())) return true;
        why_ = association_.fault();
        return false;
    }
    void release() { association_.release(); }

    bool takes(DICT_UID sopClass, DICT_UID xferSyn) const override {
        return association_.acceptedSyntax(sopClass, {xferSyn}) != UID_NONE;
    }
    std::optional<unsigned int> store(DcCmdCStoreRq& request, DICT_UID sopClass, DICT_UID xferSyn) override {
        const std::string& originator = inquiry_.provider().callingAet();
        (void)request.add(new DcElem(T_0000_1030_moveOriginatorApplicationEntityTitle, originator.c_str()));
        (void)request.add(new DcElem(T_0000_1031_moveOriginatorMessageId, inquiry_.messageId()));
        if (!association_.send(request, sopClass, xferSyn)) {
            why_ = association_.fault();
            return std::nullopt;
        }
        const std::unique_ptr<DcMsg> response = association_.receive(DICT_MSG_C_STORE_RSP);
        if (response != nullptr) return statusOf(*response);
        why_ = association_.fault();
        association_.abort();
        return std::nullopt;
    }
    std::string why() const override { return why_; }
    bool isOpen() const override { return association_.isOpen(); }

  private:
    using Kinds = std::set<std::pair<DICT_UID, DICT_UID>>;

    static int note(void* all, const DcIndexInstance& instance) {
        const DICT_UID sopClass = classOf(instance);
        DICT_UID xferSyn = UID_NONE;
        if (sopClass != UID_NONE && Dict.getUidDef(instance.xferSyn, xferSyn) == RESULT_OK)
            static_cast<Kinds*>(all)->emplace(sopClass, xferSyn);
        return 0;
    }

    // For each class one context in each syntax that its objects have, and behind these one in all others
    // that these can be brought to.
    std::vector<DcMsmSopXferSyn> contexts() {
        Kinds kinds;
        (void)inquiry_.archive().index().walk(inquiry_.root(), inquiry_.how(), inquiry_.keys(), &kinds,
                                              &OtherAssociation::note);
        std::vector<DcMsmSopXferSyn> all;
        std::map<DICT_UID, std::set<DICT_UID>> others;
        for (const auto& [sopClass, xferSyn] : kinds) {
            all.push_back(context(sopClass, {xferSyn}));
            for (const DICT_UID other : fallbacksOf(xferSyn, true)) others[sopClass].insert(other);
        }
        for (const auto& [sopClass, syntaxes] : others) {
            std::vector<DICT_UID> plain;
            std::vector<DICT_UID> packed;
            for (const DICT_UID each : syntaxes)
                (Dict.isEncapsulated(each) != 0 ? packed : plain).push_back(each);
            for (const auto& list : {plain, packed}) {
                if (!list.empty()) all.push_back(context(sopClass, list));
            }
        }
        if (all.size() > MSM_PROPOSAL_MAX) all.resize(MSM_PROPOSAL_MAX);
        return all;
    }

    Inquiry& inquiry_;
    Association association_;
    std::string why_;
};

// What is sent to a destination that cannot be reached has failed.
unsigned short deliverTo(Inquiry& inquiry, Delivery& delivery, const PeerOptions& destination) {
    if (delivery.isNothing()) return kSuccess;
    OtherAssociation outlet(inquiry, destination);
    if (!outlet.open()) {
        inquiry.fail(outlet.why());
        return delivery.run(nullptr);
    }
    const unsigned short status = delivery.run(&outlet);
    outlet.release();
    return status;
}

}  // namespace

bool answerMove(Provider& provider, DICT_UID sopClass, DcMsg& message) {
    auto& request = static_cast<DcCmdCMoveRq&>(message);
    Inquiry inquiry(provider, sopClass, request);
    if (!inquiry.receive()) return false;
    Delivery delivery(inquiry, [&request] { return std::make_unique<DcCmdCMoveRsp>(&request); });
    char title[65] = "";
    (void)request.getValue(T_0000_0600_moveDestination, title, sizeof title - 1);
    const std::optional<PeerOptions> destination = inquiry.archive().destination(title);
    unsigned short status = kClassNotSupported;
    if (inquiry.isOf(DICT_MSG_C_MOVE_RQ)) status = destination ? delivery.count() : kUnknownDestination;
    if (status == kUnknownDestination)
        inquiry.fail(title[0] == '\0' ? "no destination is named" : std::string("nobody knows ") + title);
    if (status == kSuccess) status = deliverTo(inquiry, delivery, *destination);
    return delivery.end(status);
}

}  // namespace services
