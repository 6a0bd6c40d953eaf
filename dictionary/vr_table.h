// The value representations, one row each: everything that differs from one to the other (PS3.5 6.2 and 7.1).
// Whoever needs to know what a VR is asks a column.
#ifndef ORVKIT_DICTIONARY_VR_TABLE_H
#define ORVKIT_DICTIONARY_VR_TABLE_H

#include <array>
#include <cstddef>
#include <iterator>

#include "orvkit/dict.h"

namespace orvkit {

// The header in an explicit stream, behind tag and letters.
enum class Head : unsigned char {
    word,  // a 16-bit length
    wide,  // two reserved bytes and a 32-bit length
    bare,  // a 32-bit length alone: how an item outside of a sequence is written; it is read as word
};

// How one value is held.
enum class Held : unsigned char { nothing, text, i16, u16, i32, u32, i64, u64, f32, f64, raw };

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

// The check of a text.
enum class Verify : unsigned char { none, AE, CS, DS, FX, IS, LO, LT, SH, UI, UT, XL, UC, UR, XV };

// Whether a backslash begins another value.
enum class Split : unsigned char { no, yes, notInEscapes };

// What is to be shown.
enum class Kind : unsigned char {
    hidden,  // nothing
    words,
    decimal,  // a number as text
    age,
    uid,
    tagged,
    integer,
    real,
    bytes,
    longText,  // one text, held as raw bytes
    unknown,   // bytes that may be a text
};

// The columns of the number tables.
enum NumberType : unsigned char {
    AS_SHORT,
    AS_USHORT,
    AS_INT,
    AS_UINT,
    AS_FLOAT,
    AS_DOUBLE,
    AS_INT64,
    AS_UINT64
};

struct VrRow {
    DICT_VR vr;
    const char* letters;
    DcDictVrFacts facts;  // longest value, unit
    Head head;
    DICT_VR written;  // the VR that stands in a stream for this one
    Held held;
    const char* takes;  // number types that addValue accepts, one mark a column
    const char* gives;  // number types that getValue delivers
    Take take;
    Verify check;
    Split split;
    char padding;
    short estimate;  // bytes that a value is estimated at; of texts (-1) the length is known
    Kind kind;
    bool onDisk;   // the value may be left in a file, and be packed
    bool charset;  // the text is in the Specific Character Set

    bool takesNumber(NumberType t) const noexcept { return takes[t] == 'x'; }
    bool givesNumber(NumberType t) const noexcept { return gives[t] == 'x'; }
    constexpr bool isRaw() const noexcept { return held == Held::raw; }
    // Blanks in front of a value belong to it.
    constexpr bool indents() const noexcept { return split == Split::no || vr == VR_UC; }
    // Texts of any length.
    constexpr bool isUnlimited() const noexcept {
        return held == Held::text && facts.length == 0 && facts.ok;
    }
};

namespace vr_table {

using enum Head;
using enum Held;
using enum Take;
using enum Split;
using enum Kind;
using V = Verify;

constexpr DcDictVrFacts chars(int longest) {
    return {longest, VR_SIZE_CHAR, true};
}
constexpr DcDictVrFacts ints16(int longest) {
    return {longest, VR_SIZE_16, true};
}
constexpr DcDictVrFacts ints32(int longest) {
    return {longest, VR_SIZE_32, true};
}
constexpr DcDictVrFacts ints64(int longest) {
    return {longest, VR_SIZE_64, true};
}
constexpr DcDictVrFacts floats(int longest) {
    return {longest, VR_SIZE_FLOAT, true};
}
constexpr DcDictVrFacts doubles(int longest) {
    return {longest, VR_SIZE_DOUBLE, true};
}
inline constexpr DcDictVrFacts noUnit{0, VR_SIZE_NONE, true};
inline constexpr DcDictVrFacts noFacts{0, VR_SIZE_NONE, false};
inline constexpr short texts = -1;

// clang-format off
inline constexpr VrRow rows[] = {
    // Takes and gives: short | unsigned short | int | unsigned int | float | double | long long | unsigned long long
    // VR        letters longest   header written     held     takes       gives       a text   check     split at "\"  pad  estimate shown disk charset
    {DICT_VR{},  "",   noFacts,      word, DICT_VR{},  nothing, "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    {VR_AE,      "AE", chars(16),    word, VR_AE,      text,    "........", "........", check,  V::AE,    yes,          ' ', texts, words,    0, 0},
    {VR_AS,      "AS", chars(4),     word, VR_AS,      text,    "........", "........", parse,  V::none,  yes,          ' ', 4,     age,      0, 0},
    {VR_AT,      "AT", ints32(4),    word, VR_AT,      u32,     "..xx....", "..xx....", tag,    V::none,  yes,          ' ', 12,    tagged,   0, 0},
    {VR_CS,      "CS", chars(16),    word, VR_CS,      text,    "........", "........", check,  V::CS,    notInEscapes, ' ', texts, words,    0, 0},
    {VR_DA,      "DA", chars(22),    word, VR_DA,      text,    "........", "........", parse,  V::none,  yes,          ' ', 22,    words,    0, 0},
    {VR_DS,      "DS", chars(16),    word, VR_DS,      text,    "xxxxxx..", "....xx..", check,  V::DS,    yes,          ' ', texts, decimal,  0, 0},
    {VR_DT,      "DT", chars(26),    word, VR_DT,      text,    "........", "........", parse,  V::none,  yes,          ' ', 26,    words,    0, 0},
    {VR_FL,      "FL", floats(4),    word, VR_FL,      f32,     "xxxxxx..", "....xx..", number, V::FX,    yes,          ' ', 4,     real,     0, 0},
    {VR_FD,      "FD", doubles(8),   word, VR_FD,      f64,     "xxxxxx..", "....xx..", number, V::FX,    yes,          ' ', 8,     real,     0, 0},
    {VR_IS,      "IS", chars(12),    word, VR_IS,      text,    "xxxx....", "xxxxxxxx", check,  V::IS,    yes,          ' ', texts, decimal,  0, 0},
    {VR_LO,      "LO", chars(64),    word, VR_LO,      text,    "........", "........", soften, V::LO,    notInEscapes, ' ', texts, words,    0, 1},
    {VR_LT,      "LT", chars(10240), word, VR_LT,      text,    "........", "........", store,  V::none,  no,           ' ', texts, words,    0, 1},
    {VR_OB,      "OB", chars(0),     wide, VR_OB,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    1, 0},
    {VR_OF,      "OF", floats(0),    wide, VR_OF,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    0, 0},
    {VR_OW,      "OW", ints16(0),    wide, VR_OW,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    1, 0},
    {VR_PN,      "PN", chars(324),   word, VR_PN,      text,    "........", "........", store,  V::none,  notInEscapes, ' ', 324,   words,    0, 1},  // any text is a name
    {VR_SH,      "SH", chars(16),    word, VR_SH,      text,    "........", "........", soften, V::SH,    notInEscapes, ' ', texts, words,    0, 1},
    {VR_SL,      "SL", ints32(4),    word, VR_SL,      i32,     "xxxx....", "..xxxxxx", number, V::XL,    yes,          ' ', 4,     integer,  0, 0},
    {VR_SQ,      "SQ", noUnit,       wide, VR_SQ,      nothing, "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    {VR_SS,      "SS", ints16(2),    word, VR_SS,      i16,     "xxxx....", "xxxxxxxx", number, V::XL,    yes,          ' ', 2,     integer,  0, 0},
    {VR_ST,      "ST", chars(1024),  word, VR_ST,      text,    "........", "........", store,  V::none,  no,           ' ', texts, words,    0, 1},
    {VR_TM,      "TM", chars(34),    word, VR_TM,      text,    "........", "........", parse,  V::none,  yes,          ' ', 34,    words,    0, 0},
    {VR_UI,      "UI", chars(64),    word, VR_UI,      text,    "........", "........", check,  V::UI,    yes,          0,   texts, uid,      0, 0},
    {VR_UL,      "UL", ints32(4),    word, VR_UL,      u32,     "xxxx....", "..xxxxxx", number, V::XL,    yes,          ' ', 4,     integer,  0, 0},
    {VR_UN,      "UN", chars(0),     wide, VR_UN,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     unknown,  0, 0},
    {VR_US,      "US", ints16(2),    word, VR_US,      u16,     "xxxx....", "xxxxxxxx", number, V::XL,    yes,          ' ', 2,     integer,  0, 0},
    {VR_UT,      "UT", chars(0),     wide, VR_UT,      raw,     "........", "........", buffer, V::none,  no,           ' ', 0,     longText, 0, 1},
    {VR_OX,      "OX", ints16(0),    word, VR_OB,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    1, 0},
    {VR_XL,      "XL", ints32(4),    word, VR_UL,      i32,     "........", "..xxxxxx", refuse, V::none,  yes,          ' ', 4,     integer,  0, 0},  // only decoding fills XL
    {VR_XS,      "XS", ints16(2),    word, VR_US,      i16,     "xxxx....", "xxxxxxxx", number, V::XL,    yes,          ' ', 2,     integer,  0, 0},
    {VR_RT,      "RT", noFacts,      word, VR_RT,      nothing, "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    {VR_IM,      "IM", noFacts,      word, VR_IM,      nothing, "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    {VR_EX,      "EX", noFacts,      word, VR_EX,      nothing, "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    {VR_SI,      "SI", noUnit,       bare, VR_SI,      nothing, "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    {VR_UNKNOWN, "",   chars(0),     wide, VR_UN,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     hidden,   0, 0},
    // Of later editions:
    {VR_OD,      "OD", doubles(0),   wide, VR_OD,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    0, 0},
    {VR_OL,      "OL", ints32(0),    wide, VR_OL,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    0, 0},
    {VR_OV,      "OV", ints64(0),    wide, VR_OV,      raw,     "........", "........", refuse, V::none,  yes,          ' ', 0,     bytes,    0, 0},
    {VR_SV,      "SV", ints64(8),    wide, VR_SV,      i64,     "xxxx..xx", "....xxxx", number, V::XV,    yes,          ' ', 8,     integer,  0, 0},
    {VR_UC,      "UC", chars(0),     wide, VR_UC,      text,    "........", "........", soften, V::UC,    notInEscapes, ' ', texts, words,    0, 1},
    {VR_UR,      "UR", chars(0),     wide, VR_UR,      text,    "........", "........", check,  V::UR,    no,           ' ', texts, words,    0, 0},
    {VR_UV,      "UV", ints64(8),    wide, VR_UV,      u64,     "xxxx..xx", "....xxxx", number, V::XV,    yes,          ' ', 8,     integer,  0, 0},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        if (rows[i].vr != static_cast<int>(i)) return false;
    }
    return true;
}());

}  // namespace vr_table

// The row of a VR of any edition; row 0 for a number that is none.
constexpr const VrRow& vrRowOfAny(DICT_VR vr) noexcept {
    const auto i = static_cast<unsigned int>(vr);
    return vr_table::rows[i < std::size(vr_table::rows) ? i : 0];
}

// How many of the rows the edition of 2008 has, and the one that is set.
inline constexpr unsigned int vrRows2008 = VR_UNKNOWN + 1;
inline constexpr unsigned int vrRowsCurrent = std::size(vr_table::rows);
extern unsigned int vrRowsInUse;

// The row of a VR in the edition that is set.
inline const VrRow& vrRow(DICT_VR vr) noexcept {
    const auto i = static_cast<unsigned int>(vr);
    return vr_table::rows[i < vrRowsInUse ? i : 0];
}

// The VR of every pair of capital letters, 0 for none.
inline constexpr unsigned int kCapitals = 26;
inline constexpr auto vrOfPair = [] {
    std::array<unsigned char, kCapitals * kCapitals> pairs{};
    for (const VrRow& row : vr_table::rows) {
        if (row.letters[0] == '\0') continue;
        const int pair = (row.letters[0] - 'A') * int{kCapitals} + (row.letters[1] - 'A');
        pairs[static_cast<std::size_t>(pair)] = static_cast<unsigned char>(row.vr);
    }
    return pairs;
}();

// The same for any two characters, whatever the edition.
constexpr unsigned int vrOfAnyLetters(unsigned char first, unsigned char second) noexcept {
    const unsigned int a = first - unsigned{'A'};
    const unsigned int b = second - unsigned{'A'};
    return a < kCapitals && b < kCapitals ? vrOfPair[a * kCapitals + b] : 0;
}

// DcDict::vrOfCode, in line for the letters that every edition has.
inline DICT_VR vrOfLetters(unsigned char first, unsigned char second) noexcept {
    const unsigned int vr = vrOfAnyLetters(first, second);
    return vr < vrRows2008 ? static_cast<DICT_VR>(vr)
                           : DcDict::vrOfCode(static_cast<char>(first), static_cast<char>(second));
}

// VRs whose values are raw buffers: OB OD OF OL OV OW UN UT OX and the unknown VR.
inline bool isRawVr(DICT_VR vr) noexcept {
    return vrRow(vr).isRaw();
}

// Bytes in a unit of the values, as far as byte order goes.
inline unsigned int vrUnit(DICT_VR vr) noexcept {
    switch (vrRowOfAny(vrRowOfAny(vr).written).facts.size) {
        case VR_SIZE_16:
            return 2;
        case VR_SIZE_32:
        case VR_SIZE_FLOAT:
            return 4;
        case VR_SIZE_DOUBLE:
        case VR_SIZE_64:
            return 8;
        default:
            return 1;
    }
}

}  // namespace orvkit

#endif
