#include "services/provider.h"

#include <chrono>
#include <utility>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/socket.h"
#include "platform/volume.h"
#include "services/elements.h"
#include "services/handlers.h"
#include "services/network_text.h"
#include "services/report.h"
#include "services/security.h"
#include "services/text.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

// Milliseconds between looks at whether the server is to stop, and while all threads are taken.
constexpr int kProviderTick = 200;
constexpr int kShortTick = 2;
constexpr unsigned int kPace = 1024;               // bytes a second that a peer must bring at least
constexpr unsigned int kMostInMemory = 2 << 20;    // of a request or a data set that has no file
constexpr unsigned short kNotAuthorized = 0x0124;  // PS3.7 C.5
constexpr unsigned char kPermanent = 1;            // result of a rejection (PS3.8 9.3.4)

}  // namespace

Provider::Provider(StoreServer& server, Visitor visitor)
    : server_(server),
      visitor_(std::move(visitor)),
      socket_(visitor_.socket.get()),
      number_(++server.associations),
      peer_(visitor_.address),
      msm_(server.aet.c_str(), TSM_ROLE_SCP, server.port) {}

void Provider::tell(const std::string& line) {
    server_.tell("[" + std::to_string(number_) + "] " + peer_ + " " + line);
}

void Provider::run() {
    idle_ = false;
    if (!open_ && admit()) {
        open_ = open();
        since_ = Clock::now();
    }
    while (open_ && serveNext()) since_ = Clock::now();
    if (idle_) return;
    (void)msm_.closeAssociation();
    leave();
    companion_.reset();
    if (stored_ > 0 && server_.settle) server_.settle();
}

void Provider::refuse(const std::string& why) {
    tell((open_ ? "association aborted: " : "association refused: ") + why);
    if (open_) {
        (void)msm_.abortAssociation();
    } else {
        rejectBusy(socket_, server_.security != nullptr ? Greeting::tlsHello : Greeting::associationRequest);
    }
}

bool Provider::isLate() const {
    std::uint64_t patience =
        static_cast<std::uint64_t>(open_ ? server_.timeouts.readTimeout : server_.timeouts.connectTimeout);
    if (open_ && ticket_.limits().idle != 0) patience = ticket_.limits().idle;
    return Clock::now() - since_ > std::chrono::seconds(patience);
}

// What one peer may cost, what it may ask for that means nothing here, and what it is told when its request
// cannot be read.
void Provider::setBounds() {
    const int patience = server_.timeouts.readTimeout;
    (void)msm_.setPduTimeout(patience, kPace);
    (void)msm_.setMessageTimeout(2 * patience, kPace);  // a wait that is too long is told as one
    (void)msm_.setReceiveLimit(kMostInMemory);
    (void)msm_.setDataSetCheck(1);
    (void)msm_.setBrokenRequestAnswer(1);
    (void)msm_.setTolerant(1);
    (void)msm_.registerRequestCB(this, &Provider::judge);
    // A key that is refused would be an empty one, which everything matches.
    (void)msm_.registerValueExceptionCB(nullptr, takeAnyValue);
}

// By the file of peers, and by what users are checked by. What lets it in is written down before it hears of
// it.
bool Provider::comesIn(DcPduAssoRq& request, DcPduNegotiation& answer, DcPduInfoRj& reject) {
    DcPduInfoAcRq info;
    (void)request.getInfo(&info);
    DcSecurityInfo security;
    const bool secured = msm_.getSecurityInfo(security) == RESULT_OK;
    const Caller caller{std::string(trimmed(info.callingAeTitle)), visitor_.address,
                        secured ? &security : nullptr};
    callingAet_ = caller.aet;
    if (secured) certificate_ = security.subject;
    judged_ = true;
    std::string why;
    ticket_ = server_.admission.admit(caller, reject, why);
    if (!why.empty() && reject.result == kPermanent) server_.addresses.failed(visitor_.address);
    if (why.empty() && !takeUser(request, answer, caller)) {
        why = user_;
        server_.addresses.failed(visitor_.address, true);
    }
    Event login =
        event(EventId::login, why.empty() ? EventOutcome::success : EventOutcome::minorFailure, why);
    login.type = EventType::login;
    if (!server_.trace.write(login) && why.empty()) {
        reject = {2, 3, 1};
        why = "the trace cannot be written";
    }
    if (why.empty() && server_.agree) server_.agree(request.negotiation(), answer);
    if (!why.empty()) user_ = why;
    if (!user_.empty()) user_.insert(0, "; ");
    return why.empty();
}

bool Provider::takeUser(DcPduAssoRq& request, DcPduNegotiation& answer, const Caller& caller) {
    DcPduIdentity identity;
    const bool given = request.negotiation().getIdentity(&identity) == RESULT_OK;
    const Judgement judgement = server_.identities.judge(given ? &identity : nullptr, caller);
    user_ = judgement.told;
    userName_ = judgement.user;
    if (judgement.accepted && judgement.response) {
        const DcPduBytes response{judgement.response->data(),
                                  static_cast<unsigned int>(judgement.response->size())};
        (void)answer.setIdentityResponse(&response);
    }
    return judgement.accepted;
}

int Provider::judge(void* self, DcPduAssoRq& request, DcPduNegotiation& answer, DcPduInfoRj& reject) {
    return static_cast<Provider*>(self)->comesIn(request, answer, reject) ? RESULT_OK : MSM_REJECTED;
}

Event Provider::event(EventId id, EventOutcome outcome, const std::string& result) const {
    Event event(id, EventType::none, outcome);
    event.association = number_;
    event.peer = callingAet_;
    event.address = visitor_.address;
    event.user = userName_;
    event.certificate = certificate_;
    event.result = result;
    return event;
}

void Provider::enter() {
    entered_ = true;
    begun_ = Clock::now();
    ++server_.accepted;
    ++server_.inside;
}

void Provider::leave() {
    if (!entered_) return;
    --server_.inside;
    Event logout = event(EventId::login, EventOutcome::success, "");
    logout.type = EventType::logout;
    logout.objects = stored_;
    logout.bytes = storedBytes_;
    logout.milliseconds = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun_).count());
    (void)server_.trace.write(logout);
}

void Provider::traceRefusal(const std::string& why) {
    ++server_.refused;
    if (judged_) return;  // it is written down already
    Event alert = event(EventId::alert, EventOutcome::minorFailure, why);
    alert.type = EventType::nodeAuthentication;
    (void)server_.trace.write(alert);
}

bool Provider::turnAway(const std::string& why) {
    server_.addresses.failed(visitor_.address);
    traceRefusal(why);
    tell("association refused: " + why);
    return false;
}

// Milliseconds until this side is looked at again.
int Provider::tick() const {
    if (server_.stopping || givesWay_) return 0;
    if (!server_.pressed) return kProviderTick;
    return spoken_ ? kShortTick : 0;  // some come to stay silent
}

// Whether the association request is here, or will never be.
bool Provider::hasRequest() const {
    unsigned char bytes[16384];
    unsigned int count = 0;
    int seen = msm_.peek(bytes, 6, count);
    if (seen == RESULT_OK && bytes[0] == PDU_TYPE_ASSO_RQ) {
        const std::size_t enough = enoughOf(Greeting::associationRequest, bytes);
        seen = msm_.peek(bytes, static_cast<unsigned int>(enough), count);
    }
    return seen != DATATF_NOT_READY;
}

// A secured connection: whether the handshake is done and the association request is here.
bool Provider::admit() {
    if (server_.security == nullptr) return true;
    if (visitor_.socket) {
        (void)msm_.setTimeoutInfo(server_.timeouts);
        (void)msm_.setSecurity(server_.security);
        (void)msm_.setSockHandles(TSM_ROLE_SCP, visitor_.socket.release(), platform::kNoSocket);
        since_ = Clock::now();
    }
    const int shaken = msm_.secure(0);
    if (shaken != RESULT_OK && shaken != DATATF_NOT_READY) return turnAway(outcomeText(shaken, msm_));
    if (shaken == RESULT_OK && hasRequest()) return true;
    if (server_.stopping) return turnAway("the server stops");
    if (givesWay_) return turnAway("no association request, and others are waiting");
    if (isLate()) return turnAway("no association request came in time");
    idle_ = true;
    return false;
}

bool Provider::open() {
    setBounds();
    DcMsmScpInfo info;
    info.callingAeTitles = server_.acceptFrom.data();
    info.sopList = server_.support.data();
    info.timeouts = server_.timeouts;
    info.maxPduLen = server_.maxPdu;
    (void)msm_.setAeTitleCheck(server_.aeTitleCheck);
    // A secured connection is there already.
    if (visitor_.socket) {
        (void)msm_.setSockHandles(TSM_ROLE_SCP, visitor_.socket.release(), platform::kNoSocket);
    }
    if (msm_.connect(info, MSM_BLOCK_CONNECT_POLL) != RESULT_OK) return false;
    const int outcome = msm_.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    DcMsmAssoInfo asso;
    (void)msm_.getAssoInfo(asso);
    callingAet_ = asso.callingAeTitle;
    if (!callingAet_.empty()) peer_ = callingAet_ + "@" + visitor_.address;
    if (outcome != MSM_REQUEST_ANSWERED) return ended(outcome);
    if (DcSecurityInfo security; msm_.getSecurityInfo(security) == RESULT_OK) {
        secured_ = "; " + securityText(security);
    }
    if (asso.reject.result != 0) {
        tell("association refused: " + rejectText(asso.reject) + " (called " + asso.calledAeTitle + ")" +
             secured_ + user_);
        traceRefusal(rejectText(asso.reject));
        (void)msm_.read(nullptr, nullptr, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
        return false;
    }
    enter();
    int accepted = 0;
    for (int i = 0; i < asso.assoNum; ++i) accepted += asso.xferSyn[i] != UID_NONE ? 1 : 0;
    tell("association accepted, " + std::to_string(accepted) + " of " + std::to_string(asso.assoNum) +
         " contexts" + secured_ + user_);
    return true;
}

// Between messages the association can be ended at once, or wait without its thread.
bool Provider::awaitMessage() {
    while (!msm_.waitReadable(tick())) {
        if (server_.stopping) return abort("the server stops");
        if (isLate()) return abort("nothing came in time");
        if (givesWay_) return abort("it was idle, and others are waiting");
        if (companion_ != nullptr && !companion_->paused(*this)) return false;
        if (!server_.pressed) continue;
        idle_ = true;
        return false;
    }
    givesWay_ = false;
    return true;
}

bool Provider::serveNext() {
    if (!awaitMessage()) return false;
    forgetFault();
    DICT_UID sopClass = UID_NONE;
    DcMsg* received = nullptr;
    const int outcome = msm_.read(&sopClass, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    const std::unique_ptr<DcMsg> request(received);
    spoken_ = true;
    if (request == nullptr) return ended(outcome);
    if (const Service* const service = serviceOf(request->getType(), sopClass, server_.services)) {
        const bool allowed = service->response == nullptr || may(service->right);
        return allowed ? service->answer(*this, sopClass, *request) : deny(*service, *request);
    }
    char name[64] = "";
    (void)request->getDesc(name);
    return abort(std::string(name[0] != '\0' ? name : "unknown command") + " has no place here");
}

// What comes with the request is received, and dropped.
bool Provider::deny(const Service& service, DcMsg& request) {
    char what[129] = "";
    if (request.getValue(T_0000_1000_affectedSopInstanceUid, what, sizeof what - 1) != RESULT_OK) {
        (void)request.getDesc(what);
    }
    unsigned short follows = kNoDataSet;
    (void)request.getValue(T_0000_0800_dataSetType, follows);
    if (follows != kNoDataSet) {
        const auto drop = [](void*, const unsigned char*, unsigned int, DICT_UID, int) {
            return int{RESULT_OK};
        };
        (void)msm_.registerDataSetCB(this, drop);
        const bool whole = receive(request, what) != nullptr;
        (void)msm_.registerDataSetCB(nullptr, nullptr, nullptr);
        if (!whole) return false;
    }
    const std::string why = std::string("this peer may not ") + wordOf(service.right);
    Event refused = event(EventId::alert, EventOutcome::minorFailure, why);
    refused.type = EventType::useOfRestrictedFunction;
    refused.object = what;
    (void)server_.trace.write(refused);
    if (service.right == Right::store) ++server_.failed;
    tell(std::string("refused ") + what + ": " + why + ", status " + statusText(kNotAuthorized));
    const std::unique_ptr<DcCmd> response = service.response(request);
    return respond(request, *response, kNotAuthorized);
}

bool Provider::abort(const std::string& why) {
    tell("association aborted: " + why);
    (void)msm_.abortAssociation();
    return false;
}

void Provider::countStored(const StoreFile& file) {
    ++server_.stored;
    ++stored_;
    storedBytes_ += static_cast<std::uint64_t>(file.size());
    server_.storedBytes += static_cast<std::uint64_t>(file.size());
}

std::string Provider::boundOf(std::uint64_t size) {
    const Limits& limits = ticket_.limits();
    const auto passes = [](std::uint64_t number, std::uint64_t limit) {
        return limit != 0 && number > limit;
    };
    beyond_ = passes(stored_ + 1, limits.objects) || passes(storedBytes_ + size, limits.bytes);
    if (passes(stored_ + 1, limits.objects)) return "it has stored all objects that an association may";
    if (beyond_) return "it has stored all bytes that an association may";
    if (passes(size, limits.objectSize)) return "it is larger than an object may be";
    std::uint64_t left = 0;
    std::string reason;
    if (server_.keepFree == 0) return "";
    if (!platform::freeSpace(server_.directory.c_str(), left, reason))
        return "the free space is not known: " + reason;
    return left < server_.keepFree ? "too little space is left (" + bytesText(static_cast<double>(left)) + ")"
                                   : "";
}

bool Provider::respond(DcMsg& request, DcMsg& response, unsigned short status) {
    (void)response.add(new DcElem(T_0000_0900_status, status));
    return send(contextOf(request), response);
}

bool Provider::send(unsigned char context, DcMsg& message) {
    const int result = msm_.write(context, &message);
    return result == RESULT_OK || ended(result);
}

std::unique_ptr<DcMsg> Provider::receive(DcMsg& request, const std::string& what) {
    DcMsg* received = nullptr;
    const int outcome = msm_.read(nullptr, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    std::unique_ptr<DcMsg> dataset(received);
    if (dataset == nullptr) {
        (void)ended(outcome, "; " + what + " was not received to its end");
    } else if (dataset->getType() != MSG_TYPE_DATASET || contextOf(*dataset) != contextOf(request)) {
        (void)abort("something else came where the data set of " + what + " was due");
        dataset.reset();
    }
    return dataset;
}

std::unique_ptr<DcMsg> Provider::next() {
    DcMsg* received = nullptr;
    const int outcome = msm_.read(nullptr, &received, MSM_BLOCK_READ_WAIT, MSM_BLOCK_CONNECT_POLL);
    std::unique_ptr<DcMsg> message(received);
    if (message == nullptr) (void)ended(outcome, "; a request was being answered");
    return message;
}

bool Provider::receive(StoreFile& file, DcMsg& request, const std::string& what) {
    (void)msm_.registerDataSetCB(&file, &StoreFile::take, &StoreFile::room);
    const bool whole = receive(request, what) != nullptr;
    (void)msm_.registerDataSetCB(nullptr, nullptr, nullptr);
    if (whole) return true;
    ++server_.failed;
    Event lost = event(EventId::transfer, EventOutcome::seriousFailure, "not received to its end");
    lost.object = what;
    lost.bytes = static_cast<std::uint64_t>(file.size());
    (void)server_.trace.write(lost);
    return false;
}

std::string metricsText(const StoreServer& server) {
    const struct {
        const char* name;
        const char* type;
        const char* help;
        std::uint64_t value;
    } rows[] = {
        {"associations_total", "counter", "Associations that were accepted", server.accepted},
        {"associations_refused_total", "counter", "Associations and handshakes that were refused",
         server.refused},
        {"associations", "gauge", "Associations now", server.inside},
        {"echoes_total", "counter", "Echoes that were answered", server.echoes},
        {"objects_stored_total", "counter", "Objects that were stored", server.stored},
        {"objects_stored_bytes_total", "counter", "Bytes of their data sets", server.storedBytes},
        {"objects_failed_total", "counter", "Objects that were refused or did not come to their end",
         server.failed},
        {"queries_total", "counter", "Queries that were answered, of worklists too", server.queries},
        {"retrievals_total", "counter", "Retrievals that were answered", server.retrievals},
        {"objects_sent_total", "counter", "Objects that these have sent", server.sent},
        {"commitments_total", "counter", "Requests for storage commitment that were taken",
         server.commitmentsAsked},
        {"commitments_refused_total", "counter", "Requests for storage commitment that were refused",
         server.commitmentsRefused},
        {"commitment_reports_total", "counter", "Reports of storage commitment that were delivered",
         server.reported},
        {"commitment_reports_failed_total", "counter", "Reports of storage commitment that were given up",
         server.unreported},
    };
    std::string text;
    for (const auto& row : rows) {
        const std::string name = std::string("orvkit_") + row.name;
        text += "# HELP " + name + " " + row.help + "\n# TYPE " + name + " " + row.type + "\n" + name + " " +
                std::to_string(row.value) + "\n";
    }
    return text;
}

bool Provider::ended(int outcome, const std::string& lost) {
    if (outcome == MSM_RELEASE_REQUESTED) {
        tell("association released, " + std::to_string(stored_) + " stored" + lost);
    } else if (outcome == MSM_READ_TIMEOUT) {
        tell("association ended: what was begun did not come to its end in time" + lost);
    } else {
        tell("association ended: " + outcomeText(outcome, msm_) + lost);
    }
    return false;
}

}  // namespace services
