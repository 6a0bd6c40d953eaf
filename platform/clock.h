// What a platform must implement: the clock on the wall.
#ifndef ORVKIT_PLATFORM_CLOCK_H
#define ORVKIT_PLATFORM_CLOCK_H

#include <ctime>

namespace orvkit::platform {

// The current local time. May be called from several threads at once. False (and `now` untouched) when the
// system cannot tell.
[[nodiscard]] bool localTime(std::tm& now) noexcept;

// A point in time as local time; the same rules.
[[nodiscard]] bool localTime(std::time_t when, std::tm& local) noexcept;

}  // namespace orvkit::platform

#endif
