// Names and values as both prints show them. Stored values are read where they lie: the value counter has no
// part in it.
#include <algorithm>
#include <cstring>
#include <typeinfo>

#include "dataset/elem_access.h"
#include "dataset/number_text.h"
#include "dataset/print.h"

namespace orvkit {
namespace {

// What counts as blank at the ends of a value.
constexpr bool isBlank(char c) noexcept {
    return c == ' ' || (c >= 1 && c <= 13);
}

// The bytes of a binary value as a T; one of another size than its VR's has nothing to show.
template <typename T>
T binaryValue(const DcElem& e, unsigned int index) noexcept {
    const auto bytes = storeValue(ElemAccess::store(e), index, false);
    T v{};
    if (bytes.size() == sizeof v) std::memcpy(&v, bytes.data(), sizeof v);
    return v;
}

void putHex4(char* to, unsigned int value) noexcept {
    for (int i = 3; i >= 0; --i, value >>= 4) to[i] = "0123456789abcdef"[value & 0xF];
}

}  // namespace

PrintedText printedText(std::string_view stored) noexcept {
    const bool cut = stored.size() > maxPrintedText;
    std::string_view text = stored.substr(0, maxPrintedText);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    return {text, cut};
}

PrintedText printedUnlimitedText(const DcElem& e) noexcept {
    const DcBuf* buf = ElemAccess::firstBuf(e);
    if (buf == nullptr || buf->getType() != BUF_MEMORY || buf->getBuf() == nullptr) return {{}, false};
    std::string_view text(static_cast<const char*>(buf->getBuf()), buf->getLen());
    while (!text.empty() && (text.back() == ' ' || text.back() == '\0')) text.remove_suffix(1);
    return {text.substr(0, std::min(maxPrintedText, text.find('\0'))), text.size() > maxPrintedText};
}

bool putText(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int index) {
    const VrRow& row = vrRow(vr);
    if (row.kind == Kind::tagged) {
        out.tag(binaryValue<unsigned int>(e, index));
    } else if (row.held == Held::f32) {
        out.real(static_cast<double>(binaryValue<float>(e, index)));
    } else if (row.held == Held::f64) {
        out.real(binaryValue<double>(e, index));
    } else {
        const PrintedText value = printedText(storeText(ElemAccess::store(e), index));
        out.put(value.text);
        return value.cut;
    }
    return false;
}

unsigned int integerValue(const DcElem& e, DICT_VR vr, unsigned int index) noexcept {
    switch (vrRow(vr).held) {
        case Held::i16:
            return static_cast<unsigned int>(binaryValue<short>(e, index));
        case Held::u16:
            return binaryValue<unsigned short>(e, index);
        default:
            return binaryValue<unsigned int>(e, index);
    }
}

bool putWideInteger(TextSink& out, const DcElem& e, DICT_VR vr, unsigned int index) {
    const Held held = vrRow(vr).held;
    TextOut text;
    if (held == Held::i64) text.wide(binaryValue<long long>(e, index));
    if (held == Held::u64) text.wide(binaryValue<unsigned long long>(e, index));
    out.put(text.view());
    return held == Held::i64 || held == Held::u64;
}

void putUid(TextSink& out, const DcElem& e, unsigned int index) {
    const std::string_view uid = printedText(storeText(ElemAccess::store(e), index)).text;
    out.put(uid);
    char text[maxPrintedText + 1];
    uid.copy(text, uid.size());
    text[uid.size()] = '\0';
    const DcDictUidInfo* known = uid.empty() ? nullptr : Dict.findUid(text);
    if (known == nullptr) return;
    out.put(" (");
    out.put(known->desc);
    out.put(')');
}

std::string_view commandName(unsigned int commandField, char (&room)[64]) noexcept {
    // Asked for a known message only: an unknown one would be logged.
    static constexpr unsigned short known[] = {0x0001, 0x0010, 0x0020, 0x0021, 0x0030, 0x0FFF,
                                               0x0100, 0x0110, 0x0120, 0x0130, 0x0140, 0x0150};
    const unsigned int request = commandField & 0x7FFF;
    const bool ok = commandField <= 0xFFFF && commandField != 0x8FFF &&
                    std::find(std::begin(known), std::end(known), request) != std::end(known);
    if (!ok || Dict.getDesc(static_cast<DICT_MSG>(commandField), room) != 0) return {};
    return room;
}

std::string_view vrText(DICT_VR vr) noexcept {
    const char* name = Dict.vrName(vr);
    return *name == '\0' ? "??" : name;
}

std::string_view tagName(unsigned int tag, char (&room)[64]) noexcept {
    const unsigned int element = tag & 0xFFFF;
    if (const DcDictElemInfo* record = element == 0 ? nullptr : Dict.find(tag)) return record->name;
    const bool privateGroup = (tag & 0x10000) != 0;
    if (element == 0 || (privateGroup && element < 0x0100)) {
        (void)Dict.getDesc(tag, room);
        return room;
    }
    std::memcpy(room, "T_gggg_eeee", 12);
    putHex4(room + 2, tag >> 16);
    putHex4(room + 7, element);
    return room;
}

DcElemSq* asSequence(DcElem& e) noexcept {
    return ElemAccess::isSequence(e) ? dynamic_cast<DcElemSq*>(&e) : nullptr;
}

}  // namespace orvkit
