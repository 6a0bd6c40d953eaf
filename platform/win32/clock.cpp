#include "platform/clock.h"

namespace orvkit::platform {

bool localTime(std::time_t when, std::tm& local) noexcept {
    std::tm broken{};
    if (::localtime_s(&broken, &when) != 0) return false;
    local = broken;
    return true;
}

}  // namespace orvkit::platform
