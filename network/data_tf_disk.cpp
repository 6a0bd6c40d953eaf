// P-DATA-TF: what a message sends from files, Pixel Data and whole data sets. They are never held.
#include <algorithm>
#include <climits>
#include <iterator>

#include "dataset/elem_access.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/connection.h"
#include "network/data_tf_own.h"
#include "network/pdu_access.h"
#include "network/pdu_dump.h"
#include "network/store_request.h"
#include "network/wire.h"
#include "orvkit/file.h"

using namespace orvkit;
using platform::FileHandle;
using platform::FileInfo;
using platform::FileKind;
using platform::Run;

namespace {

constexpr std::uint64_t kReadAhead = 262144;
constexpr unsigned int kPiece = 131072;  // of a larger fragment; stays in the processor's cache

int failShort(int number, unsigned int fragment) {
    return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::writeDataDisk",
                "error reading disk buffer, block #%d, block length %d", number, static_cast<int>(fragment));
}

}  // namespace

FileHandle orvkit::openRegular(const char* path) {
    FileInfo info;  // a pipe would keep the opener waiting
    if (!platform::examine(path, info) || info.kind != FileKind::regular) return FileHandle();
    return platform::openRead(path);
}

int DcPduDataTf::writePixels(const FramedHeader& pixels, bool trailing) {
    unsigned long long left = ElemAccess::rawLength(*pixels.element);
    const DICT_VR vr = ElemAccess::vr(*pixels.element);
    for (const DcBuf* b = ElemAccess::firstBuf(*pixels.element); b != nullptr; b = b->next()) {
        FileHandle opened;
        const char* const path = b->getFileName();
        if (path != nullptr) {
            opened = openRegular(path);
            if (!opened) {
                return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::writeData",
                            "error opening pixel data file %s", path);
            }
        }
        left -= b->getLen64();
        const DiskPart part{opened ? opened.get() : b->getHandle(),
                            static_cast<std::int64_t>(b->getOffset64()), b->getLen64(),
                            ElemAccess::swapUnit(vr, b->getXferSyn(), xferSyn_)};
        const int result = writeDataDisk(part, left != 0 || pixels.undefinedLength || trailing);
        if (result != RESULT_OK) return result;
    }
    if (!pixels.undefinedLength) return RESULT_OK;
    return writeBuf(trailing ? 0 : wire::kLast, kPixelDataEnd, sizeof kPixelDataEnd);
}

// Bytes of a part in the byte order of the stream; fewer only where the file ends.
std::size_t DcPduDataTf::readPart(const DiskPart& part, unsigned long long offset, unsigned char* room,
                                  std::size_t length) {
    const std::int64_t got =
        platform::readAt(part.file, room, length, part.offset + static_cast<std::int64_t>(offset));
    const std::size_t there = got > 0 ? static_cast<std::size_t>(got) : 0;
    swapUnits({room, there}, part.swap);
    return there;
}

// Reads some small fragments at once, or a piece of a large one, and leaves the file position of a handle
// that others share where it is.
int DcPduDataTf::writeDataDisk(const DiskPart& part, bool more) {
    constexpr const char* reporter = "DcPduDataTf::writeDataDisk";
    FileInfo info;
    if (!platform::examine(part.file, info) || info.kind != FileKind::regular ||
        (part.offset > INT_MAX && info.size < part.offset)) {
        return fail(DATATF_READ, LOG_ERROR, reporter, "seek error, offset 0x%x (%d)",
                    static_cast<unsigned int>(part.offset), static_cast<int>(part.offset));
    }
    const auto held = static_cast<std::uint64_t>(std::max<std::int64_t>(info.size - part.offset, 0));
    const unsigned int fragment = fragmentSize();
    const bool inPieces = fragment > kPiece && fragment % part.swap == 0 && !dumpsSent();
    std::uint64_t room = inPieces ? kPiece : std::max<std::uint64_t>(kReadAhead / fragment, 1) * fragment;
    if (room % part.swap != 0) room *= part.swap;  // no unit is read in two pieces
    const Block block = allocate(std::min(room, part.length));
    if (block == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "Insufficient memory to allocate %d bytes",
                    static_cast<int>(fragment));
    }
    int number = 0;
    for (std::uint64_t done = 0; done < part.length;) {
        const std::uint64_t wanted = std::min<std::uint64_t>(inPieces ? fragment : room, part.length - done);
        int result = RESULT_OK;
        if (inPieces) {
            // Its header is not to promise what the file does not hold.
            if (done + wanted > held) return failShort(number, fragment);
            const bool last = done + wanted == part.length && !more;
            result = writeFragment(part, done, static_cast<unsigned int>(wanted), last ? wire::kLast : 0,
                                   block.get(), number++);
        } else {
            const std::size_t there = readPart(part, done, block.get(), static_cast<std::size_t>(wanted));
            for (std::uint64_t at = 0; at < wanted && result == RESULT_OK; ++number) {
                const auto size = static_cast<unsigned int>(std::min<std::uint64_t>(fragment, wanted - at));
                if (at + size > there) return failShort(number, fragment);
                const bool last = done + at + size == part.length && !more;
                result = writeBuf(last ? wire::kLast : 0, block.get() + at, size);
                at += size;
            }
        }
        if (result != RESULT_OK) return result;
        done += wanted;
    }
    return RESULT_OK;
}

// One fragment, of which a piece goes out while the next one is being read.
int DcPduDataTf::writeFragment(const DiskPart& part, unsigned long long offset, unsigned int length,
                               unsigned char msgCtrl, unsigned char* room, int number) {
    const auto header = pduHeader(msgCtrl, length);
    std::size_t headerLeft = header.size();
    Connection connection(getSockConv());
    sent_ = true;
    for (unsigned int at = 0; at < length;) {
        const unsigned int size = std::min(kPiece, length - at);
        if (readPart(part, offset + at, room, size) != size) return failShort(number, fragmentSize());
        const Run runs[] = {{header.data(), headerLeft}, {room, size}};
        const std::int64_t sent = connection.send(runs, std::size(runs), PduAccess::sendPatience(*this));
        if (sent != static_cast<std::int64_t>(headerLeft + size)) {
            const std::uint64_t before = at + header.size() - headerLeft;
            return failSending(length + header.size(),
                               before + static_cast<std::uint64_t>(std::max<std::int64_t>(sent, 0)));
        }
        headerLeft = 0;
        at += size;
    }
    return RESULT_OK;
}

// The data set of a Part 10 file, which a message names.
int DcPduDataTf::openDataFile(DcElemList& dataset, DataFile& file) {
    constexpr const char* reporter = "DcPduDataTf::writeDataFileName";
    char path[kPathLength + 1] = "";
    int result = ElemListAccess::firstValue(dataset, T_0006_0007_fileReference, path, int{kPathLength});
    if (result != RESULT_OK) return fail(result, LOG_ERROR, reporter, "failed to get filename");
    DcDirMetaInfo meta;
    result = dirReadFileMetaInfo(path, meta, file.begin);
    if (result != RESULT_OK) {
        return fail(result, LOG_ERROR, reporter, "failed to read file meta info for %s", path);
    }
    FileInfo info;
    if (!platform::examine(path, info)) {
        return fail(DIR_STAT, LOG_ERROR, reporter, "failed to stat file %s", path);
    }
    file.handle = openRegular(path);
    if (!file.handle) return fail(DATATF_READ, LOG_ERROR, reporter, "failed to open file %s", path);
    // The command promises a data set.
    if (info.size <= std::int64_t{file.begin}) {
        return fail(DATATF_READ, LOG_ERROR, reporter, "no data set in file %s", path);
    }
    file.length = static_cast<std::uint64_t>(info.size) - file.begin;
    return RESULT_OK;
}
