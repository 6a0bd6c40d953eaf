#include "services/door.h"

#include <algorithm>
#include <utility>

#include "orvkit/pdu.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

// A longer request is let in when this much of it is here.
constexpr std::size_t kEnough = 16384;
constexpr auto kDoorTick = std::chrono::milliseconds(50);  // between looks at requests that have begun
constexpr int kBacklog = 1024;        // a client who finds it full tries again after a second
constexpr int kAcceptedAtOnce = 256;  // accepted in one go
constexpr auto kBusyPatience = std::chrono::seconds(5);
constexpr int kTooManyFiles = 10024;
constexpr unsigned char kAssociationRequest = PDU_TYPE_ASSO_RQ;
constexpr unsigned char kTlsHandshake = 22;  // type of a record (RFC 8446 5.1)

// The last word to a peer. What it sent is taken first: closing over unread bytes would reset the connection,
// and the word with it.
template <typename Pdu, typename Info>
void dismiss(unsigned int socket, Info reason) {
    unsigned char dropped[kEnough];
    std::size_t count = 0;
    for (int i = 0; i < 4; ++i) {
        if (platform::receive(socket, dropped, sizeof dropped, 0, count) != platform::Received::data) break;
    }
    Pdu pdu(socket);
    (void)pdu.setInfo(&reason);
    (void)pdu.write();
}

}  // namespace

// Of a record of TLS, which need not be the whole of its message, or of a PDU.
std::size_t enoughOf(Greeting greeting, const unsigned char* head) {
    const bool tls = greeting == Greeting::tlsHello;
    const std::uint64_t length = tls ? std::uint64_t{head[3]} << 8 | head[4]
                                     : std::uint64_t{head[2]} << 24 | std::uint64_t{head[3]} << 16 |
                                           std::uint64_t{head[4]} << 8 | head[5];
    return static_cast<std::size_t>(std::min<std::uint64_t>(length + (tls ? 5 : 6), kEnough));
}

void rejectBusy(unsigned int socket, Greeting greeting) {
    if (greeting == Greeting::tlsHello) {
        constexpr unsigned char internalError[] = {21, 3, 3, 0, 2, 2, 80};  // a fatal alert
        (void)platform::sendTwo(socket, internalError, sizeof internalError, nullptr, 0);
        return;
    }
    dismiss<DcPduAssoRj>(socket, DcPduInfoRj{2, 3, 2});
}

Doorman::Doorman(unsigned int listener, Greeting greeting, Addresses& addresses, std::size_t most,
                 std::chrono::seconds patience, std::function<void(const std::string&)> told)
    : listener_(listener),
      greeting_(greeting),
      addresses_(addresses),
      most_(most),
      patience_(patience),
      told_(std::move(told)) {
    (void)platform::listenSocket(listener, kBacklog);
}

void Doorman::wait(int timeout, std::vector<platform::WaitEntry>& others) {
    const bool paused = Clock::now() < pausedUntil_;
    entries_.assign(1, {paused ? platform::kNoSocket : listener_, false});
    bool begun = paused;
    {
        // A request that has begun is readable all the time: it is looked at now and then instead.
        const std::lock_guard lock(mutex_);
        for (const Waiting& w : waiting_) {
            if (w.state == State::silent) entries_.push_back({w.visitor.socket.get(), false});
            if (w.state == State::begun) begun = true;
        }
    }
    const std::size_t own = entries_.size();
    entries_.insert(entries_.end(), others.begin(), others.end());
    if (begun) timeout = std::min(timeout, static_cast<int>(kDoorTick.count()));
    platform::waitAny(entries_.data(), entries_.size(), timeout);
    std::copy(entries_.begin() + static_cast<std::ptrdiff_t>(own), entries_.end(), others.begin());
    lookAround(paused);
}

// Meanwhile nobody but those whose requests were there can have gone.
void Doorman::lookAround(bool paused) {
    const std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    const bool tick = now - lookedAt_ >= kDoorTick;
    if (tick) lookedAt_ = now;
    std::size_t entry = 1;
    Queue kept;
    for (Waiting& w : waiting_) {
        bool stays = true;
        if (w.state == State::silent) {
            if (entries_[entry++].ready) stays = look(w);
        } else if (w.state == State::begun && tick) {
            stays = look(w);
        }
        if (stays && w.state != State::ready && now - w.since > patience_) {
            told_(w.visitor.address + ": no association request came in time");
            stays = false;
        }
        if (stays) kept.push_back(std::move(w));
    }
    waiting_.swap(kept);
    if (entries_[0].ready && !paused) accept();
}

// Closes the connection that has been silent longest; false when there is none.
bool Doorman::makeRoom() {
    const auto oldest =
        std::find_if(waiting_.begin(), waiting_.end(), [](const Waiting& w) { return !isReady(w); });
    if (oldest == waiting_.end()) return false;
    told_(oldest->visitor.address + ": no association request, and others are waiting");
    waiting_.erase(oldest);
    return true;
}

void Doorman::accept() {
    for (int i = 0; i < kAcceptedAtOnce; ++i) {
        platform::Address peer;
        platform::Socket socket = platform::acceptSocket(listener_, peer, 0);
        if (!socket) {
            if (platform::lastSocketError() != kTooManyFiles || makeRoom()) return;
            told_("no more files can be open: new connections wait");
            pausedUntil_ = Clock::now() + std::chrono::seconds(1);
            return;
        }
        if (waiting_.size() >= most_ && !makeRoom()) {
            told_(platform::addressText(peer) + ": turned away: as many as can be wait for a worker");
            continue;
        }
        const std::string address = platform::addressText(peer);
        Addresses::Stay stay = addresses_.enter(address);
        if (addresses_.isFlood(stay)) {
            told_(address + ": turned away: " + std::to_string(stay.number()) + " connections from there");
            continue;
        }
        waiting_.push_back({{std::move(socket), address, std::move(stay)}, Clock::now(), State::silent});
        if (!look(waiting_.back())) waiting_.pop_back();
    }
}

bool Doorman::look(Waiting& waiting) {
    unsigned char bytes[kEnough];
    const std::int64_t count = platform::peekArrived(waiting.visitor.socket.get(), bytes, sizeof bytes);
    if (count == -1) return true;
    if (count <= 0) return waiting.state == State::silent ? false : lookAgain(waiting);
    waiting.state = State::begun;
    if (bytes[0] != (greeting_ == Greeting::tlsHello ? kTlsHandshake : kAssociationRequest)) {
        refuse(waiting, bytes);
        return false;
    }
    if (count < 6) return lookAgain(waiting);
    const bool enough = static_cast<std::size_t>(count) >= enoughOf(greeting_, bytes);
    return enough ? welcome(waiting) : lookAgain(waiting);
}

// It has said what it wants: now, later, or never.
bool Doorman::welcome(Waiting& waiting) {
    const Visitor& visitor = waiting.visitor;
    std::string why;
    if (addresses_.isUnwelcome(visitor.stay, visitor.address, why)) {
        told_(visitor.address + ": association refused: " + why + " (local-limit-exceeded)");
        rejectBusy(visitor.socket.get(), greeting_);
        return false;
    }
    if (addresses_.mustWait(visitor.address)) return lookAgain(waiting);
    waiting.state = State::ready;
    waiting.since = Clock::now();
    return true;
}

// A request that was broken off will never be whole.
bool Doorman::lookAgain(Waiting& waiting) {
    if (!platform::peerIsDone(waiting.visitor.socket.get())) return true;
    told_(waiting.visitor.address + ": the association request was broken off");
    return false;
}

// A-ABORT by the service provider: unrecognized PDU (PS3.8 9.3.8).
void Doorman::refuse(Waiting& waiting, const unsigned char* head) {
    const bool tls = greeting_ == Greeting::tlsHello;
    if (tls && head[0] == kAssociationRequest) {
        told_(waiting.visitor.address + ": plain DICOM on a TLS port");
    } else if (!tls && head[0] == kTlsHandshake) {
        told_(waiting.visitor.address + ": TLS on a plain port");
    } else {
        told_(waiting.visitor.address + ": not " + (tls ? "a TLS handshake" : "an association request") +
              " (first byte " + std::to_string(head[0]) + ")");
    }
    addresses_.failed(waiting.visitor.address);
    dismiss<DcPduAbort>(waiting.visitor.socket.get(), DcPduInfoAbort{2, 1});
}

void Doorman::refuseLate() {
    const auto now = Clock::now();
    const std::lock_guard lock(mutex_);
    std::erase_if(waiting_, [&](const Waiting& w) {
        if (w.state != State::ready || now - w.since < kBusyPatience) return false;
        told_(w.visitor.address + ": association refused: all workers are busy (local-limit-exceeded)");
        rejectBusy(w.visitor.socket.get(), greeting_);
        return true;
    });
}

bool Doorman::hasReady() const {
    const std::lock_guard lock(mutex_);
    return std::any_of(waiting_.begin(), waiting_.end(), isReady);
}

void Doorman::close() {
    const std::lock_guard lock(mutex_);
    waiting_.clear();
}

Doorman::Queue::iterator Doorman::chosen() {
    auto best = waiting_.end();
    for (auto at = waiting_.begin(); at != waiting_.end(); ++at) {
        if (!isReady(*at)) continue;
        if (best == waiting_.end() || lastIsNext_ ||
            at->visitor.stay.number() < best->visitor.stay.number()) {
            best = at;
        }
    }
    lastIsNext_ = !lastIsNext_;
    return best;
}

// Those who have gone meanwhile need no worker.
Visitor Doorman::next() {
    const std::lock_guard lock(mutex_);
    for (;;) {
        const auto ready = chosen();
        if (ready == waiting_.end()) return {};
        Visitor visitor = std::move(ready->visitor);
        waiting_.erase(ready);
        if (!platform::peerIsDone(visitor.socket.get())) return visitor;
        told_(visitor.address + ": gone before its association request was answered");
    }
}

}  // namespace services
