#include "media/pixel_copy.h"

#include <algorithm>

#include "dataset/elem_access.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "platform/file.h"

namespace orvkit {

namespace {

constexpr std::size_t kCopyChunk = 65536;

int failRead(const char* reporter) {
    return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Error in reading pixel data");
}
int failWrite(const char* reporter) {
    return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Write error, disk may be full");
}

int copySwapped(int from, std::int64_t offset, ByteSink& to, std::int64_t length, unsigned int unit,
                const char* reporter) {
    unsigned char chunk[kCopyChunk];
    while (length > 0) {
        const auto want = static_cast<std::size_t>(std::min<std::int64_t>(length, kCopyChunk));
        if (platform::readAt(from, chunk, want, offset) != static_cast<std::int64_t>(want)) {
            return failRead(reporter);
        }
        swapUnits({chunk, want}, unit);
        if (!to.put({chunk, want})) return failWrite(reporter);
        offset += static_cast<std::int64_t>(want);
        length -= static_cast<std::int64_t>(want);
    }
    return RESULT_OK;
}

int copyPlain(int from, std::int64_t offset, ByteSink& to, std::int64_t length, const char* reporter) {
    const std::int64_t copied = to.copy(from, offset, length);
    if (copied == length) return RESULT_OK;
    if (copied >= 0) return failRead(reporter);
    unsigned char probe;
    return platform::readAt(from, &probe, 1, offset) == 1 ? failWrite(reporter) : failRead(reporter);
}

int copyBuffer(ByteSink& to, const DcBuf& b, DICT_VR vr, DICT_UID xferSyn, const char* reporter) {
    platform::FileHandle opened;
    int from = b.getHandle();
    platform::FileInfo info;
    if (b.getType() == BUF_FILE) {
        const char* const name = b.getFileName() != nullptr ? b.getFileName() : "";
        // A pipe would keep the opener waiting.
        if (platform::examine(name, info) && info.kind == platform::FileKind::regular) {
            opened = platform::openRead(name);
        }
        if (!opened) return fail(DIR_OPEN, LOG_ERROR, reporter, "Error opening pixel data file %s", name);
        from = opened.get();
    }
    const auto offset = static_cast<std::int64_t>(b.getOffset64());
    const auto length = static_cast<std::int64_t>(b.getLen64());
    // Small negative numbers have come as offsets from two GByte on; a file that is shorter has no such
    // place.
    if (b.getOffset() < 0 && (!platform::examine(from, info) || info.size < offset)) {
        return fail(DIR_READ_WRITE, LOG_ERROR, reporter, "lseek error in pixel data file, offset - %d",
                    b.getOffset());
    }
    const unsigned int unit = ElemAccess::swapUnit(vr, b.getXferSyn(), xferSyn);
    return unit == 1 ? copyPlain(from, offset, to, length, reporter)
                     : copySwapped(from, offset, to, length, unit, reporter);
}

}  // namespace

int copyPixels(ByteSink& to, const DcElem& element, DICT_UID xferSyn, const char* reporter) {
    const DICT_VR vr = ElemAccess::vr(element);
    for (const DcBuf* b = ElemAccess::firstBuf(element); b != nullptr; b = b->next()) {
        const int result = copyBuffer(to, *b, vr, xferSyn, reporter);
        if (result != RESULT_OK) return result;
    }
    return RESULT_OK;
}

}  // namespace orvkit
