#include "dictionary/builtin.h"
#include "dictionary/text_index.h"

namespace orvkit {

constexpr std::array<DcDictUidInfo, builtinUidCount> builtinUids = {{
#define ORVKIT_UID(value, uid, type, name, description) \
    {UID_##name, static_cast<DICT_UID_TYPE>(type), uid, description},
#include "orvkit/uids.def"
#undef ORVKIT_UID
}};

static_assert([] {
    int next = 1;
    for (const DcDictUidInfo& record : builtinUids) {
        if (record.value != next++ || record.uid[0] == '\0') return false;
    }
    return true;
}());

namespace {

constexpr std::string_view uidTextAt(std::size_t i) {
    return builtinUids[i].uid;
}
constexpr auto uidIndex = indexTexts<indexSlotsFor(builtinUidCount)>(builtinUidCount, uidTextAt);

}  // namespace

std::size_t builtinUidPosition(std::string_view uid) noexcept {
    return searchTexts(uidIndex, uid, uidTextAt);
}

}  // namespace orvkit
