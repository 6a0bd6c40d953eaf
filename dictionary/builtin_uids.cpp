#include "dictionary/builtin.h"

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
        if (record.value != next++) return false;
    }
    return true;
}());

}  // namespace orvkit
