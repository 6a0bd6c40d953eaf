// Tags and UIDs of today's edition as constants, by keyword: DcTag::PatientName, DcUid::CTImageStorage. They
// stand for the same numbers in both editions; what the dictionary knows of them depends on the edition
// (edition.h). Elements of repeating groups have the group 50FF or 60FF, as in tags.h.
#ifndef ORVKIT_KEYWORDS_H
#define ORVKIT_KEYWORDS_H

#include "orvkit/uids.h"

namespace DcTag {
#define ORVKIT_CURRENT_TAG(tag, vr, vm, symbol, keyword, ...) inline constexpr unsigned int keyword = tag;
#define ORVKIT_CURRENT_MASK(mask, tag, vr, vm, symbol, keyword, ...) \
    inline constexpr unsigned int keyword = tag;
#define ORVKIT_CURRENT_NUMBER(...)
#include "orvkit/current_tags.def"
#undef ORVKIT_CURRENT_TAG
#undef ORVKIT_CURRENT_MASK
#undef ORVKIT_CURRENT_NUMBER
}  // namespace DcTag

namespace DcUid {
#define ORVKIT_CURRENT_UID(value, uid, type, keyword, ...) \
    inline constexpr DICT_UID keyword = static_cast<DICT_UID>(value);
#include "orvkit/current_uids.def"
#undef ORVKIT_CURRENT_UID
}  // namespace DcUid

#endif
