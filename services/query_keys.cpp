#include "services/query_keys.h"

#include <algorithm>
#include <cctype>

#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "services/charset.h"
#include "services/elements.h"
#include "services/report.h"
#include "services/tag_names.h"

namespace services {
namespace {

// The levels from the top, with their unique keys and what a query usually wants to see of them.
struct Level {
    const char* name;
    unsigned int unique;
    std::vector<unsigned int> usual;
};
const Level levels[] = {
    {"PATIENT",
     T_0010_0020_patientId,
     {T_0010_0010_patientsName, T_0010_0030_patientsBirthDate, T_0010_0040_patientsSex}},
    {"STUDY",
     T_0020_000d_studyInstanceUid,
     {T_0010_0010_patientsName, T_0010_0020_patientId, T_0008_0020_studyDate, T_0008_1030_studyDescription}},
    {"SERIES",
     T_0020_000e_seriesInstanceUid,
     {T_0008_0060_modality, T_0020_0011_seriesNumber, T_0008_103e_seriesDescription}},
    {"IMAGE", T_0008_0018_sopInstanceUid, {T_0020_0013_instanceNumber, T_0008_0016_sopClassUid}},
};

std::string upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    return text;
}

const Level* levelNamed(const std::string& name) {
    const auto* level =
        std::find_if(std::begin(levels), std::end(levels), [&](const Level& l) { return l.name == name; });
    return level != std::end(levels) ? level : nullptr;
}

bool isNumber(DICT_VR vr) {
    const ValueKind kind = kindOf(vr);
    return kind == ValueKind::integer || kind == ValueKind::real || kind == ValueKind::tag;
}

// Texts go out as they are given: wildcards and ranges are no values of their VRs (PS3.4 C.2.2.2).
DcElem* keyElement(unsigned int tag, std::string value) {
    if (!value.empty() && isNumber(Dict.facts(tag).vr)) return new DcElem(tag, value.c_str());
    if (value.size() % 2 != 0) value += Dict.facts(tag).vr == VR_UI ? '\0' : ' ';
    auto element = std::make_unique<DcElem>(tag, nullptr, 0U, UID_NONE, VR_IM, 0);
    (void)element->registerValueExceptionCB(nullptr, takeAnyValue);
    (void)element->parseVal(value.data(), static_cast<unsigned int>(value.size()),
                            UID_LITTLE_ENDIAN_EXPLICIT);
    return element.release();
}

}  // namespace

bool QueryKeys::parse(const QueryOptions& options) {
    level_ = upper(options.level);
    for (const std::string& key : options.keys) {
        const std::size_t equals = key.find('=');
        const std::string name = key.substr(0, equals);
        const std::vector<unsigned int> named = tagsNamed(name);
        if (named.empty()) return complain("key %s: %s", key.c_str(), noTagText(name).c_str());
        const char* const fault =
            add(named.front(), equals == std::string::npos ? "" : key.substr(equals + 1));
        if (fault != nullptr) return complain("key %s: %s", key.c_str(), fault);
    }
    if (!level_.empty()) return true;
    level_ = "STUDY";
    for (const char* name : {"SERIES", "IMAGE"}) {
        const unsigned int unique = levelNamed(name)->unique;
        if (std::find(tags_.begin(), tags_.end(), unique) != tags_.end()) level_ = name;
    }
    return true;
}

const char* QueryKeys::add(unsigned int tag, const std::string& value) {
    if (tag == T_0008_0052_queryRetrieveLevel) {
        level_ = upper(value);
        return levelNamed(level_) != nullptr ? nullptr : "not a level: PATIENT, STUDY, SERIES or IMAGE";
    }
    const DICT_VR vr = Dict.facts(tag).vr;
    if (vr == VR_SQ) return "sequences cannot be asked for";
    if (tag <= 0x0007FFFF || tag >= 0x7FE00000 || kindOf(vr) == ValueKind::raw) {
        return "not an element that can be asked for";
    }
    if (std::find(tags_.begin(), tags_.end(), tag) != tags_.end()) return "given twice";
    // Else it would be asked for without a value, which everything matches.
    if (!value.empty() && std::unique_ptr<DcElem>(keyElement(tag, value))->getValueCount() == 0)
        return "its value is none of its VR";
    tags_.push_back(tag);
    values_.push_back(value);
    return nullptr;
}

void QueryKeys::askForUsual() {
    const Level* level = levelNamed(level_);
    if (level == nullptr) return;
    for (unsigned int tag : level->usual) (void)add(tag, "");
    (void)add(level->unique, "");
}

std::unique_ptr<DcElemList> QueryKeys::identifier() const {
    auto list = std::make_unique<DcElemList>();
    (void)list->add(keyElement(T_0008_0052_queryRetrieveLevel, level_));
    const bool ascii =
        std::all_of(values_.begin(), values_.end(), [](const std::string& v) { return isPlainAscii(v); });
    if (!ascii) (void)list->add(keyElement(T_0008_0005_specificCharacterSet, "ISO_IR 192"));
    for (std::size_t i = 0; i < tags_.size(); ++i) (void)list->add(keyElement(tags_[i], values_[i]));
    return list;
}

}  // namespace services
