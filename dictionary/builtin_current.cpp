// Today's edition: its tables as the dictionary looks things up in them, and its registry with all that is
// printed there.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "dictionary/builtin.h"
#include "dictionary/syntax_table.h"
#include "dictionary/text_index.h"
#include "foundation/fail.h"
#include "foundation/text.h"
#include "orvkit/edition.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

// ---- data elements

constexpr DcDictElemInfo currentRecords[] = {
#define ORVKIT_CURRENT_TAG(tag, vr, vm, symbol, ...) {tag, VR_##vr, vm, tag, #symbol},
#define ORVKIT_CURRENT_MASK(mask, tag, vr, vm, symbol, ...) {tag, VR_##vr, vm, tag, #symbol},
#define ORVKIT_CURRENT_NUMBER ORVKIT_CURRENT_TAG
#include "orvkit/current_tags.def"
#undef ORVKIT_CURRENT_TAG
#undef ORVKIT_CURRENT_MASK
#undef ORVKIT_CURRENT_NUMBER
};
constexpr auto currentTags = std::to_array(currentRecords);
constexpr auto currentFacts = factsOf(currentTags);
constexpr auto currentIndex = indexOf(currentFacts);

constexpr TagMask currentMasks[] = {
#define ORVKIT_CURRENT_TAG(...)
#define ORVKIT_CURRENT_MASK(mask, tag, ...) {mask, tag},
#define ORVKIT_CURRENT_NUMBER(...)
#include "orvkit/current_tags.def"
#undef ORVKIT_CURRENT_TAG
#undef ORVKIT_CURRENT_MASK
#undef ORVKIT_CURRENT_NUMBER
};

static_assert(std::ranges::adjacent_find(currentFacts, [](const auto& a, const auto& b) {
                  return a.tag >= b.tag;
              }) == currentFacts.end());

// What is printed beside. Texts stand one behind the other in one block, which needs no relocation when the
// library is loaded.
struct Printed {
    std::uint8_t keywordLength;
    std::uint8_t nameLength;
    std::uint8_t vrsLength;
    std::uint8_t vmsLength;
    bool retired;
    DICT_REGISTRY registry;
};

constexpr Printed printed[] = {
#define ORVKIT_LENGTH(text) static_cast<std::uint8_t>(sizeof(text) - 1)
#define ORVKIT_CURRENT_TAG(tag, vr, vm, symbol, keyword, name, vrs, vms, retired, registry) \
    {ORVKIT_LENGTH(#keyword), ORVKIT_LENGTH(name), ORVKIT_LENGTH(vrs),                      \
     ORVKIT_LENGTH(vms),      retired != 0,        DICT_REGISTRY_##registry},
#define ORVKIT_CURRENT_MASK(mask, ...) ORVKIT_CURRENT_TAG(__VA_ARGS__)
#define ORVKIT_CURRENT_NUMBER(tag, vr, vm, symbol, keyword, name, vrs, vms, retired, registry) \
    {0, ORVKIT_LENGTH(name), ORVKIT_LENGTH(vrs), ORVKIT_LENGTH(vms), retired != 0, DICT_REGISTRY_##registry},
#include "orvkit/current_tags.def"
#undef ORVKIT_CURRENT_TAG
#undef ORVKIT_CURRENT_MASK
#undef ORVKIT_CURRENT_NUMBER
};

#if defined(__clang__)
#pragma clang diagnostic ignored "-Woverlength-strings"
#endif
constexpr char texts[] =
#define ORVKIT_CURRENT_TAG(tag, vr, vm, symbol, keyword, name, vrs, vms, ...) \
#keyword "\0" name "\0" vrs "\0" vms "\0"
#define ORVKIT_CURRENT_MASK(mask, ...) ORVKIT_CURRENT_TAG(__VA_ARGS__)
#define ORVKIT_CURRENT_NUMBER(tag, vr, vm, symbol, keyword, name, vrs, vms, ...) \
    "\0" name "\0" vrs "\0" vms "\0"
#include "orvkit/current_tags.def"
#undef ORVKIT_CURRENT_TAG
#undef ORVKIT_CURRENT_MASK
#undef ORVKIT_CURRENT_NUMBER
    ;

constexpr std::size_t tagCount = currentTags.size();
static_assert(tagCount == std::size(printed));
static_assert(std::ranges::all_of(printed,
                                  [](const Printed& p) { return p.nameLength < sizeof DcDictEntry::name; }));

constexpr auto textPlaces = [] {
    std::array<std::uint32_t, tagCount + 1> places{};
    for (std::size_t i = 0; i < tagCount; ++i) {
        const Printed& p = printed[i];
        places[i + 1] = places[i] + 4u + p.keywordLength + p.nameLength + p.vrsLength + p.vmsLength;
    }
    return places;
}();
static_assert(textPlaces[tagCount] + 1 == sizeof texts);

constexpr std::string_view keywordAt(std::size_t i) {
    return {texts + textPlaces[i], printed[i].keywordLength};
}
constexpr auto keywordIndex = indexTexts<indexSlotsFor(tagCount)>(tagCount, keywordAt);

int entryAt(std::size_t i, DcDictEntry& entry) {
    if (i >= tagCount) {
        entry = {};
        return RESULT_DICT_NOT_FOUND;
    }
    const auto* const mask = std::ranges::find(currentMasks, currentTags[i].tag, &TagMask::tag);
    const char* const keyword = texts + textPlaces[i];
    const char* const name = keyword + printed[i].keywordLength + 1;
    const char* const vrs = name + printed[i].nameLength + 1;
    entry = {.tag = currentTags[i].tag,
             .mask = mask == std::end(currentMasks) ? 0 : mask->mask,
             .vr = currentTags[i].vr,
             .vm = currentTags[i].vm,
             .symbol = currentTags[i].name,
             .keyword = keyword,
             .name = {},
             .vrs = vrs,
             .vms = vrs + printed[i].vrsLength + 1,
             .retired = printed[i].retired,
             .registry = printed[i].registry};
    std::replace_copy(name, vrs - 1, entry.name, '_', ' ');
    return RESULT_OK;
}

// "patientsName" of "T_0010_0010_patientsName".
std::string_view lastPart(std::string_view symbol) {
    constexpr std::size_t front = std::string_view("T_gggg_eeee_").size();
    return symbol.size() > front ? symbol.substr(front) : std::string_view();
}

// ---- UIDs

struct UidRow {
    DICT_UID value;
    DICT_UID_TYPE type;
    bool retired;
    DICT_STORAGE storage;
    char uid[65];
    char keyword[128];
    char name[160];
    char kind[40];
    char directoryRecord[20];
};

constexpr UidRow uidRows[] = {
#define ORVKIT_CURRENT_UID(value, uid, type, symbol, name, keyword, kind, retired, storage, record) \
    {static_cast<DICT_UID>(value),                                                                  \
     static_cast<DICT_UID_TYPE>(type),                                                              \
     retired != 0,                                                                                  \
     DICT_STORAGE_##storage,                                                                        \
     uid,                                                                                           \
     keyword,                                                                                       \
     name,                                                                                          \
     kind,                                                                                          \
     record},
#include "orvkit/current_uids.def"
#undef ORVKIT_CURRENT_UID
};
constexpr std::size_t uidCount = std::size(uidRows);

constexpr std::size_t newUidsAt = [] {
    std::size_t first = 0;
    while (uidRows[first].value < firstCurrentUid) ++first;
    return first;
}();
static_assert([] {
    for (std::size_t i = newUidsAt; i < uidCount; ++i) {
        if (uidRows[i].value != static_cast<int>(firstCurrentUid + i - newUidsAt)) return false;
    }
    return true;
}());

static_assert(firstCurrentUid == syntax_table::firstLater);
static_assert(std::ranges::any_of(uidRows, [](const UidRow& row) {
    return row.value == syntax_table::jpipHtj2kDeflate &&
           std::string_view(row.uid) == "1.2.840.10008.1.2.4.205";
}));

constexpr auto newUids = [] {
    std::array<DcDictUidInfo, uidCount - newUidsAt> infos{};
    for (std::size_t i = 0; i < infos.size(); ++i) {
        const UidRow& row = uidRows[newUidsAt + i];
        infos[i].value = row.value;
        infos[i].type = row.type;
        std::ranges::copy(row.uid, infos[i].uid);
        std::copy_n(row.name, maxNameLength, infos[i].desc);
    }
    return infos;
}();

constexpr std::string_view currentUidAt(std::size_t i) {
    return uidRows[i].uid;
}
constexpr std::string_view uidKeywordAt(std::size_t i) {
    return uidRows[i].keyword;
}
constexpr auto currentUidIndex = indexTexts<indexSlotsFor(uidCount)>(uidCount, currentUidAt);
constexpr auto uidKeywordIndex = indexTexts<indexSlotsFor(uidCount)>(uidCount, uidKeywordAt);

}  // namespace

constexpr EditionTables editionCurrent{DICT_EDITION_CURRENT, currentTags, currentFacts, currentIndex,
                                       currentMasks};
constexpr std::span<const DcDictUidInfo> currentUids = newUids;

std::size_t currentUidPosition(std::string_view uid) noexcept {
    const std::size_t row = searchTexts(currentUidIndex, uid, currentUidAt);
    return row == noPosition || row < newUidsAt ? noPosition : row - newUidsAt;
}

}  // namespace orvkit

using namespace orvkit;

int dictGetEntryAt(std::size_t index, DcDictEntry& entry) noexcept {
    return entryAt(index, entry);
}

std::size_t dictEntryCount() noexcept {
    return tagCount;
}

int dictGetEntry(unsigned int tag, DcDictEntry& entry) noexcept {
    return entryAt(positionIn(editionCurrent, tag), entry);
}

int dictGetEntry(const char* name, DcDictEntry& entry) noexcept {
    entry = {};
    if (name == nullptr) return RESULT_DICT_NULL;
    const std::string_view wanted = name;
    if (wanted.empty()) return RESULT_DICT_NOT_FOUND;
    std::size_t found = searchTexts(keywordIndex, wanted, keywordAt);
    for (std::size_t i = 0; found == noPosition && i < tagCount; ++i) {
        const std::string_view symbol = currentTags[i].name;
        if (symbol == wanted || lastPart(symbol) == wanted) found = i;
    }
    return entryAt(found, entry);
}

std::size_t dictUidEntryCount() noexcept {
    return uidCount;
}

int dictGetUidEntryAt(std::size_t index, DcDictUidEntry& entry) noexcept {
    if (index >= uidCount) {
        entry = {};
        return RESULT_DICT_NOT_FOUND;
    }
    const UidRow& row = uidRows[index];
    entry = {row.value,           row.type,    row.uid,    row.name, row.keyword, row.kind,
             row.directoryRecord, row.storage, row.retired};
    return RESULT_OK;
}

int dictGetUidEntry(const char* uidOrKeyword, DcDictUidEntry& entry) noexcept {
    entry = {};
    if (uidOrKeyword == nullptr) return RESULT_DICT_NULL;
    std::size_t found = searchTexts(currentUidIndex, uidOrKeyword, currentUidAt);
    if (found == noPosition) {
        found = searchTexts(uidKeywordIndex, uidOrKeyword, uidKeywordAt);
    }
    return dictGetUidEntryAt(found, entry);
}
