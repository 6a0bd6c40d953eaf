#include <cstring>

#include "foundation/fail.h"
#include "orvkit/util.h"

int utilGetVersion(int& major, int& minor, int& release, char* buildDate) {
    major = 4;
    minor = 8;
    release = 10;
    if (buildDate == nullptr) {
        return orvkit::fail(UTIL_NULL_ARGUMENT, LOG_VALIDATION, "utilGetVersion", "Null argument passed");
    }
    std::memcpy(buildDate, __DATE__, sizeof __DATE__);
    return RESULT_OK;
}
