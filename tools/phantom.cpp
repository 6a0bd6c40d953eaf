// orvkit phantom: a small synthetic CT study of a computed head (CT Image IOD, PS3.3 A.3), or the procedure
// step that a modality is asked for it by (PS3.4 K.6.1.2.2).
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "foundation/identity.h"
#include "foundation/text.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "services/head_phantom.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/whole_file.h"
#include "tools/commands.h"

namespace tools {
namespace {

namespace fs = std::filesystem;

struct StudyPlan {
    std::string directory;
    std::string kind = "study";
    unsigned int size = 256;
    unsigned int series = 2;
    unsigned int images = 6;  // in each series
    std::uint32_t seed = 1;
};

// How a series was reconstructed: what sets one from the other.
struct Reconstruction {
    const char* description;
    const char* kernel;
    double noise;  // HU
    int windowCenter;
    int windowWidth;
};

constexpr Reconstruction reconstructions[] = {
    {"Head, soft tissue", "SOFT", 4, 40, 100},
    {"Head, bone", "BONE", 25, 500, 2500},
    {"Head, standard", "STANDARD", 8, 40, 350},
};

constexpr double fieldOfView = 240;  // mm
constexpr double coveredHeight = 160;

// The same in every run with the same seed: under the library's root, a branch for phantoms, the seed, and
// the place in the study.
std::string uidFor(const StudyPlan& plan, const std::string& place) {
    return ORVKIT_UID_ROOT ".9.1." + std::to_string(plan.seed) + "." + place;
}

std::string number(const char* format, double value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

constexpr const char* studyDate = "20240115";
constexpr const char* studyTime = "101500";
constexpr const char* studyDescription = "Synthetic head CT";

void addText(DcElemList& list, unsigned int tag, const std::string& value) {
    list.add(new DcElem(tag, value.c_str()));
}

// What the study and the order of it say alike.
void addPatientAndOrder(DcElemList& list, const StudyPlan& plan) {
    addText(list, T_0008_0005_specificCharacterSet, "ISO_IR 100");
    addText(list, T_0010_0010_patientsName, "Phantom^Head");
    addText(list, T_0010_0020_patientId, "PHANTOM-" + std::to_string(plan.seed));
    addText(list, T_0010_0030_patientsBirthDate, "19800229");
    addText(list, T_0010_0040_patientsSex, "O");
    addText(list, T_0020_000d_studyInstanceUid, uidFor(plan, "1"));
    addText(list, T_0008_0090_referringPhysiciansName, "");
    addText(list, T_0008_0050_accessionNumber, "");
}

bool writeObject(const std::string& path, DcDirMetaInfo meta, DcElemList& list) {
    WholeFile file(path);
    if (!file.ok()) return false;
    meta.version = 1;
    meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    const int result = dirWriteFile(file.temporaryPath().c_str(), meta, list);
    if (result != RESULT_OK) complain("%s: %s", path.c_str(), resultText(result).c_str());
    return result == RESULT_OK && file.commit();
}

// One image of the study.
class PhantomImage {
  public:
    PhantomImage(const StudyPlan& plan, unsigned int series, unsigned int image)
        : plan_(plan),
          series_(series),
          image_(image),
          reconstruction_(reconstructions[series % std::size(reconstructions)]),
          spacing_(coveredHeight / plan.images),
          z_((image - (plan.images - 1) / 2.0) * spacing_) {}

    bool write(const std::string& path) {
        patientAndStudy();
        seriesAndEquipment();
        imageAndPlane();
        pixels();
        return writeObject(path, {}, list_);
    }

  private:
    void text(unsigned int tag, const std::string& value) { addText(list_, tag, value); }
    void integer(unsigned int tag, unsigned int value) {
        list_.add(new DcElem(tag, static_cast<int>(value)));
    }
    void word(unsigned int tag, unsigned int value) {
        list_.add(new DcElem(tag, static_cast<unsigned short>(value)));
    }

    void dateAndTime(unsigned int dateTag, unsigned int timeTag) {
        text(dateTag, studyDate);
        text(timeTag, studyTime);
    }

    // Patient and General Study modules, and what SOP Common asks for.
    void patientAndStudy() {
        addPatientAndOrder(list_, plan_);
        dateAndTime(T_0008_0020_studyDate, T_0008_0030_studyTime);
        text(T_0020_0010_studyId, "1");
        text(T_0008_1030_studyDescription, studyDescription);
    }

    // General Series, Frame of Reference and General Equipment modules.
    void seriesAndEquipment() {
        text(T_0008_0060_modality, "CT");
        text(T_0020_000e_seriesInstanceUid, uidFor(plan_, "1." + std::to_string(series_ + 1)));
        integer(T_0020_0011_seriesNumber, series_ + 1);
        dateAndTime(T_0008_0021_seriesDate, T_0008_0031_seriesTime);
        text(T_0008_103e_seriesDescription, reconstruction_.description);
        text(T_0018_0015_bodyPartExamined, "HEAD");
        text(T_0018_5100_patientPosition, "HFS");
        text(T_0020_0052_frameOfReferenceUid, uidFor(plan_, "2"));
        text(T_0020_1040_positionReferenceIndicator, "");
        text(T_0008_0070_manufacturer, "orvKIT");
        text(T_0008_1090_manufacturersModelName, "Computed head phantom");
        text(T_0018_1020_softwareVersions, ORVKIT_VERSION);
    }

    // General Image, Image Plane and CT Image modules.
    void imageAndPlane() {
        const std::string pixel = number("%.6f", fieldOfView / plan_.size);
        const std::string corner = number("%.4f", fieldOfView / plan_.size / 2 - fieldOfView / 2);
        list_.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
        text(T_0008_0018_sopInstanceUid,
             uidFor(plan_, "1." + std::to_string(series_ + 1) + "." + std::to_string(image_ + 1)));
        text(T_0008_0008_imageType, "ORIGINAL\\PRIMARY\\AXIAL");
        integer(T_0020_0013_instanceNumber, image_ + 1);
        integer(T_0020_0012_acquisitionNumber, 1);
        dateAndTime(T_0008_0022_acquisitionDate, T_0008_0032_acquisitionTime);
        dateAndTime(T_0008_0023_contentDate, T_0008_0033_contentTime);
        text(T_0028_0030_pixelSpacing, pixel + "\\" + pixel);
        text(T_0020_0037_imageOrientationPatient, "1\\0\\0\\0\\1\\0");
        text(T_0020_0032_imagePositionPatient, corner + "\\" + corner + "\\" + number("%.4f", z_));
        text(T_0018_0050_sliceThickness, number("%.4f", spacing_));
        text(T_0020_1041_sliceLocation, number("%.4f", z_));
        text(T_0018_0060_kvp, "120");
        text(T_0018_1151_xRayTubeCurrent, "200");
        text(T_0018_1210_convolutionKernel, reconstruction_.kernel);
        text(T_0028_1052_rescaleIntercept, "-1024");
        text(T_0028_1053_rescaleSlope, "1");
        text(T_0028_1054_rescaleType, "HU");
        integer(T_0028_1050_windowCenter, static_cast<unsigned int>(reconstruction_.windowCenter));
        integer(T_0028_1051_windowWidth, static_cast<unsigned int>(reconstruction_.windowWidth));
    }

    // Image Pixel module: 12 of 16 bits, unsigned.
    void pixels() {
        word(T_0028_0002_samplesPerPixel, 1);
        text(T_0028_0004_photometricInterpretation, "MONOCHROME2");
        word(T_0028_0010_rows, plan_.size);
        word(T_0028_0011_columns, plan_.size);
        word(T_0028_0100_bitsAllocated, 16);
        word(T_0028_0101_bitsStored, 12);
        word(T_0028_0102_highBit, 11);
        word(T_0028_0103_pixelRepresentation, 0);
        SliceRequest request;
        request.size = plan_.size;
        request.z = z_ / (coveredHeight / 2);
        request.noise = reconstruction_.noise;
        request.noiseSeed = (std::uint64_t{plan_.seed} << 32) + (series_ << 16) + image_;
        std::vector<std::uint16_t> values = headSlice(request);
        list_.add(new DcElem(T_7fe0_0010_pixelData, values.data(),
                             static_cast<unsigned int>(values.size() * sizeof values[0]),
                             UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
    }

    const StudyPlan& plan_;
    unsigned int series_;
    unsigned int image_;
    const Reconstruction& reconstruction_;
    double spacing_;  // mm
    double z_;        // mm from the middle of the head
    DcElemList list_;
};

// Names as a file set on media has them: upper case, at most eight characters (PS3.10 8.2).
std::string component(const char* prefix, unsigned int index) {
    char text[16];
    std::snprintf(text, sizeof text, "%s%06u", prefix, index + 1);
    return text;
}

// The scheduled procedure step of the study.
bool writeStep(const StudyPlan& plan, const std::string& path) {
    DcElemList list;
    addPatientAndOrder(list, plan);
    addText(list, T_0032_1032_requestingPhysician, "");
    addText(list, T_0032_1060_requestedProcedureDescription, studyDescription);
    addText(list, T_0040_1001_requestedProcedureId, "1");
    addText(list, T_0040_1003_requestedProcedurePriority, "ROUTINE");
    auto steps = std::make_unique<DcElemSq>(T_0040_0100_scheduledProcedureStepSequence);
    DcElemList& step = steps->add(new DcElemSqItem())->getElemList();
    addText(step, T_0008_0060_modality, "CT");
    addText(step, T_0040_0001_scheduledStationAeTitle, "PHANTOM");
    addText(step, T_0040_0002_scheduledProcedureStepStartDate, studyDate);
    addText(step, T_0040_0003_scheduledProcedureStepStartTime, studyTime);
    addText(step, T_0040_0006_scheduledPerformingPhysiciansName, "");
    addText(step, T_0040_0007_scheduledProcedureStepDescription, studyDescription);
    addText(step, T_0040_0009_scheduledProcedureStepId, "1");
    addText(step, T_0040_0010_scheduledStationName, "PHANTOM");
    addText(step, T_0040_0011_scheduledProcedureStepLocation, "");
    list.add(steps.release());
    DcDirMetaInfo meta;
    meta.sopClassUid = UID_MODALITY_WORKLIST_FIND;
    orvkit::copyText(meta.sopInstanceUid, uidFor(plan, "3"));
    return writeObject(path, meta, list);
}

int runStep(const StudyPlan& plan) {
    std::error_code error;
    fs::create_directories(pathOf(plan.directory), error);
    if (error) return failed("%s: %s", plan.directory.c_str(), error.message().c_str());
    const std::string path =
        nameOf(pathOf(plan.directory) / ("PHANTOM-" + std::to_string(plan.seed) + ".dcm"));
    if (!writeStep(plan, path)) return EXIT_FAILED;
    std::printf("%s: a scheduled procedure step\n", path.c_str());
    return EXIT_OK;
}

int runPhantom(const StudyPlan& plan) {
    for (unsigned int series = 0; series < plan.series; ++series) {
        const fs::path directory = pathOf(plan.directory) / component("SE", series);
        std::error_code error;
        fs::create_directories(directory, error);
        if (error) return failed("%s: %s", nameOf(directory).c_str(), error.message().c_str());
        for (unsigned int image = 0; image < plan.images; ++image) {
            const std::string path = nameOf(directory / component("IM", image));
            if (!PhantomImage(plan, series, image).write(path)) return EXIT_FAILED;
        }
    }
    std::printf("%s: %u series of %u images, %u x %u pixels\n", plan.directory.c_str(), plan.series,
                plan.images, plan.size, plan.size);
    return EXIT_OK;
}

}  // namespace

void addPhantom(Command& program) {
    Command& command = program.command(
        "phantom", "Make a synthetic CT study of a computed head, or the procedure step of it");
    auto plan = std::make_shared<StudyPlan>();
    command.text("DIR", plan->directory, "Where to write it; made when it is missing")
        .required()
        .check([](const std::string& text) { return text.empty() ? "no name" : std::string(); });
    command
        .text("--kind WHAT", plan->kind,
              "The study, or its scheduled procedure step, for serve --worklist: PHANTOM-SEED.dcm")
        .oneOf({"study", "worklist"});
    command.number("--size", plan->size, "Rows and columns of an image").range(16, 4096);
    command.number("--images", plan->images, "Images in a series").range(1, 9999);
    command.number("--series", plan->series, "Series in the study").range(1, 999);
    command.number("--seed", plan->seed, "The same seed gives the same files");
    command.run([plan] { return plan->kind == "worklist" ? runStep(*plan) : runPhantom(*plan); });
}

}  // namespace tools
