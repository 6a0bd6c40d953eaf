// Finding an element in encoded bytes.
#include "dataset/scan_report.h"
#include "foundation/fail.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"

using namespace orvkit;

namespace {

// The first top-level element that is asked for.
int find(Walker& walker, unsigned int tag, WalkHeader& h, const char* reporter) {
    while (true) {
        switch (walker.peek(h)) {
            case WalkStep::failed:
                return reportFault(walker, reporter);
            case WalkStep::end:
                return ELEM_NOT_FOUND;
            case WalkStep::element:
                break;
        }
        if (h.tag == tag || tag == SCAN_ELEM_END) return RESULT_OK;
        if (!walker.skip(h)) return reportFault(walker, reporter);
    }
}

int check(const unsigned char* buf, DICT_UID xferSyn, const char* reporter) {
    if (buf == nullptr) return failNull(UTIL_NULL_ARGUMENT, reporter, LOG_ERROR);
    ARCH_ENDIAN endian;
    return Dict.getEndian(xferSyn, endian) == RESULT_OK ? RESULT_OK : ELEM_XFER_SYNTAX;
}

}  // namespace

int utilGetElemOffsetInfo(unsigned char* buf, unsigned int length, DICT_UID xferSyn,
                          DcElemOffsetInfo& info) try {
    constexpr const char* reporter = "utilGetElemOffsetInfo";
    info = {info.tag, 0, 0, 0, 0};
    if (const int result = check(buf, xferSyn, reporter); result != RESULT_OK) return result;

    SpanSource source({buf, length});
    Walker walker(source, 0, length, Mode::of(xferSyn));
    WalkHeader h;
    if (const int result = find(walker, info.tag, h, reporter); result != RESULT_OK) return result;
    info.offset = static_cast<unsigned int>(h.offset);
    info.valueOffset = static_cast<unsigned int>(h.valueOffset);
    info.valueLen = h.length;
    if (!walker.skip(h)) return reportFault(walker, reporter);
    info.endOffset = static_cast<unsigned int>(walker.position());
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("utilGetElemOffsetInfo");
}

int utilGetElemOffset(unsigned char* buf, unsigned int length, DICT_UID xferSyn, unsigned int tag,
                      unsigned int& offset) try {
    constexpr const char* reporter = "utilGetElemOffset";
    offset = 0;
    if (const int result = check(buf, xferSyn, reporter); result != RESULT_OK) return result;

    SpanSource source({buf, length});
    Walker walker(source, 0, length, Mode::of(xferSyn));
    WalkHeader h;
    const int result = find(walker, tag, h, reporter);
    if (result == RESULT_OK) offset = static_cast<unsigned int>(h.offset);
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("utilGetElemOffset");
}
#include <new>
