// The LZW codec as applications call it: with a log and result codes.
#include "orvkit/lzw.h"

#include "encoding/lzw.h"
#include "foundation/fail.h"

using orvkit::fail;
using orvkit::LzwOutcome;
using Fault = LzwOutcome::Fault;

namespace {

constexpr const char* kEncode = "lzwEncode";
constexpr const char* kDecode = "lzwDecode";

int tell(const LzwOutcome& outcome, const char* reporter) {
    switch (outcome.fault) {
        case Fault::none:
            return RESULT_OK;
        case Fault::memory:
            return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "Memory allocation failed");
        case Fault::room:
            return fail(ELEM_LZW_OUTPUT, LOG_ERROR, reporter == kEncode ? "putCode" : reporter,
                        "Insufficient buffer size");
        case Fault::magic:
            return fail(ELEM_LZW_HEADER, LOG_ERROR, reporter, "Bad magic number");
        case Fault::width:
            return fail(ELEM_LZW_HEADER, LOG_ERROR, reporter, "Max bitsize %u (0x%x) exceeds limit",
                        outcome.number, outcome.number);
        case Fault::code:
            return fail(ELEM_LZW_CODE, LOG_ERROR, reporter, "Code 0x%04x not found", outcome.number);
        case Fault::codes:
            return fail(ELEM_LZW_CODE, LOG_ERROR, reporter, "Insufficient codes");
    }
    return RESULT_OK;
}

}  // namespace

int lzwEncode(const unsigned char* in, unsigned int inLen, unsigned char*& out, unsigned int& outLen) {
    if ((in == nullptr && inLen != 0) || (out == nullptr && outLen != 0)) {
        return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, kEncode, "Null argument passed");
    }
    const LzwOutcome outcome = orvkit::lzwPack({in, inLen}, {out, outLen});
    if (outcome.fault == Fault::memory) return tell(outcome, kEncode);
    outLen = static_cast<unsigned int>(outcome.size);
    out += outLen;
    return tell(outcome, kEncode);
}

int lzwDecode(const unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int* outLen) {
    if (outLen == nullptr || (in == nullptr && inLen != 0) || (out == nullptr && *outLen != 0)) {
        return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, kDecode, "Null argument passed");
    }
    const LzwOutcome outcome = orvkit::lzwUnpack({in, inLen}, {out, *outLen});
    *outLen = static_cast<unsigned int>(outcome.size);
    return tell(outcome, kDecode);
}
