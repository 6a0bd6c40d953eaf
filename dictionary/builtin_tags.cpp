#include <algorithm>

#include "dictionary/builtin.h"

namespace orvkit {
namespace {

constexpr DcDictElemInfo records2008[] = {
#define ORVKIT_TAG(tag, vr, vm, name) {tag, VR_##vr, vm, tag, #name},
#include "orvkit/tags.def"
#undef ORVKIT_TAG
};
constexpr auto tags2008 = std::to_array(records2008);
constexpr auto facts2008 = factsOf(tags2008);
constexpr auto index2008 = indexOf(facts2008);

// Fails also when rows are missing: an array's rest is zero.
static_assert(tags2008.size() == 2607);
static_assert(std::ranges::adjacent_find(facts2008, [](const auto& a, const auto& b) {
                  return a.tag >= b.tag;
              }) == facts2008.end());

}  // namespace

constexpr EditionTables edition2008{DICT_EDITION_2008, tags2008, facts2008, index2008, {}};

}  // namespace orvkit
