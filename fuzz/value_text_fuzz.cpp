// Value texts: added to an element of every VR and read back as every type, given to every parser, and as
// numbers compared with the C library's. What addValue formats of a parsed record must parse to it again.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "dataset/elem_access.h"
#include "dataset/number_text.h"
#include "dataset/value_text.h"
#include "fuzz/target.h"

namespace {

constexpr unsigned int tag = 0x00111010;

using fuzz::require;

int acceptOrReplace(void* context, unsigned int, DICT_VR, char* value, char** replacement) {
    static char other[] = "replaced";
    const auto mode = *static_cast<const std::uint8_t*>(context);
    if ((mode & 4) != 0) *replacement = other;
    if ((mode & 8) != 0 && *value != '\0') *value = '\0';
    return mode & 16;
}

template <typename T>
void readAll(DcElem& e) {
    T v{};
    e.resetValueCounter();
    for (int i = 0; i < 1000 && e.getValue(v, ELEM_INDEX_NEXT) == 0; ++i) {
    }
}

template <typename... Types>
void readEach(DcElem& e) {
    (readAll<Types>(e), ...);
}

void readEverything(DcElem& e) {
    readEach<short, unsigned short, int, unsigned int, float, double, DICT_UID, DcBuf>(e);
    readEach<DcElemValueAS, DcElemValueAT, DcElemValueDA, DcElemValueDT, DcElemValuePN, DcElemValueTM>(e);
    for (const int length : {0, 3, 20}) {
        std::vector<char> buffer(static_cast<std::size_t>(length) + 1);
        for (int i = 0; i < e.getValueCount() && i < 100; ++i) {
            (void)e.getValue(buffer.data(), length, i);
            require(std::strlen(buffer.data()) <= static_cast<std::size_t>(length));
        }
    }
}

void addToEveryVr(std::string_view text, std::uint8_t mode) {
    for (int vr = VR_AE; vr <= VR_UNKNOWN; ++vr) {
        DcElem e(tag, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, static_cast<DICT_VR>(vr), vr == VR_SQ ? 1 : 0);
        if ((mode & 2) != 0) e.registerValueExceptionCB(&mode, acceptOrReplace);
        const int before = e.getValueCount();
        const int code = orvkit::ElemAccess::addText(e, text, ELEM_INDEX_APPEND);
        if (code != 0 && text.find('\\') == std::string_view::npos) require(e.getValueCount() == before);
        (void)orvkit::ElemAccess::addText(e, text, 0);
        readEverything(e);
    }
}

// Seconds that six digits round up to 60, and offsets of one digit, are formatted as texts that do not parse.
bool roundsUp(double time) {
    return std::fmod(time, 100.0) > 59.9999994;
}
template <typename Value>
bool parsesAgain(const Value& v) {
    if constexpr (std::is_same_v<Value, DcElemValueDA>) {  // a range of two absent bounds is no date
        const bool empty = v.month == 0 && v.startDate == -1 && v.endDate == -1;
        return !empty && v.startDate <= 30001231 && v.endDate <= 30001231;
    } else if constexpr (std::is_same_v<Value, DcElemValueTM>) {
        return !roundsUp(v.second) && !roundsUp(v.startTime) && !roundsUp(v.endTime);
    } else if constexpr (std::is_same_v<Value, DcElemValueDT>) {
        const bool noOffset = v.offsetHour == 0 && v.offsetMinute == 0;
        return !roundsUp(v.second) && (noOffset || std::abs(v.offsetHour) > 9);
    }
    return true;
}

// A component group that stands alone is read as components.
template <typename Value>
bool standsAlone(const Value& v, std::string_view text) {
    if constexpr (std::is_same_v<Value, DcElemValuePN>) {
        return v.group > 0 && text.find('=') == std::string_view::npos;
    }
    return false;
}

// A date and time is formatted from its members only when it has no text.
template <typename Value>
void forgetText(Value& v) {
    if constexpr (std::is_same_v<Value, DcElemValueDT>) std::memset(v.text, 0, sizeof v.text);
}

template <typename Value>
void roundTrip(std::string_view text) {
    Value value;
    if (orvkit::parseText(text, value, tag) != 0) return;
    forgetText(value);
    if (!parsesAgain(value)) return;
    orvkit::TextOut first;
    require(orvkit::formatText(value, first, tag) == 0);
    if (first.view().empty() || standsAlone(value, first.view())) return;
    Value again;
    require(orvkit::parseText(first.view(), again, tag) == 0);
    forgetText(again);
    orvkit::TextOut second;
    require(orvkit::formatText(again, second, tag) == 0);
    require(first.view() == second.view());
}

bool sameNumber(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// The program runs in the "C" locale.
void compareNumbers(const std::string& text) {
    require(sameNumber(orvkit::toDouble(text), std::strtod(text.c_str(), nullptr)));
    for (const int base : {0, 10}) {
        const long long v = std::strtoll(text.c_str(), nullptr, base);
        const long long clamped = v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : v;
        require(orvkit::toInt(text, base) == clamped);
        // Beyond 64 bits strtoll has saturated, which is beyond 32 bits all the same.
        const bool beyond = v > static_cast<long long>(UINT32_MAX) || v < -static_cast<long long>(UINT32_MAX);
        require(orvkit::toUInt(text, base) == (beyond ? UINT32_MAX : static_cast<std::uint32_t>(v)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const std::uint8_t mode = data[0];
    elemListSetValueExceptionLevel((mode & 1) != 0 ? 0 : -1);
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    addToEveryVr({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, mode);

    const std::string text(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'));
    DcElemValueAT at;
    (void)orvkit::parseText(text, at, tag);
    roundTrip<DcElemValueAS>(text);
    roundTrip<DcElemValueDA>(text);
    roundTrip<DcElemValueDT>(text);
    roundTrip<DcElemValueTM>(text);
    // Cutting a component can cut an escape sequence in two.
    if (text.find('\x1b') == std::string::npos) roundTrip<DcElemValuePN>(text);
    DcElemValuePN name;
    (void)orvkit::parseText(text, name, tag);
    compareNumbers(text);
    return 0;
}
