// UIDs that peers name while the program runs, and that no table has.
#ifndef ORVKIT_DICTIONARY_LEARNED_UIDS_H
#define ORVKIT_DICTIONARY_LEARNED_UIDS_H

#include <cstddef>
#include <string_view>

#include "orvkit/export.h"
#include "orvkit/uids.h"

struct DcDictUidInfo;

namespace orvkit {

// Their numbers begin here, behind those of every edition and of additions.
inline constexpr int firstLearnedUid = 1500000001;
inline constexpr std::size_t mostLearnedUids = 1024;

// Unlike an addition to the dictionary this may be done by any thread at any time, and lasts as long as the
// process. The number that the SOP class has from now on; UID_NONE for what is no UID, and when there is no
// room.
ORVKIT_API DICT_UID learnSopClass(std::string_view uid) noexcept;
// Null for what was not learned.
const DcDictUidInfo* learnedUid(DICT_UID value) noexcept;
const DcDictUidInfo* learnedUid(std::string_view uid) noexcept;

}  // namespace orvkit

#endif
