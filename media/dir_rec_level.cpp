// Which directory record may stand below which (PS3.3 F.4).
#include <algorithm>
#include <array>
#include <iterator>

#include "foundation/fail.h"
#include "media/dir_rec.h"

using namespace orvkit;

namespace {

// A list ends with UNKNOWN, which is compared too: a record of type UNKNOWN may stand anywhere. Kept for
// callers that rely on it.
constexpr std::size_t kMostChildren = 32;

struct LevelRule {
    DIR_REC parent;
    std::array<DIR_REC, kMostChildren> children;
};

// clang-format off
constexpr LevelRule kRules[] = {
    {DIR_REC_DICOMDIR,
     {DIR_REC_HANGING_PROTOCOL, DIR_REC_MRDR, DIR_REC_PATIENT, DIR_REC_PRINT_QUEUE, DIR_REC_TOPIC,
      DIR_REC_PRIVATE, DIR_REC_PALETTE, DIR_REC_IMPLANT, DIR_REC_IMPLANT_ASSY, DIR_REC_IMPLANT_GROUP,
      DIR_REC_INVENTORY}},
    {DIR_REC_PATIENT,
     {DIR_REC_HL7_STRUC_DOC, DIR_REC_STUDY, DIR_REC_PRIVATE}},
    {DIR_REC_STUDY,
     {DIR_REC_BASIC_FILM_SESSION, DIR_REC_RESULTS, DIR_REC_SERIES, DIR_REC_STUDY_COMPONENT, DIR_REC_VISIT,
      DIR_REC_PRIVATE}},
    {DIR_REC_SERIES,
     {DIR_REC_CURVE, DIR_REC_ENCAP_DOC, DIR_REC_FIDUCIAL, DIR_REC_IMAGE, DIR_REC_KEY_OBJECT_DOC,
      DIR_REC_MODALITY_LUT, DIR_REC_OVERLAY, DIR_REC_PRESENTATION, DIR_REC_RAW_DATA, DIR_REC_REGISTRATION,
      DIR_REC_RT_DOSE, DIR_REC_RT_PLAN, DIR_REC_RT_STRUCTURE_SET, DIR_REC_RT_TREAT_RECORD,
      DIR_REC_SPECTROSCOPY, DIR_REC_SR_DOCUMENT, DIR_REC_STEREOMETRIC, DIR_REC_STORED_PRINT,
      DIR_REC_VALUE_MAP, DIR_REC_VOI_LUT, DIR_REC_WAVEFORM, DIR_REC_PRIVATE, DIR_REC_SURFACE,
      DIR_REC_MEASUREMENT, DIR_REC_SURFACE_SCAN, DIR_REC_TRACT, DIR_REC_ASSESSMENT, DIR_REC_PLAN,
      DIR_REC_RADIOTHERAPY, DIR_REC_ANNOTATION, DIR_REC_WF_PRESENTATION}},
    {DIR_REC_TOPIC,
     {DIR_REC_CURVE, DIR_REC_FIDUCIAL, DIR_REC_BASIC_FILM_SESSION, DIR_REC_IMAGE, DIR_REC_KEY_OBJECT_DOC,
      DIR_REC_MODALITY_LUT, DIR_REC_OVERLAY, DIR_REC_PRESENTATION, DIR_REC_RAW_DATA, DIR_REC_REGISTRATION,
      DIR_REC_RT_DOSE, DIR_REC_RT_PLAN, DIR_REC_RT_STRUCTURE_SET, DIR_REC_RT_TREAT_RECORD, DIR_REC_SERIES,
      DIR_REC_SPECTROSCOPY, DIR_REC_SR_DOCUMENT, DIR_REC_STORED_PRINT, DIR_REC_STUDY, DIR_REC_VOI_LUT,
      DIR_REC_WAVEFORM, DIR_REC_PRIVATE}},
    {DIR_REC_PRINT_QUEUE,
     {DIR_REC_BASIC_FILM_SESSION, DIR_REC_PRIVATE}},
    {DIR_REC_BASIC_FILM_SESSION,
     {DIR_REC_BASIC_FILM_BOX, DIR_REC_PRIVATE}},
    {DIR_REC_BASIC_FILM_BOX,
     {DIR_REC_BASIC_IMAGE_BOX, DIR_REC_PRIVATE}},
    {DIR_REC_RESULTS,
     {DIR_REC_INTERPRETATION, DIR_REC_PRIVATE}},
};
// clang-format on
constexpr LevelRule kOthers = {DIR_REC_UNKNOWN, {DIR_REC_PRIVATE}};
constexpr LevelRule kNothing = {DIR_REC_UNKNOWN, {}};

const LevelRule& ruleOf(DIR_REC parent) {
    if (parent < DIR_REC_BASIC_IMAGE_BOX || parent > orvkit::lastRecordType() || parent == DIR_REC_MRDR)
        return kNothing;
    const auto* rule = std::find_if(std::begin(kRules), std::end(kRules),
                                    [parent](const LevelRule& r) { return r.parent == parent; });
    return rule != std::end(kRules) ? *rule : kOthers;
}

}  // namespace

int DcDirRec::checkLevel(const DcDirRec& child) const {
    const LevelRule& rule = ruleOf(type_);
    const auto* entry = rule.children.data();
    while (*entry != DIR_REC_UNKNOWN && *entry != child.type_) ++entry;
    if (*entry == child.type_ && child.type_ <= orvkit::lastRecordType()) return RESULT_OK;
    char below[32] = "";
    char above[32] = "";
    child.getDesc(below);
    getDesc(above);
    return fail(DIR_LEVEL_RULE, LOG_ERROR, "DcDirRec::checkLevel",
                "'%s' cannot be a lower level entity to '%s'", below, above);
}
