#include "services/accepted_uids.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "orvkit/edition.h"
#include "orvkit/result.h"

namespace services {
namespace {

// Not so video that runs (SMPTE ST 2110), and what never were encodings of data sets by the rules of PS3.5.
bool encodesObjects(std::string_view uid) {
    return uid.starts_with("1.2.840.10008.1.2") && !uid.starts_with("1.2.840.10008.1.2.7.") &&
           !uid.starts_with("1.2.840.10008.1.2.6.") && !uid.starts_with("1.2.840.10008.1.20");
}

// Where a peer leaves the choice, as it is kept most simply, then without loss.
int preference(const DcDictUidEntry& syntax) {
    static constexpr DICT_UID first[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT,
                                         UID_BIG_ENDIAN_EXPLICIT, UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT};
    const auto* const at = std::ranges::find(first, syntax.value);
    if (at != std::end(first)) return static_cast<int>(at - first);
    const bool lossless = std::string_view(syntax.name).find("Lossless") != std::string_view::npos;
    return static_cast<int>(std::size(first)) + (syntax.retired ? 2 : lossless ? 0 : 1);
}

std::vector<DICT_UID> transferSyntaxes() {
    std::vector<DcDictUidEntry> found;
    DcDictUidEntry entry;
    for (std::size_t i = 0; dictGetUidEntryAt(i, entry) == RESULT_OK; ++i) {
        const bool known = entry.type == UID_TYPE_XFER_SYN && Dict.findUid(entry.value) != nullptr;
        if (known && encodesObjects(entry.uid)) found.push_back(entry);
    }
    std::ranges::stable_sort(found, {}, preference);
    std::vector<DICT_UID> syntaxes;
    syntaxes.reserve(found.size() + 1);
    for (const DcDictUidEntry& syntax : found) syntaxes.push_back(syntax.value);
    syntaxes.push_back(UID_ORVKIT5_LZW);
    return syntaxes;
}

}  // namespace

std::vector<StorageClass> storageClasses() {
    std::vector<StorageClass> classes;
    DcDictUidEntry entry;
    for (std::size_t i = 0; dictGetUidEntryAt(i, entry) == RESULT_OK; ++i) {
        if (entry.storage == DICT_STORAGE_NONE || Dict.findUid(entry.value) == nullptr) continue;
        classes.push_back({entry.value, entry.retired, std::string_view(entry.directoryRecord) == "IMAGE"});
    }
    // What only the library's own registry has.
    for (const DICT_UID own : {UID_ORVKIT5_LZW_STORAGE, UID_GE_PLAN_STORAGE, UID_GE_MACHINE_STORAGE}) {
        classes.push_back({own, false, own == UID_ORVKIT5_LZW_STORAGE});
    }
    return classes;
}

std::vector<DcMsmSopXferSyn> storageSupport(bool anyClass) {
    const std::vector<DICT_UID> syntaxes = transferSyntaxes();
    std::vector<DcMsmSopXferSyn> list;
    const auto add = [&](DICT_UID sopClass) {
        for (std::size_t from = 0; from < syntaxes.size(); from += MSM_XFER_SYN_MAX) {
            DcMsmSopXferSyn& entry = list.emplace_back();
            entry.sopClass = sopClass;
            std::copy_n(syntaxes.begin() + static_cast<std::ptrdiff_t>(from),
                        std::min<std::size_t>(syntaxes.size() - from, MSM_XFER_SYN_MAX), entry.xferSyn);
        }
    };
    add(UID_VERIFICATION);
    for (const StorageClass& each : storageClasses()) add(each.value);
    if (anyClass) add(MSM_SOP_UNKNOWN);
    list.emplace_back();
    return list;
}

}  // namespace services
