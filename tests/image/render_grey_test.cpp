// Grey images against plain arithmetic: every way that stored values lie with every way that they become
// grey.
#include <gtest/gtest.h>

#include <functional>

#include "image/plain_render.h"

namespace {

using plain::Grey;
using plain::Group;

constexpr unsigned int kColumns = 37, kRows = 23;

struct Layout {
    const char* name;
    unsigned int allocated, stored, high;
    bool isSigned, isReal;
};
constexpr Layout layouts[] = {{"8 bits", 8, 8, 7, false, false},
                              {"8 bits, signed", 8, 8, 7, true, false},
                              {"6 of 8", 8, 6, 5, false, false},
                              {"7 of 8, signed", 8, 7, 6, true, false},
                              {"12 of 16", 16, 12, 11, false, false},
                              {"12 of 16, signed", 16, 12, 11, true, false},
                              {"10 of 16 at the top", 16, 10, 15, false, false},
                              {"13 of 16, signed, in the middle", 16, 13, 14, true, false},
                              {"16 bits", 16, 16, 15, false, false},
                              {"16 bits, signed", 16, 16, 15, true, false},
                              {"one bit", 1, 1, 0, false, false},
                              {"32 bits", 32, 32, 31, false, false},
                              {"20 of 32, signed", 32, 20, 19, true, false},
                              {"floats", 32, 32, 31, false, true},
                              {"doubles", 64, 64, 63, false, true}};

Grey imageOf(const Layout& layout) {
    Grey image;
    image.isReal = layout.isReal;
    DcImagePixels& p = image.layout;
    p.columns = kColumns;
    p.rows = kRows;
    p.bitsAllocated = layout.allocated;
    p.bitsStored = layout.stored;
    p.highBit = layout.high;
    p.isSigned = layout.isSigned;
    const double bits = layout.isReal ? 4096 : std::pow(2, layout.stored);
    const double least = layout.isSigned ? -bits / 2 : 0;
    for (unsigned int i = 0; i < kColumns * kRows; ++i) {
        const double value = std::fmod(i * i * 2654435761.0 / 977, bits) + least;
        image.stored.push_back(layout.isReal ? value / 7 : std::floor(value));
    }
    return image;
}

// Between the least and the greatest value of the image.
double part(const Grey& image, double share) {
    const auto [low, high] = std::minmax_element(image.stored.begin(), image.stored.end());
    return *low + (*high - *low) * share;
}

plain::Table tableFrom(double first, unsigned int bits) {
    plain::Table table{static_cast<int>(std::clamp(first, -32768.0, 65000.0)), bits, {}};
    const unsigned int most = (1u << bits) - 1;
    for (unsigned int i = 0; i < 300; ++i)
        table.entries.push_back(static_cast<unsigned short>(i * i * 7 % (most + 1)));
    table.entries.push_back(static_cast<unsigned short>(most));
    return table;
}

struct Treatment {
    const char* name;
    std::function<void(Grey&, DcRenderOptions&)> apply;
};
// A window around a share of the values, of the width between two others and some more.
plain::Window window(const Grey& g, double center, double from, double to, double more) {
    return {part(g, center), part(g, to) - part(g, from) + more};
}
using Options = DcRenderOptions;
// clang-format off
const Treatment treatments[] = {
    {"nothing asked for", [](Grey&, Options&) {}},
    {"LINEAR", [](Grey& g, Options&) { g.windows = {window(g, 0.4, 0.3, 0.8, 1)}; }},
    {"LINEAR of width 1", [](Grey& g, Options&) { g.windows = {{std::floor(part(g, 0.5)), 1}}; }},
    {"LINEAR_EXACT", [](Grey& g, Options&) { g.windows = {window(g, 0.6, 0.5, 0.9, 0.5)}, g.function = "LINEAR_EXACT"; }},
    {"SIGMOID", [](Grey& g, Options&) { g.windows = {window(g, 0.5, 0.2, 0.8, 1)}, g.function = "SIGMOID"; }},
    {"negative slope", [](Grey& g, Options&) {
        g.slope = -2.5, g.intercept = 100;
        g.windows = {{part(g, 0.5) * -2.5 + 100, (part(g, 0.9) - part(g, 0.1)) * 2 + 2}}; }},
    {"rescale without a window", [](Grey& g, Options&) { g.slope = 0.5, g.intercept = -1024; }},
    {"modality LUT beside a rescale that does not count", [](Grey& g, Options&) {
        g.modality = tableFrom(part(g, 0.2), 12), g.slope = 3, g.windows = {{1000, 3000}}; }},
    {"VOI LUT in front of a window", [](Grey& g, Options&) { g.voi = tableFrom(part(g, 0.3), 10), g.windows = {{1, 2}}; }},
    {"VOI LUT from a negative value on", [](Grey& g, Options&) { g.intercept = -150, g.voi = tableFrom(-120, 16); }},
    {"MONOCHROME1 is turned behind the window", [](Grey& g, Options&) {
        g.layout.photometric = DcPhotometric::monochrome1, g.windows = {window(g, 0.25, 0.1, 0.5, 2)}; }},
    {"MONOCHROME1 and INVERSE turn once", [](Grey& g, Options& o) {
        g.layout.photometric = DcPhotometric::monochrome1, g.shape = "INVERSE", o.voi = RENDER_VOI_BITS; }},
    {"INVERSE and inverted by the user", [](Grey& g, Options& o) {
        g.shape = "INVERSE", o.invert = true, o.voi = RENDER_VOI_RANGE; }},
    {"padding", [](Grey& g, Options& o) {
        g.padding = {std::floor(std::clamp(part(g, 0), -32768.0, 65535.0)), std::floor(std::clamp(part(g, 0.3), -32768.0, 65535.0))};
        g.layout.photometric = DcPhotometric::monochrome1, o.voi = RENDER_VOI_RANGE; }},
    {"percentiles", [](Grey&, Options& o) { o.voi = RENDER_VOI_PERCENTILE, o.lowPercent = 5, o.highPercent = 90; }},
    {"given window, the image's function", [](Grey& g, Options& o) {
        g.windows = {{0, 1}}, g.function = "SIGMOID", o.voi = RENDER_VOI_GIVEN;
        o.center = part(g, 0.5), o.width = part(g, 0.7) - part(g, 0.4) + 1; }},
    {"second window", [](Grey& g, Options& o) {
        g.windows = {{0, 1}, window(g, 0.5, 0.1, 0.9, 3), {7, 7}}, o.voi = RENDER_VOI_WINDOW, o.index = 2; }},
    {"shared groups", [](Grey& g, Options&) {
        g.slope = 2, g.intercept = 5, g.group = Group::shared;
        g.windows = {{part(g, 0.5) * 2, part(g, 0.9) - part(g, 0.1) + 3}}; }},
    {"groups of the frame", [](Grey& g, Options&) {
        g.slope = 0.25, g.group = Group::own;
        g.windows = {{part(g, 0.5) / 4, part(g, 0.9) - part(g, 0.1) + 3}}; }},
};
// clang-format on

// The greatest difference, in levels of the picture.
double difference(const Grey& image, const DcRenderOptions& options) {
    DcElemList list;
    plain::describe(image, list);
    const std::vector<unsigned char> bytes = plain::packed(image);
    DcRenderPixels pixels;
    pixels.layout = image.layout;
    pixels.isReal = image.isReal;
    pixels.data = bytes.data();
    pixels.length = bytes.size();
    DcPicture picture;
    DcRenderFault fault;
    EXPECT_EQ(renderFrame(list, pixels, 1, options, picture, &fault), RESULT_OK) << fault.text;
    if (picture.width() != kColumns || picture.height() != kRows || picture.samples() != 1) return 1e9;
    const std::vector<double> wanted = plain::render(image, options);
    double worst = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const unsigned char* const row = picture.row(static_cast<unsigned int>(i / kColumns));
        unsigned short wide = 0;
        std::memcpy(&wide, row + 2 * (i % kColumns) * (options.bits == 16), 2);
        const double found = options.bits == 16 ? wide : row[i % kColumns];
        worst = std::max(worst, std::abs(found - wanted[i] * (options.bits == 16 ? 65535 : 255)));
    }
    return worst;
}

TEST(RenderGrey, EveryKindOfValuesInEveryWayIsWithinHalfALevelOfPlainArithmetic) {
    int cases = 0;
    for (const Layout& layout : layouts) {
        for (const Treatment& treatment : treatments) {
            Grey image = imageOf(layout);
            DcRenderOptions options;
            options.bits = cases % 2 == 0 ? 8 : 16;
            options.threads = cases % 3 == 0 ? 2 : 1;
            treatment.apply(image, options);
            EXPECT_LE(difference(image, options), 0.51) << layout.name << ": " << treatment.name;
            ++cases;
        }
    }
    EXPECT_GE(cases, 200);
}

}  // namespace
