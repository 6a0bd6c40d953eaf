// An index over texts: an open-addressing hash from text to position, built at compile time.
#ifndef ORVKIT_DICTIONARY_TEXT_INDEX_H
#define ORVKIT_DICTIONARY_TEXT_INDEX_H

#include <array>
#include <cstdint>
#include <string_view>

#include "dictionary/tag_index.h"

namespace orvkit {

// FNV-1a.
constexpr std::uint32_t textHash(std::string_view text) noexcept {
    std::uint32_t hash = 2166136261u;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619u;
    return hash;
}

// An index over the texts that `textAt` gives for positions 0 to `count`, but for the empty ones.
template <std::size_t Slots, typename TextAt>
constexpr std::array<std::uint16_t, Slots> indexTexts(std::size_t count, TextAt textAt) {
    std::array<std::uint16_t, Slots> index{};
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view text = textAt(i);
        if (text.empty()) continue;
        std::size_t slot = textHash(text) % Slots;
        while (index[slot] != 0) slot = (slot + 1) % Slots;
        index[slot] = static_cast<std::uint16_t>(i + 1);
    }
    return index;
}

// The first position of a text, or noPosition.
template <std::size_t Slots, typename TextAt>
std::size_t searchTexts(const std::array<std::uint16_t, Slots>& index, std::string_view text,
                        TextAt textAt) noexcept {
    for (std::size_t slot = textHash(text) % Slots; index[slot] != 0; slot = (slot + 1) % Slots) {
        if (textAt(index[slot] - 1u) == text) return index[slot] - 1u;
    }
    return noPosition;
}

}  // namespace orvkit

#endif
