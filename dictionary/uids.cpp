// The UID registry.
#include <algorithm>
#include <cstring>

#include "dictionary/builtin.h"
#include "dictionary/failures.h"
#include "dictionary/learned_uids.h"
#include "dictionary/syntax_table.h"
#include "foundation/text.h"
#include "orvkit/dict.h"

using namespace orvkit;

namespace {

constexpr std::size_t maxUidLength = sizeof(DcDictUidInfo::uid) - 1;

bool isUidCharacter(char c) noexcept {
    return (c >= '0' && c <= '9') || c == '.';
}

}  // namespace

// Behind the slots of the 2008 edition and of additions stand those that only today's edition has.
std::size_t DcDict::uidSlots() const noexcept {
    return ownSlots() + (isCurrent() ? currentUids.size() : 0);
}

const DcDictUidInfo& DcDict::uidAt(std::size_t slot) const noexcept {
    static constexpr DcDictUidInfo free{};
    if (slot < ownSlots()) return uidsOwned_ ? uids_[slot] : builtinUids[slot];
    slot -= ownSlots();
    return !currentUidsGone_.empty() && currentUidsGone_[slot] ? free : currentUids[slot];
}

std::size_t DcDict::ownSlots() const noexcept {
    return uidsOwned_ ? uids_.size() : builtinUids.size();
}

const DcDictUidInfo* DcDict::currentUidAt(std::size_t position) const noexcept {
    if (!isCurrent() || position >= currentUids.size()) return nullptr;
    const DcDictUidInfo& record = uidAt(ownSlots() + position);
    return record.value == UID_NONE ? nullptr : &record;
}

const DcDictUidInfo* DcDict::findUid(DICT_UID value) const noexcept {
    if (value <= UID_NONE) return nullptr;
    if (value >= firstCurrentUid) {
        const DcDictUidInfo* const learned = learnedUid(value);
        if (learned != nullptr) return learned;
        return currentUidAt(static_cast<std::size_t>(value - firstCurrentUid));
    }
    // A built-in UID sits in the slot of its value, an added one wherever there was room.
    const std::size_t own = static_cast<std::size_t>(value) - 1;
    if (own < ownSlots() && uidAt(own).value == value) return &uidAt(own);
    const auto added = std::ranges::find(uids_, value, &DcDictUidInfo::value);
    return added == uids_.end() ? nullptr : &*added;
}

const DcDictUidInfo* DcDict::findUid(const char* uid) const noexcept {
    if (uid == nullptr) return nullptr;
    const std::size_t length = std::strlen(uid);
    if (length > maxUidLength) return nullptr;
    if (uidsOwned_) {
        for (const DcDictUidInfo& record : uids_) {
            if (record.value != UID_NONE && record.uid[length] == '\0' &&
                std::memcmp(record.uid, uid, length + 1) == 0) {
                return &record;
            }
        }
    } else if (const std::size_t slot = builtinUidPosition({uid, length}); slot != noPosition) {
        return &builtinUids[slot];
    }
    const DcDictUidInfo* const current =
        isCurrent() ? currentUidAt(currentUidPosition({uid, length})) : nullptr;
    return current != nullptr ? current : learnedUid(std::string_view(uid, length));
}

int DcDict::getUid(DICT_UID value, char* uid) const {
    if (uid == nullptr) return failNull("DcDict::getUid");
    const DcDictUidInfo* record = findUid(value);
    copyText(uid, record == nullptr ? "" : record->uid, maxUidLength);
    return record == nullptr ? failNoEnum("UID", value, "DcDict::getUid") : RESULT_OK;
}

int DcDict::getUidDef(const char* uid, DICT_UID& value) const {
    value = UID_NONE;
    if (uid == nullptr) return failNull("DcDict::getUidDef");
    const DcDictUidInfo* record = findUid(uid);
    if (record == nullptr) return RESULT_DICT_NOT_FOUND;
    value = record->value;
    return RESULT_OK;
}

int DcDict::getDesc(DICT_UID value, char* text) const {
    if (text == nullptr) return failNull("DcDict::getDesc");
    const DcDictUidInfo* record = findUid(value);
    copyText(text, record == nullptr ? "" : record->desc, maxNameLength);
    return record == nullptr ? failNoEnum("UID", value, "DcDict::getDesc") : RESULT_OK;
}

DICT_UID_TYPE DcDict::getUidType(DICT_UID value) const {
    const DcDictUidInfo* record = findUid(value);
    return record == nullptr ? UID_TYPE_OTHER : record->type;
}

DICT_UID_TYPE DcDict::getUidType(const char* uid) const {
    const DcDictUidInfo* record = findUid(uid);
    return record == nullptr ? UID_TYPE_OTHER : record->type;
}

int DcDict::getUidType(DICT_UID value, DICT_UID_TYPE& type) const {
    type = getUidType(value);
    return findUid(value) == nullptr ? failNoEnum("UID", value, "DcDict::getUidType") : RESULT_OK;
}

int DcDict::getUidType(const char* uid, DICT_UID_TYPE& type) const {
    type = getUidType(uid);
    if (uid == nullptr) return failNull("DcDict::getUidType");
    return findUid(uid) == nullptr ? RESULT_DICT_NOT_FOUND : RESULT_OK;
}

int DcDict::getEndian(DICT_UID xferSyn, ARCH_ENDIAN& endian) const {
    const DcDictUidInfo* record = findUid(xferSyn);
    if (record == nullptr || record->type != UID_TYPE_XFER_SYN) {
        endian = ENDIAN_NONE;
        return fail(RESULT_DICT_NOT_XFER_SYN, LOG_NOTICE, "DcDict::getEndian",
                    "'%s' is not a Transfer Syntax UID", record == nullptr ? "" : record->uid);
    }
    endian = syntaxRow(xferSyn).order == ByteOrder::big ? ENDIAN_BIG : ENDIAN_LITTLE;
    return RESULT_OK;
}

int DcDict::isEncapsulated(DICT_UID xferSyn) const {
    return syntaxRow(xferSyn).pixels != Pixels::native;
}

int DcDict::add(const char* uid, const char* description, DICT_UID* value, DICT_UID_TYPE type) {
    if (uid == nullptr) return failNull("DcDict::add");
    if (description == nullptr) description = "Private UID";
    if (const DcDictUidInfo* found = findUid(uid)) {
        if (value != nullptr) *value = found->value;
        return fail(RESULT_DICT_EXISTS, LOG_NOTICE, "DcDict::add", "UID '%s' already exists in dictionary",
                    uid);
    }
    for (const char* c = uid; *c != '\0'; ++c) {
        if (!isUidCharacter(*c)) {
            return fail(RESULT_DICT_NULL, LOG_NOTICE, "DcDict::add",
                        "Invalid character '%c' in UID string %s", *c, uid);
        }
    }
    if (std::strlen(uid) > maxUidLength) {
        return fail(RESULT_DICT_NULL, LOG_NOTICE, "DcDict::add", "UID string exceeds %d characters",
                    static_cast<int>(maxUidLength));
    }
    ownUids();
    const auto slot = std::ranges::find(uids_, UID_NONE, &DcDictUidInfo::value);
    if (slot == uids_.end()) {
        return fail(RESULT_DICT_LIMIT, LOG_NOTICE, "DcDict::add", "Dictionary UID limit of %d reached",
                    static_cast<int>(maxUids));
    }
    const int highest = std::ranges::max(uids_, {}, &DcDictUidInfo::value).value;
    slot->value = static_cast<DICT_UID>(highest + 1);
    slot->type = type;
    copyText(slot->uid, uid, maxUidLength);
    copyText(slot->desc, description, maxNameLength);
    if (value != nullptr) *value = slot->value;
    return RESULT_OK;
}

int DcDict::subtract(const char* uid) {
    if (uid == nullptr) return failNull("DcDict::subtract");
    const DcDictUidInfo* found = findUid(uid);
    // What peers named stands in no table.
    if (found == nullptr || found->value >= firstLearnedUid) {
        return fail(RESULT_DICT_NOT_FOUND, LOG_NOTICE, "DcDict::subtract", "UID '%s' is not in dictionary",
                    uid);
    }
    if (found->value >= firstCurrentUid) {
        currentUidsGone_.resize(currentUids.size());
        currentUidsGone_[static_cast<std::size_t>(found->value - firstCurrentUid)] = true;
        return RESULT_OK;
    }
    const auto slot = static_cast<std::size_t>(found - &uidAt(0));
    ownUids();
    uids_[slot] = {};
    return RESULT_OK;
}
