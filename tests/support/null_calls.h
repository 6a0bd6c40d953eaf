// Calls with a null where a text, a buffer or a file is wanted: each gives its code and one line that says
// so.
#ifndef ORVKIT_TESTS_SUPPORT_NULL_CALLS_H
#define ORVKIT_TESTS_SUPPORT_NULL_CALLS_H

#include <functional>
#include <vector>

#include "support/capture_log.h"

struct NullCall {
    const char* reporter;
    int code;
    std::function<int()> call;
    LOG_MSG level = LOG_VALIDATION;
};

inline void expectToldOnce(const std::vector<NullCall>& calls) {
    for (const NullCall& each : calls) {
        CaptureLog log;
        EXPECT_EQ(each.call(), each.code) << each.reporter;
        EXPECT_TRUE(log.tookOnly(each.level, each.reporter, "Null argument passed")) << each.reporter;
    }
}

#endif
