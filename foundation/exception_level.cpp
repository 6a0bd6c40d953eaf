#include "foundation/exception_level.h"

#include "orvkit/log.h"

std::atomic<int> orvkit::detail::valueExceptionLevel{-1};

int elemListSetValueExceptionLevel(int level) {
    orvkit::detail::valueExceptionLevel.store(level, std::memory_order_relaxed);
    return 0;
}
