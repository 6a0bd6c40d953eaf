// Who may come in, how often at once, and what it may do then. From any thread.
#ifndef ORVKIT_SERVICES_ADMISSION_H
#define ORVKIT_SERVICES_ADMISSION_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "orvkit/pdu.h"
#include "services/known_peers.h"

namespace services {

class Admission {
  public:
    // An association that came in; counts as one of its peer while it lives.
    class Ticket {
      public:
        Ticket() = default;
        Ticket(Admission& admission, KnownPeer peer) : admission_(&admission), peer_(std::move(peer)) {}
        Ticket(Ticket&& other) noexcept { *this = std::move(other); }
        Ticket& operator=(Ticket&& other) noexcept {
            std::swap(admission_, other.admission_);
            std::swap(peer_, other.peer_);
            return *this;
        }
        ~Ticket() {
            if (admission_ != nullptr) admission_->leave(peer_.aet);
        }
        bool may(Right right) const { return peer_.may(right); }
        // Its own, and else those of everybody.
        const Limits& limits() const { return peer_.limits; }

      private:
        Admission* admission_ = nullptr;
        KnownPeer peer_;
    };

    // Before anybody comes.
    void setLimits(const Limits& limits) { limits_ = limits; }
    // From now on; those who are in stay. Without it everybody may do everything.
    void use(std::shared_ptr<const KnownPeers> peers);
    // Null where everybody may come in.
    std::shared_ptr<const KnownPeers> peers();
    // Where the caller may not come in, `why` is told of it, and `reject` is the answer: calling AE title not
    // recognized, or local limit exceeded (PS3.8 9.3.4).
    Ticket admit(const Caller& caller, DcPduInfoRj& reject, std::string& why);

  private:
    void leave(const std::string& aet);

    Limits limits_;
    std::mutex mutex_;
    std::shared_ptr<const KnownPeers> peers_;
    std::map<std::string, std::uint64_t> inside_;  // associations by title
};

}  // namespace services

#endif
