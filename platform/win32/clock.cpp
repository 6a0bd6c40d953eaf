#include "platform/clock.h"

namespace orvkit::platform {

bool localTime(std::tm& now) noexcept {
    const std::time_t when = std::time(nullptr);
    return when != static_cast<std::time_t>(-1) && localTime(when, now);
}

bool localTime(std::time_t when, std::tm& local) noexcept {
    std::tm broken{};
    if (::localtime_s(&broken, &when) != 0) return false;
    local = broken;
    return true;
}

}  // namespace orvkit::platform
