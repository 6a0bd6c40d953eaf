#include "services/accepted_uids.h"

#include <string_view>

#include "orvkit/result.h"

namespace services {
namespace {

// In order of preference where a peer leaves the choice: as it is kept most simply, then compressed.
constexpr const char* transferSyntaxes[] = {
    "1.2.840.10008.1.2.1",      // Explicit VR Little Endian
    "1.2.840.10008.1.2",        // Implicit VR Little Endian
    "1.2.840.10008.1.2.2",      // Explicit VR Big Endian
    "1.2.840.10008.1.2.1.99",   // Deflated Explicit VR Little Endian
    "1.2.840.10008.1.2.4.70",   // JPEG Lossless, first-order prediction
    "1.2.840.10008.1.2.4.57",   // JPEG Lossless
    "1.2.840.10008.1.2.4.80",   // JPEG-LS Lossless
    "1.2.840.10008.1.2.4.90",   // JPEG 2000 Lossless
    "1.2.840.10008.1.2.4.92",   // JPEG 2000 Multi-component Lossless
    "1.2.840.10008.1.2.4.201",  // High-Throughput JPEG 2000 Lossless
    "1.2.840.10008.1.2.4.202",  // High-Throughput JPEG 2000 Lossless RPCL
    "1.2.840.10008.1.2.4.110",  // JPEG XL Lossless
    "1.2.840.10008.1.2.5",      // RLE Lossless
    "1.3.6.1.4.1.70707.1.2.1",  // LZW
    "1.2.840.10008.1.2.4.50",   // JPEG Baseline
    "1.2.840.10008.1.2.4.51",   // JPEG Extended
    "1.2.840.10008.1.2.4.53",   // JPEG Spectral Selection
    "1.2.840.10008.1.2.4.55",   // JPEG Full Progression
    "1.2.840.10008.1.2.4.81",   // JPEG-LS Near-Lossless
    "1.2.840.10008.1.2.4.91",   // JPEG 2000
    "1.2.840.10008.1.2.4.93",   // JPEG 2000 Multi-component
    "1.2.840.10008.1.2.4.203",  // High-Throughput JPEG 2000
    "1.2.840.10008.1.2.4.111",  // JPEG XL JPEG Recompression
    "1.2.840.10008.1.2.4.112",  // JPEG XL
    "1.2.840.10008.1.2.4.100",  // MPEG2 Main Profile / Main Level
    "1.2.840.10008.1.2.4.101",  // MPEG2 Main Profile / High Level
    "1.2.840.10008.1.2.4.102",  // MPEG-4 AVC/H.264 High Profile / Level 4.1
    "1.2.840.10008.1.2.4.103",  // MPEG-4 AVC/H.264 BD-compatible
    "1.2.840.10008.1.2.4.104",  // MPEG-4 AVC/H.264 High Profile / Level 4.2, 2D
    "1.2.840.10008.1.2.4.106",  // MPEG-4 AVC/H.264 Stereo
    "1.2.840.10008.1.2.4.107",  // HEVC/H.265 Main Profile / Level 5.1
    "1.2.840.10008.1.2.4.108",  // HEVC/H.265 Main 10 Profile / Level 5.1
};
static_assert(std::size(transferSyntaxes) <= MSM_XFER_SYN_MAX);

struct SopClass {
    const char* uid;
    const char* name;
};
// Of later editions (PS3.4 B.5), below 1.2.840.10008.5.1.4.
constexpr SopClass laterClasses[] = {
    {"1.1.2.2", "Legacy Converted Enhanced CT Image Storage"},
    {"1.1.4.3", "Enhanced MR Color Image Storage"},
    {"1.1.4.4", "Legacy Converted Enhanced MR Image Storage"},
    {"1.1.6.2", "Enhanced US Volume Storage"},
    {"1.1.11.5", "XA/XRF Grayscale Softcopy Presentation State Storage"},
    {"1.1.11.8", "Advanced Blending Presentation State Storage"},
    {"1.1.13.1.3", "Breast Tomosynthesis Image Storage"},
    {"1.1.13.1.4", "Breast Projection X-Ray Image Storage - For Presentation"},
    {"1.1.14.1", "Intravascular OCT Image Storage - For Presentation"},
    {"1.1.30", "Parametric Map Storage"},
    {"1.1.66.5", "Surface Segmentation Storage"},
    {"1.1.66.6", "Tractography Results Storage"},
    {"1.1.66.7", "Label Map Segmentation Storage"},
    {"1.1.77.1.5.7", "Ophthalmic OCT En Face Image Storage"},
    {"1.1.77.1.5.8", "Ophthalmic OCT B-scan Volume Analysis Storage"},
    {"1.1.77.1.6", "VL Whole Slide Microscopy Image Storage"},
    {"1.1.77.1.7", "Dermoscopic Photography Image Storage"},
    {"1.1.78.7", "Ophthalmic Axial Measurements Storage"},
    {"1.1.80.1", "Ophthalmic Visual Field Static Perimetry Storage"},
    {"1.1.81.1", "Ophthalmic Thickness Map Storage"},
    {"1.1.88.34", "Comprehensive 3D SR Storage"},
    {"1.1.88.35", "Extensible SR Storage"},
    {"1.1.88.68", "Radiopharmaceutical Radiation Dose SR Storage"},
    {"1.1.88.71", "Acquisition Context SR Storage"},
    {"1.1.91.1", "Microscopy Bulk Simple Annotations Storage"},
    {"1.1.104.3", "Encapsulated STL Storage"},
    {"1.1.104.4", "Encapsulated OBJ Storage"},
    {"1.1.128.1", "Legacy Converted Enhanced PET Image Storage"},
    {"1.1.130", "Enhanced PET Image Storage"},
    {"39.1", "Color Palette Storage"},
};

constexpr std::string_view laterRoot = "1.2.840.10008.5.1.4.";
constexpr std::string_view storageRoot = "1.2.840.10008.5.1.4.1.1.";

// The dictionary's number for a UID, which is added when it is new; UID_NONE when there is no room.
DICT_UID numberOf(const char* uid, const char* name, DICT_UID_TYPE type) {
    DICT_UID value = UID_NONE;
    if (Dict.getUidDef(uid, value) == RESULT_OK) return value;
    return Dict.add(uid, name, &value, type) == RESULT_OK ? value : UID_NONE;
}

bool isStorage(const DcDictUidInfo& uid) {
    if (uid.type != UID_TYPE_SOP || uid.value == UID_MEDIA_STORAGE_DIR_STORAGE) return false;
    const std::string_view text(uid.uid);
    const std::string_view name(uid.desc);
    constexpr std::string_view storage = "Storage";
    return text.substr(0, storageRoot.size()) == storageRoot ||
           (name.size() > storage.size() && name.substr(name.size() - storage.size()) == storage);
}

}  // namespace

std::vector<DcMsmSopXferSyn> storageSupport() {
    DcMsmSopXferSyn entry;
    int count = 0;
    for (const char* uid : transferSyntaxes) {
        const DICT_UID value = numberOf(uid, nullptr, UID_TYPE_XFER_SYN);
        if (value != UID_NONE) entry.xferSyn[count++] = value;
    }
    for (const SopClass& later : laterClasses) {
        (void)numberOf((std::string(laterRoot) + later.uid).c_str(), later.name, UID_TYPE_SOP);
    }
    entry.sopClass = UID_VERIFICATION;
    std::vector<DcMsmSopXferSyn> list{entry};
    for (std::size_t i = 0; i < Dict.uidSlots() && list.size() < MSM_SOP_MAX - 1; ++i) {
        const DcDictUidInfo& uid = Dict.uidAt(i);
        if (uid.value == UID_NONE || !isStorage(uid)) continue;
        entry.sopClass = uid.value;
        list.push_back(entry);
    }
    list.emplace_back();
    return list;
}

}  // namespace services
