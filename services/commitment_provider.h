// What `orvkit serve --archive` commits itself to (PS3.4 J): requests, and their reports on the association
// that asked, as long as that stands, or on one of their own.
#ifndef ORVKIT_SERVICES_COMMITMENT_PROVIDER_H
#define ORVKIT_SERVICES_COMMITMENT_PROVIDER_H

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "services/commitment_reports.h"
#include "services/provider.h"

namespace services {

class Archive;

class Commitments {
  public:
    // Where a peer listens, by its AE title; null for one that is not known.
    using Find = std::function<std::optional<PeerOptions>(std::string_view title)>;

    // Has the server, which serves the archive already, answer requests for commitment. It outlives the
    // server's associations. Reports are tried for so many seconds.
    Commitments(StoreServer& server, Archive& archive, Find find, int longest);
    Commitments(const Commitments&) = delete;
    Commitments& operator=(const Commitments&) = delete;

    // Looks all references up. Null, with the status to answer with and why in `received`: it is too much.
    ReportPtr begin(const std::string& requester, ReceivedCommitment& received);
    // Fills in what became of each reference.
    void lookUp(CommitmentReport& report);
    CommitmentReports& reports() { return reports_; }
    // What became of a report, for the log: on the association of `provider`, or on one of its own.
    void ended(const CommitmentReport& report, const std::string& why, Provider* provider);

  private:
    using Transaction = std::pair<std::string, std::string>;  // requester and UID

    void forget(CommitmentReport* report, const Transaction& transaction, bool own);
    void lookUp(CommitmentItem& item);

    StoreServer& server_;
    Archive& archive_;
    Find find_;
    std::mutex mutex_;
    std::set<Transaction> inUse_;
    std::size_t weight_ = 0;
    CommitmentReports reports_;  // goes first: its reports are forgotten here
};

}  // namespace services

#endif
