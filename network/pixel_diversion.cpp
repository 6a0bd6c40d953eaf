// Pixel Data of an arriving data set on its way to a file, a handle or the application.
#include <cstring>
#include <memory>
#include <new>

#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/fail.h"
#include "network/tul_own.h"
#include "orvkit/util.h"

using namespace orvkit;

namespace {

constexpr unsigned int kLongest = 0xFFFFFFFE;  // that a value can be
constexpr const char* kReporter = "DcTul::processPduDataTf";

}  // namespace

// Pixel Data has been found: hands out what stands in front of it, and begins with what stands behind.
int DcTul::findPixelData(Part& part) {
    part.pixels = Pixels::found;
    if (part.search.offset() > kLongest) return ELEM_NO_MEMORY;
    const auto before = static_cast<unsigned int>(part.search.offset());
    const bool keepAll = pixelFileName_ == nullptr && pixelHandle_ < 0;
    // Where the buffers stay as they are, the elements in front are joined for the callback alone.
    Block front;
    if (before > 0 && (pixRecvCB_ != nullptr || !keepAll)) {
        front = allocate(before);
        if (front == nullptr) {
            return fail(ELEM_NO_MEMORY, LOG_ERROR, kReporter,
                        "Insufficient memory to allocate %d bytes, Association will be closed",
                        static_cast<int>(before));
        }
        part.search.source().copy(0, before, front.get());
    }
    int result = tellFront(part, front.get(), before);
    if (result == RESULT_OK && (pixDataCB_ != nullptr || !keepAll)) result = beginPixels(part, keepAll);
    if (result != RESULT_OK) return result;
    if (!keepAll && before > 0) (void)part.message.add(new DcBuf(front.release(), before, part.xferSyn));
    return RESULT_OK;
}

int DcTul::tellFront(Part& part, unsigned char* front, unsigned int length) {
    if (pixRecvCB_ == nullptr) return RESULT_OK;
    DcElemList elements;
    if (length > 0 && elements.parse(front, length, part.xferSyn) == ELEM_NO_MEMORY)
        return failMemory(kReporter);
    const int result = pixRecvCB_(pixRecvUser_, elements, part.xferSyn, &PduAccess::presCtxId(part.message));
    if (result == RESULT_OK) return RESULT_OK;
    callbackEnded_ = true;
    return fail(result, LOG_ERROR, kReporter,
                "DcMsmPixRecvCB function returned error code 0x%x (%d), Association will be closed",
                static_cast<unsigned int>(result), result);
}

// The pixel bytes that have arrived, piece by piece.
int DcTul::beginPixels(Part& part, bool keepAll) {
    std::uint64_t skip = part.search.valueOffset();
    DcBuf* next = part.message.firstBuf();
    while (next != nullptr) {
        DcBuf* const buffer = next;
        next = buffer->next();
        const unsigned int length = buffer->getLen();
        const auto from = static_cast<unsigned int>(skip < length ? skip : length);
        skip -= from;
        auto* const data = static_cast<unsigned char*>(buffer->getBuf()) + from;
        if (from < length) {
            if (pixDataCB_ != nullptr) (void)pixDataCB_(pixDataUser_, data, length - from, part.xferSyn);
            if (!keepAll) {
                if (const int result = divert(part, data, length - from); result != RESULT_OK) return result;
            }
        }
        if (!keepAll) {
            (void)part.message.subtract(buffer);
            delete buffer;
        }
    }
    return RESULT_OK;
}

int DcTul::divert(Part& part, const unsigned char* data, unsigned int length) {
    part.pixelLength += length;
    sink_->letGo(length);
    if (pixelFileName_ != nullptr) {
        if (!part.file) part.file = platform::openAppend(pixelFileName_);
        if (!part.file) return failAppend(kReporter, pixelFileName_);
        if (!platform::writeAll(part.file.get(), data, length)) {
            return fail(TUL_APPEND, LOG_ERROR, kReporter, "Failed to write 0x%x (%d) bytes to file %s",
                        length, static_cast<int>(length), pixelFileName_);
        }
    }
    if (pixelHandle_ >= 0 && !platform::writeAll(pixelHandle_, data, length)) {
        return fail(TUL_APPEND, LOG_ERROR, kReporter, "Failed to write 0x%x (%d) bytes to file handle %d",
                    length, static_cast<int>(length), pixelHandle_);
    }
    return RESULT_OK;
}

// Refers the message to its pixel bytes where they are now.
int DcTul::finishPixels(Part& part) {
    std::uint64_t length = part.pixelLength;
    if (pixelHandle_ >= 0) {
        platform::FileHandle copy = platform::duplicate(pixelHandle_);
        if (!copy) {
            return fail(TUL_DUPLICATE, LOG_ERROR, kAssembly, "Failed to duplicate file handle %d",
                        pixelHandle_);
        }
        auto* const buffer = new DcBuf(copy.release(), 0, 0, part.xferSyn);
        (void)buffer->setPlace64(0, length);
        (void)part.message.add(buffer);
    }
    if (pixelFileName_ == nullptr) return RESULT_OK;

    platform::FileInfo info;
    part.file.reset();
    platform::FileHandle file = platform::openRead(pixelFileName_);
    if (!file || !platform::examine(file.get(), info)) {
        return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly, "Failed to stat %s", pixelFileName_);
    }
    if (info.size < static_cast<std::int64_t>(length)) {
        return fail(TUL_PROTOCOL, LOG_ERROR, kAssembly, "pixDataLen 0x%x exceeds file size 0x%x in %s",
                    static_cast<unsigned int>(length), static_cast<unsigned int>(info.size), pixelFileName_);
    }
    const std::int64_t start = info.size - static_cast<std::int64_t>(length);
    unsigned char tail[kDelimitationSize];
    if (Dict.isEncapsulated(part.xferSyn) != 0 && length >= sizeof tail &&
        platform::readAt(file.get(), tail, sizeof tail, info.size - std::int64_t{sizeof tail}) ==
            sizeof tail &&
        std::memcmp(tail, kPixelDataEnd, sizeof tail) == 0) {
        length -= sizeof tail;
    }
    auto* const buffer = new DcBuf(pixelFileName_, 0, 0, part.xferSyn);
    (void)buffer->setPlace64(static_cast<std::uint64_t>(start), length);
    (void)part.message.add(buffer);
    return RESULT_OK;
}
