// Raw values to and from the private LZW syntax.
#include <algorithm>
#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "foundation/block.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "foundation/node_links.h"
#include "orvkit/elem.h"
#include "orvkit/lzw.h"
#include "orvkit/result.h"

using namespace orvkit;

namespace {

// What a stream of that many bytes can hold at most: a code has 9 bits or more, and each string is at most
// one byte longer than the longest before it and than the code table. The length that a stream claims is not
// believed beyond that.
unsigned long long lzwMost(unsigned int encodedLength) {
    const unsigned long long codes = encodedLength * 8ull / 9 + 1;
    return codes > 65536 ? codes * 65536 : codes * (codes + 1) / 2;
}

}  // namespace

int DcElem::changeXferSyn(DICT_UID xferSyn) try {
    constexpr const char* reporter = "DcElem::changeXferSyn";
    const DICT_VR vr = ElemAccess::vr(*this);
    if (!vrRow(vr).onDisk || ElemAccess::firstBuf(*this) == nullptr) return RESULT_OK;
    DcBuf& source = *store_.firstBuf;
    if (source.getType() != BUF_MEMORY || source.getBuf() == nullptr) {
        return fail(ELEM_XFER_SYNTAX, LOG_VALIDATION, reporter, "Only memory buffers can be changed");
    }
    const DICT_UID from = source.getXferSyn();
    if (from == xferSyn) return RESULT_OK;
    if (from != UID_ORVKIT5_LZW && xferSyn != UID_ORVKIT5_LZW) {
        return fail(ELEM_XFER_SYNTAX, LOG_VALIDATION, reporter, "This change is not supported");
    }

    auto* in = static_cast<unsigned char*>(source.getBuf());
    const unsigned int inLen = source.getLen();
    const bool encode = xferSyn == UID_ORVKIT5_LZW;
    unsigned int outLen = inLen;
    if (!encode) {
        const unsigned long long claimed = inLen < 8 ? 0 : loadAt<std::uint32_t>(in + 4, ByteOrder::little);
        outLen = static_cast<unsigned int>(std::min(claimed, lzwMost(inLen)));
    }
    Block out = allocate(outLen + std::size_t{1});
    if (out == nullptr) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, reporter, "unable to allocated 0x%x (%d) bytes of memory",
                    outLen, static_cast<int>(outLen));
    }
    unsigned char* end = out.get();
    const int result = encode ? lzwEncode(in, inLen, end, outLen) : lzwDecode(in, inLen, out.get(), &outLen);
    if (result != RESULT_OK) return result;

    // The first buffer gives way to the new one, which goes behind the others.
    DcBuf* const old = store_.firstBuf;
    DcBuf* rest = old->next();
    DcBuf* last = static_cast<DcBuf*>(NodeLinks::previous(*old));
    auto* fresh = new DcBuf(out.release(), outLen, xferSyn);
    if (rest == nullptr) {
        store_.firstBuf = fresh;
    } else {
        NodeLinks::next(*last) = fresh;
        store_.firstBuf = rest;
    }
    NodeLinks::previous(*store_.firstBuf) = fresh;
    NodeLinks::next(*fresh) = nullptr;
    delete old;
    xferSyn_ = xferSyn;
    return RESULT_OK;
} catch (const std::bad_alloc&) {
    return failMemory("DcElem::changeXferSyn");
}
