// The tables that the library comes with, of both editions. They are constant data: nothing of them is built
// or copied when the library is loaded.
#ifndef ORVKIT_DICTIONARY_BUILTIN_H
#define ORVKIT_DICTIONARY_BUILTIN_H

#include <array>
#include <bit>
#include <cstddef>
#include <span>
#include <string_view>

#include "dictionary/tag_index.h"
#include "orvkit/dict.h"
#include "orvkit/edition.h"

namespace orvkit {

// Names and descriptions are cut to this many characters.
inline constexpr std::size_t maxNameLength = 60;

// A range of tags that one record stands for: those that agree with `tag` where `mask` has zeros.
struct TagMask {
    unsigned int mask;
    unsigned int tag;
};

struct EditionTables {
    DICT_EDITION edition;
    std::span<const DcDictElemInfo> tags;  // ascending by tag
    std::span<const DcDictTagFacts_> facts;
    std::span<const TagSlot> index;
    std::span<const TagMask> masks;
};
extern const EditionTables edition2008;
extern const EditionTables editionCurrent;

// The key of the range that a tag without a record of its own falls into, 0 for none. Ranges are of even
// groups.
unsigned int maskedKey(std::span<const TagMask> masks, unsigned int tag) noexcept;
// The position of the record that answers for a tag, or noPosition.
std::size_t positionIn(const EditionTables& edition, unsigned int tag) noexcept;

// As many slots as make it likely that the first one is right.
constexpr std::size_t indexSlotsFor(std::size_t records) {
    return std::bit_ceil(2 * records + 2);
}

template <std::size_t N>
constexpr std::array<DcDictTagFacts_, N> factsOf(const std::array<DcDictElemInfo, N>& records) {
    std::array<DcDictTagFacts_, N> facts{};
    for (std::size_t i = 0; i < N; ++i) facts[i] = {records[i].tag, records[i].vr, records[i].vm};
    return facts;
}

template <std::size_t N>
constexpr auto indexOf(const std::array<DcDictTagFacts_, N>& facts) {
    std::array<TagSlot, indexSlotsFor(N)> index{};
    fillIndex(index, facts);
    return index;
}

inline constexpr std::size_t builtinUidCount = 210;
extern const std::array<DcDictUidInfo, builtinUidCount> builtinUids;  // values 1, 2, 3 ...
std::size_t builtinUidPosition(std::string_view uid) noexcept;        // the first of them, or noPosition

// The UIDs that only today's edition has, with values from firstCurrentUid on.
inline constexpr int firstCurrentUid = 1000000001;
extern const std::span<const DcDictUidInfo> currentUids;
std::size_t currentUidPosition(std::string_view uid) noexcept;  // in currentUids, or noPosition

}  // namespace orvkit

#endif
