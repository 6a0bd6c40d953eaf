// What adding numbers, texts and records shares: how a value is stored, once its VR takes it.
#ifndef ORVKIT_DATASET_ELEM_ADD_H
#define ORVKIT_DATASET_ELEM_ADD_H

#include <type_traits>
#include <utility>

#include "dataset/elem_access.h"
#include "dataset/number_text.h"
#include "dictionary/vr_table.h"
#include "orvkit/result.h"

namespace orvkit {

// "VR=%s, does not accept %s", ELEM_VALUE_REFUSED.
[[nodiscard]] int refuseAdding(const DcElem& e, DICT_VR vr, const char* type, const char* reporter);

[[nodiscard]] int storeText(DcElem& e, std::string_view text, int index);

template <typename T>
[[nodiscard]] int storeBinary(DcElem& e, T v, int index) {
    return ElemAccess::addValueFmtBuf(e, &v, sizeof v, index, true);
}

// A text as one value: checks, callback, truncation. `given` is what the callback sees.
[[nodiscard]] int addOneText(DcElem& e, const VrRow& rule, std::string_view given, int index);

template <typename T>
[[nodiscard]] int storeNumber(DcElem& e, const VrRow& rule, T v, int index) {
    if constexpr (std::is_integral_v<T>) {
        switch (rule.held) {
            case Held::i16:
            case Held::u16:
                return storeBinary(e, static_cast<unsigned short>(v), index);
            case Held::i32:
            case Held::u32:
                return storeBinary(e, static_cast<unsigned int>(v), index);
            case Held::i64:
                return std::in_range<long long>(v) ? storeBinary(e, static_cast<long long>(v), index)
                                                   : ELEM_VALUE_REFUSED;
            case Held::u64:
                return std::in_range<unsigned long long>(v)
                           ? storeBinary(e, static_cast<unsigned long long>(v), index)
                           : ELEM_VALUE_REFUSED;
            default:
                break;
        }
    }
    switch (rule.held) {
        case Held::f32:
            return storeBinary(e, static_cast<float>(v), index);
        case Held::f64:
            return storeBinary(e, static_cast<double>(v), index);
        default:
            break;
    }
    TextOut text;
    if constexpr (std::is_integral_v<T>) {
        // Unsigned numbers above 2147483647 become negative texts: kept for callers that rely on it.
        text.number(static_cast<int>(v));
    } else {
        text.general(static_cast<double>(v));
    }
    return addOneText(e, rule, text.view(), index);
}

}  // namespace orvkit

#endif
