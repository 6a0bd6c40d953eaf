#include "network/reception.h"

#include <algorithm>

namespace orvkit {

namespace {

constexpr long long kSecond = 1000000;  // microseconds

long long allowance(const Pace& pace, std::uint64_t bytes) noexcept {
    long long time = pace.seconds * kSecond;
    if (pace.bytesPerSecond != 0) {
        const std::uint64_t most = UINT64_MAX / kSecond;
        time += static_cast<long long>(std::min(bytes, most) / pace.bytesPerSecond) * kSecond;
    }
    return time;
}

long long since(Reception::Clock::time_point begun) noexcept {
    return std::chrono::duration_cast<std::chrono::microseconds>(Reception::Clock::now() - begun).count();
}

}  // namespace

void Reception::beginMessage() noexcept {
    messageRuns_ = message.seconds > 0;
    messageBytes_ = 0;
    if (messageRuns_) messageBegun_ = Clock::now();
}

void Reception::beginPdu() noexcept {
    pduRuns_ = false;
    pduWaited_ = 0;
    pduBytes_ = 0;
}

long long Reception::messageLeft() const noexcept {
    return allowance(message, messageBytes_) - since(messageBegun_);
}

int Reception::patience(int wait) const noexcept {
    long long left = wait * 1000LL;
    if (pdu.seconds > 0 && pduRuns_) left = std::min(left, allowance(pdu, pduBytes_) - pduWaited_);
    if (messageRuns_) {
        const long long whole = messageLeft();
        if (whole <= 0) return -1;
        left = std::min(left, whole);
    }
    // Rounded up: no wait ends before its time.
    return left > 0 ? static_cast<int>((left + 999) / 1000) : 0;
}

void Reception::took(Clock::time_point begun, std::size_t count) noexcept {
    if (pduRuns_) pduWaited_ += since(begun);
    pduRuns_ = true;
    pduBytes_ += count;
    messageBytes_ += count;
}

}  // namespace orvkit
