#include "services/image_attributes.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string_view>

#include "orvkit/keywords.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "services/elements.h"
#include "services/new_uid.h"

namespace services {
namespace {

unsigned int word(DcElemList& dataset, unsigned int tag, unsigned int missing) {
    unsigned short value = 0;
    return dataset.getValue(tag, value) == RESULT_OK ? value : missing;
}

// How a loss is named, by the transfer syntax (PS3.3 C.7.6.1.1.5.1).
constexpr struct {
    std::string_view syntax;
    const char* method;
} kMethods[] = {
    {"1.2.840.10008.1.2.4.50", "ISO_10918_1"},   {"1.2.840.10008.1.2.4.51", "ISO_10918_1"},
    {"1.2.840.10008.1.2.4.81", "ISO_14495_1"},   {"1.2.840.10008.1.2.4.91", "ISO_15444_1"},
    {"1.2.840.10008.1.2.4.203", "ISO_15444_15"}, {"1.2.840.10008.1.2.4.112", "ISO_18181_1"},
};

// Another value behind those that an element has.
void append(DcElemList& dataset, unsigned int tag, const std::string& value) {
    const int count = std::max(dataset.getValueCount(tag), 0);
    if (count == 0) return put(dataset, tag, value.c_str());
    (void)elementOf(dataset, tag)->addValue(value.c_str());
}

DcElemSq* newSequence(DcElemList& dataset, unsigned int tag) {
    drop(dataset, tag);
    auto* sequence = new DcElemSq(tag);
    dataset.add(sequence);
    return sequence;
}

// The instance that this one was derived from, and how.
void tellDerivation(DcElemList& dataset) {
    auto source = std::make_unique<DcElemSqItem>();
    source->getElemList().add(
        new DcElem(DcTag::ReferencedSOPClassUID, textOf(dataset, DcTag::SOPClassUID).c_str()));
    source->getElemList().add(
        new DcElem(DcTag::ReferencedSOPInstanceUID, textOf(dataset, DcTag::SOPInstanceUID).c_str()));
    newSequence(dataset, DcTag::SourceImageSequence)->add(source.release());
    auto code = std::make_unique<DcElemSqItem>();
    code->getElemList().add(new DcElem(DcTag::CodeValue, "113040"));
    code->getElemList().add(new DcElem(DcTag::CodingSchemeDesignator, "DCM"));
    code->getElemList().add(new DcElem(DcTag::CodeMeaning, "Lossy Compression"));
    newSequence(dataset, DcTag::DerivationCodeSequence)->add(code.release());
    const std::string before = textOf(dataset, DcTag::DerivationDescription);
    put(dataset, DcTag::DerivationDescription,
        (before.empty() ? "Lossy compression" : before + ", lossy compression").c_str());
    if (dataset.getValueCount(DcTag::ImageType) > 0) dataset.changeValue(DcTag::ImageType, "DERIVED");
}

}  // namespace

DcImagePixels pixelsOf(DcElemList& dataset) {
    DcImagePixels pixels;
    pixels.rows = word(dataset, DcTag::Rows, 0);
    pixels.columns = word(dataset, DcTag::Columns, 0);
    pixels.samples = word(dataset, DcTag::SamplesPerPixel, 1);
    pixels.bitsAllocated = word(dataset, DcTag::BitsAllocated, 0);
    pixels.bitsStored = word(dataset, DcTag::BitsStored, pixels.bitsAllocated);
    pixels.highBit = word(dataset, DcTag::HighBit, pixels.bitsStored - 1);
    pixels.isSigned = word(dataset, DcTag::PixelRepresentation, 0) != 0;
    pixels.planar = word(dataset, DcTag::PlanarConfiguration, 0) != 0;
    pixels.photometric = imagePhotometricOf(textOf(dataset, DcTag::PhotometricInterpretation).c_str());
    return pixels;
}

std::string tellChange(DcElemList& dataset, const PixelChange& change) {
    const DcImagePixels& pixels = change.pixels;
    put(dataset, DcTag::PhotometricInterpretation, imagePhotometricText(pixels.photometric));
    put(dataset, DcTag::HighBit, static_cast<unsigned short>(pixels.highBit));
    if (pixels.samples > 1)
        put(dataset, DcTag::PlanarConfiguration, static_cast<unsigned short>(pixels.planar));
    drop(dataset, DcTag::ExtendedOffsetTable);
    drop(dataset, DcTag::ExtendedOffsetTableLengths);
    if (change.everLossy) put(dataset, DcTag::LossyImageCompression, "01");
    if (change.lossyCodec == nullptr) return "";
    std::array<char, 32> ratio{};
    (void)std::snprintf(ratio.data(), ratio.size(), "%.4g", change.ratio);
    append(dataset, DcTag::LossyImageCompressionRatio, ratio.data());
    for (const auto& row : kMethods) {
        if (row.syntax == change.lossyCodec->uid)
            append(dataset, DcTag::LossyImageCompressionMethod, row.method);
    }
    drop(dataset, DcTag::SmallestImagePixelValue);
    drop(dataset, DcTag::LargestImagePixelValue);
    tellDerivation(dataset);
    std::string uid = newUid();
    put(dataset, DcTag::SOPInstanceUID, uid.c_str());
    return uid;
}

}  // namespace services
