// The lengths of values whose length field may be undefined (PS3.5 7.1.1, 7.5.2).
#include "dataset/scan_report.h"
#include "foundation/fail.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"

using namespace orvkit;

namespace {

constexpr std::size_t kLengthField = 4;

// One length field: where it stands in the source, and how far the value may reach.
struct Field {
    ByteSource& source;
    std::uint64_t offset;
    unsigned int remaining;  // bytes from `offset` on
    DICT_UID xferSyn;
    const char* reporter;

    std::uint64_t end() const { return offset + remaining; }
    std::uint64_t valueOffset() const { return offset + kLengthField; }
};

ByteOrder orderOf(DICT_UID xferSyn) {
    return Mode::of(xferSyn).order;
}

// Reads the length field. A defined length is checked against everything that remains, its own four bytes
// included: kept for callers that rely on it.
int readLength(const Field& f, unsigned int& length) {
    length = 0;
    ARCH_ENDIAN endian;
    if (Dict.getEndian(f.xferSyn, endian) != RESULT_OK) return UTIL_LENGTH_FIELD;
    const auto b = f.source.at(f.offset, kLengthField);
    if (f.source.failed()) return fail(UTIL_READ, LOG_ERROR, f.reporter, "Read error");
    if (f.remaining < kLengthField || b.size() < kLengthField) {
        return reportLengthPastEnd(f.reporter, kLengthField, f.remaining);
    }
    length = loadAt<std::uint32_t>(b.data(), orderOf(f.xferSyn));
    if (length != kLengthUndefined && length > f.remaining) {
        const int result = reportLengthPastEnd(f.reporter, length, f.remaining);
        length = 0;
        return result;
    }
    return RESULT_OK;
}

// A sequence: walked from its header, which stands in front of the length field.
int sequenceLength(const Field& f, unsigned int& length, int& extra) {
    extra = 0;
    if (const int result = readLength(f, length); result != RESULT_OK || length != kLengthUndefined) {
        return result;
    }
    length = 0;
    const Mode mode = Mode::of(f.xferSyn);
    const std::size_t back = mode.explicitVr ? 8 : 4;
    if (f.offset < back) return reportLengthPastEnd(f.reporter, kLengthUndefined, f.remaining);
    const auto b = f.source.at(f.offset - back, back);
    if (b.size() < back) return fail(UTIL_READ, LOG_ERROR, f.reporter, "Read error");

    WalkHeader h;
    h.tag = loadTag(b.data(), mode.order);
    h.vr = VR_SQ;
    if (mode.explicitVr && (b[4] != 'S' || b[5] != 'Q')) h.vr = VR_UN;
    h.length = kLengthUndefined;
    h.offset = f.offset - back;
    h.valueOffset = f.valueOffset();
    h.mode = mode;
    Walker walker(f.source, h.offset, f.end(), mode);
    if (!walker.skip(h)) return reportFault(walker, "utilGetElemOffsetInfo");
    extra = static_cast<int>(kDelimitationSize);
    length = static_cast<unsigned int>(walker.position() - kDelimitationSize - h.valueOffset);
    return RESULT_OK;
}

// An item: its content is walked element by element to the Item Delimitation.
int itemLength(const Field& f, unsigned int& length, int& extra) {
    extra = 0;
    if (const int result = readLength(f, length); result != RESULT_OK || length != kLengthUndefined) {
        return result;
    }
    length = 0;
    Walker walker(f.source, f.valueOffset(), f.end(), Mode::of(f.xferSyn));
    WalkHeader h;
    while (true) {
        switch (walker.peek(h)) {
            case WalkStep::failed:
                return reportFault(walker, "utilGetElemOffsetInfo");
            case WalkStep::end:
                return fail(UTIL_LENGTH_FIELD, LOG_ERROR, f.reporter, "Data error, Item delimiter not found");
            case WalkStep::element:
                break;
        }
        if (h.tag == kTagItemDelimitation && h.length == 0) break;
        if (!walker.skip(h)) return reportFault(walker, "utilGetElemOffsetInfo");
    }
    extra = static_cast<int>(kDelimitationSize);
    length = static_cast<unsigned int>(h.offset - f.valueOffset());
    return RESULT_OK;
}

// The handle forms bound the walk by what the file holds.
template <typename Measure>
int onHandle(int handle, int offset, unsigned int remaining, DICT_UID xferSyn, const char* reporter,
             unsigned int& length, int& extra, Measure measure) {
    length = 0;
    extra = 0;
    if (handle < 0 || offset < 0) return failNull(UTIL_LENGTH_FIELD, reporter, LOG_NOTICE);
    HandleSource source(handle);
    if (source.failed()) return fail(UTIL_READ, LOG_ERROR, reporter, "Read error");
    return measure(Field{source, static_cast<std::uint64_t>(offset), remaining, xferSyn, reporter}, length,
                   extra);
}

}  // namespace

int utilGetOxValLen(unsigned char* p, unsigned int remaining, DICT_UID xferSyn, unsigned int& length,
                    int& extra, int wholeBufferIfMissing) try {
    constexpr const char* reporter = "utilGetOxValLen";
    length = 0;
    extra = 0;
    if (p == nullptr) return failNull(UTIL_LENGTH_FIELD, reporter, LOG_NOTICE);
    const std::span<const unsigned char> bytes(p, remaining);
    SpanSource source(bytes);
    const int result = readLength({source, 0, remaining, xferSyn, reporter}, length);
    if (result != RESULT_OK || length != kLengthUndefined) return result;

    const auto value = bytes.subspan(kLengthField);
    const std::size_t at = findSequenceDelimitation(value, orderOf(xferSyn));
    if (at != kNotFound || wholeBufferIfMissing != 0) extra = static_cast<int>(kDelimitationSize);
    if (at != kNotFound) {
        length = static_cast<unsigned int>(at);
        return RESULT_OK;
    }
    length = 0;
    if (wholeBufferIfMissing == 0) {
        return fail(UTIL_LENGTH_FIELD, LOG_ERROR, reporter, "Data error, Sequence delimiter not found");
    }
    length = static_cast<unsigned int>(value.size());
    return fail(RESULT_OK, LOG_VALIDATION, reporter,
                "Sequence delimiter not found, assuming full buffer as Pixel Data");
} catch (const std::bad_alloc&) {
    return failMemory("utilGetOxValLen");
}

int utilGetSqValLen(unsigned char* p, unsigned int remaining, DICT_UID xferSyn, unsigned int& length,
                    int& extra, int flag) try {
    (void)flag;
    constexpr const char* reporter = "utilGetSqValLen";
    length = 0;
    extra = 0;
    if (p == nullptr) return failNull(UTIL_LENGTH_FIELD, reporter, LOG_NOTICE);
    // The bytes in front of the length field are only touched when the length is undefined.
    SpanSource probe({p, remaining});
    const int result = readLength({probe, 0, remaining, xferSyn, reporter}, length);
    if (result != RESULT_OK || length != kLengthUndefined) return result;
    const std::size_t back = Mode::of(xferSyn).explicitVr ? 8 : 4;
    SpanSource source({p - back, back + remaining});
    return sequenceLength({source, back, remaining, xferSyn, reporter}, length, extra);
} catch (const std::bad_alloc&) {
    return failMemory("utilGetSqValLen");
}

int utilGetSqItemValLen(unsigned char* p, unsigned int remaining, DICT_UID xferSyn, unsigned int& length,
                        int& extra) try {
    constexpr const char* reporter = "utilGetSqItemValLen";
    length = 0;
    extra = 0;
    if (p == nullptr) return failNull(UTIL_LENGTH_FIELD, reporter, LOG_NOTICE);
    SpanSource source({p, remaining});
    return itemLength({source, 0, remaining, xferSyn, reporter}, length, extra);
} catch (const std::bad_alloc&) {
    return failMemory("utilGetSqItemValLen");
}

int utilGetSqValLen(int handle, int offset, unsigned int remaining, DICT_UID xferSyn, unsigned int& length,
                    int& extra, int flag) try {
    (void)flag;
    return onHandle(handle, offset, remaining, xferSyn, "utilGetSqValLen", length, extra, sequenceLength);
} catch (const std::bad_alloc&) {
    return failMemory("utilGetSqValLen");
}

int utilGetSqItemValLen(int handle, int offset, unsigned int remaining, DICT_UID xferSyn,
                        unsigned int& length, int& extra) try {
    return onHandle(handle, offset, remaining, xferSyn, "utilGetSqItemValLen", length, extra, itemLength);
} catch (const std::bad_alloc&) {
    return failMemory("utilGetSqItemValLen");
}
#include <new>
