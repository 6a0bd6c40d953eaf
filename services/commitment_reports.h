// Reports of storage commitment on their way to those who asked, over associations of their own (PS3.4
// J.3.3).
#ifndef ORVKIT_SERVICES_COMMITMENT_REPORTS_H
#define ORVKIT_SERVICES_COMMITMENT_REPORTS_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "services/commitment.h"
#include "services/peer.h"

namespace services {

// What all reports that wait may weigh, one for each reference and some for each report.
inline constexpr std::size_t kMostWaiting = 500'000;

struct CommitmentReport {
    Commitment what;
    std::string requester;                   // its AE title
    std::optional<PeerOptions> destination;  // where it listens; nothing: nobody knows

    std::size_t weight() const { return what.items.size() + 10; }
};
using ReportPtr = std::shared_ptr<CommitmentReport>;

// Tries each report until it is delivered, with pauses of a second and twice as long each time, five minutes
// at most.
class CommitmentReports {
  public:
    using Clock = std::chrono::steady_clock;
    using Tell = std::function<void(const std::string& line)>;
    // What became of a report: it was delivered where `why` is "", and else it is given up.
    using Ended = std::function<void(const CommitmentReport& report, const std::string& why)>;

    // A report that could not be delivered after so many seconds is given up.
    CommitmentReports(std::string retrieveAet, int longest, Tell tell, Ended ended)
        : retrieveAet_(std::move(retrieveAet)),
          longest_(longest),
          tell_(std::move(tell)),
          ended_(std::move(ended)) {}
    CommitmentReports(const CommitmentReports&) = delete;
    CommitmentReports& operator=(const CommitmentReports&) = delete;
    // What waits is given up.
    ~CommitmentReports();

    void add(ReportPtr report);
    // Takes out the report of a transaction that waits, for its requester asks again.
    void recall(const std::string& requester, const std::string& transaction);
    const std::string& retrieveAet() const { return retrieveAet_; }

  private:
    enum class Outcome { delivered, failed, refused };  // failed: worth another try
    struct Waiting {
        ReportPtr report;
        Clock::time_point end;
        Clock::time_point next;
        std::chrono::seconds pause{1};
        bool busy = false;
    };
    void start();
    void run();
    void attempt(std::list<Waiting>::iterator at);
    Outcome deliver(const CommitmentReport& report, std::string& why) const;

    std::string retrieveAet_;
    std::chrono::seconds longest_;
    Tell tell_;
    Ended ended_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::list<Waiting> waiting_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
};

// "commitment 1.2.3 of SCANNER (3 committed, 1 not)"
std::string describe(const CommitmentReport& report);
// An N-EVENT-REPORT with its data set.
void fillReport(DcMsg& request, const CommitmentReport& report, const std::string& retrieveAet);
// Whether a peer that answers so may take the report another time.
bool isWorthAnotherTry(unsigned int status);

}  // namespace services

#endif
