// Asking a peer to commit itself to what it was sent (PS3.4 J).
#ifndef ORVKIT_SERVICES_COMMITMENT_USER_H
#define ORVKIT_SERVICES_COMMITMENT_USER_H

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "services/commitment.h"
#include "services/user.h"

namespace services {

struct SentObject {
    std::string path;
    std::string sopClass;
    std::string instance;
};

// What was asked for and what has been reported of it; from any thread.
class ReportBook {
  public:
    void ask(const Commitment& request);
    // The status to answer a report with.
    unsigned short take(const Commitment& report);
    bool isComplete() const;
    // Until it is, or the time is over.
    void wait(std::chrono::milliseconds time) const;
    // Of one that was asked for; nothing while no report has told of it.
    std::optional<unsigned short> reasonOf(const SentObject& object) const;

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::map<std::string, std::vector<std::string>> open_;  // instances of transactions without a report
    std::set<std::string> closed_;                          // transactions with one
    std::map<std::string, CommitmentItem> items_;           // what was reported, by instance
};

// Asks, waits, and tells of each object whether it is committed; EXIT_FAILED when one is not.
[[nodiscard]] int commit(const SendOptions& options, const std::vector<SentObject>& objects);

}  // namespace services

#endif
