#include "services/outgoing_copy.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "dictionary/uid_text.h"
#include "orvkit/dict.h"
#include "orvkit/file.h"
#include "orvkit/image.h"
#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "services/conversion.h"
#include "services/elements.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {

namespace {

// False: there is no place for it.
bool beginCopy(orvkit::platform::NewFile& copy, std::filesystem::path& folder) {
    std::error_code error;
    folder = std::filesystem::temp_directory_path(error);
    return !error && copy.begin(nameOf(folder));
}
constexpr const char* kNoPlace = "no copy of it can be made where temporary files are kept";

// PS3.4 table Z.1-1, and what stands beside such values to find them.
bool isBulkData(unsigned int tag) {
    constexpr unsigned int tags[] = {DcTag::PixelData,
                                     DcTag::FloatPixelData,
                                     DcTag::DoubleFloatPixelData,
                                     DcTag::ExtendedOffsetTable,
                                     DcTag::ExtendedOffsetTableLengths,
                                     DcTag::PixelDataProviderURL,
                                     DcTag::SpectroscopyData,
                                     DcTag::EncapsulatedDocument};
    const unsigned int family = tag & 0xFF01FFFF;  // of repeating groups
    return std::ranges::find(tags, tag) != std::end(tags) || family == 0x60003000 || family == 0x50003000 ||
           family == 0x5000200C;
}

void dropBulkData(DcElemList& dataset) {
    for (DcElem* element = dataset.first(); element != nullptr;) {
        const unsigned int tag = tagOf(*element);
        element = element->next();
        if (isBulkData(tag)) drop(dataset, tag);
    }
    auto* const waveforms = dynamic_cast<DcElemSq*>(elementOf(dataset, DcTag::WaveformSequence));
    for (auto* item = waveforms != nullptr ? waveforms->first() : nullptr; item != nullptr;
         item = item->next())
        drop(item->getElemList(), DcTag::WaveformData);
}

}  // namespace

std::string copyWithoutBulkData(const std::string& path, FileIdentity& object,
                                orvkit::platform::NewFile& copy) {
    std::filesystem::path folder;
    if (!beginCopy(copy, folder)) return kNoPlace;
    DcDirMetaInfo meta;
    DcElemList dataset;
    DcDirAround around;
    int result = dirReadAroundPixels(path.c_str(), meta, dataset, around);
    if (result == RESULT_OK) {
        if (around.xferSyn == UID_LITTLE_ENDIAN_IMPLICIT) settleSignedWords(dataset, false);
        dropBulkData(dataset);
        object.xferSyn = meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
        result = dirWriteFile(copy.path().c_str(), meta, dataset);
    }
    return result == RESULT_OK ? "" : "a copy of it without bulk data: " + resultText(result);
}

std::string copyInSyntax(const std::string& path, const FileIdentity& object, bool odd, DICT_UID syntax,
                         orvkit::platform::NewFile& copy) {
    std::filesystem::path folder;
    if (!beginCopy(copy, folder)) return kNoPlace;
    ConversionRequest request;
    request.in = path;
    request.beside = nameOf(folder / "copy");
    request.target = syntax;
    if (Dict.isEncapsulated(syntax) != 0 && syntax != object.xferSyn)
        request.frames.target = imageFindCodec(orvkit::uidText(syntax));
    request.force = odd;
    request.sopClass = object.sopClass;
    request.instance = object.instance;
    Conversion conversion(request);
    std::string fault;
    if (conversion.prepare()) {
        const int result = conversion.write(copy.path());
        if (result == RESULT_OK) return "";
        fault = "a copy of it: " + resultText(result);
    } else {
        fault = conversion.fault();
        if (!conversion.notes().empty()) fault += " (" + conversion.notes().front() + ")";
    }
    return syntax == object.xferSyn ? fault
                                    : "the peer does not take " + describeUid(object.xferSyn) +
                                          ", and it cannot be converted: " + fault;
}

}  // namespace services
