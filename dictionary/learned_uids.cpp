#include "dictionary/learned_uids.h"

#include <algorithm>
#include <atomic>
#include <mutex>

#include "orvkit/dict.h"

namespace orvkit {
namespace {

constexpr std::string_view description = "SOP class of a peer";

// Records are written once, and looked at up to the count only.
DcDictUidInfo learned[mostLearnedUids];
std::atomic<std::size_t> count = 0;
std::mutex learning;

}  // namespace

DICT_UID learnSopClass(std::string_view uid) noexcept {
    const bool sound = !uid.empty() && uid.size() < sizeof DcDictUidInfo::uid &&
                       uid.find_first_not_of("0123456789.") == std::string_view::npos;
    if (!sound) return UID_NONE;
    const std::lock_guard lock(learning);
    if (const DcDictUidInfo* known = learnedUid(uid)) return known->value;
    const std::size_t next = count.load(std::memory_order_relaxed);
    if (next == mostLearnedUids) return UID_NONE;
    DcDictUidInfo& record = learned[next];
    record.value = static_cast<DICT_UID>(firstLearnedUid + static_cast<int>(next));
    record.type = UID_TYPE_SOP;
    record.uid[uid.copy(record.uid, sizeof record.uid - 1)] = '\0';
    record.desc[description.copy(record.desc, sizeof record.desc - 1)] = '\0';
    count.store(next + 1, std::memory_order_release);
    return record.value;
}

const DcDictUidInfo* learnedUid(DICT_UID value) noexcept {
    if (value < firstLearnedUid) return nullptr;
    const auto i = static_cast<std::size_t>(value - firstLearnedUid);
    return i < count.load(std::memory_order_acquire) ? &learned[i] : nullptr;
}

const DcDictUidInfo* learnedUid(std::string_view uid) noexcept {
    const DcDictUidInfo* const end = learned + count.load(std::memory_order_acquire);
    const DcDictUidInfo* const found =
        std::find_if(static_cast<const DcDictUidInfo*>(learned), end,
                     [uid](const DcDictUidInfo& record) { return uid == record.uid; });
    return found == end ? nullptr : found;
}

}  // namespace orvkit
