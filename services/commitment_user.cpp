#include "services/commitment_user.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <set>
#include <thread>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/association.h"
#include "services/charset.h"
#include "services/handlers.h"
#include "services/network_text.h"
#include "services/new_uid.h"
#include "services/report.h"
#include "services/workers.h"

namespace services {

Handler answerReport;  // here

namespace {

namespace platform = orvkit::platform;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostInRequest = 10'000;
constexpr auto kReportTick = std::chrono::milliseconds(100);
constexpr std::size_t kListeners = 4;  // associations served at once
constexpr std::size_t kMostWaiting = 16;

constexpr Service kReportServices[] = {
    {DICT_MSG_N_EVENT_RQ, Right::store, answerReport, responseTo<DcCmdNEventRsp, DcCmdNEventRq>}};

// Takes associations on a port, for reports alone; over TLS where the peer is asked over TLS, by the same
// trust.
class Listener {
  public:
    Listener(const SendOptions& options, ReportBook& book)
        : port_(options.aet.c_str(), TSM_ROLE_SCP, options.commitPort) {
        server_.aet = options.aet;
        server_.port = port_.getPort();
        server_.timeouts = static_cast<const EntityOptions&>(options).timeouts();
        server_.maxPdu = options.maxPdu;
        server_.acceptFrom.push_back(nullptr);
        DcMsmSopXferSyn echo = commitmentContext(TSM_ROLE_NONE);
        echo.sopClass = UID_VERIFICATION;
        server_.support = {echo, commitmentContext(TSM_ROLE_SCP), {}};
        server_.services.emplace_back(kReportServices);
        server_.reports = &book;
        server_.tell = [](const std::string& line) {
            if (logIsVerbose()) complain("%s", line.c_str());
        };
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() {
        stopping_ = true;
        if (thread_.joinable()) thread_.join();
    }
    [[nodiscard]] bool start(TlsOptions tls) {
        tls.peerName.clear();  // of the host that is asked
        if (tls.on && !security_.open(tls)) return complain("%s", security_.fault().c_str());
        if (tls.on) server_.security = security_.get();
        if (port_.socket() == platform::kNoSocket)
            return complain("cannot listen on port %d: %s", port_.getPort(), socketText(lastFault()).c_str());
        thread_ = std::thread([this] { run(); });
        return true;
    }

  private:
    struct Port : DcMsm {
        using DcMsm::DcMsm;
        unsigned int socket() const { return sockListen_; }
    };

    void run() {
        Doorman doorman(port_.socket(),
                        server_.security != nullptr ? Greeting::tlsHello : Greeting::associationRequest,
                        server_.addresses, kMostWaiting, std::chrono::seconds(server_.timeouts.readTimeout),
                        server_.tell);
        Workers workers(server_, doorman, kListeners, kMostWaiting);
        while (!stopping_) {
            std::vector<platform::WaitEntry> watched = workers.watched();
            doorman.wait(static_cast<int>(kReportTick.count()), watched);
            (void)workers.serve(watched);
            doorman.refuseLate();
        }
    }

    Port port_;
    Security security_;
    StoreServer server_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

// The status to answer a report with.
unsigned short judge(ReportBook& book, DcMsg& request, const ReceivedCommitment& received) {
    if (const unsigned short fault = faultOfReport(request); fault != kCommitted) return fault;
    return received.status != kCommitted ? received.status : book.take(received.what);
}

// The association that asks, on which reports may come, too.
class Asking {
  public:
    Asking(const SendOptions& options, ReportBook& book)
        : peer_(options.peer()), association_(options), book_(book) {}

    // False, with a complaint.
    [[nodiscard]] bool open() {
        if (!association_.open({commitmentContext(TSM_ROLE_NONE)}))
            return complain("%s: %s", peer_.c_str(), association_.fault().c_str());
        const int result = association_.contextResult(UID_STORAGE_COMMITMENT_PUSH_CLASS);
        if (result == PRES_CTX_AC_ACCEPT) return true;
        association_.release();
        return complain("%s: no commitment: %s", peer_.c_str(), contextText(result).c_str());
    }
    [[nodiscard]] bool ask(const Commitment& commitment) {
        DcCmdNActionRq request;
        (void)request.add(new DcElem(T_0000_0003_requestedSopClassUid, UID_STORAGE_COMMITMENT_PUSH_CLASS));
        (void)request.add(
            new DcElem(T_0000_1001_requestedSopInstanceUid, UID_STORAGE_COMMITMENT_PUSH_INSTANCE));
        (void)request.add(new DcElem(T_0000_1008_actionTypeId, kRequestCommitment));
        (void)request.add(requestOf(commitment).release());
        book_.ask(commitment);
        if (!association_.send(request, UID_STORAGE_COMMITMENT_PUSH_CLASS)) return fails();
        std::unique_ptr<DcMsg> message = association_.receive();
        while (message != nullptr && message->getType() == DICT_MSG_N_EVENT_RQ)
            message = report(*message) ? association_.receive() : nullptr;
        if (message == nullptr || !association_.isAnswer(*message, DICT_MSG_N_ACTION_RSP)) return fails();
        const StatusKind kind = statusKind(statusOf(*message));
        return kind == StatusKind::success || kind == StatusKind::warning ||
               complain("%s: no commitment: the peer answered %s", peer_.c_str(),
                        statusText(*message).c_str());
    }
    bool isOpen() const { return association_.isOpen(); }
    // Until a report has come here or a moment has passed. The peer may end the association.
    void wait() {
        if (!association_.waitReadable(static_cast<int>(kReportTick.count()))) return;
        const std::unique_ptr<DcMsg> message = association_.receive();
        if (message != nullptr && message->getType() == DICT_MSG_N_EVENT_RQ) {
            if (!report(*message)) (void)fails();
        } else if (message != nullptr) {
            association_.refuse(*message);
            (void)fails();
        } else {
            association_.release();  // or what is left of it
        }
    }
    void release() { association_.release(); }

  private:
    bool fails() {
        const std::string fault = association_.fault();
        association_.abort();
        return complain("%s: %s", peer_.c_str(), fault.c_str());
    }

    // Takes and answers it. False: the association has failed.
    bool report(DcMsg& message) {
        auto& request = static_cast<DcCmdNEventRq&>(message);
        ReceivedCommitment received;
        DcElemList dataset;
        takeDataset(request, dataset);
        takeCommitment(dataset, true, received);
        DcCmdNEventRsp response(&request);
        DcPduInfoTf info;
        (void)request.getInfo(info);
        (void)response.add(new DcElem(T_0000_0900_status, judge(book_, request, received)));
        return association_.check(association_.msm().write(info.presCtxId, &response), RESULT_OK);
    }

    std::string peer_;
    Association association_;
    ReportBook& book_;
};

// One instance once, whatever files it came from.
std::vector<Commitment> requestsFor(const std::vector<SentObject>& objects) {
    std::vector<Commitment> requests;
    std::set<std::string> known;
    for (const SentObject& object : objects) {
        if (!known.insert(object.instance).second) continue;
        if (requests.empty() || requests.back().items.size() == kMostInRequest)
            requests.push_back({newUid(), {}});
        requests.back().items.push_back({object.sopClass, object.instance, kCommitted});
    }
    return requests;
}

// Whether there is something to wait for.
bool askForAll(Asking& asking, const std::vector<SentObject>& objects) {
    if (!asking.open()) return false;
    bool asked = false;
    for (const Commitment& request : requestsFor(objects)) {
        if (!asking.ask(request)) break;
        asked = true;
    }
    return asked;
}

int tellAll(const ReportBook& book, const std::vector<SentObject>& objects) {
    std::size_t committed = 0;
    for (const SentObject& object : objects) {
        const std::string path = withEscapes(object.path);
        const std::optional<unsigned short> reason = book.reasonOf(object);
        if (reason == kCommitted) {
            ++committed;
            std::printf("%s: committed\n", path.c_str());
        } else {
            (void)std::fflush(stdout);
            complain("%s: not committed: %s", path.c_str(),
                     reason ? reasonText(*reason).c_str() : "no report came of it");
        }
    }
    std::printf("%zu committed, %zu not\n", committed, objects.size() - committed);
    return committed == objects.size() ? EXIT_OK : EXIT_FAILED;
}

}  // namespace

bool answerReport(Provider& provider, DICT_UID, DcMsg& message) {
    auto& request = static_cast<DcCmdNEventRq&>(message);
    ReceivedCommitment received;
    if (!receiveCommitment(provider, request, true, received)) return false;
    const unsigned short status = judge(*provider.server().reports, request, received);
    provider.tell("report of commitment " + received.what.transaction + ", status " + statusText(status));
    DcCmdNEventRsp response(&request);
    return provider.respond(request, response, status);
}

void ReportBook::ask(const Commitment& request) {
    const std::lock_guard lock(mutex_);
    std::vector<std::string>& instances = open_[request.transaction];
    for (const CommitmentItem& each : request.items) instances.push_back(each.instance);
}

unsigned short ReportBook::take(const Commitment& report) {
    const std::lock_guard lock(mutex_);
    const auto asked = open_.find(report.transaction);
    // One comes again when its sender has not heard the answer.
    if (asked == open_.end()) return closed_.contains(report.transaction) ? kCommitted : kInvalidArgument;
    std::set<std::string> instances(asked->second.begin(), asked->second.end());
    for (const CommitmentItem& each : report.items) {
        if (instances.contains(each.instance)) items_[each.instance] = each;
    }
    closed_.insert(report.transaction);
    open_.erase(asked);
    changed_.notify_all();
    return kCommitted;
}

bool ReportBook::isComplete() const {
    const std::lock_guard lock(mutex_);
    return open_.empty();
}

void ReportBook::wait(std::chrono::milliseconds time) const {
    std::unique_lock lock(mutex_);
    (void)changed_.wait_for(lock, time, [this] { return open_.empty(); });
}

std::optional<unsigned short> ReportBook::reasonOf(const SentObject& object) const {
    const std::lock_guard lock(mutex_);
    const auto at = items_.find(object.instance);
    if (at == items_.end()) return std::nullopt;
    if (at->second.reason == kCommitted && at->second.sopClass != object.sopClass)
        return kOtherClassOfInstance;
    return at->second.reason;
}

int commit(const SendOptions& options, const std::vector<SentObject>& objects) {
    if (objects.empty()) return EXIT_OK;
    ReportBook book;
    std::unique_ptr<Listener> listener;
    if (options.commitPort != 0) listener = std::make_unique<Listener>(options, book);
    if (listener != nullptr && !listener->start(options.tls)) return EXIT_FAILED;
    Asking asking(options, book);
    if (askForAll(asking, objects)) {
        const auto end = Clock::now() + std::chrono::seconds(options.commitTime);
        while (!book.isComplete() && Clock::now() < end) {
            if (asking.isOpen()) {
                asking.wait();
            } else if (listener != nullptr) {
                book.wait(kReportTick);
            } else {
                complain("%s: the association ended without a report (--commit-port takes another one)",
                         options.peer().c_str());
                break;
            }
        }
    }
    asking.release();
    return tellAll(book, objects);
}

}  // namespace services
