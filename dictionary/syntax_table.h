// The transfer syntaxes, one row each (PS3.5 10 and Annex A): how a data set is encoded in them.
#ifndef ORVKIT_DICTIONARY_SYNTAX_TABLE_H
#define ORVKIT_DICTIONARY_SYNTAX_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "foundation/bytes.h"
#include "orvkit/uids.h"

namespace orvkit {

// How pixel data stands in the data set.
enum class Pixels : unsigned char { native, packed, encapsulated };

// What has become of the encoded data set as a whole.
enum class Packing : unsigned char { plain, deflated };

struct SyntaxRow {
    DICT_UID syntax;
    bool explicitVr;
    ByteOrder order;
    Pixels pixels;
    bool delimited;  // Pixel Data is written with undefined length, and a delimitation behind it
    Packing packing;
    bool asked;        // by a user that retrieves over its own association, in the order of the rows
    const char* name;  // on the command line; "" for one that cannot be asked for
};

namespace syntax_table {

// Numbers of UIDs that only today's edition has begin here. Of their syntaxes one has a row.
inline constexpr unsigned int firstLater = 1000000001;
inline constexpr auto jpipHtj2kDeflate = static_cast<DICT_UID>(1000000024);

// clang-format off
inline constexpr SyntaxRow rows[] = {
    // syntax                                  explicit order              pixel data            delimited data set           asked   --to
    // Every other one, registered or not:
    {UID_NONE,                                 true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    false, ""},
    {UID_LITTLE_ENDIAN_EXPLICIT,               true,     ByteOrder::little, Pixels::native,       false,    Packing::plain,    true,  "explicit"},
    {UID_LITTLE_ENDIAN_IMPLICIT,               false,    ByteOrder::little, Pixels::native,       false,    Packing::plain,    true,  "implicit"},
    {UID_BIG_ENDIAN_EXPLICIT,                  true,     ByteOrder::big,    Pixels::native,       false,    Packing::plain,    true,  "big"},
    {UID_JPEG_LS_LOSSLESS,                     true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_JPEG_2K_LOSSLESS,                     true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION, true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_RLE_LOSSLESS,                         true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_JPEG_2K_LOSSY,                        true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_JPEG_LS_LOSSY,                        true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_JPEG_BASELINE,                        true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_JPEG_EXTENDED,                        true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_MPEG2,                                true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::plain,    true,  ""},
    {UID_ORVKIT5_LZW,                          true,     ByteOrder::little, Pixels::packed,       true,     Packing::plain,    false, "lzw"},
    // Its pixel data is framed as if it were encapsulated: kept for callers that rely on it.
    {UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT,      true,     ByteOrder::little, Pixels::native,       true,     Packing::deflated, false, "deflated"},
    {UID_JPIP_REFERENCED_DEFLATE,              true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::deflated, false, ""},
    {jpipHtj2kDeflate,                         true,     ByteOrder::little, Pixels::encapsulated, true,     Packing::deflated, false, ""},
};
// clang-format on

// The place of a number in the index: those of 2008, and behind them those of today's edition.
constexpr std::size_t placeOf(DICT_UID syntax) noexcept {
    const auto i = static_cast<unsigned int>(syntax);
    return i < firstLater ? i : i - firstLater + 256;
}

// The row of each number.
inline constexpr auto rowOf = [] {
    std::array<std::uint8_t, 512> index{};
    for (std::size_t i = 1; i < std::size(rows); ++i) {
        index[placeOf(rows[i].syntax)] = static_cast<std::uint8_t>(i);
    }
    return index;
}();

}  // namespace syntax_table

constexpr const SyntaxRow& syntaxRow(DICT_UID syntax) noexcept {
    using namespace syntax_table;
    const std::size_t i = placeOf(syntax);
    return rows[i < std::size(rowOf) ? rowOf[i] : 0];
}

// Pixel data neither encapsulated nor compressed, alone or with the rest of the data set.
constexpr bool isUncompressed(DICT_UID syntax) noexcept {
    const SyntaxRow& row = syntaxRow(syntax);
    return row.pixels == Pixels::native && row.packing == Packing::plain;
}
// The same in little endian: pixel data stands alike in all of them.
constexpr bool isLittleNative(DICT_UID syntax) noexcept {
    return isUncompressed(syntax) && syntaxRow(syntax).order == ByteOrder::little;
}

// The syntax of what a codec of the whole data set has unpacked, or is to pack; a plain one itself.
constexpr DICT_UID unpackedSyntax(DICT_UID syntax) noexcept {
    if (syntaxRow(syntax).packing == Packing::plain) return syntax;
    return syntax == UID_JPIP_REFERENCED_DEFLATE ? UID_JPIP_REFERENCED : UID_LITTLE_ENDIAN_EXPLICIT;
}

}  // namespace orvkit

#endif
