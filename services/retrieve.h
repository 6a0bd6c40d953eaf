// What find, move and get have in common: opening, the request, and the account of sub-operations.
#ifndef ORVKIT_SERVICES_RETRIEVE_H
#define ORVKIT_SERVICES_RETRIEVE_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "services/association.h"
#include "services/query_keys.h"

namespace services {

// Prepares the process, takes the peer from the command line, and runs. The exit status.
int runRetrieve(PeerOptions& options, bool wantsMore, const std::function<int()>& run);

// Opens an association with a context for the model, and others behind it; complains when the peer does not
// take the model.
bool openFor(Association& association, const PeerOptions& options, DICT_UID model,
             std::vector<DcMsmSopXferSyn> others);
// SOP class, priority and identifier.
void fillRequest(DcCmd& request, DICT_UID model, const QueryKeys& keys);

// Waits for what answers one request, and sees that it comes to an end: SIGINT, SIGTERM and the options'
// bounds cancel the request. A peer that goes on for ten seconds after that is left. A second signal ends the
// program at once.
class Answers {
  public:
    Answers(Association& association, const QueryOptions& options, DICT_UID model);

    // Waits until the next message begins; false: none will, and the association's fault tells why.
    bool await();
    // Once; what follows is still to be received.
    void cancel(const std::string& why);
    // Tells on standard error if the request was cancelled, and why.
    bool tellCancelled() const;

  private:
    using Clock = std::chrono::steady_clock;

    Association& association_;
    const QueryOptions& options_;
    DICT_UID model_;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point cancelledAt_;
    std::string why_;  // it was cancelled
};

// The account that the responses to C-MOVE and C-GET give of their sub-operations (PS3.4 C.4.2.1.6).
class Retrieval {
  public:
    explicit Retrieval(const QueryOptions& options) : options_(options) {}

    void response(DcMsg& response);
    bool ended() const { return ended_; }
    // Prints the account. `fault` tells why no final response came, "" when one came.
    int finish(const std::string& fault);

  private:
    const QueryOptions& options_;
    bool ended_ = false;
    unsigned int status_ = 0;
    std::string statusText_;
    int completed_ = 0;
    int failed_ = 0;
    int warned_ = 0;
    int remaining_ = 0;
};

}  // namespace services

#endif
