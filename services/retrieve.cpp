#include "services/retrieve.h"

#include <algorithm>
#include <cstdio>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/stop.h"
#include "services/json_writer.h"
#include "services/network_text.h"
#include "services/report.h"

namespace services {
namespace {

constexpr unsigned short kPriorityMedium = 0;
constexpr int kRetrieveTick = 100;  // milliseconds between looks at what would end the waiting
constexpr auto kGrace = std::chrono::seconds(10);
constexpr auto kLastWords = std::chrono::seconds(2);  // from the end of that to the end of the program
constexpr int kPatience = 3;                          // times the time-out
constexpr const char* kTooLong = "it took longer than --max-time";
constexpr const char* kNoProgress = "it made no progress (--max-time)";

int secondsOf(Answers::Clock::duration time) {
    return static_cast<int>(std::chrono::ceil<std::chrono::seconds>(time).count());
}

void readCount(DcMsg& response, unsigned int tag, int& count) {
    unsigned short value = 0;
    if (response.getValue(tag, value) == RESULT_OK) count = value;
}

}  // namespace

bool openFor(Association& association, const PeerOptions& options, DICT_UID model,
             std::vector<DcMsmSopXferSyn> others) {
    others.insert(others.begin(), context(model, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}));
    if (!association.open(std::move(others)))
        return complain("%s: %s", options.peer().c_str(), association.fault().c_str());
    const int result = association.contextResult(model);
    if (result == PRES_CTX_AC_ACCEPT) return true;
    complain("%s: %s: %s", options.peer().c_str(), describeUid(model).c_str(), contextText(result).c_str());
    association.release();
    return false;
}

void fillRequest(DcCmd& request, DICT_UID model, const QueryKeys& keys) {
    (void)request.add(new DcElem(T_0000_0002_affectedSopClassUid, model));
    (void)request.add(new DcElem(T_0000_0700_priority, kPriorityMedium));
    (void)request.add(keys.identifier().release());
}

Answers::Answers(Association& association, const QueryOptions& options, DICT_UID model)
    : association_(association), options_(options), model_(model), end_(Clock::now() + allowance()) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(grace() + kLastWords);
    orvkit::platform::noteFirstStop(static_cast<unsigned int>(seconds.count()));
}

Answers::Clock::duration Answers::allowance() const {
    return std::chrono::seconds(options_.maxTime > 0 ? options_.maxTime : kPatience * options_.timeout);
}

Answers::Clock::duration Answers::grace() const {
    return std::min<Clock::duration>(kGrace, std::chrono::seconds(options_.timeout));
}

// What a message that begins now may take: at least a second.
Answers::Clock::duration Answers::left() const {
    const bool ends = isBounded() || !why_.empty();
    const Clock::duration most = std::chrono::seconds(options_.timeout);
    return std::max<Clock::duration>(ends ? std::min(end_ - Clock::now(), most) : most,
                                     std::chrono::seconds(1));
}

bool Answers::await() {
    if (!association_.isOpen()) return false;
    const auto patience = std::chrono::seconds(options_.timeout);
    const auto asked = Clock::now();
    for (;;) {
        if (orvkit::platform::stopAsked()) cancel("interrupted");
        if (isOverdue()) cancel(options_.maxTime > 0 ? kTooLong : kNoProgress);
        if (!why_.empty() && Clock::now() > end_) {
            association_.giveUp("the peer goes on after the request was cancelled");
            return false;
        }
        if (association_.waitReadable(kRetrieveTick)) {
            association_.setPatience(secondsOf(left()));
            return true;
        }
        if (Clock::now() - asked > patience) {
            association_.giveUp("the peer did not answer in time");
            return false;
        }
    }
}

void Answers::awaitObject() {
    // Where nobody has said how long all may take, its bytes show that it is coming.
    const bool byBytes = why_.empty() && options_.maxTime <= 0;
    const auto whole = std::max<Clock::duration>(end_ - Clock::now(), std::chrono::seconds(1));
    association_.setPatience(byBytes ? options_.timeout : secondsOf(whole), byBytes ? kPeerPace : 0);
}

void Answers::gain(Clock::duration time) {
    if (why_.empty() && options_.maxTime < 0) end_ = std::min(end_ + time, Clock::now() + allowance());
}

void Answers::cancel(const std::string& why) {
    if (!why_.empty()) return;
    why_ = why;
    end_ = Clock::now() + grace();
    association_.cancel(model_);
}

std::string Answers::fault() const {
    return isOverdue() && options_.maxTime > 0 ? kTooLong : association_.fault();
}

bool Answers::tellCancelled() const {
    if (!why_.empty()) complain("%s: cancelled: %s", options_.peer().c_str(), why_.c_str());
    return !why_.empty();
}

bool Retrieval::response(DcMsg& response) {
    readCount(response, T_0000_1020_numberOfRemainingSubOperations, remaining_);
    readCount(response, T_0000_1021_numberOfCompletedSubOperations, completed_);
    readCount(response, T_0000_1022_numberOfFailedSubOperations, failed_);
    readCount(response, T_0000_1023_numberOfWarningSubOperations, warned_);
    status_ = statusOf(response);
    if (statusKind(status_) != StatusKind::pending) {
        ended_ = true;
        statusText_ = statusText(response);
    }
    const int before = done_;
    done_ = std::max(done_, completed_ + failed_ + warned_);
    return done_ > before;
}

int Retrieval::finish(const std::string& fault) {
    if (options_.json) {
        Output out;
        JsonWriter json(out);
        json.beginObject();
        json.member("completed", completed_).member("warning", warned_).member("failed", failed_);
        if (ended_) json.member("status", status_);
        json.endObject();
        out << '\n';
    } else {
        std::printf("%d completed, %d with a warning, %d failed\n", completed_, warned_, failed_);
    }
    (void)std::fflush(stdout);
    const std::string peer = options_.peer();
    if (!ended_) return failed("%s: %s", peer.c_str(), fault.c_str());
    const bool success = statusKind(status_) == StatusKind::success;
    if (!success || failed_ != 0) complain("%s: the peer answered %s", peer.c_str(), statusText_.c_str());
    return success && failed_ == 0 ? EXIT_OK : EXIT_FAILED;
}

}  // namespace services
