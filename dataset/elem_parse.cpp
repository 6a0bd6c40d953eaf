// The value of one element from encoded bytes (PS3.5 6.2 and 7.3).
#include <bit>
#include <cstring>

#include "dataset/char_class.h"
#include "dataset/elem_access.h"
#include "dataset/elem_verify.h"
#include "foundation/bytes.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"

using orvkit::ElemAccess;

int DcElem::parseVal(void* value, unsigned int length, DICT_UID xferSyn) {
    (void)deleteAllValues();
    if (value == nullptr || length == 0 || xferSyn == UID_NONE) return RESULT_OK;
    // The dictionary is asked about the element's own tag here, not about a pushed one.
    const DICT_VR vr = vr_ == VR_IM ? Dict.facts(tag_).vr : getVr();
    if (orvkit::isRawVr(vr)) return addValue(value, length, xferSyn);

    ARCH_ENDIAN endian;
    if (Dict.getEndian(xferSyn, endian) != RESULT_OK) return ELEM_XFER_SYNTAX;
    if (ElemAccess::effectiveTag(*this) < 0x00010000) endian = ENDIAN_LITTLE;
    const auto order = endian == ENDIAN_BIG ? orvkit::ByteOrder::big : orvkit::ByteOrder::little;
    return ElemAccess::parse(*this, vr, {static_cast<const unsigned char*>(value), length}, order);
}

namespace {

// The usual text: one short value without anything that has to be looked at twice. What addText makes of it.
bool storePlainText(orvkit::ElemStore& store, const orvkit::VrRow& row, unsigned int most,
                    std::string_view bytes) {
    const bool checked = row.take == orvkit::Take::check || row.take == orvkit::Take::soften;
    if (!checked || store.count != 0 || bytes.size() > most) return false;
    while (!bytes.empty() && bytes.back() == '\0') bytes.remove_suffix(1);
    const std::string_view text = orvkit::trim(bytes);
    if (text.empty() || !orvkit::passesPlainly(row.check, text)) return false;
    if (row.check == orvkit::Verify::AE && text.find('\\') != std::string_view::npos) return false;
    return orvkit::storeAppend(store, {reinterpret_cast<const unsigned char*>(text.data()), text.size()},
                               true);
}

}  // namespace

int ElemAccess::parse(DcElem& e, DICT_VR vr, std::span<const unsigned char> bytes, ByteOrder order) {
    const DICT_VR_SIZE size = vrSize(e);
    if (size == VR_SIZE_CHAR) {
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        if (storePlainText(e.store_, orvkit::vrRow(vr), vrLen(e), text)) return RESULT_OK;
        return addText(e, text, ELEM_INDEX_APPEND);
    }
    if (size == VR_SIZE_NONE) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::parseVal", "Element (%04x,%04x) - invalid VR size",
                    e.tag_ >> 16, e.tag_ & 0xFFFF);
    }
    const unsigned int each = vrLen(e);
    if (each == 0) {
        return fail(ELEM_VR_SIZE, LOG_VALIDATION, "DcElem::parseValBinary",
                    "Element (%04x,%04x) - zero vrLen", e.tag_ >> 16, e.tag_ & 0xFFFF);
    }
    const auto length = static_cast<unsigned int>(bytes.size());
    unsigned int count = length / each;
    unsigned int first = 0;
    const auto most = static_cast<unsigned int>(e.vm_ < 0 ? -static_cast<long long>(e.vm_) : e.vm_);
    if (most != 0 && count > most && orvkit::valueExceptionLevel() != 0) first = count - most;
    count -= first;
    if (count == 0) return RESULT_OK;
    if (!orvkit::storeAppendRun(e.store_, bytes.subspan(std::size_t{first} * each, std::size_t{count} * each),
                                each)) {
        return fail(ELEM_NO_MEMORY, LOG_ERROR, "DcElem::parseValBinary",
                    "unable to allocated 0x%x (%d) bytes of memory", length, static_cast<int>(length));
    }
    const bool bigHost = std::endian::native == std::endian::big;
    if ((order == orvkit::ByteOrder::big) != bigHost) {
        orvkit::swapUnits(orvkit::storeBytes(e.store_), orvkit::vrUnit(vr));
    }
    if (vr == VR_AT && order == orvkit::ByteOrder::little) {
        // Group and element are numbers of their own in the stream; the value holds the group on top.
        const auto tags = orvkit::storeBytes(e.store_);
        for (std::size_t i = 0; i + 4 <= tags.size(); i += 4) {
            std::uint32_t tag;
            std::memcpy(&tag, tags.data() + i, 4);
            tag = std::rotl(tag, 16);
            std::memcpy(tags.data() + i, &tag, 4);
        }
    }
    return RESULT_OK;
}
