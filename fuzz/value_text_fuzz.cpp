// Value texts: added to an element of every VR and read back as every type, which gives them to every parser,
// and as numbers compared with the C library's.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "dataset/elem_access.h"
#include "dataset/number_text.h"
#include "fuzz/target.h"

namespace {

constexpr unsigned int tag = 0x00111010;

using fuzz::require;

int acceptOrReplace(void* context, unsigned int, DICT_VR, char*, char** replacement) {
    static char other[] = "replaced";
    const auto mode = *static_cast<const std::uint8_t*>(context);
    if ((mode & 4) != 0) *replacement = other;
    return mode & 16;
}

template <typename... Types>
void readAll(DcElem& e) {
    const auto read = [&e](auto v) {
        e.resetValueCounter();
        for (int i = 0; i < 1000 && e.getValue(v, ELEM_INDEX_NEXT) == 0; ++i) {
        }
    };
    (read(Types{}), ...);
}

void readEverything(DcElem& e) {
    readAll<short, unsigned short, int, unsigned int, float, double, DICT_UID, DcBuf>(e);
    readAll<DcElemValueAS, DcElemValueAT, DcElemValueDA, DcElemValueDT, DcElemValuePN, DcElemValueTM>(e);
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

bool sameNumber(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// The C library's number. Where a text begins with none it is zero (C17 7.22.1.3), which some libraries give
// the sign of what they gave up.
double libraryNumber(const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    return end == text.c_str() ? 0 : number;
}

// The program runs in the "C" locale.
void compareNumbers(const std::string& text) {
    require(sameNumber(orvkit::toDouble(text), libraryNumber(text)));
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
    compareNumbers(text);
    return 0;
}
