// A time-out that goes on over several calls of the system.
#ifndef ORVKIT_PLATFORM_DEADLINE_H
#define ORVKIT_PLATFORM_DEADLINE_H

#include <chrono>

namespace orvkit::platform {

class Deadline {
  public:
    // Milliseconds from now; a negative number waits without end.
    explicit Deadline(int timeout) noexcept
        : endless_(timeout < 0), end_(Clock::now() + Milliseconds(timeout)) {}
    // Milliseconds, rounded up, so that a wait never ends early; -1 without end.
    int left() const noexcept {
        if (endless_) return -1;
        const auto left = std::chrono::ceil<Milliseconds>(end_ - Clock::now()).count();
        return left > 0 ? static_cast<int>(left) : 0;
    }

  private:
    using Clock = std::chrono::steady_clock;
    using Milliseconds = std::chrono::milliseconds;
    bool endless_;
    Clock::time_point end_;
};

}  // namespace orvkit::platform

#endif
