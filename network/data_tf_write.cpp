// P-DATA-TF: sending a message. Command and data set go out in fragments, each in a PDU of its own with one
// presentation data value (PS3.8 9.3.5 and E.2).
#include <algorithm>
#include <iterator>
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
#include "media/packed_data.h"
#include "network/connection.h"
#include "network/data_tf_own.h"
#include "network/pdu_access.h"
#include "network/pdu_dump.h"
#include "network/store_request.h"
#include "network/wire.h"
#include "orvkit/util.h"

using namespace orvkit;
using platform::Run;

namespace {

constexpr unsigned int kTagDataSetType = 0x00000800;
constexpr unsigned int kWorthLending = 65536;
constexpr unsigned int kMostFragment = 0xFFFFFFFF - wire::kPdvHeader;  // the PDU length counts that too

unsigned int groupOf(const DcElem& e) {
    return ElemAccess::tag(e) >> 16;
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

// Bytes to be sent, in pieces that lie apart.
struct DcPduDataTf::Pieces {
    static constexpr std::size_t most = platform::kMostRuns - 1;  // and the header of the PDU

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
    if (byName) return writeDataDisk({file.handle.get(), file.begin, file.length, 1}, false);
    return orvkit::codecOf(xferSyn_) != nullptr ? writePacked(*this) : writeData(*this);
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

// Compressed as a whole, through a file without a name.
int DcPduDataTf::writePacked(DcElemList& dataset) {
    orvkit::platform::ScratchFile packed;
    orvkit::platform::FileInfo info;
    const int result =
        orvkit::packDataSet(dataset, xferSyn_, *orvkit::codecOf(xferSyn_), packed, "DcPduDataTf::writeData");
    if (result != RESULT_OK) return result;
    if (!orvkit::platform::examine(packed.forReading(), info)) return DATATF_READ;
    return writeDataDisk({packed.forReading(), 0, static_cast<std::uint64_t>(info.size), 1}, false);
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

// ---- one PDU --------------------------------------------------------------------------------------------

int orvkit::failSending(std::uint64_t whole, std::uint64_t sent) {
    return fail(DATATF_SOCKET, LOG_ERROR, "DcPduDataTf::writeBuf", "Buffer size - 0x%x, sent - 0x%x",
                static_cast<unsigned int>(whole), static_cast<unsigned int>(sent));
}

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
