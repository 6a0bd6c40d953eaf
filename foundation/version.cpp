#include <cstring>

#include "foundation/fail.h"
#include "foundation/identity.h"
#include "orvkit/util.h"

using namespace orvkit;

int utilGetVersion(int& major, int& minor, int& release, char* buildDate) {
    major = versionMajor;
    minor = versionMinor;
    release = versionRelease;
    if (buildDate == nullptr) return failNull(UTIL_NULL_ARGUMENT, "utilGetVersion");
    std::memcpy(buildDate, __DATE__, sizeof __DATE__);
    return RESULT_OK;
}
