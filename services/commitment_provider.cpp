#include "services/commitment_provider.h"

#include <deque>
#include <filesystem>
#include <map>
#include <system_error>

#include "dictionary/uid_text.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/archive_files.h"
#include "services/archive_server.h"
#include "services/charset.h"
#include "services/handlers.h"
#include "services/network_text.h"
#include "services/paths.h"

namespace services {

Handler answerAction;  // here, both
Handler answerReported;

namespace {

// clang-format off
constexpr Service kCommitmentServices[] = {
    {DICT_MSG_N_ACTION_RQ, Right::store, answerAction,   responseTo<DcCmdNActionRsp, DcCmdNActionRq>},
    {DICT_MSG_N_EVENT_RSP, Right::store, answerReported, nullptr},
};
// clang-format on

// The reports that one association waits for. They are sent on it when nothing has come from the peer for a
// moment: a peer that wants them on an association of its own releases this one, and must not be spoken to
// while it does. What is without an answer when the association ends goes the other way.
class ReportsHere final : public Companion {
  public:
    explicit ReportsHere(Commitments& commitments) : commitments_(commitments) {}
    ReportsHere(const ReportsHere&) = delete;
    ReportsHere& operator=(const ReportsHere&) = delete;
    ~ReportsHere() override {
        for (auto& [id, report] : sent_) commitments_.reports().add(std::move(report));
        for (auto& [context, report] : waiting_) commitments_.reports().add(std::move(report));
    }

    void add(unsigned char context, ReportPtr report) { waiting_.emplace_back(context, std::move(report)); }

    // One at a time: no more may be under way (PS3.7 D.3.3.3).
    bool paused(Provider& provider) override {
        if (waiting_.empty() || !sent_.empty()) return true;
        const auto [context, report] = std::move(waiting_.front());
        waiting_.pop_front();
        DcCmdNEventRq request;
        fillReport(request, *report, commitments_.reports().retrieveAet());
        (void)request.add(new DcElem(T_0000_0110_messageId, ++lastId_));
        sent_.emplace(lastId_, report);
        return provider.send(context, request);
    }

    bool answered(Provider& provider, DcMsg& response) {
        unsigned short id = 0;
        (void)response.getValue(T_0000_0120_messageIdBeingRespondedTo, id);
        const auto at = sent_.find(id);
        if (at == sent_.end()) return provider.abort("a report was answered that was not sent");
        const ReportPtr report = std::move(at->second);
        sent_.erase(at);
        const unsigned int status = statusOf(response);
        const StatusKind kind = statusKind(status);
        if (kind == StatusKind::success || kind == StatusKind::warning) {
            commitments_.ended(*report, "", &provider);
        } else if (isWorthAnotherTry(status)) {
            commitments_.reports().add(report);
        } else {
            commitments_.ended(*report, "the peer answered " + statusText(response), &provider);
        }
        return true;
    }

  private:
    Commitments& commitments_;
    unsigned short lastId_ = 0;
    std::deque<std::pair<unsigned char, ReportPtr>> waiting_;  // with the contexts that asked
    std::map<unsigned short, ReportPtr> sent_;
};

// The status for a request that is for something else; kCommitted for none (PS3.4 J.3.2).
unsigned short faultOfRequest(DcMsg& command) {
    DICT_UID sopClass = UID_NONE;
    DICT_UID instance = UID_NONE;
    unsigned short action = 0;
    (void)command.getValue(T_0000_0003_requestedSopClassUid, sopClass);
    (void)command.getValue(T_0000_1001_requestedSopInstanceUid, instance);
    (void)command.getValue(T_0000_1008_actionTypeId, action);
    if (sopClass != UID_STORAGE_COMMITMENT_PUSH_CLASS) return kNoSuchClass;
    if (instance != UID_STORAGE_COMMITMENT_PUSH_INSTANCE) return kNoSuchInstance;
    return action == kRequestCommitment ? kCommitted : kNoSuchAction;
}

void fillEvent(Event& event, const Commitment& commitment) {
    event.object = commitment.transaction;
    event.sopClass = orvkit::uidText(UID_STORAGE_COMMITMENT_PUSH_CLASS);
    event.objects = commitment.items.size();
}

}  // namespace

bool answerAction(Provider& provider, DICT_UID, DcMsg& message) {
    auto& request = static_cast<DcCmdNActionRq&>(message);
    Commitments& commitments = *provider.server().commitments;
    ReceivedCommitment received;
    if (!receiveCommitment(provider, request, false, received)) return false;
    if (const unsigned short fault = faultOfRequest(request); fault != kCommitted) {
        received.status = fault;
        received.fault = "it is no request for commitment";
    }
    ReportPtr report;
    if (received.status == kCommitted) report = commitments.begin(provider.callingAet(), received);
    DcCmdNActionRsp response(&request);
    (void)response.add(new DcElem(T_0000_0002_affectedSopClassUid, UID_STORAGE_COMMITMENT_PUSH_CLASS));
    (void)response.add(new DcElem(T_0000_1000_affectedSopInstanceUid, UID_STORAGE_COMMITMENT_PUSH_INSTANCE));
    Event event = provider.event(EventId::access,
                                 report != nullptr ? EventOutcome::success : EventOutcome::minorFailure,
                                 "commitment asked for, status " + statusText(received.status));
    fillEvent(event, report != nullptr ? report->what : received.what);
    if (!provider.server().trace.write(event) && report != nullptr) {
        received.status = kProcessingFailure;
        received.fault = "the trace cannot be written";
        report.reset();
    }
    ++(report != nullptr ? provider.server().commitmentsAsked : provider.server().commitmentsRefused);
    if (report == nullptr)
        provider.tell("commitment refused: " + received.fault + ", status " + statusText(received.status));
    if (!provider.respond(request, response, received.status)) return false;
    if (report == nullptr) return true;
    commitments.lookUp(*report);
    provider.tell(describe(*report) + " asked for");
    if (provider.companion() == nullptr) provider.setCompanion(std::make_unique<ReportsHere>(commitments));
    static_cast<ReportsHere*>(provider.companion())->add(contextOf(request), std::move(report));
    return true;
}

bool answerReported(Provider& provider, DICT_UID, DcMsg& response) {
    auto* const here = static_cast<ReportsHere*>(provider.companion());
    if (here == nullptr) return provider.abort("a report was answered that was not sent");
    return here->answered(provider, response);
}

Commitments::Commitments(StoreServer& server, Archive& archive, Find find, int longest)
    : server_(server),
      archive_(archive),
      find_(std::move(find)),
      reports_(
          server.aet, longest, [&server](const std::string& line) { server.tell(withEscapes(line)); },
          [this](const CommitmentReport& report, const std::string& why) { ended(report, why, nullptr); }) {
    server.support.insert(server.support.end() - 1, commitmentContext(TSM_ROLE_SCU));
    server.services.emplace_back(kCommitmentServices);
    server.commitments = this;
}

// A transaction that is in use by the same peer has a report under way, or is asked for twice on one
// association. One whose report waits for another try is asked for again.
ReportPtr Commitments::begin(const std::string& requester, ReceivedCommitment& received) {
    const Transaction transaction(requester, received.what.transaction);
    reports_.recall(requester, received.what.transaction);
    auto report = std::make_unique<CommitmentReport>();
    report->what = std::move(received.what);
    report->requester = requester;
    report->destination = find_(requester);
    const std::lock_guard lock(mutex_);
    if (weight_ + report->weight() > kMostWaiting) {
        received.status = kResourceLimit;
        received.fault = "too many reports wait";
        received.what = std::move(report->what);
        return nullptr;
    }
    const bool own = inUse_.insert(transaction).second;
    for (CommitmentItem& each : report->what.items) each.reason = own ? kCommitted : kTransactionInUse;
    weight_ += report->weight();
    return {report.release(),
            [this, transaction, own](CommitmentReport* done) { forget(done, transaction, own); }};
}

void Commitments::ended(const CommitmentReport& report, const std::string& why, Provider* provider) {
    const std::string line =
        describe(report) + (why.empty() ? " reported" : " is not reported, and not tried again: " + why);
    const auto outcome = why.empty() ? EventOutcome::success : EventOutcome::minorFailure;
    Event event =
        provider != nullptr ? provider->event(EventId::access, outcome, line) : Event(EventId::access);
    event.outcome = outcome;
    event.peer = report.requester;
    event.result = line;
    fillEvent(event, report.what);
    ++(why.empty() ? server_.reported : server_.unreported);
    (void)server_.trace.write(event);
    if (provider != nullptr) {
        provider->tell(line);
    } else {
        server_.tell(withEscapes(line));
    }
}

void Commitments::forget(CommitmentReport* report, const Transaction& transaction, bool own) {
    const std::unique_ptr<CommitmentReport> gone(report);
    const std::lock_guard lock(mutex_);
    weight_ -= report->weight();
    if (own) inUse_.erase(transaction);
}

void Commitments::lookUp(CommitmentReport& report) {
    for (CommitmentItem& each : report.what.items) {
        if (each.reason != kCommitted) continue;
        if (server_.stopping) {
            each.reason = kProcessingFailure;
        } else {
            lookUp(each);
        }
    }
}

// Committed is what has its row and its file, as large as it was.
void Commitments::lookUp(CommitmentItem& item) {
    struct Look {
        const CommitmentItem& item;
        const std::string& directory;
        unsigned short reason = kNoSuchInstance;
    } look{item, server_.directory};
    const int result =
        archive_.index().lookUp(item.instance.c_str(), &look, [](void* context, const DcIndexInstance& row) {
            auto& found = *static_cast<Look*>(context);
            std::error_code error;
            const auto path = pathOf(archivePath(found.directory, row.path));
            if (found.item.sopClass != row.sopClass) {
                found.reason = kOtherClassOfInstance;
            } else if (const auto size = std::filesystem::file_size(path, error); !error) {
                found.reason = size == row.size ? kCommitted : kProcessingFailure;
            }
            return found.reason == kCommitted ? 1 : 0;
        });
    item.reason = result == RESULT_OK || result == INDEX_STOPPED ? look.reason : kProcessingFailure;
}

}  // namespace services
