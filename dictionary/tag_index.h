// The index beside a table of tag records: an open-addressing hash from key to position. It is small enough
// to stay in the first cache levels and is built at compile time for the built-in tables.
#ifndef ORVKIT_DICTIONARY_TAG_INDEX_H
#define ORVKIT_DICTIONARY_TAG_INDEX_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "orvkit/dict.h"

namespace orvkit {

// A slot holds the position of a record counted from 1; 0 is free.
using TagSlot = std::uint16_t;

// Where the search for a key begins: a place of 15 bits, for tables of at most 32768 slots.
constexpr std::size_t tagHash(unsigned int key) noexcept {
    return (key * 0x9E3779B1u) >> 17;
}

inline constexpr std::size_t noPosition = static_cast<std::size_t>(-1);

// The position of the record stored under `key`, or noPosition: in the table of records, or of facts, which
// has fewer bytes to go through. The index has a free slot, and a power of two of them in all.
template <typename Record>
std::size_t searchIndex(std::span<const TagSlot> index, const Record* records, unsigned int key) noexcept {
    const std::size_t last = index.size() - 1;
    for (std::size_t slot = tagHash(key) & last;; slot = (slot + 1) & last) {
        const TagSlot position = index[slot];
        if (position == 0) return noPosition;
        if (records[position - 1].tag == key) return position - 1u;
    }
}

// Puts one record into the index. Of records with one key the last that is put is found.
constexpr void putIntoIndex(std::span<TagSlot> index, std::span<const DcDictTagFacts_> facts,
                            std::size_t at) {
    const std::size_t last = index.size() - 1;
    std::size_t slot = tagHash(facts[at].tag) & last;
    while (index[slot] != 0 && facts[index[slot] - 1u].tag != facts[at].tag) slot = (slot + 1) & last;
    index[slot] = static_cast<TagSlot>(at + 1);
}

// Fills a cleared index.
constexpr void fillIndex(std::span<TagSlot> index, std::span<const DcDictTagFacts_> facts) {
    for (std::size_t i = 0; i < facts.size(); ++i) putIntoIndex(index, facts, i);
}

// The index of a table into which a record was just put at `at`: those behind it have moved by one.
inline void insertIntoIndex(std::span<TagSlot> index, std::span<const DcDictTagFacts_> facts,
                            std::size_t at) {
    const std::size_t last = index.size() - 1;
    for (std::size_t i = facts.size() - 1; i > at; --i) {
        std::size_t slot = tagHash(facts[i].tag) & last;
        while (index[slot] != 0 && index[slot] != i) slot = (slot + 1) & last;
        if (index[slot] != 0) index[slot] = static_cast<TagSlot>(i + 1);
    }
    putIntoIndex(index, facts, at);
}

}  // namespace orvkit

#endif
