// What a platform must implement: the clock on the wall.
#ifndef ORVKIT_PLATFORM_CLOCK_H
#define ORVKIT_PLATFORM_CLOCK_H

#include <ctime>

namespace orvkit::platform {

// A point in time as local time. May be called from several threads at once. False (and `local` untouched)
// when the system cannot tell.
[[nodiscard]] bool localTime(std::time_t when, std::tm& local) noexcept;

// The current one; the same rules.
[[nodiscard]] inline bool localTime(std::tm& now) noexcept {
    const std::time_t when = std::time(nullptr);
    return when != static_cast<std::time_t>(-1) && localTime(when, now);
}

}  // namespace orvkit::platform

#endif
