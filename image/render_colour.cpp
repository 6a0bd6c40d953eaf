// Colour images: palettes, and three samples a pixel (PS3.3 C.7.6.3.1.2).
#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "image/attributes.h"
#include "image/bands.h"
#include "image/lookup_table.h"
#include "image/render_job.h"
#include "image/stored_values.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::render {
namespace {

struct Rgb {
    int red, green, blue;
};

// From YCbCr with colours around `middle`, in units of 1/65536.
Rgb fromYbr(int y, int cb, int cr, int middle) {
    constexpr long long half = 1 << 15;
    const long long b = cb - middle;
    const long long r = cr - middle;
    const auto to = [y](long long fraction) { return y + static_cast<int>((fraction + half) >> 16); };
    return {to(91881 * r), to(-22554 * b - 46802 * r), to(116130 * b)};
}

// Brightness from 16 to 235, colours from 16 to 240 of 256.
Rgb fromPartial(int y, int cb, int cr, int middle) {
    const double unit = middle / 128.0;
    const double bright = 1.1644 * (y - 16 * unit);
    const double b = cb - middle;
    const double r = cr - middle;
    const auto to = [](double value) { return static_cast<int>(std::lround(value)); };
    return {to(bright + 1.5960 * r), to(bright - 0.3917 * b - 0.8130 * r), to(bright + 2.0173 * b)};
}

// The reversible transformation of JPEG 2000, as far as unsigned colours hold it.
Rgb fromReversible(int y, int cb, int cr, int middle) {
    const int b = cb - middle;
    const int r = cr - middle;
    const int green = y - ((b + r) >> 2);
    return {r + green, green, b + green};
}

using Conversion = Rgb (*)(int first, int second, int third, int middle);
Conversion conversionOf(DcPhotometric photometric) {
    switch (photometric) {
        case DcPhotometric::rgb:
            return [](int red, int green, int blue, int) { return Rgb{red, green, blue}; };
        case DcPhotometric::ybrFull:
        case DcPhotometric::ybrFull422:
        case DcPhotometric::ybrIct:
            return fromYbr;
        case DcPhotometric::ybrRct:
            return fromReversible;
        case DcPhotometric::ybrPartial420:
            return fromPartial;
        default:
            return nullptr;
    }
}

class ColourRender {
  public:
    explicit ColourRender(const RenderJob& job) : job_(job), layout_(job.pixels.layout), stored_(layout_) {}

    int run() {
        convert_ = conversionOf(layout_.photometric);
        if (convert_ == nullptr) return job_.fail(IMAGE_PIXELS, "colours that are not known");
        if (layout_.bitsAllocated > 16 || job_.pixels.isReal) {
            return job_.fail(IMAGE_PIXELS, "colours of more than 16 bits");
        }
        if (const int made = job_.picture.make(layout_.columns, layout_.rows, 3, job_.options.bits);
            made != RESULT_OK) {
            return job_.fail(made, "not enough memory");
        }
        place();
        withPictureType(job_.picture, [&](auto sample) {
            withSampleType(job_.pixels, [&](auto raw) {
                if constexpr (std::is_integral_v<decltype(raw)> && sizeof raw <= 2) {
                    paint<decltype(raw), decltype(sample)>();
                }
            });
        });
        return RESULT_OK;
    }

  private:
    // Where the samples of a pixel are, counted in samples.
    struct Place {
        std::size_t row;            // from one to the next
        std::size_t pixel;          // ... of brightness, or of red
        std::size_t second, third;  // the first of each
        bool isHalved = false;      // two pixels share their colours: Y Y Cb Cr
    };

    void place() {
        const std::size_t columns = layout_.columns;
        const std::size_t pixels = columns * layout_.rows;
        const std::size_t unit = layout_.bitsAllocated / 8;
        if (layout_.photometric == DcPhotometric::ybrFull422 && job_.pixels.length / unit < 3 * pixels) {
            place_ = {(columns + 1) / 2 * 4, 0, 2, 3, true};
        } else if (layout_.planar) {
            place_ = {columns, 1, pixels, 2 * pixels};
        } else {
            place_ = {3 * columns, 3, 1, 2};
        }
    }

    template <typename Raw, typename Sample>
    void paint() {
        const int most = static_cast<int>(stored_.most());
        std::vector<Sample> table(static_cast<std::size_t>(most) + 1);
        for (int code = 0; code <= most; ++code) {
            const double level = most == 0 ? 0 : static_cast<double>(code) / most;
            table[static_cast<std::size_t>(code)] = sampleOf<Sample>(job_.options.invert ? 1 - level : level);
        }
        const auto shade = [&](int code) {
            return table[static_cast<std::size_t>(std::clamp(code, 0, most))];
        };
        forBands(layout_.rows, job_.options.threads, [&](unsigned int y, unsigned int end) {
            for (; y < end; ++y) paintRow<Raw, Sample>(y, shade);
        });
    }
    template <typename Raw, typename Sample, typename Shade>
    void paintRow(unsigned int y, const Shade& shade) {
        const unsigned char* const from = job_.data() + y * place_.row * sizeof(Raw);
        auto* to = samplesOf<Sample>(job_.picture, y);
        const int middle = static_cast<int>(stored_.most() / 2 + 1);
        const auto code = [&](std::size_t at) {
            return static_cast<int>(stored_.code(rawAt<Raw>(from, at)));
        };
        for (std::size_t x = 0; x < layout_.columns; ++x, to += 3) {
            const std::size_t base = place_.isHalved ? x / 2 * 4 : x * place_.pixel;
            const int first = code(place_.isHalved ? base + x % 2 : base);
            const Rgb rgb = convert_(first, code(base + place_.second), code(base + place_.third), middle);
            to[0] = shade(rgb.red);
            to[1] = shade(rgb.green);
            to[2] = shade(rgb.blue);
        }
    }

    const RenderJob& job_;
    const DcImagePixels& layout_;
    StoredBits stored_;
    Conversion convert_ = nullptr;
    Place place_{};
};

constexpr TableTags kPalettes[] = {
    {T_0028_1101_redPaletteColorLookupTableDescriptor, T_0028_1201_redPaletteColorLookupTableData,
     T_0028_1221_segmentedRedPaletteColorLookupTableData},
    {T_0028_1102_greenPaletteColorLookupTableDescriptor, T_0028_1202_greenPaletteColorLookupTableData,
     T_0028_1222_segmentedGreenPaletteColorLookupTableData},
    {T_0028_1103_bluePaletteColorLookupTableDescriptor, T_0028_1203_bluePaletteColorLookupTableData,
     T_0028_1223_segmentedBluePaletteColorLookupTableData},
};

// Where there is a grey picture, the palette is for values from its first one on (PS3.3 C.7.6.19).
template <typename Raw, typename Sample>
void paintPalette(const RenderJob& job, const std::array<LookupTable, 3>& palette, DcPicture* grey) {
    const DcImagePixels& layout = job.pixels.layout;
    const StoredBits stored(layout);
    std::vector<std::array<Sample, 3>> table(std::size_t{stored.most()} + 1);
    std::vector<bool> isGrey(table.size());
    for (std::uint32_t code = 0; code < table.size(); ++code) {
        isGrey[code] = grey != nullptr && stored.number(code) < palette[0].first;
        for (std::size_t c = 0; c < 3; ++c) {
            const double level = palette[c].at(stored.number(code)) / palette[c].most();
            table[code][c] = sampleOf<Sample>(job.options.invert ? 1 - level : level);
        }
    }
    forBands(layout.rows, job.options.threads, [&](unsigned int y, unsigned int end) {
        for (; y < end; ++y) {
            const unsigned char* const from = job.data() + std::size_t{y} * layout.columns * sizeof(Raw);
            auto* to = samplesOf<Sample>(job.picture, y);
            const Sample* const shades = grey != nullptr ? samplesOf<Sample>(*grey, y) : nullptr;
            for (unsigned int x = 0; x < layout.columns; ++x, to += 3) {
                const std::uint32_t code = stored.code(rawAt<Raw>(from, x));
                if (isGrey[code]) {
                    std::fill_n(to, 3, shades[x]);
                } else {
                    std::copy(table[code].begin(), table[code].end(), to);
                }
            }
        }
    });
}

}  // namespace

int renderColour(const RenderJob& job) {
    return ColourRender(job).run();
}

namespace {

// False where it is not whole.
bool readPalette(const RenderJob& job, std::array<LookupTable, 3>& palette) {
    for (std::size_t c = 0; c < 3; ++c) {
        palette[c] = readTable(job.dataset, kPalettes[c], job.pixels.layout.isSigned);
        if (palette[c].empty()) return false;
    }
    return true;
}

int renderByPalette(const RenderJob& job, const std::array<LookupTable, 3>& palette, DcPicture* grey) {
    const DcImagePixels& layout = job.pixels.layout;
    if (layout.bitsAllocated > 16 || job.pixels.isReal) {
        return job.fail(IMAGE_PIXELS, "a palette for more than 16 bits");
    }
    if (const int made = job.picture.make(layout.columns, layout.rows, 3, job.options.bits);
        made != RESULT_OK) {
        return job.fail(made, "not enough memory");
    }
    withPictureType(job.picture, [&](auto sample) {
        withSampleType(job.pixels, [&](auto raw) {
            if constexpr (std::is_integral_v<decltype(raw)> && sizeof raw <= 2) {
                paintPalette<decltype(raw), decltype(sample)>(job, palette, grey);
            }
        });
    });
    return RESULT_OK;
}

constexpr unsigned int kPetFrameType = 0x00189751;  // PET Frame Type Sequence

// Of the frame, or of all: what the frame type of one of the kinds of image says, or the image itself
// (PS3.3 C.8.16.2.2.3).
bool showsColours(const RenderJob& job) {
    const FrameGroups groups(job.dataset, job.frame);
    for (const unsigned int type :
         {T_0018_9226_mrImageFrameTypeSequence, T_0018_9329_ctImageFrameTypeSequence, kPetFrameType, 0u}) {
        const std::string text =
            codeOf(type != 0 ? groups.find(type) : job.dataset, T_0008_9205_pixelPresentation);
        if (!text.empty()) return text == "COLOR" || text == "MIXED";
    }
    return false;
}

}  // namespace

int renderPalette(const RenderJob& job) {
    std::array<LookupTable, 3> palette;
    if (!readPalette(job, palette)) return job.fail(ELEM_NOT_FOUND, "the image has no whole palette");
    return renderByPalette(job, palette, nullptr);
}

int renderGreyWithColours(const RenderJob& job) {
    std::array<LookupTable, 3> palette;
    const bool isSimple = job.pixels.layout.bitsAllocated <= 16 && !job.pixels.isReal;
    if (!isSimple || !showsColours(job) || !readPalette(job, palette)) return renderGrey(job);
    DcPicture grey;
    const int result = renderGrey({job.dataset, job.pixels, job.frame, job.options, grey, job.fault});
    return result == RESULT_OK ? renderByPalette(job, palette, &grey) : result;
}

}  // namespace orvkit::render
