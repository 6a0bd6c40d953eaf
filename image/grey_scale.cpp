#include "image/grey_scale.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::render {
namespace {

constexpr unsigned int kFloatPaddingValue = 0x00280122;
constexpr unsigned int kDoublePaddingValue = 0x00280123;
constexpr unsigned int kFloatPaddingLimit = 0x00280124;
constexpr unsigned int kDoublePaddingLimit = 0x00280125;

constexpr TableTags kLut = {T_0028_3002_lutDescriptor, T_0028_3006_lutData};

// X-ray angiography keeps the way back to intensities there: it is not for display (PS3.3 C.8.7.1.1.2).
bool isTableForDisplay(DcElemList& dataset) {
    const std::string modality = codeOf(dataset, T_0008_0060_modality);
    const std::string relationship = codeOf(dataset, T_0028_1040_pixelIntensityRelationship);
    return (modality != "XA" && modality != "RF") || (relationship != "LOG" && relationship != "DISP");
}

}  // namespace

Modality::Modality(DcElemList& dataset, const FrameGroups& groups, bool isSigned) {
    DcElemList* const item = itemOf(dataset, T_0028_3000_modalityLutSequence);
    if (item != nullptr && isTableForDisplay(dataset)) table_ = readTable(*item, kLut, isSigned);
    DcElemList& group = groups.find(T_0028_9145_pixelValueTransformationSequence);
    const double slope = realOf(group, T_0028_1053_rescaleSlope).value_or(1);
    slope_ = std::isfinite(slope) && slope != 0 ? slope : 1;
    const double intercept = realOf(group, T_0028_1052_rescaleIntercept).value_or(0);
    intercept_ = std::isfinite(intercept) ? intercept : 0;
}

Range Modality::operator()(Range stored) const {
    if (table_.empty()) {
        const auto [low, high] = std::minmax({(*this)(stored.low), (*this)(stored.high)});
        return {low, high};
    }
    const auto [low, high] = std::minmax_element(table_.entries.begin(), table_.entries.end());
    return {static_cast<double>(*low), static_cast<double>(*high)};
}

Padding::Padding(DcElemList& dataset, const DcRenderPixels& pixels) {
    const bool isFloat = pixels.layout.bitsAllocated == 32;
    unsigned int value = T_0028_0120_pixelPaddingValue;
    unsigned int limit = T_0028_0121_pixelPaddingRangeLimit;
    if (pixels.isReal) {
        value = isFloat ? kFloatPaddingValue : kDoublePaddingValue;
        limit = isFloat ? kFloatPaddingLimit : kDoublePaddingLimit;
    }
    // As signed as the pixels are, whatever the VR.
    const auto number = [&](unsigned int tag) -> std::optional<double> {
        if (pixels.isReal) return realOf(dataset, tag);
        const auto word = integerOf(dataset, tag);
        if (!word) return {};
        return pixels.layout.isSigned ? static_cast<std::int16_t>(*word) : static_cast<std::uint16_t>(*word);
    };
    const auto one = number(value);
    if (!one) return;
    const auto [low, high] = std::minmax({*one, number(limit).value_or(*one)});
    range_ = {low, high};
}

int Voi::choose(const FrameGroups& groups, const DcRenderOptions& options, const Range& possible,
                unsigned int bitsStored, const Spread& spread) {
    DcElemList& group = groups.find(T_0028_9132_frameVoiLutSequence);
    takeFunction(group, options.function);
    switch (options.voi) {
        case RENDER_VOI_IMAGE:
            if (takeTable(group, 1, possible) || takeWindow(group, 1)) return RESULT_OK;
            takeRange(bitsStored <= 8 ? possible : spread(0, 100));
            return RESULT_OK;
        case RENDER_VOI_WINDOW:
            return takeWindow(group, options.index) ? RESULT_OK : ELEM_NOT_FOUND;
        case RENDER_VOI_LUT:
            return takeTable(group, options.index, possible) ? RESULT_OK : ELEM_NOT_FOUND;
        case RENDER_VOI_GIVEN:
            return takeGiven(options);
        case RENDER_VOI_PERCENTILE:
            if (!(options.lowPercent >= 0 && options.lowPercent <= options.highPercent &&
                  options.highPercent <= 100)) {
                return IMAGE_OPTION;
            }
            takeRange(spread(options.lowPercent, options.highPercent));
            return RESULT_OK;
        case RENDER_VOI_RANGE:
            takeRange(spread(0, 100));
            return RESULT_OK;
        case RENDER_VOI_BITS:
            takeRange(possible);
            return RESULT_OK;
    }
    return IMAGE_OPTION;
}

bool Voi::takeTable(DcElemList& group, unsigned int index, const Range& possible) {
    DcElemList* const item = index == 0 ? nullptr : itemOf(group, T_0028_3010_voiLutSequence, index - 1);
    // Its first value is one behind the modality: negative where those can be (PS3.3 C.11.2.1.1).
    if (item != nullptr) table_ = readTable(*item, kLut, possible.low < 0);
    return !table_.empty();
}

bool Voi::takeWindow(DcElemList& group, unsigned int index) {
    if (index == 0 || index > 65535) return false;
    const int at = static_cast<int>(index) - 1;
    const auto center = realOf(group, T_0028_1050_windowCenter, at);
    const auto width = realOf(group, T_0028_1051_windowWidth, at);
    if (!center || !width || !std::isfinite(*center) || !std::isfinite(*width) || *width <= 0) return false;
    center_ = *center;
    width_ = *width;
    return true;
}

int Voi::takeGiven(const DcRenderOptions& options) {
    if (!std::isfinite(options.center) || !std::isfinite(options.width) || options.width <= 0)
        return IMAGE_OPTION;
    center_ = options.center;
    width_ = options.width;
    return RESULT_OK;
}

void Voi::takeRange(const Range& range) {
    function_ = RENDER_FUNCTION_LINEAR_EXACT;
    width_ = range.high - range.low;
    center_ = range.low + width_ / 2;
}

void Voi::takeFunction(DcElemList& group, RENDER_FUNCTION asked) {
    function_ = asked;
    if (asked != RENDER_FUNCTION_IMAGE) return;
    const std::string name = codeOf(group, T_0028_1056_voiLutFunction);
    function_ = name == "LINEAR_EXACT" ? RENDER_FUNCTION_LINEAR_EXACT
                : name == "SIGMOID"    ? RENDER_FUNCTION_SIGMOID
                                       : RENDER_FUNCTION_LINEAR;
}

double Voi::operator()(double value) const {
    if (std::isnan(value)) return 0;
    if (!table_.empty()) return table_.at(value) / table_.most();
    if (function_ == RENDER_FUNCTION_SIGMOID) return 1 / (1 + std::exp(-4 * (value - center_) / width_));
    return linear(value);
}

double Voi::linear(double value) const {
    const bool isExact = function_ == RENDER_FUNCTION_LINEAR_EXACT || width_ < 1;
    const double center = isExact ? center_ : center_ - 0.5;
    const double width = isExact ? width_ : width_ - 1;
    if (value <= center - width / 2) return 0;
    if (value > center + width / 2) return 1;
    return (value - center) / width + 0.5;
}

bool isInverse(DcElemList& dataset, DcPhotometric photometric) {
    const std::string shape = codeOf(dataset, T_2050_0020_presentationLutShape);
    if (shape == "INVERSE") return true;
    return shape.empty() && photometric == DcPhotometric::monochrome1;
}

}  // namespace orvkit::render
