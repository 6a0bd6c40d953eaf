// The index beside a table of tag records: an open-addressing hash from key to position. It is small enough
// to stay in the first cache levels and is built at compile time for the built-in table.
#ifndef ORVKIT_DICTIONARY_TAG_INDEX_H
#define ORVKIT_DICTIONARY_TAG_INDEX_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "orvkit/dict.h"

namespace orvkit {

// Twice the most records a table holds, so that a search always meets a free slot, and soon.
inline constexpr std::size_t tagIndexSlots = 2 * DcDict::maxTags;

// A slot holds the position of a record counted from 1; 0 is free.
using TagSlot = std::uint16_t;

constexpr std::size_t tagHash(unsigned int key) noexcept {
    return (key * 0x9E3779B1u) >> 19;
}
constexpr std::size_t nextSlot(std::size_t slot) noexcept {
    return (slot + 1) % tagIndexSlots;
}
static_assert(tagHash(0xFFFFFFFF) < tagIndexSlots);

// The record stored under `key`, or null. `index` has tagIndexSlots slots.
inline const DcDictElemInfo* searchIndex(const TagSlot* index, const DcDictElemInfo* records,
                                         unsigned int key) noexcept {
    for (std::size_t slot = tagHash(key);; slot = nextSlot(slot)) {
        const TagSlot position = index[slot];
        if (position == 0) return nullptr;
        const DcDictElemInfo& record = records[position - 1];
        if (record.tag == key) return &record;
    }
}

// Fills a cleared index. Of records with one key the last is found.
constexpr void fillIndex(std::span<TagSlot, tagIndexSlots> index, std::span<const DcDictElemInfo> records) {
    for (std::size_t i = 0; i < records.size(); ++i) {
        std::size_t slot = tagHash(records[i].tag);
        while (index[slot] != 0 && records[index[slot] - 1u].tag != records[i].tag) slot = nextSlot(slot);
        index[slot] = static_cast<TagSlot>(i + 1);
    }
}

}  // namespace orvkit

#endif
