#include "dataset/scan_report.h"

#include <algorithm>

#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

namespace orvkit {

static_assert(kMostNesting == ELEM_MAX_NESTING);

int reportFault(const Walker& walker, const char* reporter) {
    const auto offset = static_cast<unsigned long long>(walker.faultOffset());
    switch (walker.fault()) {
        case WalkFault::none:
            break;
        case WalkFault::lengthPastEnd:
            return reportLengthPastEnd(reporter, walker.faultLength(), walker.leftAtFault());
        case WalkFault::delimiterMissing:
            return fail(UTIL_LENGTH_FIELD, LOG_ERROR, reporter,
                        "Missing sequence or item delimiter at offset 0x%llx", offset);
        case WalkFault::terminatorMissing:
            return fail(UTIL_NO_TERMINATOR, LOG_ERROR, reporter,
                        "Missing OB/OW terminator, value at offset 0x%llx", offset);
        case WalkFault::itemExpected:
            return fail(UTIL_MALFORMED, LOG_ERROR, reporter,
                        "Invalid tag 0x%08x, expecting Sequence Item at offset 0x%llx", walker.faultTag(),
                        offset);
        case WalkFault::tooDeep:
            return fail(UTIL_LENGTH_FIELD, LOG_ERROR, reporter,
                        "Sequences nested deeper than %d levels at offset 0x%llx", ELEM_MAX_NESTING, offset);
        case WalkFault::readError:
            return fail(UTIL_READ, LOG_ERROR, reporter, "Read error at offset 0x%llx", offset);
    }
    return RESULT_OK;
}

int reportLengthPastEnd(const char* reporter, unsigned int length, std::uint64_t remaining) {
    const auto left = static_cast<unsigned int>(std::min<std::uint64_t>(remaining, 0xFFFFFFFF));
    return fail(UTIL_LENGTH_FIELD, LOG_ERROR, reporter,
                "Value length field %d(0x%x) exceeds buffer length %d(0x%x)", static_cast<int>(length),
                length, static_cast<int>(left), left);
}

}  // namespace orvkit
