// Storage commitment by the push model (PS3.4 J): what requests and reports say, for both sides.
#ifndef ORVKIT_SERVICES_COMMITMENT_H
#define ORVKIT_SERVICES_COMMITMENT_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/msm.h"

namespace services {

class Provider;

// Action Type ID and Event Type IDs (PS3.4 J.3.2.1, J.3.3.1).
inline constexpr unsigned short kRequestCommitment = 1;
inline constexpr unsigned short kAllCommitted = 1;
inline constexpr unsigned short kFailuresExist = 2;

// Failure Reason (0008,1197), and none.
inline constexpr unsigned short kCommitted = 0x0000;
inline constexpr unsigned short kProcessingFailure = 0x0110;
inline constexpr unsigned short kNoSuchInstance = 0x0112;
inline constexpr unsigned short kOtherClassOfInstance = 0x0119;
inline constexpr unsigned short kTransactionInUse = 0x0131;
std::string reasonText(unsigned short reason);

// Statuses of N-ACTION and N-EVENT-REPORT (PS3.7 10.1.4.1.10, 10.1.1.1.8); kNoSuchInstance is one, too.
inline constexpr unsigned short kNoSuchEventType = 0x0113;
inline constexpr unsigned short kInvalidArgument = 0x0115;
inline constexpr unsigned short kNoSuchClass = 0x0118;
inline constexpr unsigned short kNoSuchAction = 0x0123;
inline constexpr unsigned short kResourceLimit = 0x0213;

struct CommitmentItem {
    std::string sopClass;
    std::string instance;
    unsigned short reason = kCommitted;
};
struct Commitment {
    std::string transaction;
    std::vector<CommitmentItem> items;

    // The type of the event that reports it.
    unsigned short event() const;
};

// What one request or report may have.
inline constexpr std::size_t kMostReferences = 100'000;
inline constexpr std::size_t kMostCommitmentBytes = 24 << 20;

// The data sets of a request and of a report.
std::unique_ptr<DcElemList> requestOf(const Commitment& commitment);
std::unique_ptr<DcElemList> reportOf(const Commitment& commitment, const std::string& retrieveAet);

// What has come on an association: the data set of a request or report, whose command `message` is. The
// status to answer with, and why in `fault`. False: the association is over.
struct ReceivedCommitment {
    Commitment what;
    unsigned short status = 0;
    std::string fault;
};
[[nodiscard]] bool receiveCommitment(Provider& provider, DcMsg& message, bool isReport,
                                     ReceivedCommitment& received);
// The same of a data set that is there.
void takeCommitment(DcElemList& dataset, bool isReport, ReceivedCommitment& received);
// What is wrong with the class, instance and type of a command that is for the well-known instance; 0.
unsigned short faultOfReport(DcMsg& command);

// The class with the syntaxes that it is spoken in, and the role that one proposes or grants.
DcMsmSopXferSyn commitmentContext(TSM_ROLE role);

}  // namespace services

#endif
