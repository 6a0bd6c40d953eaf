// Elements of any VR without a limit on their number of values, and what they hold, for tests.
#ifndef ORVKIT_TESTS_SUPPORT_ELEM_VALUES_H
#define ORVKIT_TESTS_SUPPORT_ELEM_VALUES_H

#include <memory>
#include <string>

#include "dataset/elem_access.h"
#include "orvkit/elem.h"

inline constexpr unsigned int anyTag = 0x00111010;  // unknown to the dictionary
inline const std::string anyElement = "Element (0011,1010) ";

inline std::unique_ptr<DcElem> elemOf(DICT_VR vr) {
    return std::make_unique<DcElem>(anyTag, nullptr, 0u, UID_LITTLE_ENDIAN_EXPLICIT, vr, vr == VR_SQ ? 1 : 0);
}

// All values as stored, each in brackets: "[A][B]". Binary values as getValue prints them.
inline std::string stored(DcElem& e) {
    std::string all;
    for (int i = 0; i < e.getValueCount(); ++i) {
        if (orvkit::ElemAccess::vrSize(e) == VR_SIZE_CHAR && !orvkit::isRawVr(e.getVr())) {
            all +=
                "[" +
                std::string(orvkit::storeText(orvkit::ElemAccess::store(e), static_cast<unsigned int>(i))) +
                "]";
            continue;
        }
        char buffer[256];
        const int counter = orvkit::ElemAccess::counter(e);
        e.resetValueCounter();
        all += e.getValue(buffer, 255, i) == 0 ? "[" + std::string(buffer) + "]" : "[?]";
        orvkit::ElemAccess::setCounter(e, counter);
    }
    return all;
}

// The value exception level, back to its first state at the end of the scope.
class ExceptionLevel {
  public:
    explicit ExceptionLevel(int level) { elemListSetValueExceptionLevel(level); }
    ExceptionLevel(const ExceptionLevel&) = delete;
    ExceptionLevel& operator=(const ExceptionLevel&) = delete;
    ~ExceptionLevel() { elemListSetValueExceptionLevel(-1); }
};

#endif
