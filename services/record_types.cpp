#include "services/record_types.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>

#include "orvkit/edition.h"
#include "orvkit/file.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace services {
namespace {

// ---- keys -------------------------------------------------------------------------------------------------

constexpr RecordKey patientKeys[] = {
    {T_0010_0010_patientsName, Need::empty},
    {T_0010_0020_patientId, Need::made},
};
constexpr RecordKey studyKeys[] = {
    {T_0008_0020_studyDate, Need::made},
    {T_0008_0030_studyTime, Need::made},
    {T_0008_0050_accessionNumber, Need::empty},
    {T_0008_1030_studyDescription, Need::empty},
    {T_0020_000d_studyInstanceUid, Need::required},
    {T_0020_0010_studyId, Need::made},
};
constexpr RecordKey seriesKeys[] = {
    {T_0008_0060_modality, Need::required},
    {T_0020_000e_seriesInstanceUid, Need::required},
    {T_0020_0011_seriesNumber, Need::made},
};
constexpr RecordKey imageKeys[] = {{T_0020_0013_instanceNumber, Need::made}};
constexpr RecordKey overlayKeys[] = {{T_0020_0022_overlayNumber, Need::made}};
constexpr RecordKey curveKeys[] = {{T_0020_0024_curveNumber, Need::made}};
constexpr RecordKey lutKeys[] = {{T_0020_0026_lookupTableNumber, Need::made}};
constexpr RecordKey storedPrintKeys[] = {{T_0020_0013_instanceNumber, Need::empty}};
constexpr RecordKey doseKeys[] = {
    {T_0020_0013_instanceNumber, Need::made},
    {T_3004_0006_doseComment, Need::given},
    {T_3004_000a_doseSummationType, Need::required},
};
constexpr RecordKey structureSetKeys[] = {
    {T_0020_0013_instanceNumber, Need::made},
    {T_3006_0002_structureSetLabel, Need::required},
    {T_3006_0008_structureSetDate, Need::empty},
    {T_3006_0009_structureSetTime, Need::empty},
};
constexpr RecordKey planKeys[] = {
    {T_0020_0013_instanceNumber, Need::made},
    {T_300a_0002_rtPlanLabel, Need::required},
    {T_300a_0006_rtPlanDate, Need::empty},
    {T_300a_0007_rtPlanTime, Need::empty},
};
constexpr RecordKey treatmentKeys[] = {
    {T_0020_0013_instanceNumber, Need::made},
    {T_3008_0250_treatmentDate, Need::empty},
    {T_3008_0251_treatmentTime, Need::empty},
};
constexpr RecordKey presentationKeys[] = {
    {T_0008_1115_referencedSeriesSequence, Need::given},
    {T_0020_0013_instanceNumber, Need::made},
    {T_0070_0080_contentLabel, Need::required},
    {T_0070_0081_contentDescription, Need::empty},
    {T_0070_0082_presentationCreationDate, Need::required},
    {T_0070_0083_presentationCreationTime, Need::required},
    {T_0070_0084_contentCreatorsName, Need::empty},
    {T_0070_0402_blendingSequence, Need::given},
};
constexpr RecordKey datedKeys[] = {
    {T_0008_0023_contentDate, Need::made},
    {T_0008_0033_contentTime, Need::made},
    {T_0020_0013_instanceNumber, Need::made},
};
constexpr RecordKey srKeys[] = {
    {T_0008_0023_contentDate, Need::made},
    {T_0008_0033_contentTime, Need::made},
    {T_0020_0013_instanceNumber, Need::made},
    {T_0040_a030_verificationDateTime, Need::given},
    {T_0040_a043_conceptNameCodeSequence, Need::required},
    {T_0040_a491_completionFlag, Need::required},
    {T_0040_a493_verificationFlag, Need::required},
    {T_0040_a730_contentSequence, Need::given},
};
constexpr RecordKey keyObjectKeys[] = {
    {T_0008_0023_contentDate, Need::made},      {T_0008_0033_contentTime, Need::made},
    {T_0020_0013_instanceNumber, Need::made},   {T_0040_a043_conceptNameCodeSequence, Need::required},
    {T_0040_a730_contentSequence, Need::given},
};
constexpr RecordKey spectroscopyKeys[] = {
    {T_0008_0008_imageType, Need::required},     {T_0008_0023_contentDate, Need::made},
    {T_0008_0033_contentTime, Need::made},       {T_0008_9092_referencedImageEvidenceSequence, Need::given},
    {T_0020_0013_instanceNumber, Need::made},    {T_0028_0008_numberOfFrames, Need::required},
    {T_0028_0010_rows, Need::required},          {T_0028_0011_columns, Need::required},
    {T_0028_9001_dataPointRows, Need::required}, {T_0028_9002_dataPointColumns, Need::required},
};
constexpr RecordKey rawDataKeys[] = {
    {T_0008_0023_contentDate, Need::made},
    {T_0008_0033_contentTime, Need::made},
    {T_0020_0013_instanceNumber, Need::empty},
};
// With the Content Identification Macro.
constexpr RecordKey identifiedKeys[] = {
    {T_0008_0023_contentDate, Need::made},         {T_0008_0033_contentTime, Need::made},
    {T_0020_0013_instanceNumber, Need::made},      {T_0070_0080_contentLabel, Need::required},
    {T_0070_0081_contentDescription, Need::empty}, {T_0070_0084_contentCreatorsName, Need::empty},
};
constexpr RecordKey documentKeys[] = {
    {T_0008_0023_contentDate, Need::empty},
    {T_0008_0033_contentTime, Need::empty},
    {T_0020_0013_instanceNumber, Need::made},
    {T_0040_a043_conceptNameCodeSequence, Need::empty},
    {T_0040_e001_hl7InstanceIdentifier, Need::given},
    {T_0042_0010_documentTitle, Need::empty},
    {T_0042_0012_mimeTypeOfEncapsulatedDocument, Need::required},
};
constexpr RecordKey hangingProtocolKeys[] = {
    {T_0072_0002_hangingProtocolName, Need::required},
    {T_0072_0004_hangingProtocolDescription, Need::required},
    {T_0072_0006_hangingProtocolLevel, Need::required},
    {T_0072_0008_hangingProtocolCreator, Need::required},
    {T_0072_000a_hangingProtocolCreationDateTime, Need::required},
    {T_0072_000c_hangingProtocolDefinitionSequence, Need::required},
    {T_0072_000e_hangingProtocolUserIdentificationCodeSequence, Need::empty},
    {T_0072_0014_numberOfPriorsReferenced, Need::required},
};

constexpr RecordKey assessmentKeys[] = {
    {T_0008_0012_instanceCreationDate, Need::made},
    {T_0008_0013_instanceCreationTime, Need::made},
    {T_0020_0013_instanceNumber, Need::made},
};
constexpr RecordKey radiotherapyKeys[] = {
    {T_0020_0013_instanceNumber, Need::made},       {T_0070_0081_contentDescription, Need::empty},
    {T_0070_0084_contentCreatorsName, Need::empty}, {DcTag::UserContentLabel, Need::given},
    {DcTag::UserContentLongLabel, Need::given},
};
constexpr RecordKey waveformPresentationKeys[] = {
    {T_0020_0013_instanceNumber, Need::made},
    {T_0070_0080_contentLabel, Need::required},
    {T_0070_0081_contentDescription, Need::empty},
    {T_0070_0082_presentationCreationDate, Need::required},
    {T_0070_0083_presentationCreationTime, Need::required},
    {T_0070_0084_contentCreatorsName, Need::empty},
};
constexpr RecordKey paletteKeys[] = {
    {T_0070_0080_contentLabel, Need::required},
    {T_0070_0081_contentDescription, Need::empty},
};
constexpr RecordKey implantKeys[] = {
    {T_0008_0070_manufacturer, Need::required},
    {DcTag::ImplantName, Need::required},
    {DcTag::ImplantPartNumber, Need::required},
    {DcTag::ImplantSize, Need::given},
};
constexpr RecordKey implantAssemblyKeys[] = {
    {T_0008_0070_manufacturer, Need::required},
    {DcTag::ImplantAssemblyTemplateName, Need::required},
    {DcTag::ProcedureTypeCodeSequence, Need::required},
};
constexpr RecordKey implantGroupKeys[] = {
    {DcTag::ImplantTemplateGroupName, Need::required},
    {DcTag::ImplantTemplateGroupIssuer, Need::required},
};
constexpr RecordKey inventoryKeys[] = {
    {T_0008_0023_contentDate, Need::made},
    {T_0008_0033_contentTime, Need::made},
    {DcTag::InventoryPurpose, Need::empty},
};

struct TypeKeys {
    DIR_REC type;
    std::span<const RecordKey> keys;
};

constexpr TypeKeys typeKeys[] = {
    {DIR_REC_PATIENT, patientKeys},
    {DIR_REC_STUDY, studyKeys},
    {DIR_REC_SERIES, seriesKeys},
    {DIR_REC_IMAGE, imageKeys},
    {DIR_REC_OVERLAY, overlayKeys},
    {DIR_REC_CURVE, curveKeys},
    {DIR_REC_MODALITY_LUT, lutKeys},
    {DIR_REC_VOI_LUT, lutKeys},
    {DIR_REC_STORED_PRINT, storedPrintKeys},
    {DIR_REC_RT_DOSE, doseKeys},
    {DIR_REC_RT_STRUCTURE_SET, structureSetKeys},
    {DIR_REC_RT_PLAN, planKeys},
    {DIR_REC_RT_TREAT_RECORD, treatmentKeys},
    {DIR_REC_PRESENTATION, presentationKeys},
    {DIR_REC_WAVEFORM, datedKeys},
    {DIR_REC_SR_DOCUMENT, srKeys},
    {DIR_REC_KEY_OBJECT_DOC, keyObjectKeys},
    {DIR_REC_SPECTROSCOPY, spectroscopyKeys},
    {DIR_REC_RAW_DATA, rawDataKeys},
    {DIR_REC_REGISTRATION, identifiedKeys},
    {DIR_REC_FIDUCIAL, identifiedKeys},
    {DIR_REC_VALUE_MAP, identifiedKeys},
    {DIR_REC_STEREOMETRIC, identifiedKeys},
    {DIR_REC_ENCAP_DOC, documentKeys},
    {DIR_REC_HANGING_PROTOCOL, hangingProtocolKeys},
    {DIR_REC_PALETTE, paletteKeys},
    {DIR_REC_SURFACE, identifiedKeys},
    {DIR_REC_MEASUREMENT, datedKeys},
    {DIR_REC_SURFACE_SCAN, datedKeys},
    {DIR_REC_TRACT, identifiedKeys},
    {DIR_REC_ASSESSMENT, assessmentKeys},
    {DIR_REC_IMPLANT, implantKeys},
    {DIR_REC_IMPLANT_ASSY, implantAssemblyKeys},
    {DIR_REC_IMPLANT_GROUP, implantGroupKeys},
    {DIR_REC_PLAN, imageKeys},
    {DIR_REC_RADIOTHERAPY, radiotherapyKeys},
    {DIR_REC_ANNOTATION, identifiedKeys},
    {DIR_REC_INVENTORY, inventoryKeys},
    {DIR_REC_WF_PRESENTATION, waveformPresentationKeys},
};

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
    return row != std::end(typeKeys) ? row->keys : std::span<const RecordKey>();
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
