// Reading values of elements as C types. Which VR delivers which type stands in the table of VRs.
#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "dataset/char_class.h"
#include "dataset/elem_access.h"
#include "dataset/value_store.h"
#include "dataset/value_text.h"
#include "dictionary/vr_table.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

constexpr const char* kGetValue = "DcElem::getValue";

int refuseType(const DcElem& e, DICT_VR vr, const char* type) {
    const unsigned int tag = ElemAccess::tag(e);
    return fail(ELEM_VR_SIZE, LOG_VALIDATION, kGetValue, "Element (%04x,%04x) VR=%s, cannot get value as %s",
                tag >> 16, tag & 0xFFFF, Dict.vrName(vr), type);
}

int failCut(const DcElem& e) {
    const unsigned int tag = ElemAccess::tag(e);
    return fail(ELEM_TRUNCATED, LOG_VALIDATION, kGetValue,
                "Element (%04x,%04x) buffer too short, value truncated", tag >> 16, tag & 0xFFFF);
}

// Which value a read of `type` means. What has no value is told first, then a VR that does not deliver the
// type, then the index: ELEM_INDEX_NEXT, and 0 once the counter has moved, follow the counter. Raw buffers
// count as a value only for a read that delivers them.
int locate(const DcElem& e, bool delivers, const char* type, int index, unsigned int& at) {
    const int count = delivers ? e.getValueCount() : static_cast<int>(ElemAccess::store(e).count);
    if (count == 0) return ELEM_EMPTY_VALUE;
    if (!delivers) return refuseType(e, ElemAccess::vr(e), type);
    const int counter = ElemAccess::counter(e);
    const bool follows = index == ELEM_INDEX_NEXT || (index == 0 && counter > 0);
    const int place = follows ? counter : index;
    if (place == count) return ELEM_NO_MORE_VALUES;
    if (place < 0 || place > count) {
        const unsigned int tag = ElemAccess::tag(e);
        return fail(ELEM_INVALID_INDEX, LOG_VALIDATION, kGetValue,
                    "Element (%04x,%04x) index (=%d) out of range, value count = %d", tag >> 16, tag & 0xFFFF,
                    index, count);
    }
    at = static_cast<unsigned int>(place);
    return RESULT_OK;
}

// The end of a read: a value that was delivered moves the counter.
int done(DcElem& e, int code, int index) {
    if (code == RESULT_OK && index == ELEM_INDEX_NEXT) ElemAccess::setCounter(e, ElemAccess::counter(e) + 1);
    return code;
}

// ---- numbers ----------------------------------------------------------------------------------------------

template <typename Stored, typename T>
int readBinary(const DcElem& e, unsigned int at, T& value) {
    const auto bytes = storeValue(ElemAccess::store(e), at, false);
    Stored v;
    if (bytes.size() != sizeof v) return ELEM_VR_SIZE;
    std::memcpy(&v, bytes.data(), sizeof v);
    value = static_cast<T>(v);
    return RESULT_OK;
}

// A 64-bit integer. One beyond the range of T is told and becomes the nearest limit.
template <typename Stored, typename T>
int readWide(const DcElem& e, unsigned int at, T& value) {
    Stored v;
    if (const int code = readBinary<Stored>(e, at, v); code != RESULT_OK) return code;
    if constexpr (std::is_integral_v<T>) {
        if (!std::in_range<T>(v)) {
            value = std::cmp_less(v, 0) ? std::numeric_limits<T>::min() : std::numeric_limits<T>::max();
            return ELEM_VALUE_REFUSED;
        }
    }
    value = static_cast<T>(v);
    return RESULT_OK;
}

// The number at the front of a text. Of a text beyond its VR's limit only that much is read, and told.
template <typename T>
int readNumberText(const DcElem& e, unsigned int at, T& value) {
    constexpr std::size_t most = std::is_floating_point_v<T> ? 16 : 12;
    const std::string_view text = storeText(ElemAccess::store(e), at);
    const std::string_view number = trim(text.substr(0, most));
    if constexpr (std::is_floating_point_v<T>) {
        value = static_cast<T>(toDouble(number));
    } else {
        value = static_cast<T>(toInt(number, 10));
    }
    return text.size() > most ? failCut(e) : RESULT_OK;
}

template <typename T>
int readNumber(const DcElem& e, Held held, unsigned int at, T& value) {
    switch (held) {
        case Held::text:
            return readNumberText(e, at, value);
        case Held::i16:
            return readBinary<short>(e, at, value);
        case Held::u16:
            return readBinary<unsigned short>(e, at, value);
        case Held::i32:
            return readBinary<int>(e, at, value);
        case Held::u32:
            return readBinary<unsigned int>(e, at, value);
        case Held::i64:
            return readWide<long long>(e, at, value);
        case Held::u64:
            return readWide<unsigned long long>(e, at, value);
        default:
            break;
    }
    if constexpr (std::is_floating_point_v<T>) {
        if (held == Held::f32) return readBinary<float>(e, at, value);
        if (held == Held::f64) return readBinary<double>(e, at, value);
    }
    return ELEM_VR_SIZE;
}

template <typename T>
int getNumber(DcElem& e, T& value, int index, NumberType type, const char* name) {
    const VrRow& rule = vrRow(ElemAccess::vr(e));
    unsigned int at;
    const int code = locate(e, rule.givesNumber(type), name, index, at);
    return code != RESULT_OK ? code : done(e, readNumber(e, rule.held, at, value), index);
}

// ---- records ----------------------------------------------------------------------------------------------

template <typename Value>
int getRecord(DcElem& e, Value& value, int index, DICT_VR wanted, const char* name) {
    unsigned int at;
    const int code = locate(e, ElemAccess::vr(e) == wanted, name, index, at);
    if (code != RESULT_OK) return code;
    value.reset();
    return done(e, parseText(storeText(ElemAccess::store(e), at), value, ElemAccess::tag(e)), index);
}

// ---- texts ------------------------------------------------------------------------------------------------

// Copies what fits of a text and a NUL, and trims the copy. The last byte of the buffer is always a NUL.
int copyText(const DcElem& e, std::string_view text, char* buffer, std::size_t room) {
    const std::string_view copied = trim(text.substr(0, room));
    if (!copied.empty()) std::memcpy(buffer, copied.data(), copied.size());
    buffer[copied.size()] = '\0';
    buffer[room] = '\0';
    return text.size() > room ? failCut(e) : RESULT_OK;
}

int copyOut(const TextOut& text, char* buffer) {
    std::memcpy(buffer, text.view().data(), text.view().size());
    buffer[text.view().size()] = '\0';
    return RESULT_OK;
}

int copyTag(const DcElem& e, unsigned int at, char* buffer, std::size_t room) {
    constexpr std::size_t needed = 12;
    unsigned int tag;
    const int code = readBinary<unsigned int>(e, at, tag);
    if (code != RESULT_OK || room < needed) return code != RESULT_OK ? code : ELEM_TRUNCATED;
    TextOut text;
    text.put('(');
    text.hex(tag >> 16);
    text.put(',');
    text.hex(tag & 0xFFFF);
    text.put(')');
    return copyOut(text, buffer);
}

template <typename T>
int copyNumber(const DcElem& e, Held held, unsigned int at, char* buffer, std::size_t room) {
    constexpr std::size_t needed = std::is_floating_point_v<T> ? 16 : sizeof(T) > sizeof(int) ? 20 : 12;
    T v;
    const int code = readNumber(e, held, at, v);
    if (code != RESULT_OK || room < needed) return code != RESULT_OK ? code : ELEM_TRUNCATED;
    TextOut text;
    if constexpr (std::is_floating_point_v<T>) {
        text.general(v);
    } else if constexpr (sizeof(T) > sizeof(int)) {
        text.wide(v);
    } else {
        text.number(v);  // UL above 2147483647 appears negative: kept for callers that rely on it
    }
    return copyOut(text, buffer);
}

int copyRaw(const DcElem& e, char* buffer, std::size_t room) {
    for (const DcBuf* b = ElemAccess::firstBuf(e); b != nullptr; b = b->next()) {
        if (b->getType() != BUF_MEMORY || b->getBuf() == nullptr) continue;
        const std::size_t n = std::min<std::size_t>(room, b->getLen());
        std::memcpy(buffer, b->getBuf(), n);
        buffer[n] = '\0';
        return RESULT_OK;
    }
    return ELEM_EMPTY_VALUE;
}

bool givesText(const VrRow& rule) noexcept {
    return rule.kind == Kind::longText || (rule.held != Held::nothing && !rule.isRaw());
}

int copyValue(const DcElem& e, const VrRow& rule, unsigned int at, char* buffer, std::size_t room) {
    if (rule.kind == Kind::tagged) return copyTag(e, at, buffer, room);
    switch (rule.held) {
        case Held::text:
            return copyText(e, storeText(ElemAccess::store(e), at), buffer, room);
        case Held::raw:
            return copyRaw(e, buffer, room);
        case Held::f32:
        case Held::f64:
            return copyNumber<double>(e, rule.held, at, buffer, room);
        case Held::i64:
            return copyNumber<long long>(e, rule.held, at, buffer, room);
        case Held::u64:
            return copyNumber<unsigned long long>(e, rule.held, at, buffer, room);
        default:
            return copyNumber<int>(e, rule.held, at, buffer, room);
    }
}

}  // namespace
}  // namespace orvkit

using namespace orvkit;

int DcElem::getValue(char* buffer, int length, int index) {
    if (buffer == nullptr) return failNull(ELEM_NULL_ARGUMENT, kGetValue, LOG_NOTICE);
    *buffer = '\0';
    const VrRow& rule = vrRow(ElemAccess::vr(*this));
    unsigned int at;
    const int code = locate(*this, givesText(rule), "string", index, at);
    if (code != RESULT_OK) return code;
    return done(*this, copyValue(*this, rule, at, buffer, static_cast<std::size_t>(std::max(length, 0))),
                index);
}

int DcElem::getValue(short& value, int index) {
    return getNumber(*this, value, index, AS_SHORT, "signed short");
}
int DcElem::getValue(unsigned short& value, int index) {
    return getNumber(*this, value, index, AS_USHORT, "unsigned short");
}
int DcElem::getValue(int& value, int index) {
    return getNumber(*this, value, index, AS_INT, "signed long");
}
int DcElem::getValue(unsigned int& value, int index) {
    return getNumber(*this, value, index, AS_UINT, "32 bit unsigned int");
}
int DcElem::getValue(float& value, int index) {
    return getNumber(*this, value, index, AS_FLOAT, "float");
}
int DcElem::getValue(double& value, int index) {
    return getNumber(*this, value, index, AS_DOUBLE, "double");
}

int DcElem::getValue(long long& value, int index) {
    return getNumber(*this, value, index, AS_INT64, "64 bit signed int");
}
int DcElem::getValue(unsigned long long& value, int index) {
    return getNumber(*this, value, index, AS_UINT64, "64 bit unsigned int");
}

int DcElem::getValue(DICT_UID& value, int index) {
    unsigned int at;
    const int code = locate(*this, ElemAccess::vr(*this) == VR_UI, "DICT_UID", index, at);
    if (code != RESULT_OK) return code;
    const DcDictUidInfo* info = Dict.findUid(storeText(store_, at).data());
    if (info == nullptr) return ELEM_VALUE_REFUSED;
    value = info->value;
    return done(*this, RESULT_OK, index);
}

int DcElem::getValue(DcElemValueAT& value, int index) {
    unsigned int at;
    int code = locate(*this, ElemAccess::vr(*this) == VR_AT, "DcElemValueAT", index, at);
    if (code != RESULT_OK) return code;
    unsigned int tag;
    code = readBinary<unsigned int>(*this, at, tag);
    if (code != RESULT_OK) return code;
    value.group = static_cast<unsigned short>(tag >> 16);
    value.element = static_cast<unsigned short>(tag & 0xFFFF);
    return done(*this, RESULT_OK, index);
}
int DcElem::getValue(DcElemValueAS& value, int index) {
    return getRecord(*this, value, index, VR_AS, "DcElemValueAS");
}
int DcElem::getValue(DcElemValueDA& value, int index) {
    return getRecord(*this, value, index, VR_DA, "DcElemValueDA");
}
int DcElem::getValue(DcElemValueDT& value, int index) {
    return getRecord(*this, value, index, VR_DT, "DcElemValueDT");
}
int DcElem::getValue(DcElemValuePN& value, int index) {
    return getRecord(*this, value, index, VR_PN, "DcElemValuePN");
}
int DcElem::getValue(DcElemValueTM& value, int index) {
    return getRecord(*this, value, index, VR_TM, "DcElemValueTM");
}

// The buffer is the one at the counter, whatever the index; that one only says whether the counter moves on.
int DcElem::getValue(DcBuf& value, int index) {
    const DICT_VR vr = ElemAccess::vr(*this);
    if (!isRawVr(vr)) return refuseType(*this, vr, "raw buffer");
    const DcBuf* b = ElemAccess::firstBuf(*this);
    if (b == nullptr) return ELEM_EMPTY_VALUE;
    for (int i = 0; i < counter_ && b != nullptr; ++i) b = b->next();
    if (b == nullptr) return ELEM_NO_MORE_VALUES;
    value = *b;
    return done(*this, RESULT_OK, index);
}
