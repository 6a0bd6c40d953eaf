// The tables that the library comes with. They are constant data: nothing of them is built or copied when the
// library is loaded.
#ifndef ORVKIT_DICTIONARY_BUILTIN_H
#define ORVKIT_DICTIONARY_BUILTIN_H

#include <array>
#include <cstddef>

#include "dictionary/tag_index.h"
#include "orvkit/dict.h"

namespace orvkit {

inline constexpr std::size_t builtinTagCount = 2607;
inline constexpr std::size_t builtinUidCount = 210;

extern const std::array<DcDictElemInfo, builtinTagCount> builtinTags;  // ascending by tag
extern const std::array<TagSlot, tagIndexSlots> builtinTagIndex;       // of builtinTags
extern const std::array<DcDictUidInfo, builtinUidCount> builtinUids;   // values 1, 2, 3 ...

}  // namespace orvkit

#endif
