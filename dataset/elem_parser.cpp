// The element-at-a-time parser: one element at the start of a buffer, by stricter rules than the block
// decoder.
#include <algorithm>
#include <memory>

#include "dataset/elem_access.h"
#include "foundation/bytes.h"
#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"
#include "orvkit/sequence.h"

using orvkit::ByteOrder;
using orvkit::fail;

namespace {

constexpr unsigned int kItem = 0xFFFEE000;
constexpr unsigned int kSequenceDelimitation = 0xFFFEE0DD;
constexpr const char* kReporter = "DcElemList::parseElem";

struct ElemHeader {
    unsigned int tag = 0;
    DICT_VR vr = VR_UNKNOWN;
    unsigned int valueLength = 0;
    int extra = 0;                // bytes of the delimiter behind the value
    unsigned int used = 0;        // bytes of the header
    DICT_UID xferSyn = UID_NONE;  // of this element
    ByteOrder order = ByteOrder::little;
};

unsigned int loadTag(const unsigned char* p, ByteOrder order) {
    return (static_cast<unsigned int>(orvkit::loadAt<std::uint16_t>(p, order)) << 16) |
           orvkit::loadAt<std::uint16_t>(p + 2, order);
}

bool isOtherByte(DICT_VR vr) {
    return vr == VR_OB || vr == VR_OF || vr == VR_OW || vr == VR_OX;
}
bool isSequenceLike(DICT_VR vr) {
    return vr == VR_SQ || vr == VR_UN || vr == VR_UNKNOWN;
}

int parseVr(const unsigned char* buf, unsigned int length, ElemHeader& h) {
    if (h.xferSyn == UID_LITTLE_ENDIAN_IMPLICIT) {
        const DcDictFacts facts = Dict.facts(h.tag);
        const bool privateGroup = ((h.tag >> 16) & 1) != 0;
        h.vr = facts.known && !privateGroup ? facts.vr : VR_UNKNOWN;
        return RESULT_OK;
    }
    if (length - h.used < 2) return ELEM_SHORT_BUFFER;
    h.vr = DcDict::vrOfCode(static_cast<char>(buf[h.used]), static_cast<char>(buf[h.used + 1]));
    if (h.vr == 0) h.vr = VR_UNKNOWN;
    const bool reserved = isOtherByte(h.vr) || isSequenceLike(h.vr) || h.vr == VR_UT;
    const unsigned int size = reserved ? 4 : 2;
    if (length - h.used < size) return ELEM_SHORT_BUFFER;
    h.used += size;
    return RESULT_OK;
}

int parseValLen(unsigned char* buf, unsigned int length, ElemHeader& h) {
    unsigned char* p = buf + h.used;
    const unsigned int left = length - h.used;
    const bool scanned = isOtherByte(h.vr) || isSequenceLike(h.vr) || h.vr == VR_UT;
    const bool implicitVr = h.xferSyn == UID_LITTLE_ENDIAN_IMPLICIT;
    const unsigned int size = scanned || implicitVr ? 4 : 2;
    if (left < size) return ELEM_SHORT_BUFFER;
    h.used += size;
    if (isOtherByte(h.vr)) return utilGetOxValLen(p, left, h.xferSyn, h.valueLength, h.extra, 1);
    if (h.vr == VR_UT) return utilGetOxValLen(p, left, h.xferSyn, h.valueLength, h.extra, 0);
    if (isSequenceLike(h.vr)) return utilGetSqValLen(p, left, h.xferSyn, h.valueLength, h.extra, 1);
    h.valueLength = implicitVr ? orvkit::loadAt<std::uint32_t>(p, ByteOrder::little)
                               : orvkit::loadAt<std::uint16_t>(p, h.order);
    return RESULT_OK;
}

int readHdr(unsigned char* buf, unsigned int length, DICT_UID xferSyn, ElemHeader& h) {
    if (length < 4) return ELEM_SHORT_BUFFER;
    const bool command = orvkit::loadAt<std::uint16_t>(buf, ByteOrder::little) == 0;
    h.xferSyn = command ? UID_LITTLE_ENDIAN_IMPLICIT : xferSyn;
    ARCH_ENDIAN endian;
    if (Dict.getEndian(h.xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    h.order = endian == ENDIAN_BIG ? ByteOrder::big : ByteOrder::little;
    h.tag = loadTag(buf, h.order);
    h.used = 4;
    const int result = parseVr(buf, length, h);
    return result != RESULT_OK ? result : parseValLen(buf, length, h);
}

// The VR of an element whose header left it open.
DICT_VR settleVr(const ElemHeader& h, const unsigned char* value) {
    if (h.vr != VR_UNKNOWN) return h.vr;
    const DcDictFacts facts = Dict.facts(h.tag);
    if (facts.known) return facts.vr;
    return h.valueLength >= 4 && loadTag(value, h.order) == kItem ? VR_SQ : VR_UN;
}

}  // namespace

int DcElemList::parseElem(unsigned char* buf, unsigned int length, DICT_UID xferSyn, unsigned int& used) {
    used = 0;
    if (buf == nullptr) return ELEM_NULL_ARGUMENT;
    ElemHeader h;
    const int header = readHdr(buf, length, xferSyn, h);
    if (header != RESULT_OK && header != ELEM_UNKNOWN) return header;
    const unsigned long long valueEnd = 0ull + h.used + h.valueLength;
    if (valueEnd > length) return ELEM_SHORT_BUFFER;
    unsigned char* const value = buf + h.used;
    const unsigned int group = h.tag >> 16;
    const unsigned int element = h.tag & 0xFFFF;
    // A value that was taken to the end of the buffer has no delimiter behind it.
    used = static_cast<unsigned int>(
        std::min<unsigned long long>(valueEnd + static_cast<unsigned int>(h.extra), length));

    if (header == ELEM_UNKNOWN) {
        return fail(RESULT_OK, LOG_NOTICE, kReporter, "Ignored unknown element (%04x,%04x)", group, element);
    }
    const DICT_VR vr = settleVr(h, value);
    if (vr == VR_RT) {
        return fail(RESULT_OK, LOG_NOTICE, kReporter, "Ignored retired element (%04x,%04x)", group, element);
    }
    if (vr == 0) {
        return fail(RESULT_OK, LOG_NOTICE, kReporter, "Ignored element (%04x,%04x) with unknown VR", group,
                    element);
    }
    if (lastTag_ != 0xFFFFFFFF && h.tag <= lastTag_) {
        used = 0;
        return fail(ELEM_VALUE_REFUSED, LOG_ERROR, kReporter,
                    "Elements out of sequence, this - 0x%08x, last - 0x%08x", h.tag, lastTag_);
    }
    lastTag_ = h.tag;

    std::unique_ptr<DcElem> e;
    if (vr == VR_SQ) {
        e = std::make_unique<DcElemSq>(h.tag);
    } else {
        e = std::make_unique<DcElem>(h.tag, nullptr, 0u, UID_NONE, vr, 0);
    }
    (void)e->registerValueExceptionCB(exceptionContext_, exceptionCB_);
    int result = e->parseVal(value, h.valueLength, h.xferSyn);
    if (result != ELEM_REFUSED && result != ELEM_NO_MEMORY) (void)add(e.release());

    const unsigned int left = length - used;
    if (left < 8) return RESULT_OK;  // whatever the element's parse gave: kept for callers that rely on it
    // A stray delimiter behind an element is skipped.
    if (loadTag(buf + used, h.order) == kSequenceDelimitation &&
        orvkit::loadAt<std::uint32_t>(buf + used + 4, h.order) == 0) {
        used += 8;
    }
    return result;
}
