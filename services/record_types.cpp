#include "services/record_types.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_map>

#include "orvkit/dict.h"
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
constexpr RecordKey waveformKeys[] = {
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
    {DIR_REC_WAVEFORM, waveformKeys},
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
};

// ---- SOP classes ------------------------------------------------------------------------------------------

struct ClassType {
    DICT_UID sopClass;
    DIR_REC type;
};

// Every storage SOP class of the registry.
constexpr ClassType classTypes[] = {
    {UID_STORED_PRINT_STORAGE, DIR_REC_STORED_PRINT},
    {UID_HARDCOPY_GRAY_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_HARDCOPY_COLOR_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_CR_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_DIGI_XRAY_PRES_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_DIGI_XRAY_PROC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_DIGI_MAMMO_PRES_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_DIGI_MAMMO_PROC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_DIGI_INTRA_ORAL_PRES_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_DIGI_INTRA_ORAL_PROC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_CT_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_CT_ENHANCED_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_US_MULTIFRAME_IMAGE_RET_STORAGE, DIR_REC_IMAGE},
    {UID_US_MULTIFRAME_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MR_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MR_ENHANCED_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MR_SPECTROSCOPY_STORAGE, DIR_REC_SPECTROSCOPY},
    {UID_NM_IMAGE_RET_STORAGE, DIR_REC_IMAGE},
    {UID_US_IMAGE_RET_STORAGE, DIR_REC_IMAGE},
    {UID_US_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_SC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MULTIFRAME_SINGLE_BIT_SC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MULTIFRAME_GRAYSCALE_BYTE_SC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MULTIFRAME_GRAYSCALE_WORD_SC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_MULTIFRAME_TRUE_COLOR_SC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_OVERLAY_STORAGE, DIR_REC_OVERLAY},
    {UID_CURVE_STORAGE, DIR_REC_CURVE},
    {UID_WAVEFORM_WV_MODALITY_STORAGE, DIR_REC_WAVEFORM},
    {UID_WAVEFORM_12_LEAD_ECG_WAVEFORM_STORAGE, DIR_REC_WAVEFORM},
    {UID_WAVEFORM_GENERAL_ECG_WAVEFORM_STORAGE, DIR_REC_WAVEFORM},
    {UID_WAVEFORM_AMBULATORY_ECG_WAVEFORM_STORAGE, DIR_REC_WAVEFORM},
    {UID_WAVEFORM_HEMODYNAMIC_WAVEFORM_STORAGE, DIR_REC_WAVEFORM},
    {UID_WAVEFORM_CARDIAC_ELECTRO_WAVEFORM_STORAGE, DIR_REC_WAVEFORM},
    {UID_WAVEFORM_BASIC_AUDIO_WAVEFORM_STORAGE, DIR_REC_WAVEFORM},
    {UID_MODALITY_LUT_STORAGE, DIR_REC_MODALITY_LUT},
    {UID_VOI_LUT_STORAGE, DIR_REC_VOI_LUT},
    {UID_GRAY_SOFTCOPY_PRES_STATE_STORAGE, DIR_REC_PRESENTATION},
    {UID_COLOR_SOFTCOPY_PRES_STATE_STORAGE, DIR_REC_PRESENTATION},
    {UID_PSEUDO_COLOR_SOFTCOPY_PRES_STATE_STORAGE, DIR_REC_PRESENTATION},
    {UID_BLENDING_SOFTCOPY_PRES_STATE_STORAGE, DIR_REC_PRESENTATION},
    {UID_XRAY_ANGIO_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_XRAY_ANGIO_ENHANCED_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_XRAY_RF_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_XRAY_RF_ENHANCED_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_XRAY_ANGIO_BIPLANE_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_XRAY_3D_ANGIOGRAPHIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_XRAY_3D_CRANIOFACIAL_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_NM_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_RAW_DATA_STORAGE, DIR_REC_RAW_DATA},
    {UID_SPATIAL_REGISTRATION_STORAGE, DIR_REC_REGISTRATION},
    {UID_SPATIAL_FIDUCIALS_STORAGE, DIR_REC_FIDUCIAL},
    {UID_DEFORMABLE_SPATIAL_REGISTRATION_STORAGE, DIR_REC_REGISTRATION},
    {UID_SEGMENTATION_STORAGE, DIR_REC_IMAGE},
    {UID_REAL_WORLD_VALUE_MAPPING_STORAGE, DIR_REC_VALUE_MAP},
    {UID_VL_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VL_ENDOSCOPIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VIDEO_ENDOSCOPIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VL_MICROSCOPIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VIDEO_MICROSCOPIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VL_SLIDE_MICROSCOPIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VL_PHOTOGRAPHIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VIDEO_PHOTOGRAPHIC_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VIDEO_OPHTHALMIC_PHOTOGRAPHY_08_BIT_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VIDEO_OPHTHALMIC_PHOTOGRAPHY_16_BIT_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VIDEO_STEREOMETRIC_RELATIONSHIP_STORAGE, DIR_REC_STEREOMETRIC},
    {UID_OPHTHALMIC_TOMOGRAPHY_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_VL_MULTIFRAME_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_SR_BASIC_TEXT, DIR_REC_SR_DOCUMENT},
    {UID_SR_ENHANCED, DIR_REC_SR_DOCUMENT},
    {UID_SR_COMPREHENSIVE, DIR_REC_SR_DOCUMENT},
    {UID_PROCEDURE_LOG_STORAGE, DIR_REC_SR_DOCUMENT},
    {UID_SR_MAMMO_CAD, DIR_REC_SR_DOCUMENT},
    {UID_KEY_OBJECT_SELECTION_DOCUMENT, DIR_REC_KEY_OBJECT_DOC},
    {UID_SR_CHEST_CAD, DIR_REC_SR_DOCUMENT},
    {UID_XRAY_RADIATION_DOSE_SR, DIR_REC_SR_DOCUMENT},
    {UID_ENCAPSULATED_PDF_STORAGE, DIR_REC_ENCAP_DOC},
    {UID_ENCAPSULATED_CDA_STORAGE, DIR_REC_ENCAP_DOC},
    {UID_PET_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_PET_CURVE_STORAGE, DIR_REC_CURVE},
    {UID_RT_IMAGE_STORAGE, DIR_REC_IMAGE},
    {UID_RT_DOSE_STORAGE, DIR_REC_RT_DOSE},
    {UID_RT_STRUCTURE_SET_STORAGE, DIR_REC_RT_STRUCTURE_SET},
    {UID_RT_TREATMENT_RECORD_STORAGE, DIR_REC_RT_TREAT_RECORD},
    {UID_RT_PLAN_STORAGE, DIR_REC_RT_PLAN},
    {UID_RT_BRACHY_TREATMENT_RECORD_STORAGE, DIR_REC_RT_TREAT_RECORD},
    {UID_RT_TREATMENT_SUMMARY_RECORD_STORAGE, DIR_REC_RT_TREAT_RECORD},
    {UID_RT_ION_PLAN_STORAGE, DIR_REC_RT_PLAN},
    {UID_RT_ION_BEAMS_TREATMENT_RECORD_STORAGE, DIR_REC_RT_TREAT_RECORD},
    {UID_RT_BEAMS_DELIVERY_INSTRUCTION_STORAGE, DIR_REC_PRIVATE},
    {UID_HANGING_PROTOCOL_STORAGE, DIR_REC_HANGING_PROTOCOL},
    {UID_ORVKIT5_LZW_STORAGE, DIR_REC_IMAGE},
    {UID_GE_PLAN_STORAGE, DIR_REC_PRIVATE},
    {UID_GE_MACHINE_STORAGE, DIR_REC_PRIVATE},
};

const std::unordered_map<std::string_view, DIR_REC>& typeByClass() {
    static const auto types = [] {
        std::unordered_map<std::string_view, DIR_REC> all;
        for (const ClassType& row : classTypes) {
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

DIR_REC recordTypeOf(std::string_view sopClassUid, bool hasRows) {
    const auto found = typeByClass().find(sopClassUid);
    if (found != typeByClass().end()) return found->second;
    return hasRows ? DIR_REC_IMAGE : DIR_REC_PRIVATE;
}

}  // namespace services
