#include "platform/clock.h"

#include <time.h>

namespace orvkit::platform {

bool localTime(std::time_t when, std::tm& local) noexcept {
    std::tm broken;
    if (localtime_r(&when, &broken) == nullptr) return false;
    local = broken;
    return true;
}

}  // namespace orvkit::platform
