#include "foundation/exception_level.h"

#include "orvkit/log.h"

using namespace orvkit;

std::atomic<int> detail::valueExceptionLevel{-1};

int elemListSetValueExceptionLevel(int level) {
    detail::valueExceptionLevel.store(level, std::memory_order_relaxed);
    return 0;
}
