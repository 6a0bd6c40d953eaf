#include "services/import_object.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <span>
#include <string_view>

#include "foundation/version.h"
#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "services/elements.h"
#include "services/import_source.h"
#include "services/new_uid.h"
#include "services/paths.h"
#include "services/recode.h"
#include "services/report.h"
#include "services/tag_names.h"
#include "services/values.h"
#include "services/whole_file.h"

namespace services {
namespace {

// How an attribute gets its value where nobody has given one.
enum class Fill { text, uid, date, time, sequence, millimetres };

struct Attribute {
    unsigned int tag;
    char type;  // '1' must have a value, '2' must be there
    Fill fill = Fill::text;
    const char* text = "";
};

// What every composite object has (PS3.3 C.7.1.1, C.7.2.1, C.7.3.1, C.7.5.1, C.12.1).
constexpr Attribute kAll[] = {
    {DcTag::PatientName, '2'},
    {DcTag::PatientID, '2'},
    {DcTag::PatientBirthDate, '2'},
    {DcTag::PatientSex, '2'},
    {DcTag::StudyDate, '2'},
    {DcTag::StudyTime, '2'},
    {DcTag::StudyID, '2'},
    {DcTag::AccessionNumber, '2'},
    {DcTag::ReferringPhysicianName, '2'},
    {DcTag::SeriesNumber, '1', Fill::text, "1"},
    {DcTag::SOPInstanceUID, '1', Fill::uid},
    {DcTag::Manufacturer, '1', Fill::text, "orvKIT"},
    {DcTag::InstanceCreationDate, '1', Fill::date},
    {DcTag::InstanceCreationTime, '1', Fill::time},
};

// Secondary Capture (PS3.3 A.8).
constexpr Attribute kPictures[] = {
    {DcTag::Modality, '1', Fill::text, "OT"},
    {DcTag::ConversionType, '1', Fill::text, "WSD"},
    {DcTag::ImageType, '1', Fill::text, "DERIVED\\SECONDARY"},
    {DcTag::ContentDate, '1', Fill::date},
    {DcTag::ContentTime, '1', Fill::time},
    {DcTag::PatientOrientation, '2'},
    {DcTag::Laterality, '2'},
};
// More of it where it has several frames.
constexpr Attribute kPages[] = {
    {DcTag::BurnedInAnnotation, '1', Fill::text, "YES"},
    {DcTag::PageNumberVector, '1'},
};

// Encapsulated documents (PS3.3 C.24). Whoever cannot look inside takes it that names stand there.
constexpr Attribute kDocuments[] = {
    {DcTag::Modality, '1', Fill::text, "DOC"},
    {DcTag::ContentDate, '2'},
    {DcTag::ContentTime, '2'},
    {DcTag::AcquisitionDateTime, '2'},
    {DcTag::BurnedInAnnotation, '1', Fill::text, "YES"},
    {DcTag::DocumentTitle, '2'},
    {DcTag::ConceptNameCodeSequence, '2', Fill::sequence},
};
constexpr Attribute kPapers[] = {
    {DcTag::ConversionType, '1', Fill::text, "WSD"},
};
constexpr Attribute kCda[] = {
    {DcTag::HL7InstanceIdentifier, '1'},
};
constexpr Attribute kModelRows[] = {
    {DcTag::Modality, '1', Fill::text, "M3D"},
    {DcTag::FrameOfReferenceUID, '1', Fill::uid},
    {DcTag::PositionReferenceIndicator, '2'},
    {DcTag::ManufacturerModelName, '1', Fill::text, "orvkit import"},
    {DcTag::DeviceSerialNumber, '1', Fill::text, "0"},
    {DcTag::SoftwareVersions, '1', Fill::text, ORVKIT_VERSION},
    {DcTag::MeasurementUnitsCodeSequence, '1', Fill::millimetres},
};

// Video Photographic Image (PS3.3 A.32.7).
constexpr Attribute kVideos[] = {
    {DcTag::Modality, '1', Fill::text, "XC"},
    {DcTag::ImageType, '1', Fill::text, "ORIGINAL\\PRIMARY"},
    {DcTag::ContentDate, '1', Fill::date},
    {DcTag::ContentTime, '1', Fill::time},
    {DcTag::PatientOrientation, '2'},
    {DcTag::AcquisitionContextSequence, '2', Fill::sequence},
    {DcTag::NumberOfFrames, '1'},
    {DcTag::FrameTime, '1'},
};

// Of whose patient and study an object like another one is.
constexpr unsigned int kOfStudy[] = {
    DcTag::PatientName, DcTag::PatientID,        DcTag::IssuerOfPatientID, DcTag::PatientBirthDate,
    DcTag::PatientSex,  DcTag::PatientAge,       DcTag::PatientSize,       DcTag::PatientWeight,
    DcTag::EthnicGroup, DcTag::StudyInstanceUID, DcTag::StudyDate,         DcTag::StudyTime,
    DcTag::StudyID,     DcTag::StudyDescription, DcTag::AccessionNumber,   DcTag::ReferringPhysicianName,
};

std::string now(const char* format) {
    const std::time_t seconds = std::time(nullptr);
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), format, std::localtime(&seconds));
    return text.data();
}

void fill(DcElemList& dataset, const Attribute& attribute) {
    switch (attribute.fill) {
        case Fill::text:
            return put(dataset, attribute.tag, attribute.text);
        case Fill::uid:
            return put(dataset, attribute.tag, newUid());
        case Fill::date:
            return put(dataset, attribute.tag, now("%Y%m%d"));
        case Fill::time:
            return put(dataset, attribute.tag, now("%H%M%S"));
        case Fill::sequence:
            dataset.add(new DcElemSq(attribute.tag));
            return;
        case Fill::millimetres:
            break;
    }
    auto unit = std::make_unique<DcElemSqItem>();
    put(unit->getElemList(), DcTag::CodeValue, "mm");
    put(unit->getElemList(), DcTag::CodingSchemeDesignator, "UCUM");
    put(unit->getElemList(), DcTag::CodeMeaning, "mm");
    auto units = std::make_unique<DcElemSq>(attribute.tag);
    units->add(unit.release());
    dataset.add(units.release());
}

// Fills what is missing; gives the keywords of what cannot be made up.
std::string fillAll(DcElemList& dataset, std::span<const Attribute> attributes) {
    std::string missing;
    for (const Attribute& attribute : attributes) {
        DcElem* const there = elementOf(dataset, attribute.tag);
        if (there == nullptr) fill(dataset, attribute);
        const bool isSequence = attribute.fill == Fill::sequence || attribute.fill == Fill::millimetres;
        if (attribute.type == '1' && !isSequence && textOf(dataset, attribute.tag).empty())
            missing += (missing.empty() ? "" : ", ") + keywordOf(attribute.tag);
    }
    return missing;
}

// One run: what its objects have in common.
class Import {
  public:
    explicit Import(const ImportRequest& request) : request_(request) {}

    bool run() {
        if (!parseKeys() || (!request_.like.empty() && !readLike())) return false;
        bool good = true;
        for (const std::string& file : request_.files) good = make(file) && good;
        return good;
    }

  private:
    bool parseKeys() {
        for (const std::string& key : request_.keys) {
            const std::size_t equals = key.find('=');
            const std::string name = key.substr(0, equals);
            const std::vector<unsigned int> tags = tagsNamed(name);
            if (tags.empty()) return complain("key %s: %s", key.c_str(), noTagText(name).c_str());
            const DICT_VR vr = Dict.facts(tags.front()).vr;
            if (equals == std::string::npos) return complain("key %s: no value", key.c_str());
            if (vr == VR_SQ || kindOf(vr) == ValueKind::raw || tags.front() <= 0x0002FFFF ||
                tags.front() >= 0x7FE00000)
                return complain("key %s: not an element that can be set", key.c_str());
            values_[tags.front()] = key.substr(equals + 1);
        }
        return true;
    }
    bool readLike() {
        DcDirMetaInfo meta;
        DcElemList other;
        DcDirAround around;
        const int result = dirReadAroundPixels(request_.like.c_str(), meta, other, around);
        if (result != RESULT_OK && result != ELEM_VALUE_REFUSED)
            return complain("%s: %s", request_.like.c_str(), resultText(result).c_str());
        DcElemList kept;
        move(other, DcTag::SpecificCharacterSet, kept);
        for (const unsigned int tag : kOfStudy) move(other, tag, kept);
        const std::vector<std::string> faults = recodeToUtf8(kept);
        for (const std::string& fault : faults) complain("%s: %s", request_.like.c_str(), fault.c_str());
        for (const unsigned int tag : kOfStudy) {
            if (DcElem* element = elementOf(kept, tag)) {
                std::string bytes;
                if (bytesOf(*element, bytes)) like_[tag] = bytes;
            }
        }
        return faults.empty();
    }
    static void move(DcElemList& from, unsigned int tag, DcElemList& to) {
        DcElem* const element = elementOf(from, tag);
        if (element == nullptr) return;
        from.subtract(element);
        to.add(element);
    }

    std::string target(const std::string& file) const {
        if (request_.outIsFile) return request_.out;
        return nameOf(pathOf(request_.out) / pathOf(nameOf(pathOf(file).filename()) + ".dcm"));
    }

    bool make(const std::string& file) {
        ImportSource source;
        if (!source.open(file)) return complain("%s: %s", file.c_str(), source.fault().c_str());
        if (!source.note().empty()) complain("%s: %s", file.c_str(), source.note().c_str());
        DcElemList dataset;
        source.describe(dataset);
        if (std::string missing = complete(source, dataset); !missing.empty()) {
            return complain("%s: %s must be told with -k; nothing was written", file.c_str(),
                            missing.c_str());
        }
        const std::string path = target(file);
        std::error_code error;
        if (const auto folder = pathOf(path).parent_path(); !folder.empty()) {
            std::filesystem::create_directories(folder, error);
            if (error) return complain("%s: %s", nameOf(folder).c_str(), error.message().c_str());
        }
        WholeFile whole(path);
        if (!whole.ok()) return false;
        DcDirMetaInfo meta;
        meta.version = 1;
        meta.transferSyntax = source.xferSyn();
        const int result = dirWriteFile(whole.temporaryPath().c_str(), meta, dataset);
        if (result != RESULT_OK) return complain("%s: %s", path.c_str(), resultText(result).c_str());
        return whole.commit();
    }

    // Everything but what the file decides; gives what is missing.
    std::string complete(const ImportSource& source, DcElemList& dataset) {
        put(dataset, DcTag::SpecificCharacterSet, "ISO_IR 192");
        put(dataset, DcTag::SOPClassUID, source.sopClass());
        put(dataset, DcTag::StudyInstanceUID, study_);
        std::string& series = series_[source.sopClass()];
        if (series.empty()) series = newUid();
        put(dataset, DcTag::SeriesInstanceUID, series);
        put(dataset, DcTag::InstanceNumber, std::to_string(++instances_[source.sopClass()]));
        pages(dataset, source);
        for (const auto& [tag, value] : like_) put(dataset, tag, value);
        for (const auto& [tag, value] : values_) put(dataset, tag, value);
        std::string missing;
        const auto need = [&](std::span<const Attribute> attributes) {
            const std::string more = fillAll(dataset, attributes);
            missing += (missing.empty() || more.empty() ? "" : ", ") + more;
        };
        switch (source.kind()) {
            case ImportKind::pictures:
                need(kPictures);
                if (dataset.getValueCount(DcTag::NumberOfFrames) > 0) need(kPages);
                break;
            case ImportKind::model:
                need(kModelRows);
                need(kDocuments);
                break;
            case ImportKind::document:
                need(kDocuments);
                need(kPapers);
                if (source.sopClass().ends_with(".104.2")) need(kCda);
                break;
            case ImportKind::video:
                need(kVideos);
                break;
        }
        need(kAll);
        return missing;
    }
    // Frames that are pages say so (PS3.3 C.8.6.3).
    static void pages(DcElemList& dataset, const ImportSource& source) {
        const std::string frames = textOf(dataset, DcTag::NumberOfFrames);
        if (source.kind() != ImportKind::pictures || frames.empty()) return;
        std::string numbers = "1";
        for (int page = 2; page <= std::atoi(frames.c_str()); ++page) numbers += "\\" + std::to_string(page);
        put(dataset, DcTag::PageNumberVector, numbers);
        dataset.add(new DcElem(DcTag::FrameIncrementPointer, unsigned{DcTag::PageNumberVector}));
    }
    const ImportRequest& request_;
    std::map<unsigned int, std::string> values_;  // as the user gave them
    std::map<unsigned int, std::string> like_;
    const std::string study_ = newUid();
    std::map<std::string, std::string> series_;  // by SOP class
    std::map<std::string, int> instances_;
};

}  // namespace

bool importFiles(const ImportRequest& request) {
    return Import(request).run();
}

}  // namespace services
