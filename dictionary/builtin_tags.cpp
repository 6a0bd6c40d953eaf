#include <algorithm>

#include "dictionary/builtin.h"

namespace orvkit {

constexpr std::array<DcDictElemInfo, builtinTagCount> builtinTags = {{
#define ORVKIT_TAG(tag, vr, vm, name) {tag, VR_##vr, vm, tag, #name},
#include "orvkit/tags.def"
#undef ORVKIT_TAG
}};

constexpr std::array<TagSlot, tagIndexSlots> builtinTagIndex = [] {
    std::array<TagSlot, tagIndexSlots> index{};
    fillIndex(index, builtinTags);
    return index;
}();

// Fails also when rows are missing: an array's rest is zero.
static_assert(std::ranges::adjacent_find(builtinTags, [](const DcDictElemInfo& a, const DcDictElemInfo& b) {
                  return a.tag >= b.tag;
              }) == builtinTags.end());

}  // namespace orvkit
