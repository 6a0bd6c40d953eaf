#include <cstring>

#include "foundation/fail.h"
#include "foundation/identity.h"
#include "orvkit/util.h"

int utilGetVersion(int& major, int& minor, int& release, char* buildDate) {
    major = orvkit::versionMajor;
    minor = orvkit::versionMinor;
    release = orvkit::versionRelease;
    if (buildDate == nullptr) return orvkit::failNull(UTIL_NULL_ARGUMENT, "utilGetVersion");
    std::memcpy(buildDate, __DATE__, sizeof __DATE__);
    return RESULT_OK;
}
