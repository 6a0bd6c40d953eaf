// What the dictionary has of a UID by its number; "" for a number without a UID.
#ifndef ORVKIT_DICTIONARY_UID_TEXT_H
#define ORVKIT_DICTIONARY_UID_TEXT_H

#include "orvkit/dict.h"

namespace orvkit {

[[nodiscard]] inline const char* uidText(DICT_UID uid) noexcept {
    const DcDictUidInfo* const info = Dict.findUid(uid);
    return info != nullptr ? info->uid : "";
}
[[nodiscard]] inline const char* uidName(DICT_UID uid) noexcept {
    const DcDictUidInfo* const info = Dict.findUid(uid);
    return info != nullptr ? info->desc : "";
}

}  // namespace orvkit

#endif
