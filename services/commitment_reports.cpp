#include "services/commitment_reports.h"

#include <algorithm>
#include <exception>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/association.h"
#include "services/network_text.h"

namespace services {
namespace {

constexpr auto kLongestPause = std::chrono::seconds(300);
constexpr int kLongestConnecting = 5;  // seconds: one that does not answer keeps all others waiting
constexpr int kTick = 100;             // milliseconds between looks at whether the server stops

}  // namespace

std::string describe(const CommitmentReport& report) {
    const auto failed = std::ranges::count_if(
        report.what.items, [](const CommitmentItem& each) { return each.reason != kCommitted; });
    return "commitment " + report.what.transaction + " of " + report.requester + " (" +
           std::to_string(report.what.items.size() - static_cast<std::size_t>(failed)) + " committed, " +
           std::to_string(failed) + " not)";
}

void fillReport(DcMsg& request, const CommitmentReport& report, const std::string& retrieveAet) {
    (void)request.add(new DcElem(T_0000_0002_affectedSopClassUid, UID_STORAGE_COMMITMENT_PUSH_CLASS));
    (void)request.add(new DcElem(T_0000_1000_affectedSopInstanceUid, UID_STORAGE_COMMITMENT_PUSH_INSTANCE));
    (void)request.add(new DcElem(T_0000_1002_eventTypeId, report.what.event()));
    (void)request.add(reportOf(report.what, retrieveAet).release());
}

bool isWorthAnotherTry(unsigned int status) {
    const StatusKind kind = statusKind(status);
    return kind != StatusKind::success && kind != StatusKind::warning &&
           (status == kProcessingFailure || status == kResourceLimit || status >= 0xA000);
}

CommitmentReports::~CommitmentReports() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
    for (const Waiting& each : waiting_) ended_(*each.report, "the server stops");
}

void CommitmentReports::add(ReportPtr report) {
    if (!report->destination) {
        ended_(*report, "nobody knows where " + report->requester + " listens (--destination, --peers)");
        return;
    }
    const std::lock_guard lock(mutex_);
    if (stopping_) {
        ended_(*report, "the server stops");
        return;
    }
    const auto now = Clock::now();
    waiting_.push_back({std::move(report), now + longest_, now});
    start();
    changed_.notify_all();
}

// Without a thread the next report tries again to have one.
void CommitmentReports::start() {
    if (thread_.joinable()) return;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::exception& fault) {
        tell_(std::string("reports of commitment wait: ") + fault.what());
    }
}

void CommitmentReports::recall(const std::string& requester, const std::string& transaction) {
    const std::lock_guard lock(mutex_);
    std::erase_if(waiting_, [&](const Waiting& each) {
        return !each.busy && each.report->requester == requester &&
               each.report->what.transaction == transaction;
    });
}

void CommitmentReports::run() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto next = std::ranges::min_element(waiting_, {}, &Waiting::next);
        if (next == waiting_.end()) {
            changed_.wait(lock);
        } else if (next->next > Clock::now()) {
            const auto time = next->next;  // recall() may take it out meanwhile
            changed_.wait_until(lock, time);
        } else {
            next->busy = true;
            lock.unlock();
            attempt(next);
            lock.lock();
        }
    }
}

void CommitmentReports::attempt(std::list<Waiting>::iterator at) {
    std::string why;
    Outcome outcome = Outcome::failed;
    try {
        outcome = deliver(*at->report, why);
    } catch (const std::exception& fault) {
        why = fault.what();
    }
    const auto now = Clock::now();
    const std::lock_guard lock(mutex_);
    at->busy = false;
    if (outcome == Outcome::failed && now + at->pause <= at->end) {
        tell_(describe(*at->report) + " is not reported yet: " + why + "; the next try is in " +
              std::to_string(at->pause.count()) + " s");
        at->next = now + at->pause;
        at->pause = std::min<std::chrono::seconds>(2 * at->pause, kLongestPause);
        return;
    }
    ended_(*at->report, outcome == Outcome::delivered ? "" : why);
    waiting_.erase(at);
}

// Who opens the association to report proposes to be the provider (PS3.7 D.3.3.4).
CommitmentReports::Outcome CommitmentReports::deliver(const CommitmentReport& report,
                                                      std::string& why) const {
    PeerOptions peer = *report.destination;
    peer.connectTimeout = std::min(peer.connectTimeout, kLongestConnecting);
    Association association(peer);
    if (!association.open({commitmentContext(TSM_ROLE_SCP)})) {
        why = association.fault();
        return Outcome::failed;
    }
    if (const int result = association.contextResult(UID_STORAGE_COMMITMENT_PUSH_CLASS);
        result != PRES_CTX_AC_ACCEPT) {
        why = contextText(result);
        association.release();
        return Outcome::failed;
    }
    DcCmdNEventRq request;
    fillReport(request, report, retrieveAet_);
    if (!association.send(request, UID_STORAGE_COMMITMENT_PUSH_CLASS)) {
        why = association.fault();
        return Outcome::failed;
    }
    const auto end = Clock::now() + std::chrono::seconds(peer.timeout);
    while (!association.waitReadable(kTick)) {
        if (stopping_ || Clock::now() > end) {
            why = stopping_ ? "the server stops" : "no answer came in time";
            return Outcome::failed;
        }
    }
    const std::unique_ptr<DcMsg> response = association.receive(DICT_MSG_N_EVENT_RSP);
    if (response == nullptr) {
        why = association.fault();
        return Outcome::failed;
    }
    association.release();
    const StatusKind kind = statusKind(statusOf(*response));
    if (kind == StatusKind::success || kind == StatusKind::warning) return Outcome::delivered;
    why = "the peer answered " + statusText(*response);
    return isWorthAnotherTry(statusOf(*response)) ? Outcome::failed : Outcome::refused;
}

}  // namespace services
