// The LZW codec as applications call it: with a log and result codes.
#include "encoding/lzw.h"

#include "foundation/fail.h"

using namespace orvkit;
using Fault = LzwOutcome::Fault;

namespace {

int tellEncoded(const LzwOutcome& outcome) {
    switch (outcome.fault) {
        case Fault::none:
            return RESULT_OK;
        case Fault::memory:
            return fail(ELEM_NO_MEMORY, LOG_ERROR, "lzwEncode", "Memory allocation failed");
        case Fault::read:
            return fail(UTIL_READ, LOG_ERROR, "lzwEncode", "Read error, %u bytes are missing",
                        outcome.number);
        default:
            return fail(ELEM_LZW_OUTPUT, LOG_ERROR, "putCode", "Insufficient buffer size");
    }
}

int tellDecoded(const LzwOutcome& outcome) {
    constexpr const char* reporter = "lzwDecode";
    switch (outcome.fault) {
        case Fault::none:
            return RESULT_OK;
        case Fault::memory:
            return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "Memory allocation failed");
        case Fault::room:
            return fail(ELEM_LZW_OUTPUT, LOG_ERROR, reporter, "Insufficient buffer size");
        case Fault::magic:
            return fail(ELEM_LZW_HEADER, LOG_ERROR, reporter, "Bad magic number");
        case Fault::width:
            return fail(ELEM_LZW_HEADER, LOG_ERROR, reporter, "Max bitsize %u (0x%x) exceeds limit",
                        outcome.number, outcome.number);
        case Fault::code:
            return fail(ELEM_LZW_CODE, LOG_ERROR, reporter, "Code 0x%04x not found", outcome.number);
        case Fault::codes:
            return fail(ELEM_LZW_CODE, LOG_ERROR, reporter, "Insufficient codes");
        case Fault::read:
            return fail(UTIL_READ, LOG_ERROR, reporter, "Read error");
    }
    return RESULT_OK;
}

}  // namespace

int lzwEncode(const unsigned char* in, unsigned int inLen, unsigned char*& out, unsigned int& outLen) {
    if ((in == nullptr && inLen != 0) || (out == nullptr && outLen != 0))
        return failNull(ELEM_NULL_ARGUMENT, "lzwEncode");
    const LzwOutcome outcome = lzwPack({in, inLen}, {out, outLen});
    if (outcome.fault == Fault::memory) return tellEncoded(outcome);
    outLen = static_cast<unsigned int>(outcome.size);
    out += outLen;
    return tellEncoded(outcome);
}

int lzwEncode(const DcLzwIo& io, unsigned int inLen) {
    if (io.read == nullptr || io.write == nullptr) return failNull(ELEM_NULL_ARGUMENT, "lzwEncode");
    return tellEncoded(lzwPack(io, inLen));
}

int lzwDecode(const unsigned char* in, unsigned int inLen, unsigned char* out, unsigned int* outLen) {
    if (outLen == nullptr || (in == nullptr && inLen != 0) || (out == nullptr && *outLen != 0))
        return failNull(ELEM_NULL_ARGUMENT, "lzwDecode");
    const LzwOutcome outcome = lzwUnpack({in, inLen}, {out, *outLen});
    *outLen = static_cast<unsigned int>(outcome.size);
    return tellDecoded(outcome);
}

int lzwDecode(const DcLzwIo& io) {
    if (io.read == nullptr || io.write == nullptr) return failNull(ELEM_NULL_ARGUMENT, "lzwDecode");
    return tellDecoded(lzwUnpack(io));
}
