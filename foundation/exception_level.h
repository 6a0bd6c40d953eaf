// The value exception level of the process, set by elemListSetValueExceptionLevel.
#ifndef ORVKIT_FOUNDATION_EXCEPTION_LEVEL_H
#define ORVKIT_FOUNDATION_EXCEPTION_LEVEL_H

#include <atomic>

namespace orvkit {

namespace detail {
extern std::atomic<int> valueExceptionLevel;
}

// -1 at first; 0 switches the checks of values off.
inline int valueExceptionLevel() noexcept {
    return detail::valueExceptionLevel.load(std::memory_order_relaxed);
}

}  // namespace orvkit

#endif
