#include "services/admission.h"

namespace services {

void Admission::use(std::shared_ptr<const KnownPeers> peers) {
    const std::lock_guard lock(mutex_);
    peers_.swap(peers);
}

std::shared_ptr<const KnownPeers> Admission::peers() {
    const std::lock_guard lock(mutex_);
    return peers_;
}

Admission::Ticket Admission::admit(const Caller& caller, DcPduInfoRj& reject, std::string& why) {
    const std::lock_guard lock(mutex_);
    KnownPeer own;
    own.aet = caller.aet;
    if (peers_ != nullptr) {
        const KnownPeer* const known = peers_->admit(caller, why);
        if (known == nullptr) {
            reject = {1, 1, 3};
            return {};
        }
        own = *known;
    }
    own.limits = limits_.with(own.limits);
    std::uint64_t& inside = inside_[own.aet];
    if (own.limits.associations != 0 && inside >= own.limits.associations) {
        reject = {2, 3, 2};
        why = "it has " + std::to_string(inside) + " associations already";
        return {};
    }
    ++inside;
    return {*this, std::move(own)};
}

void Admission::leave(const std::string& aet) {
    const std::lock_guard lock(mutex_);
    if (const auto at = inside_.find(aet); at != inside_.end() && --at->second == 0) inside_.erase(at);
}

}  // namespace services
