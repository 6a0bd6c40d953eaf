// The element-at-a-time parser: one element at the start of a buffer, by stricter rules than the block
// decoder.
#include <algorithm>
#include <memory>

#include "dataset/elem_access.h"
#include "encoding/header.h"
#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "orvkit/scan.h"
#include "orvkit/sequence.h"

using orvkit::ByteOrder;
using orvkit::ElemAccess;
using orvkit::fail;

namespace {

constexpr const char* kReporter = "DcElemList::parseElem";
constexpr orvkit::HeaderRules kStrict{.itemsAreElements = true, .onlyCommandsDiffer = true, .openVr = true};

struct ElemHeader : orvkit::Header {
    unsigned int valueLength = 0;
    int extra = 0;                // bytes of the delimiter behind the value
    DICT_UID xferSyn = UID_NONE;  // of this element
};

// Values whose length may be undefined are searched or walked for their end.
int measure(unsigned char* field, unsigned int left, ElemHeader& h) {
    const orvkit::VrRow& row = orvkit::vrRow(h.vr);
    if (row.kind == orvkit::Kind::bytes) {
        return utilGetOxValLen(field, left, h.xferSyn, h.valueLength, h.extra, 1);
    }
    if (row.kind == orvkit::Kind::longText) {
        return utilGetOxValLen(field, left, h.xferSyn, h.valueLength, h.extra, 0);
    }
    if (h.vr == VR_SQ || row.isRaw()) {
        return utilGetSqValLen(field, left, h.xferSyn, h.valueLength, h.extra, 1);
    }
    h.valueLength = h.length;
    return RESULT_OK;
}

int readHdr(unsigned char* buf, unsigned int length, DICT_UID xferSyn, ElemHeader& h) {
    if (length < 4) return ELEM_SHORT_BUFFER;
    const bool command = orvkit::loadAt<std::uint16_t>(buf, ByteOrder::little) == 0;
    h.xferSyn = command ? UID_LITTLE_ENDIAN_IMPLICIT : xferSyn;
    ARCH_ENDIAN endian;
    if (Dict.getEndian(h.xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    if (!orvkit::readHeader({buf, length}, orvkit::Mode::of(xferSyn), kStrict, h)) return ELEM_SHORT_BUFFER;
    const bool privateGroup = ((h.tag >> 16) & 1) != 0;
    const bool known = h.from != orvkit::Header::VrFrom::nowhere;
    if (!h.mode.explicitVr && (!known || privateGroup)) h.vr = VR_UNKNOWN;
    const unsigned int field = h.size - (orvkit::hasLongLength(h.mode, h.vr) ? 4u : 2u);
    return measure(buf + field, length - field, h);
}

// The VR of an element whose header left it open.
DICT_VR settleVr(const ElemHeader& h, const unsigned char* value) {
    if (h.vr != VR_UNKNOWN) return h.vr;
    const DcDictFacts facts = Dict.facts(h.tag);
    if (facts.known) return facts.vr;
    return h.valueLength >= 4 && orvkit::loadTag(value, h.mode.order) == orvkit::kTagItem ? VR_SQ : VR_UN;
}

}  // namespace

int DcElemList::parseElem(unsigned char* buf, unsigned int length, DICT_UID xferSyn, unsigned int& used) {
    used = 0;
    if (buf == nullptr) return ELEM_NULL_ARGUMENT;
    ElemHeader h;
    const int header = readHdr(buf, length, xferSyn, h);
    if (header != RESULT_OK && header != ELEM_UNKNOWN) return header;
    const unsigned long long valueEnd = 0ull + h.size + h.valueLength;
    if (valueEnd > length) return ELEM_SHORT_BUFFER;
    unsigned char* const value = buf + h.size;
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
        ElemAccess::setLetters(*e, h.letters);
    }
    (void)e->registerValueExceptionCB(exceptionContext_, exceptionCB_);
    int result = e->parseVal(value, h.valueLength, h.xferSyn);
    if (result != ELEM_REFUSED && result != ELEM_NO_MEMORY) (void)add(e.release());

    const unsigned int left = length - used;
    if (left < 8) return RESULT_OK;  // whatever the element's parse gave: kept for callers that rely on it
    // A stray delimiter behind an element is skipped.
    const auto behind = std::span(buf, length).subspan(used);
    if (orvkit::isDelimitation(behind, h.mode.order, orvkit::kTagSequenceDelimitation)) {
        used += orvkit::kDelimitationSize;
    }
    return result;
}
