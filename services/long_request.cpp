#include "services/long_request.h"

#include <algorithm>

#include "dictionary/uid_text.h"
#include "orvkit/tags.h"
#include "services/association.h"
#include "services/handlers.h"
#include "services/network_text.h"

namespace services {

Handler answerCancel;  // here

namespace {

constexpr std::size_t kLongestComment = 64;  // (0000,0902), LO

std::string commentOf(const std::string& why) {
    std::string comment;
    for (const char c : why.substr(0, kLongestComment)) comment += c < ' ' || c > '~' || c == '\\' ? '?' : c;
    return comment;
}

}  // namespace

// One that comes when its request has been answered to the end.
bool answerCancel(Provider&, DICT_UID, DcMsg&) {
    return true;
}

LongRequest::LongRequest(Provider& provider, DcMsg& request)
    : provider_(provider), request_(request), keys_(std::make_unique<DcElemList>()) {
    (void)request_.getValue(T_0000_0110_messageId, messageId_);
}

bool LongRequest::receive() {
    unsigned short follows = kNoDataSet;
    (void)request_.getValue(T_0000_0800_dataSetType, follows);
    if (follows == kNoDataSet) return true;
    std::unique_ptr<DcMsg> keys = provider_.receive(request_, "a request");
    if (keys == nullptr) return note(false);
    keys_ = std::move(keys);
    return true;
}

bool LongRequest::note(bool done) {
    over_ = over_ || !done;
    return done;
}

bool LongRequest::goesOn() {
    while (!cancelled_ && !over_ && provider_.msm().waitReadable(0)) {
        const std::unique_ptr<DcMsg> message = provider_.next();
        (void)note(message != nullptr && take(*message));
    }
    if (provider_.server().stopping && !over_) (void)note(provider_.abort("the server stops"));
    return !cancelled_ && !over_;
}

bool LongRequest::take(DcMsg& message) {
    if (message.getType() != DICT_MSG_C_CANCEL_RQ)
        return note(provider_.abort("another message came while a request was being answered"));
    unsigned short which = 0;
    (void)message.getValue(T_0000_0120_messageIdBeingRespondedTo, which);
    cancelled_ = cancelled_ || which == messageId_;
    return true;
}

bool LongRequest::end(DcMsg& response, unsigned short status, EventId id, std::uint64_t objects,
                      const std::string& told) {
    StoreServer& server = provider_.server();
    const auto outcome = over_                ? EventOutcome::seriousFailure
                         : status == kSuccess ? EventOutcome::success
                                              : EventOutcome::minorFailure;
    Event event = provider_.event(id, outcome, over_ ? "the association ended" : statusText(status));
    DICT_UID sopClass = UID_NONE;
    (void)request_.getValue(T_0000_0002_affectedSopClassUid, sopClass);
    event.sopClass = orvkit::uidText(sopClass);
    event.objects = objects;
    ++(id == EventId::query ? server.queries : server.retrievals);
    if (id == EventId::transfer) server.sent += objects;
    if (!server.trace.write(event) && status == kSuccess) {
        status = kUnableToProcess;
        fail("the trace cannot be written");
    }
    if (over_) return false;
    if (!why_.empty()) (void)response.add(new DcElem(T_0000_0902_errorComment, commentOf(why_).c_str()));
    provider_.tell(told + (status != kSuccess ? ", status " + statusText(status) : "") +
                   (why_.empty() ? "" : ": " + why_));
    return provider_.respond(request_, response, status);
}

void supportQueries(StoreServer& server, DICT_UID sopClass) {
    server.support.insert(
        server.support.end() - 1,
        context(sopClass, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT}));
}

}  // namespace services
