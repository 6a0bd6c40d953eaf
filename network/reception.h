// How a transport receives: bounds on time and memory beyond the time-out of each wait, what it lets pass,
// and what secures its connections. None of them is set unless the application sets it.
#ifndef ORVKIT_NETWORK_RECEPTION_H
#define ORVKIT_NETWORK_RECEPTION_H

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "orvkit/security.h"

namespace orvkit {

// How long something may take: so many seconds, and one more for every so many bytes that come.
struct Pace {
    int seconds = 0;                  // 0: no bound
    unsigned int bytesPerSecond = 0;  // 0: bytes give no more time
};

class Reception {
  public:
    using Clock = std::chrono::steady_clock;

    Pace pdu;                    // of the waits within one PDU, all together
    Pace message;                // from the call that receives a message to its last byte
    bool learnsClasses = false;  // of association requests: SOP classes that nobody knows get numbers
    std::uint64_t limit = 0;     // bytes of a data set, or of an association PDU, in memory; 0: no bound

    bool tolerant = false;  // of unknown items in association PDUs

    DcSecurity* security = nullptr;  // of the next connections
    bool secures = false;            // the present one, or the last
    DcSecurityInfo secured;          // what was known of it at its end

    // The message's clock runs while one of these lives.
    class Message {
      public:
        explicit Message(Reception& reception) noexcept : reception_(reception) { reception.beginMessage(); }
        Message(const Message&) = delete;
        Message& operator=(const Message&) = delete;
        ~Message() { reception_.messageRuns_ = false; }

      private:
        Reception& reception_;
    };

    // (Again) from now on.
    void beginMessage() noexcept;
    // The silence in front of a PDU does not count.
    void beginPdu() noexcept;
    // Whether somebody must look at the clock for `took`.
    bool isTimed() const noexcept { return pdu.seconds > 0 || messageRuns_; }
    // How much of a wait is left, in milliseconds; -1 when the message's time is up.
    int patience(int wait) const noexcept;
    // What a receive that began then has brought.
    void took(Clock::time_point begun, std::size_t count) noexcept;
    // Whether the message's time is up.
    bool isLate() const noexcept { return messageRuns_ && messageLeft() <= 0; }

  private:
    long long messageLeft() const noexcept;

    bool pduRuns_ = false;
    long long pduWaited_ = 0;  // microseconds
    std::uint64_t pduBytes_ = 0;
    bool messageRuns_ = false;
    Clock::time_point messageBegun_;
    std::uint64_t messageBytes_ = 0;
};

}  // namespace orvkit

#endif
