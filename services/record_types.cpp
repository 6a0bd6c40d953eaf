#include "services/record_types.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <unordered_map>

#include "orvkit/edition.h"
#include "orvkit/file.h"
#include "orvkit/result.h"

namespace services {
namespace {

// ---- keys -------------------------------------------------------------------------------------------------

constexpr std::size_t kMostKeys = 10;

consteval unsigned int hexDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned int>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned int>(c - 'A' + 10);
    throw "not a digit";
}

consteval Need needOf(char letter) {
    switch (letter) {
        case 'R':
            return Need::required;
        case 'M':
            return Need::made;
        case 'E':
            return Need::empty;
        case 'G':
            return Need::given;
        default:
            throw "not a need";
    }
}

struct TypeKeys {
    // Tags with the needs behind them, "00100010E 00100020M".
    consteval TypeKeys(DIR_REC ofType, const char* text) : type(ofType) {
        for (const char* c = text; *c != '\0';) {
            unsigned int tag = 0;
            for (int i = 0; i < 8; ++i) tag = tag << 4 | hexDigit(*c++);
            list.at(count++) = {tag, needOf(*c++)};
            while (*c == ' ') ++c;
        }
    }
    DIR_REC type;
    std::array<RecordKey, kMostKeys> list{};
    std::size_t count = 0;
};

constexpr const char* imageKeys = "00200013M";
constexpr const char* lutKeys = "00200026M";
constexpr const char* datedKeys = "00080023M 00080033M 00200013M";
// With the Content Identification Macro.
constexpr const char* identifiedKeys = "00080023M 00080033M 00200013M 00700080R 00700081E 00700084E";

// R required, M made, E empty, G given, as in the tables of PS3.3 F.5.
// clang-format off
constexpr TypeKeys typeKeys[] = {
    {DIR_REC_PATIENT, "00100010E 00100020M"},
    {DIR_REC_STUDY, "00080020M 00080030M 00080050E 00081030E 0020000DR 00200010M"},
    {DIR_REC_SERIES, "00080060R 0020000ER 00200011M"},
    {DIR_REC_IMAGE, imageKeys},
    {DIR_REC_OVERLAY, "00200022M"},
    {DIR_REC_CURVE, "00200024M"},
    {DIR_REC_MODALITY_LUT, lutKeys},
    {DIR_REC_VOI_LUT, lutKeys},
    {DIR_REC_STORED_PRINT, "00200013E"},
    {DIR_REC_RT_DOSE, "00200013M 30040006G 3004000AR"},
    {DIR_REC_RT_STRUCTURE_SET, "00200013M 30060002R 30060008E 30060009E"},
    {DIR_REC_RT_PLAN, "00200013M 300A0002R 300A0006E 300A0007E"},
    {DIR_REC_RT_TREAT_RECORD, "00200013M 30080250E 30080251E"},
    {DIR_REC_PRESENTATION,
     "00081115G 00200013M 00700080R 00700081E 00700082R 00700083R 00700084E 00700402G"},
    {DIR_REC_WAVEFORM, datedKeys},
    {DIR_REC_SR_DOCUMENT,
     "00080023M 00080033M 00200013M 0040A030G 0040A043R 0040A491R 0040A493R 0040A730G"},
    {DIR_REC_KEY_OBJECT_DOC, "00080023M 00080033M 00200013M 0040A043R 0040A730G"},
    {DIR_REC_SPECTROSCOPY,
     "00080008R 00080023M 00080033M 00089092G 00200013M 00280008R 00280010R 00280011R 00289001R "
     "00289002R"},
    {DIR_REC_RAW_DATA, "00080023M 00080033M 00200013E"},
    {DIR_REC_REGISTRATION, identifiedKeys},
    {DIR_REC_FIDUCIAL, identifiedKeys},
    {DIR_REC_VALUE_MAP, identifiedKeys},
    {DIR_REC_STEREOMETRIC, identifiedKeys},
    {DIR_REC_ENCAP_DOC, "00080023E 00080033E 00200013M 0040A043E 0040E001G 00420010E 00420012R"},
    {DIR_REC_HANGING_PROTOCOL,
     "00720002R 00720004R 00720006R 00720008R 0072000AR 0072000CR 0072000EE 00720014R"},
    {DIR_REC_PALETTE, "00700080R 00700081E"},
    {DIR_REC_SURFACE, identifiedKeys},
    {DIR_REC_MEASUREMENT, datedKeys},
    {DIR_REC_SURFACE_SCAN, datedKeys},
    {DIR_REC_TRACT, identifiedKeys},
    {DIR_REC_ASSESSMENT, "00080012M 00080013M 00200013M"},
    {DIR_REC_IMPLANT, "00080070R 00221095R 00221097R 00686210G"},
    {DIR_REC_IMPLANT_ASSY, "00080070R 00760001R 00760020R"},
    {DIR_REC_IMPLANT_GROUP, "00780001R 00780020R"},
    {DIR_REC_PLAN, imageKeys},
    {DIR_REC_RADIOTHERAPY, "00200013M 00700081E 00700084E 30100033G 30100034G"},
    {DIR_REC_ANNOTATION, identifiedKeys},
    {DIR_REC_INVENTORY, "00080023M 00080033M 00080401E"},
    {DIR_REC_WF_PRESENTATION, "00200013M 00700080R 00700081E 00700082R 00700083R 00700084E"},
};
// clang-format on

// ---- SOP classes ------------------------------------------------------------------------------------------

// What the registry has no record for.
constexpr struct {
    DICT_UID sopClass;
    DIR_REC type;
} ownTypes[] = {
    {UID_ORVKIT5_LZW_STORAGE, DIR_REC_IMAGE},
    {UID_GE_PLAN_STORAGE, DIR_REC_PRIVATE},
    {UID_GE_MACHINE_STORAGE, DIR_REC_PRIVATE},
};

const std::unordered_map<std::string_view, DIR_REC>& typeByClass() {
    static const auto types = [] {
        std::unordered_map<std::string_view, DIR_REC> all;
        DcDictUidEntry entry;
        for (std::size_t i = 0; dictGetUidEntryAt(i, entry) == RESULT_OK; ++i) {
            DIR_REC type = DIR_REC_PRIVATE;
            if (*entry.directoryRecord == '\0') continue;
            // In the edition of 2008, a record that came later.
            if (dirGetType(entry.directoryRecord, type) != RESULT_OK) type = DIR_REC_PRIVATE;
            all.emplace(entry.uid, type);
        }
        for (const auto& row : ownTypes) {
            if (const DcDictUidInfo* info = Dict.findUid(row.sopClass)) all.emplace(info->uid, row.type);
        }
        return all;
    }();
    return types;
}

}  // namespace

std::span<const RecordKey> keysOf(DIR_REC type) {
    const auto* row = std::find_if(std::begin(typeKeys), std::end(typeKeys),
                                   [type](const TypeKeys& each) { return each.type == type; });
    return row != std::end(typeKeys) ? std::span(row->list).first(row->count) : std::span<const RecordKey>();
}

bool standsAlone(DIR_REC type) {
    constexpr DIR_REC alone[] = {DIR_REC_HANGING_PROTOCOL, DIR_REC_PALETTE,       DIR_REC_IMPLANT,
                                 DIR_REC_IMPLANT_ASSY,     DIR_REC_IMPLANT_GROUP, DIR_REC_INVENTORY};
    return std::ranges::find(alone, type) != std::end(alone);
}

DIR_REC recordTypeOf(std::string_view sopClassUid, bool hasRows) {
    const auto found = typeByClass().find(sopClassUid);
    if (found != typeByClass().end()) return found->second;
    return hasRows ? DIR_REC_IMAGE : DIR_REC_PRIVATE;
}

}  // namespace services
