// Colours, palettes, overlays, shapes and sizes, against plain arithmetic; and what makes no picture.
#include <gtest/gtest.h>

#include "image/plain_render.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Levels = std::vector<double>;

DcRenderPixels pixelsOf(unsigned int columns, unsigned int rows, unsigned int bits, DcPhotometric photometric,
                        const Bytes& bytes) {
    DcRenderPixels pixels;
    pixels.layout.columns = columns;
    pixels.layout.rows = rows;
    pixels.layout.samples = photometric >= DcPhotometric::rgb ? 3 : 1;
    pixels.layout.bitsStored = bits;
    pixels.layout.highBit = bits - 1;
    pixels.layout.bitsAllocated = bits <= 8 ? 8 : 16;
    pixels.layout.photometric = photometric;
    pixels.data = bytes.data();
    pixels.length = bytes.size();
    return pixels;
}

Bytes made(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * i * 31 / 7 + i / 5);
    return bytes;
}

// All samples of a picture, from 0 to 255.
Levels samplesOf(const DcPicture& picture) {
    Levels all;
    for (unsigned int y = 0; y < picture.height(); ++y) {
        for (unsigned int i = 0; i < picture.width() * picture.samples(); ++i) {
            unsigned short wide = 0;
            std::memcpy(&wide, picture.row(y) + 2 * i * (picture.bits() == 16), 2);
            all.push_back(picture.bits() == 16 ? wide / 257.0 : picture.row(y)[i]);
        }
    }
    return all;
}

Levels rendered(DcElemList& list, const DcRenderPixels& pixels, const DcRenderOptions& options = {},
                unsigned int frame = 1) {
    DcPicture picture;
    DcRenderFault fault;
    EXPECT_EQ(renderFrame(list, pixels, frame, options, picture, &fault), RESULT_OK) << fault.text;
    return samplesOf(picture);
}

double worst(const Levels& found, const Levels& wanted) {
    if (found.size() != wanted.size()) return 1e9;
    double most = 0;
    for (std::size_t i = 0; i < found.size(); ++i) most = std::max(most, std::abs(found[i] - wanted[i]));
    return most;
}

// PS3.3 C.7.6.3.1.2, solved for red, green and blue.
void plainRgb(DcPhotometric photometric, double range, double (&c)[3]) {
    const double y = c[0], b = c[1] - range / 2, r = c[2] - range / 2, unit = range / 256;
    if (photometric == DcPhotometric::ybrRct) {
        const double green = y - std::floor((b + r) / 4);
        c[0] = r + green, c[1] = green, c[2] = b + green;
    } else if (photometric == DcPhotometric::ybrPartial420) {
        const double bright = (y - 16 * unit) / 0.8588;
        c[0] = bright + 1.596 * r, c[1] = bright - 0.3917 * b - 0.813 * r, c[2] = bright + 2.0173 * b;
    } else if (photometric != DcPhotometric::rgb) {
        c[0] = y + 1.402 * r, c[1] = y - 0.344136 * b - 0.714136 * r, c[2] = y + 1.772 * b;
    }
}

TEST(RenderColour, EveryColourSpaceBitsAndPlanesIsWithinOneLevel) {
    constexpr unsigned int columns = 10, rows = 7, count = columns * rows;
    const Bytes bytes = made(count * 3 * 2);
    for (const auto photometric :
         {DcPhotometric::rgb, DcPhotometric::ybrFull, DcPhotometric::ybrFull422, DcPhotometric::ybrIct,
          DcPhotometric::ybrRct, DcPhotometric::ybrPartial420}) {
        for (const unsigned int bits : {8u, 6u, 12u, 16u}) {
            for (const bool planar : {false, true}) {
                const bool halved = photometric == DcPhotometric::ybrFull422 && !planar;
                DcRenderPixels pixels = pixelsOf(columns, rows, bits, photometric, bytes);
                pixels.layout.planar = planar;
                const unsigned int unit = bits <= 8 ? 1 : 2;
                pixels.length = std::size_t{count} * (halved ? 2 : 3) * unit;
                const auto at = [&](std::size_t i) {
                    return (unit == 1 ? bytes[i] : bytes[2 * i] + 256 * bytes[2 * i + 1]) % (1 << bits);
                };
                const double range = 1 << bits;
                Levels wanted;
                for (std::size_t i = 0; i < count; ++i) {
                    double c[3];
                    for (std::size_t s = 0; s < 3; ++s) {
                        c[s] = at(halved   ? i / 2 * 4 + (s == 0 ? i % 2 : s + 1)
                                  : planar ? s * count + i
                                           : 3 * i + s);
                    }
                    plainRgb(photometric, range, c);
                    for (const double one : c)
                        wanted.push_back(std::clamp(one, 0.0, range - 1) / (range - 1) * 255);
                }
                DcRenderOptions options;
                options.bits = planar ? 16 : 8;
                // Half a step of the stored values, and half a level.
                const double most = 0.51 + (photometric == DcPhotometric::rgb ? 0 : 130.0 / range);
                DcElemList list;
                EXPECT_LE(worst(rendered(list, pixels, options), wanted), most)
                    << imagePhotometricText(photometric) << ", " << bits << " bits"
                    << (planar ? " by plane" : "");
            }
        }
    }
}

constexpr unsigned int kPalette[3][2] = {
    {T_0028_1101_redPaletteColorLookupTableDescriptor, T_0028_1201_redPaletteColorLookupTableData},
    {T_0028_1102_greenPaletteColorLookupTableDescriptor, T_0028_1202_greenPaletteColorLookupTableData},
    {T_0028_1103_bluePaletteColorLookupTableDescriptor, T_0028_1203_bluePaletteColorLookupTableData}};

TEST(RenderColour, PalettesOfAnyFirstValueBitsAndPackingColour) {
    const Bytes bytes = made(64);
    for (const bool isSigned : {false, true}) {
        for (const unsigned int bits : {8u, 16u}) {
            for (const bool packed : {false, true}) {
                if (packed && bits == 16) continue;
                DcElemList list;
                std::vector<plain::Table> tables;
                for (unsigned int c = 0; c < 3; ++c) {
                    plain::Table table{isSigned ? -40 : 20, bits, {}};
                    for (unsigned int i = 0; i < 100; ++i) {
                        table.entries.push_back(
                            static_cast<unsigned short>((i * 613 + c * 77) % (1u << bits)));
                    }
                    plain::putTable(list, kPalette[c][0], kPalette[c][1], table, isSigned);
                    if (packed) {
                        Bytes narrow(table.entries.begin(), table.entries.end());
                        list.add(new DcElem(kPalette[c][1], narrow.data(),
                                            static_cast<unsigned int>(narrow.size()),
                                            UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
                    }
                    tables.push_back(table);
                }
                DcRenderPixels pixels = pixelsOf(8, 8, 8, DcPhotometric::paletteColor, bytes);
                pixels.layout.isSigned = isSigned;
                Levels wanted;
                for (const unsigned char value : bytes) {
                    const double stored = isSigned && value > 127 ? value - 256 : value;
                    for (const plain::Table& table : tables) wanted.push_back(table.level(stored) * 255);
                }
                EXPECT_LE(worst(rendered(list, pixels), wanted), 0.51) << bits << isSigned << packed;
            }
        }
    }
}

TEST(RenderColour, SegmentedPalettesAreExpandedAndBrokenOnesEnd) {
    struct {
        std::vector<unsigned short> segments;
        Levels wanted;  // of the values 0 to 7, in the levels of 16 bits by 257
    } const cases[] = {
        // Discrete, then a line.
        {{0, 2, 0, 257, 1, 4, 1285}, {0, 1, 2, 3, 4, 5, 5, 5}},
        // The line again from where it ended, by reference to its place, which counts bytes.
        {{0, 1, 257, 1, 2, 771, 2, 1, 6, 0}, {1, 2, 3, 3, 3, 3, 3, 3}},
        // Segments that run past the end, stand alone or refer to themselves: what came before them counts.
        {{0, 2, 257, 514, 0, 99, 1}, {1, 2, 2, 2, 2, 2, 2, 2}},
        {{0, 1, 257, 2, 65535, 3, 0}, {1, 1, 1, 1, 1, 1, 1, 1}},
        {{0, 1, 257, 7, 7, 7}, {1, 1, 1, 1, 1, 1, 1, 1}}};
    const Bytes bytes = {0, 1, 2, 3, 4, 5, 6, 7};
    for (const auto& one : cases) {
        DcElemList list;
        for (unsigned int c = 0; c < 3; ++c) {
            plain::putTable(list, kPalette[c][0], kPalette[c][1], {0, 16, std::vector<unsigned short>(8)},
                            false);
            DcElem* whole = nullptr;
            (void)list.getElem(kPalette[c][1], &whole);
            list.subtract(whole);
            delete whole;
            auto words = one.segments;
            list.add(new DcElem(T_0028_1221_segmentedRedPaletteColorLookupTableData + c, words.data(),
                                static_cast<unsigned int>(2 * words.size()), UID_LITTLE_ENDIAN_EXPLICIT,
                                VR_OW, 0));
        }
        Levels wanted;
        for (const double level : one.wanted) wanted.insert(wanted.end(), 3, level);
        EXPECT_LE(worst(rendered(list, pixelsOf(8, 1, 8, DcPhotometric::paletteColor, bytes)), wanted), 0.51)
            << one.segments[3];
    }
}

// Values from the first of the palette on are colours, where the image or its frame says so.
TEST(RenderPalette, SupplementalColoursStandAmongGreys) {
    const Bytes bytes = {0, 100, 199, 200, 201, 202, 203, 255};
    const Levels greys = {0, 100, 199, 200, 201, 202, 203, 255};
    const struct {
        const char* image;
        const char* frame;
        bool isMixed;
    } cases[] = {{"", "", false},         {"MONOCHROME", "", false}, {"TRUE_COLOR", "", false},
                 {"MIXED", "", true},     {"COLOR", "", true},       {"MIXED", "MONOCHROME", false},
                 {"MIXED", "COLOR", true}};
    for (const auto& one : cases) {
        DcElemList list;
        for (unsigned short c = 0; c < 3; ++c) {
            const auto high = static_cast<unsigned short>(65535 - 257 * c);
            plain::putTable(list, kPalette[c][0], kPalette[c][1], {200, 16, {high, 0, 257, 0}}, false);
        }
        if (*one.image != '\0') plain::put(list, T_0008_9205_pixelPresentation, one.image);
        if (*one.frame != '\0') {
            DcElemList& groups = plain::addItem(list, T_5200_9230_perFrameFunctionalGroupsSequence);
            plain::put(plain::addItem(groups, T_0018_9226_mrImageFrameTypeSequence),
                       T_0008_9205_pixelPresentation, one.frame);
        }
        Levels wanted;
        for (const double grey : greys) wanted.insert(wanted.end(), one.isMixed ? 3 : 1, grey);
        if (one.isMixed) {
            const Levels colours = {255, 254, 253, 0, 0, 0, 1, 1, 1, 0, 0, 0, 0, 0, 0};
            std::copy(colours.begin(), colours.end(), wanted.begin() + 9);
        }
        DcRenderOptions options;
        options.voi = RENDER_VOI_BITS;
        EXPECT_LE(
            worst(rendered(list, pixelsOf(8, 1, 8, DcPhotometric::monochrome2, bytes), options), wanted),
            0.01)
            << one.image << ", " << one.frame;
    }
}

TEST(RenderOverlay, PlanesAreBurntInWhereTheyLie) {
    struct {
        const char* name;
        int rows, columns, top, left, frames, first;  // 0 frames: no such elements
        unsigned int frame;
        const char* wanted;  // rows of 4, # white
    } const cases[] = {{"as it lies", 2, 2, 1, 1, 0, 0, 1, "#... .#.. .... ...."},
                       {"moved", 2, 2, 3, 2, 0, 0, 5, ".... .... .#.. ..#."},
                       {"partly outside", 2, 2, 0, 4, 0, 0, 1, ".... .... .... ...."},
                       {"beyond the image", 2, 2, 4, 4, 0, 0, 1, ".... .... .... ...#"},
                       {"second of two frames", 2, 2, 1, 1, 2, 1, 2, ".#.. #... .... ...."},
                       {"from the third frame on", 2, 2, 1, 1, 2, 3, 3, "#... .#.. .... ...."},
                       {"no frame for it", 2, 2, 1, 1, 2, 3, 5, ".... .... .... ...."},
                       {"more claimed than there is", 3000, 4, 1, 1, 0, 0, 1, "#..# .##. .... ...."}};
    const Bytes bytes(16, 0);
    for (const auto& one : cases) {
        DcElemList list;
        plain::putWord(list, 0x60020010, one.rows);
        plain::putWord(list, 0x60020011, one.columns);
        short origin[] = {static_cast<short>(one.top), static_cast<short>(one.left)};
        list.add(new DcElem(0x60020050, origin, 4, UID_LITTLE_ENDIAN_EXPLICIT, VR_SS, 0));
        if (one.frames > 0) {
            plain::put(list, 0x60020015, std::to_string(one.frames));
            plain::putWord(list, 0x60020051, one.first);
        }
        unsigned char bits[] = {0x69, 0};  // from the right: # . . #, then . # # .
        list.add(new DcElem(0x60023000, bits, 2, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
        Levels wanted;
        for (const char* c = one.wanted; *c != '\0'; ++c) {
            if (*c != ' ') wanted.push_back(*c == '#' ? 255 : 0);
        }
        DcRenderOptions options;
        EXPECT_EQ(
            worst(rendered(list, pixelsOf(4, 4, 8, DcPhotometric::monochrome2, bytes), options, one.frame),
                  Levels(16, 0)),
            0);
        options.overlays = true;
        EXPECT_EQ(rendered(list, pixelsOf(4, 4, 8, DcPhotometric::monochrome2, bytes), options, one.frame),
                  wanted)
            << one.name;
    }
}

TEST(RenderOverlay, PlanesInUnusedBitsOfThePixelsAreBurntInAndNeverShadeTheImage) {
    const Bytes bytes = {0x00, 0x80, 0xFF, 0x0F, 0x00, 0xF0, 0x10, 0x40};  // words, 12 bits stored
    DcElemList list;
    plain::putWord(list, 0x60000010, 2);
    plain::putWord(list, 0x60000011, 2);
    plain::putWord(list, 0x60000100, 16);
    plain::putWord(list, 0x60000102, 15);
    DcRenderOptions options;
    options.voi = RENDER_VOI_BITS;
    const DcRenderPixels pixels = pixelsOf(2, 2, 12, DcPhotometric::monochrome2, bytes);
    EXPECT_EQ(rendered(list, pixels, options), (Levels{0, 255, 0, 1}));
    options.overlays = true;
    EXPECT_EQ(rendered(list, pixels, options), (Levels{255, 255, 255, 1}));
    plain::putWord(list, 0x60000102, 11);  // a bit of the image
    EXPECT_EQ(rendered(list, pixels, options), (Levels{0, 255, 0, 1}));
}

TEST(RenderSize, TheShapeOfPixelsAndTheBoxDecide) {
    struct {
        unsigned int tag;
        const char* ratio;
        unsigned int boxWidth, boxHeight;
        unsigned int width, height;  // of a picture of 40 x 20
    } const cases[] = {{0, "", 0, 0, 40, 20},
                       {T_0028_0030_pixelSpacing, "0.5\\0.5", 0, 0, 40, 20},
                       {T_0028_0030_pixelSpacing, "1.0\\0.5", 0, 0, 40, 40},
                       {T_0028_0030_pixelSpacing, "0.5\\1.0", 0, 0, 80, 20},
                       {T_0018_1164_imagerPixelSpacing, "2\\1", 0, 0, 40, 40},
                       {T_0028_0034_pixelAspectRatio, "4\\3", 0, 0, 40, 27},
                       {T_0028_0034_pixelAspectRatio, "0\\0", 0, 0, 40, 20},
                       {T_0028_0034_pixelAspectRatio, "1\\100000", 0, 0, 40, 20},
                       {0, "", 10, 0, 10, 5},
                       {0, "", 0, 60, 120, 60},
                       {0, "", 30, 30, 30, 15},
                       {0, "", 1, 1, 1, 1},
                       {T_0028_0034_pixelAspectRatio, "2\\1", 30, 30, 30, 30}};
    const Bytes bytes = made(800);
    for (const auto& one : cases) {
        DcElemList list;
        if (one.tag != 0) plain::put(list, one.tag, one.ratio);
        DcRenderOptions options;
        options.boxWidth = one.boxWidth;
        options.boxHeight = one.boxHeight;
        DcPicture picture;
        EXPECT_EQ(renderFrame(list, pixelsOf(40, 20, 8, DcPhotometric::monochrome2, bytes), 1, options,
                              picture, nullptr),
                  RESULT_OK);
        EXPECT_EQ(picture.width(), one.width) << one.ratio;
        EXPECT_EQ(picture.height(), one.height) << one.ratio;
    }
}

TEST(RenderSize, AreasAreMeansAndCurvesKeepWhatIsEvenOrSteady) {
    DcPicture from;
    ASSERT_EQ(from.make(60, 40, 3, 16), RESULT_OK);
    for (unsigned int y = 0; y < 40; ++y) {
        for (unsigned int i = 0; i < 180; ++i) {
            const auto value = static_cast<unsigned short>(i % 3 == 0   ? 51400
                                                           : i % 3 == 1 ? i / 3 * 800
                                                                        : y * 1000);
            std::memcpy(from.row(y) + 2 * i, &value, 2);
        }
    }
    for (const auto scaling : {RENDER_SCALING_AREA, RENDER_SCALING_BICUBIC, RENDER_SCALING_AUTO}) {
        for (const unsigned int width : {20u, 7u, 60u, 150u}) {
            if (width > 60 && scaling == RENDER_SCALING_AREA) continue;
            for (const unsigned int threads : {1u, 3u}) {
                const unsigned int height = width * 2 / 3 + 1;
                DcPicture to;
                ASSERT_EQ(renderScale(from, width, height, scaling, threads, to), RESULT_OK);
                const Levels found = samplesOf(to);
                // The curve bends at the edges, where there is nothing to go on with.
                const unsigned int edge = 2 * std::max(width / 60, 1u) + 1;
                double even = 0, steady = 0;
                for (unsigned int y = 0; y < height; ++y) {
                    for (unsigned int x = 0; x < width; ++x) {
                        const double* const pixel = &found[3 * (std::size_t{y} * width + x)];
                        even = std::max(even, std::abs(pixel[0] - 200));
                        if (x < edge || y < edge || x + edge >= width || y + edge >= height) continue;
                        steady =
                            std::max(steady, std::abs(pixel[1] - ((x + 0.5) * 60 / width - 0.5) * 800 / 257));
                        steady = std::max(steady,
                                          std::abs(pixel[2] - ((y + 0.5) * 40 / height - 0.5) * 1000 / 257));
                    }
                }
                EXPECT_LE(even, 0.01) << width;
                EXPECT_LE(steady, 0.1) << width;
            }
        }
    }
}

TEST(Render, WhatMakesNoPictureIsToldBeforeMemoryIsTaken) {
    const Bytes bytes(100, 0);
    const auto with = [&](auto change) {
        DcRenderPixels pixels = pixelsOf(10, 10, 8, DcPhotometric::monochrome2, bytes);
        DcRenderOptions options;
        DcElemList list;
        change(pixels, options);
        DcPicture picture;
        DcRenderFault fault;
        const int result = renderFrame(list, pixels, 1, options, picture, &fault);
        EXPECT_EQ(fault.text[0] == '\0', result == RESULT_OK);
        EXPECT_EQ(picture.width() == 0, result != RESULT_OK);
        return result;
    };
    using Pixels = DcRenderPixels;
    using Options = DcRenderOptions;
    EXPECT_EQ(with([](Pixels&, Options&) {}), RESULT_OK);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.rows = p.layout.columns = 65535; }), IMAGE_ROOM);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.length = 99; }), IMAGE_ROOM);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.samples = 3; }), IMAGE_ROOM);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.samples = 2; }), IMAGE_PIXELS);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.rows = 0; }), IMAGE_PIXELS);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.bitsStored = 9; }), IMAGE_PIXELS);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.bitsStored = 0; }), IMAGE_PIXELS);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.highBit = 8; }), IMAGE_PIXELS);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.bitsAllocated = 24; }), IMAGE_PIXELS);
    EXPECT_EQ(with([](Pixels& p, Options&) { p.layout.photometric = DcPhotometric::paletteColor; }),
              ELEM_NOT_FOUND);
    EXPECT_EQ(with([](Pixels&, Options& o) { o.bits = 12; }), IMAGE_OPTION);
    EXPECT_EQ(with([](Pixels&, Options& o) { o.boxWidth = 65536; }), IMAGE_OPTION);
    EXPECT_EQ(with([](Pixels&, Options& o) { o.voi = RENDER_VOI_WINDOW; }), ELEM_NOT_FOUND);
    EXPECT_EQ(with([](Pixels&, Options& o) { o.voi = RENDER_VOI_LUT; }), ELEM_NOT_FOUND);
    EXPECT_EQ(with([](Pixels&, Options& o) { o.voi = RENDER_VOI_GIVEN; }), IMAGE_OPTION);
    EXPECT_EQ(with([](Pixels&, Options& o) { o.voi = RENDER_VOI_PERCENTILE, o.lowPercent = 100; }),
              IMAGE_OPTION);
}

}  // namespace
