// What each VR makes of values that come and go as C types, numbers and texts: one row per VR, walked by
// addValue and getValue alike.
#ifndef ORVKIT_DATASET_VR_RULES_H
#define ORVKIT_DATASET_VR_RULES_H

#include <iterator>

#include "dataset/elem_verify.h"
#include "orvkit/dict.h"

namespace orvkit {

// How a VR holds one value.
enum class Held : unsigned char { none, text, i16, u16, i32, u32, f32, f64, raw };

// What is done with a text that is added.
enum class Take : unsigned char {
    refuse,  // this VR takes no texts
    check,   // stored when its check passes
    soften,  // stored also with illegal characters: control characters are replaced
    parse,   // stored when it parses as the VR's record
    store,   // stored as it is
    number,  // checked and converted to a binary value
    tag,     // parsed to a binary value
    buffer,  // a raw buffer
};

enum class Split : unsigned char { no, yes, notInEscapes };

// The columns of the number tables.
enum NumberType : unsigned char { AS_SHORT, AS_USHORT, AS_INT, AS_UINT, AS_FLOAT, AS_DOUBLE };

struct VrRule {
    DICT_VR vr;
    Held held;
    const char* takes;  // number types that addValue accepts, one mark a column
    const char* gives;  // number types that getValue delivers
    Take take;
    Verify check;
    Split split;  // at a backslash

    bool takesNumber(NumberType t) const noexcept { return takes[t] == 'x'; }
    bool givesNumber(NumberType t) const noexcept { return gives[t] == 'x'; }
};

// clang-format off
inline constexpr VrRule vrRules[] = {
    //  Numbers:               short | unsigned short | int | unsigned int | float | double
    // VR         held        taken     given     a text is    check       split at "\"
    {DICT_VR{},   Held::none, "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_AE,       Held::text, "......", "......", Take::check,  Verify::AE,   Split::yes},
    {VR_AS,       Held::text, "......", "......", Take::parse,  Verify::none, Split::yes},
    {VR_AT,       Held::u32,  "..xx..", "..xx..", Take::tag,    Verify::none, Split::yes},
    {VR_CS,       Held::text, "......", "......", Take::check,  Verify::CS,   Split::notInEscapes},
    {VR_DA,       Held::text, "......", "......", Take::parse,  Verify::none, Split::yes},
    {VR_DS,       Held::text, "xxxxxx", "....xx", Take::check,  Verify::DS,   Split::yes},
    {VR_DT,       Held::text, "......", "......", Take::parse,  Verify::none, Split::yes},
    {VR_FL,       Held::f32,  "xxxxxx", "....xx", Take::number, Verify::FX,   Split::yes},
    {VR_FD,       Held::f64,  "xxxxxx", "....xx", Take::number, Verify::FX,   Split::yes},
    {VR_IS,       Held::text, "xxxx..", "xxxxxx", Take::check,  Verify::IS,   Split::yes},
    {VR_LO,       Held::text, "......", "......", Take::soften, Verify::LO,   Split::notInEscapes},
    {VR_LT,       Held::text, "......", "......", Take::store,  Verify::none, Split::no},
    {VR_OB,       Held::raw,  "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_OF,       Held::raw,  "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_OW,       Held::raw,  "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_PN,       Held::text, "......", "......", Take::store,  Verify::none, Split::notInEscapes},  // any text is a name
    {VR_SH,       Held::text, "......", "......", Take::soften, Verify::SH,   Split::notInEscapes},
    {VR_SL,       Held::i32,  "xxxx..", "..xxxx", Take::number, Verify::XL,   Split::yes},
    {VR_SQ,       Held::none, "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_SS,       Held::i16,  "xxxx..", "xxxxxx", Take::number, Verify::XL,   Split::yes},
    {VR_ST,       Held::text, "......", "......", Take::store,  Verify::none, Split::no},
    {VR_TM,       Held::text, "......", "......", Take::parse,  Verify::none, Split::yes},
    {VR_UI,       Held::text, "......", "......", Take::check,  Verify::UI,   Split::yes},
    {VR_UL,       Held::u32,  "xxxx..", "..xxxx", Take::number, Verify::XL,   Split::yes},
    {VR_UN,       Held::raw,  "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_US,       Held::u16,  "xxxx..", "xxxxxx", Take::number, Verify::XL,   Split::yes},
    {VR_UT,       Held::raw,  "......", "......", Take::buffer, Verify::none, Split::no},
    {VR_OX,       Held::raw,  "......", "......", Take::refuse, Verify::none, Split::yes},
    {VR_XL,       Held::i32,  "......", "..xxxx", Take::refuse, Verify::none, Split::yes},  // only decoding fills XL
    {VR_XS,       Held::i16,  "xxxx..", "xxxxxx", Take::number, Verify::XL,   Split::yes},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < std::size(vrRules); ++i) {
        if (vrRules[i].vr != static_cast<int>(i)) return false;
    }
    return true;
}());

// The row of a VR; row 0 for one that has no values (items, the internal codes) or only raw ones (unknown).
constexpr const VrRule& vrRule(DICT_VR vr) noexcept {
    const auto i = static_cast<unsigned int>(vr);
    return vrRules[i < std::size(vrRules) ? i : 0];
}

}  // namespace orvkit

#endif
