// The value of one element from encoded bytes (PS3.5 6.2 and 7.3).
#include <bit>
#include <cstring>

#include "dataset/elem_access.h"
#include "foundation/bytes.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"

using orvkit::ElemAccess;
using orvkit::fail;

int DcElem::parseVal(void* value, unsigned int length, DICT_UID xferSyn) {
    (void)deleteAllValues();
    if (value == nullptr || length == 0 || xferSyn == UID_NONE) return RESULT_OK;
    // The dictionary is asked about the element's own tag here, not about a pushed one.
    const DICT_VR vr = vr_ == VR_IM ? Dict.facts(tag_).vr : vr_;
    if (orvkit::isRawVr(vr)) return addValue(value, length, xferSyn);

    ARCH_ENDIAN endian;
    if (Dict.getEndian(xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    if (ElemAccess::effectiveTag(*this) < 0x00010000) endian = ENDIAN_LITTLE;

    const std::span bytes(static_cast<const unsigned char*>(value), length);
    if (vrSize_ == VR_SIZE_CHAR) {
        return ElemAccess::addText(*this, {reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                   ELEM_INDEX_APPEND);
    }
    if (vrSize_ == VR_SIZE_NONE) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::parseVal", "Element (%04x,%04x) - invalid VR size",
                    tag_ >> 16, tag_ & 0xFFFF);
    }
    if (vrLen_ == 0) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::parseValBinary",
                    "Element (%04x,%04x) - zero vrLen", tag_ >> 16, tag_ & 0xFFFF);
    }
    unsigned int count = length / vrLen_;
    unsigned int first = 0;
    const auto most = static_cast<unsigned int>(vm_ < 0 ? -static_cast<long long>(vm_) : vm_);
    if (most != 0 && count > most && orvkit::valueExceptionLevel() != 0) first = count - most;
    count -= first;
    if (count == 0) return RESULT_OK;
    if (!orvkit::storeAppendRun(
            store_, bytes.subspan(std::size_t{first} * vrLen_, std::size_t{count} * vrLen_), vrLen_)) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElem::parseValBinary",
                    "unable to allocated 0x%x (%d) bytes of memory", length, static_cast<int>(length));
    }
    const bool bigHost = std::endian::native == std::endian::big;
    if ((endian == ENDIAN_BIG) != bigHost) {
        orvkit::swapUnits(orvkit::storeBytes(store_), orvkit::vrUnit(vr));
    }
    if (vr == VR_AT && endian == ENDIAN_LITTLE) {
        // Group and element are numbers of their own in the stream; the value holds the group on top.
        const auto tags = orvkit::storeBytes(store_);
        for (std::size_t i = 0; i + 4 <= tags.size(); i += 4) {
            std::uint32_t tag;
            std::memcpy(&tag, tags.data() + i, 4);
            tag = std::rotl(tag, 16);
            std::memcpy(tags.data() + i, &tag, 4);
        }
    }
    return RESULT_OK;
}
