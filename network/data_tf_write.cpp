// P-DATA-TF: sending a message. Command and data set go out in fragments, each in a PDU of its own with one
// presentation data value (PS3.8 9.3.5 and E.2).
#include <algorithm>
#include <climits>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "dataset/disk_elems.h"
#include "dataset/elem_access.h"
#include "dataset/elem_aside.h"
#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/block.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "network/connection.h"
#include "network/pdu_access.h"
#include "network/pdu_dump.h"
#include "network/store_request.h"
#include "network/wire.h"
#include "orvkit/datatf.h"
#include "orvkit/file.h"
#include "orvkit/util.h"
#include "platform/file.h"

using namespace orvkit;
using platform::FileHandle;
using platform::FileInfo;
using platform::FileKind;
using platform::Run;
namespace wire = wire;

namespace {

constexpr unsigned int kTagDataSetType = 0x00000800;
constexpr std::uint64_t kReadAhead = 262144;
constexpr unsigned int kPiece = 131072;  // of a larger fragment; stays in the processor's cache
constexpr unsigned int kWorthLending = 65536;
constexpr unsigned int kMostFragment = 0xFFFFFFFF - wire::kPdvHeader;  // the PDU length counts that too

unsigned int groupOf(const DcElem& e) {
    return ElemAccess::tag(e) >> 16;
}

FileHandle openRegular(const char* path) {
    FileInfo info;  // a pipe would keep the opener waiting
    if (!platform::examine(path, info) || info.kind != FileKind::regular) return FileHandle();
    return platform::openRead(path);
}

int checkPixelFiles(const DcElem& pixels) {
    for (const DcBuf* b = ElemAccess::firstBuf(pixels); b != nullptr; b = b->next()) {
        const char* const path = b->getFileName();
        if (path == nullptr || openRegular(path)) continue;
        return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::writeData", "error opening pixel data file %s",
                    path);
    }
    return RESULT_OK;
}

// Only the message's own Pixel Data is sent from disk; nothing goes out of one that holds others.
int checkDiskElems(DcElemList& dataset) {
    return visitDiskElems(dataset, [](const DcElem& e, bool inSequence) {
        if (!inSequence && ElemAccess::tag(e) == T_7fe0_0010_pixelData) return checkPixelFiles(e);
        return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::writeData",
                    "Element (%04x,%04x) - only Pixel Data can be sent from disk%s", groupOf(e),
                    ElemAccess::tag(e) & 0xFFFF, inSequence ? ", and not in a sequence" : "");
    });
}

// Pixel Data whose bytes can go out from where they are: one large run in the byte order of the stream.
const DcBuf* lendable(const DcElem* pixels, DICT_UID xferSyn) {
    const DcBuf* const b =
        pixels != nullptr && isRawVr(ElemAccess::vr(*pixels)) ? ElemAccess::firstBuf(*pixels) : nullptr;
    const bool good = b != nullptr && b->next() == nullptr && b->getType() == BUF_MEMORY &&
                      b->getBuf() != nullptr && b->getLen() >= kWorthLending &&
                      syntaxRow(b->getXferSyn()).order == syntaxRow(xferSyn).order;
    return good ? b : nullptr;
}

}  // namespace

// A run of bytes in a file, and the unit whose byte order is not the stream's (1 for none).
struct DcPduDataTf::DiskPart {
    int file;
    std::int64_t offset;
    std::uint64_t length;
    unsigned int swap;
};

struct DcPduDataTf::DataFile {
    FileHandle handle;
    unsigned int begin = 0;
    std::uint64_t length = 0;
};

namespace {

int failShort(int number, unsigned int fragment) {
    return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::writeDataDisk",
                "error reading disk buffer, block #%d, block length %d", number, static_cast<int>(fragment));
}

int failSending(std::uint64_t whole, std::uint64_t sent) {
    return fail(DATATF_SOCKET, LOG_ERROR, "DcPduDataTf::writeBuf", "Buffer size - 0x%x, sent - 0x%x",
                static_cast<unsigned int>(whole), static_cast<unsigned int>(sent));
}

}  // namespace

// Bytes to be sent, in pieces that lie apart.
struct DcPduDataTf::Pieces {
    static constexpr std::size_t most = platform::MOST_RUNS - 1;  // and the header of the PDU

    std::span<const unsigned char> runs[most];

    std::uint64_t size() const {
        std::uint64_t sum = 0;
        for (const auto& run : runs) sum += run.size();
        return sum;
    }
    // The next `count` bytes, which leave here.
    Pieces take(std::uint64_t count) {
        Pieces taken;
        for (std::size_t i = 0; i < most; ++i) {
            const auto here = static_cast<std::size_t>(std::min<std::uint64_t>(count, runs[i].size()));
            taken.runs[i] = runs[i].first(here);
            runs[i] = runs[i].subspan(here);
            count -= here;
        }
        return taken;
    }
};

int DcPduDataTf::elemListMerge() {
    return RESULT_OK;
}

int DcPduDataTf::elemListVerify() {
    return RESULT_OK;
}

// ---- the message ----------------------------------------------------------------------------------------

int DcPduDataTf::write() {
    sent_ = false;
    if (first() == nullptr) {
        return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::write", "Empty Element List");
    }
    int result = verifyInfo({presCtxId_, msgCtrl_, xferSyn_, maxPduLen_});
    if (result == RESULT_OK) result = elemListMerge();
    if (result != RESULT_OK) return result;
    if (first() != nullptr && groupOf(*first()) == 0) {
        DcElem* old = nullptr;
        if (getElem(kTagDataSetType, &old) == RESULT_OK) {
            (void)subtract(old);
            delete old;
        }
        const bool hasData = last() != nullptr && groupOf(*last()) != 0;
        (void)add(new DcElem(kTagDataSetType, hasData ? wire::kDataSetFollows : wire::kNoDataSet));
        result = elemListVerify();
        if (result != RESULT_OK) return result;
    }
    return writeParts();
}

int DcPduDataTf::writeParts() {
    Aside command(*this);
    while (first() != nullptr && groupOf(*first()) == 0) command.take(first());
    const bool hasData = first() != nullptr;
    // Found before the command has gone out.
    if (hasData && fragmentSize() == 0) {
        return fail(DATATF_READ, LOG_ERROR, "DcPduDataTf::write", "Invalid Maximum PDU Length %d",
                    static_cast<int>(maxPduLen_));
    }
    DataFile file;
    int result = hasData ? checkDiskElems(*this) : RESULT_OK;
    const bool byName =
        hasData && getElem(T_0006_0007_fileReference, static_cast<DcElem**>(nullptr)) == RESULT_OK;
    if (result == RESULT_OK && byName) result = openDataFile(*this, file);
    if (result == RESULT_OK && !command.empty()) result = writeCmd(command.list());
    if (result != RESULT_OK || !hasData) return result;
    return byName ? writeDataDisk({file.handle.get(), file.begin, file.length, 1}, false) : writeData(*this);
}

// In unsigned arithmetic: a maximum below the margin means one fragment of any size.
unsigned int DcPduDataTf::fragmentSize() const {
    return std::min(maxPduLen_ - wire::kMargin, kMostFragment);
}

// Never fragmented, whatever its size.
int DcPduDataTf::writeCmd(DcElemList& command) {
    unsigned int size = 0;
    (void)command.getBufSize(size, static_cast<unsigned int*>(nullptr));
    const Block block = allocate(size);
    if (block == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcPduDataTf::writeCmd",
                    "Insufficient memory to allocate %d bytes", static_cast<int>(size));
    }
    const int result = command.encode(block.get(), size, UID_LITTLE_ENDIAN_IMPLICIT);
    return result == RESULT_OK ? writeBuf(wire::kCommand | wire::kLast, block.get(), size) : result;
}

int DcPduDataTf::writeData(DcElemList& dataset) {
    DcElem* const pixels = ElemListAccess::find(dataset, T_7fe0_0010_pixelData);
    // Without a byte there is nothing that could follow.
    const bool onDisk =
        pixels != nullptr && ElemAccess::isOnDisk(*pixels) &&
        (ElemAccess::rawLength(*pixels) != 0 || ElemAccess::undefinedInStream(*pixels, xferSyn_));
    Aside trailing(dataset);
    while (onDisk && ElemAccess::tag(*dataset.last()) > T_7fe0_0010_pixelData) trailing.take(dataset.last());

    FramedHeader header{};
    int result = writeDataMem(dataset, onDisk, header);
    if (result == RESULT_OK && onDisk) result = writePixels(header, !trailing.empty());
    if (result == RESULT_OK && !trailing.empty()) {
        FramedHeader none{};
        result = writeDataMem(trailing.list(), false, none);
    }
    return result;
}

// `onDisk` receives Pixel Data whose bytes are to follow. Large ones in memory are not copied into what is
// framed.
int DcPduDataTf::writeDataMem(DcElemList& dataset, bool more, FramedHeader& onDisk) {
    unsigned int size = 0;
    (void)dataset.getBufSize(size, static_cast<unsigned int*>(nullptr));
    if (size == 0) return RESULT_OK;
    const DcElem* lent = ElemListAccess::find(dataset, T_7fe0_0010_pixelData);
    const DcBuf* const lentBuf = size != kMostRoom ? lendable(lent, xferSyn_) : nullptr;
    if (lentBuf != nullptr) {
        size -= lentBuf->getLen();
    } else {
        lent = nullptr;
    }
    const Block block = allocate(size);
    if (block == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcPduDataTf::writeDataMem",
                    "Insufficient memory to allocate %d bytes, file not written", static_cast<int>(size));
    }
    std::vector<FramedHeader> headers;
    const int framed = ElemListAccess::frame(dataset, block.get(), kMostRoom, size, xferSyn_, &headers, lent);
    if (framed != RESULT_OK) return framed;
    const std::span<const unsigned char> bytes(block.get(), size);
    Pieces pieces{{bytes}};
    for (const FramedHeader& header : headers) {
        if (header.element == lent) {
            const auto* const value = static_cast<const unsigned char*>(lentBuf->getBuf());
            pieces = {{bytes.first(header.end), {value, lentBuf->getLen()}, bytes.subspan(header.end)}};
            continue;
        }
        onDisk = header;
    }
    return writePieces(pieces, more);
}

int DcPduDataTf::writePieces(Pieces& pieces, bool more) {
    const unsigned int fragment = fragmentSize();
    for (std::uint64_t left = pieces.size(); left > 0;) {
        const std::uint64_t length = std::min<std::uint64_t>(fragment, left);
        left -= length;
        const bool last = left == 0 && !more;
        const int result = writePdu(last ? wire::kLast : 0, pieces.take(length));
        if (result != RESULT_OK) return result;
    }
    return RESULT_OK;
}

// ---- from disk ------------------------------------------------------------------------------------------

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
        left -= b->getLen();
        // Offsets from two GByte on come as negative numbers.
        const DiskPart part{opened ? opened.get() : b->getHandle(), static_cast<unsigned int>(b->getOffset()),
                            b->getLen(), ElemAccess::swapUnit(vr, b->getXferSyn(), xferSyn_)};
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

// ---- one PDU --------------------------------------------------------------------------------------------

int DcPduDataTf::writeBuf(unsigned char msgCtrl, const void* data, unsigned int length) {
    return writePdu(msgCtrl, {{{static_cast<const unsigned char*>(data), length}}});
}

std::array<unsigned char, 12> DcPduDataTf::pduHeader(unsigned char msgCtrl, unsigned int length) const {
    std::array<unsigned char, 12> header = {static_cast<unsigned char>(getType())};
    storeAt<std::uint32_t>(header.data() + 2, length + wire::kPdvHeader, ByteOrder::big);
    storeAt<std::uint32_t>(header.data() + 6, length + wire::kPdvPart, ByteOrder::big);
    header[10] = presCtxId_;
    header[11] = msgCtrl;
    return header;
}

// The bytes go out behind their header without being copied.
int DcPduDataTf::writePdu(unsigned char msgCtrl, const Pieces& pieces) {
    const auto length = static_cast<unsigned int>(pieces.size());
    const auto header = pduHeader(msgCtrl, length);
    const auto& [first, second, third] = pieces.runs;
    const Run runs[] = {{header.data(), header.size()},
                        {first.data(), first.size()},
                        {second.data(), second.size()},
                        {third.data(), third.size()}};
    sent_ = true;
    const std::int64_t sent =
        Connection(getSockConv()).send(runs, std::size(runs), PduAccess::sendPatience(*this));
    const std::uint64_t whole = length + header.size();
    if (sent != static_cast<std::int64_t>(whole)) {
        return failSending(whole, static_cast<std::uint64_t>(std::max<std::int64_t>(sent, 0)));
    }
    if (dumpsSent()) dumpSent(getType(), {header, first, second, third});
    return RESULT_OK;
}
