// What find, move and get have in common: opening, the request, and the account of sub-operations.
#ifndef ORVKIT_SERVICES_RETRIEVE_H
#define ORVKIT_SERVICES_RETRIEVE_H

#include <chrono>
#include <string>
#include <vector>

#include "services/association.h"
#include "services/query_keys.h"

namespace services {

// Opens an association with a context for the model, and others behind it; complains when the peer does not
// take the model.
[[nodiscard]] bool openFor(Association& association, const PeerOptions& options, DICT_UID model,
                           std::vector<DcMsmSopXferSyn> others);
// SOP class, priority and identifier.
void fillRequest(DcCmd& request, DICT_UID model, const QueryKeys& keys);

// Waits for what answers one request, and sees that it comes to an end, whatever the peer sends: SIGINT,
// SIGTERM and the options' bounds cancel the request, and a peer that goes on after that, for ten seconds or
// the time-out where that is less, is left. A second signal ends the program at once, and the first in the
// end, too.
//
// Unless the options say how long all may take, it may take three times the time-out without anything coming
// of what was asked for: what comes gives time back (gain), up to that.
class Answers {
  public:
    using Clock = std::chrono::steady_clock;

    Answers(Association& association, const QueryOptions& options, DICT_UID model);

    // Waits until the next message begins; false: none will, and fault() tells why.
    [[nodiscard]] bool await();
    // To be called in front of receiving an object: it may take as long as its bytes come, or what is left.
    void awaitObject();
    void gain(Clock::duration time);
    // All that there can be.
    void gain() { gain(allowance()); }
    // Once; what follows is still to be received.
    void cancel(const std::string& why);
    // Tells on standard error if the request was cancelled, and why.
    bool tellCancelled() const;
    // Why the last message did not come, or not to its end.
    std::string fault() const;

  private:
    bool isBounded() const { return options_.maxTime != 0; }
    Clock::duration allowance() const;
    Clock::duration grace() const;
    Clock::duration left() const;
    bool isOverdue() const { return why_.empty() && isBounded() && Clock::now() > end_; }

    Association& association_;
    const QueryOptions& options_;
    DICT_UID model_;
    Clock::time_point end_;  // of all, or once it is cancelled, of what is still to come
    std::string why_;        // it was cancelled
};

// The account that the responses to C-MOVE and C-GET give of their sub-operations (PS3.4 C.4.2.1.6).
class Retrieval {
  public:
    explicit Retrieval(const QueryOptions& options) : options_(options) {}

    // Whether more sub-operations are done than any response has told before.
    bool response(DcMsg& response);
    bool ended() const { return ended_; }
    // Prints the account. `fault` tells why no final response came, "" when one came.
    [[nodiscard]] int finish(const std::string& fault);

  private:
    const QueryOptions& options_;
    bool ended_ = false;
    unsigned int status_ = 0;
    std::string statusText_;
    int completed_ = 0;
    int failed_ = 0;
    int warned_ = 0;
    int remaining_ = 0;
    int done_ = 0;  // the most that were told of
};

}  // namespace services

#endif
