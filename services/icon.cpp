#include "services/icon.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <vector>

#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"
#include "orvkit/util.h"
#include "platform/file.h"
#include "services/paths.h"
#include "services/source_file.h"

namespace services {
namespace {

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
using Pixels = std::unique_ptr<unsigned short[], FreeMemory>;

unsigned int word(SourceFile& source, unsigned int tag, unsigned int otherwise) {
    unsigned short value = 0;
    return source.dataset.getValue(tag, value) == RESULT_OK ? value : otherwise;
}

// How the pixels lie in the file.
struct Layout {
    unsigned int rows, columns, samples, allocated, stored, high;
    bool isSigned, planar, bigEndian;
    std::string photometric;
    std::uint64_t frame;

    explicit Layout(SourceFile& source)
        : rows(word(source, T_0028_0010_rows, 0)),
          columns(word(source, T_0028_0011_columns, 0)),
          samples(word(source, T_0028_0002_samplesPerPixel, 1)),
          allocated(word(source, T_0028_0100_bitsAllocated, 0)),
          stored(word(source, T_0028_0101_bitsStored, allocated)),
          high(word(source, T_0028_0102_highBit, stored - 1)),
          isSigned(word(source, T_0028_0103_pixelRepresentation, 0) != 0),
          planar(word(source, T_0028_0006_planarConfiguration, 0) != 0),
          bigEndian(source.meta.transferSyntax == UID_BIG_ENDIAN_EXPLICIT),
          photometric(source.text(T_0028_0004_photometricInterpretation)),
          frame(word(source, T_0028_6010_representativeFrameNumber, 1)) {}

    bool usable() const {
        const bool color =
            samples == 3 && allocated == 8 && (photometric == "RGB" || photometric == "YBR_FULL");
        return rows > 0 && columns > 0 && (samples == 1 || color) && (allocated == 8 || allocated == 16) &&
               stored > 0 && stored <= allocated && high < allocated && high + 1 >= stored;
    }
    std::uint64_t pixels() const { return std::uint64_t{rows} * columns; }
    std::uint64_t frameBytes() const { return pixels() * samples * (allocated / 8); }
};

std::vector<unsigned char> readUnpacked(const SourceFile& source, std::uint64_t offset, std::uint64_t size) {
    DcDirMetaInfo meta;
    DcDirAround around;
    DcElemList dataset;
    DcElem* pixels = nullptr;
    DcBuf value;
    if (dirReadAroundPixels(source.path.c_str(), meta, dataset, around) != RESULT_OK ||
        dataset.getElem(T_7fe0_0010_pixelData, &pixels) != RESULT_OK ||
        pixels->getValue(value) != RESULT_OK) {
        return {};
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    const auto at = static_cast<std::int64_t>(value.getOffset64());
    const std::int64_t got = orvkit::platform::readAt(value.getHandle(), bytes.data(), bytes.size(),
                                                      at + static_cast<std::int64_t>(offset));
    if (got != static_cast<std::int64_t>(size)) bytes.clear();
    return bytes;
}

// The bytes of one frame; none when the file does not hold it.
std::vector<unsigned char> readFrame(SourceFile& source, const Layout& layout) {
    const std::uint64_t size = layout.frameBytes();
    std::uint64_t offset = (std::max<std::uint64_t>(layout.frame, 1) - 1) * size;
    if (offset + size > source.pixelLength) offset = 0;
    std::vector<unsigned char> bytes;
    if (size > source.pixelLength) return bytes;
    if (source.isPacked) return readUnpacked(source, offset, size);
    std::ifstream file(pathOf(source.path), std::ios::binary);
    file.seekg(static_cast<std::streamoff>(source.pixelOffset + offset));
    if (!file || size > bytes.max_size()) return bytes;
    bytes.resize(static_cast<std::size_t>(size));
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    if (static_cast<std::uint64_t>(file.gcount()) != size) bytes.clear();
    return bytes;
}

// The stored values as numbers, one a pixel: of colours their brightness.
std::vector<int> valuesOf(const std::vector<unsigned char>& bytes, const Layout& layout) {
    const auto count = static_cast<std::size_t>(layout.pixels());
    std::vector<int> values(count);
    const std::uint32_t mask = (1U << layout.stored) - 1;
    const std::uint32_t sign = 1U << (layout.stored - 1);
    const auto sample = [&](std::size_t pixel, std::size_t channel) -> int {
        return bytes[layout.planar ? channel * count + pixel : pixel * 3 + channel];
    };
    for (std::size_t i = 0; i < count; ++i) {
        if (layout.samples == 3) {
            values[i] = layout.photometric == "YBR_FULL"
                            ? sample(i, 0)
                            : (299 * sample(i, 0) + 587 * sample(i, 1) + 114 * sample(i, 2)) / 1000;
            continue;
        }
        std::uint32_t raw = bytes[i];
        if (layout.allocated == 16) {
            const std::uint32_t first = bytes[2 * i];
            const std::uint32_t second = bytes[2 * i + 1];
            raw = layout.bigEndian ? first << 8 | second : second << 8 | first;
        }
        raw = raw >> (layout.high + 1 - layout.stored) & mask;
        values[i] = static_cast<int>(raw);
        if (layout.isSigned && (raw & sign) != 0) values[i] -= static_cast<int>(mask) + 1;
    }
    return values;
}

// The brightness of each entry of the palettes (PS3.3 C.7.6.3.1.5), from 0 to 255; empty without palettes.
class Palette {
  public:
    explicit Palette(SourceFile& source) {
        static constexpr unsigned int descriptors[] = {T_0028_1101_redPaletteColorLookupTableDescriptor,
                                                       T_0028_1102_greenPaletteColorLookupTableDescriptor,
                                                       T_0028_1103_bluePaletteColorLookupTableDescriptor};
        static constexpr unsigned int data[] = {T_0028_1201_redPaletteColorLookupTableData,
                                                T_0028_1202_greenPaletteColorLookupTableData,
                                                T_0028_1203_bluePaletteColorLookupTableData};
        static constexpr int weights[] = {299, 587, 114};
        for (std::size_t c = 0; c < 3; ++c) {
            int entries = 0;
            int bits = 0;
            DcBuf table;
            if (source.dataset.getValue(descriptors[c], entries, 0) != RESULT_OK ||
                source.dataset.getValue(descriptors[c], first_, 1) != RESULT_OK ||
                source.dataset.getValue(descriptors[c], bits, 2) != RESULT_OK ||
                source.dataset.getValue(data[c], table) != RESULT_OK || table.getBuf() == nullptr) {
                brightness_.clear();
                return;
            }
            if (entries <= 0) entries += 65536;  // a 16-bit number, where 0 stands for 65536
            add(table, static_cast<std::size_t>(entries), bits, weights[c]);
        }
    }
    bool empty() const { return brightness_.empty(); }
    int operator()(int value) const {
        const int last = static_cast<int>(brightness_.size()) - 1;
        return brightness_[static_cast<std::size_t>(std::clamp(value - first_, 0, last))] / 1000;
    }

  private:
    void add(DcBuf& table, std::size_t entries, int bits, int weight) {
        const auto* bytes = static_cast<const unsigned char*>(table.getBuf());
        const std::size_t length = table.getLen();
        const bool words = bits > 8 || length >= 2 * entries;
        const bool high = table.getXferSyn() == UID_BIG_ENDIAN_EXPLICIT;
        entries = std::min(entries, words ? length / 2 : length);
        if (brightness_.empty()) brightness_.resize(entries);
        brightness_.resize(std::min(brightness_.size(), entries));
        for (std::size_t i = 0; i < brightness_.size(); ++i) {
            const std::size_t most = high ? 2 * i : 2 * i + 1;
            const int value = words ? bytes[bits > 8 ? most : (high ? 2 * i + 1 : 2 * i)] : bytes[i];
            brightness_[i] += weight * value;
        }
    }

    int first_ = 0;
    std::vector<int> brightness_;  // times 1000
};

// To 0 ... 255: by the palette, by the window that the image asks for, or by what it holds.
std::vector<unsigned short> greyOf(const std::vector<int>& values, const Layout& layout, SourceFile& source) {
    std::vector<unsigned short> grey(values.size());
    const Palette palette(source);
    if (layout.photometric == "PALETTE COLOR" && !palette.empty()) {
        std::transform(values.begin(), values.end(), grey.begin(),
                       [&](int v) { return static_cast<unsigned short>(palette(v)); });
        return grey;
    }
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    double low = *least;
    double width = std::max(*most - *least, 1);
    double center = 0;
    double window = 0;
    double slope = 1;
    double intercept = 0;
    if (layout.samples == 3) {
        low = 0;
        width = 255;
    } else if (source.dataset.getValue(T_0028_1050_windowCenter, center) == RESULT_OK &&
               source.dataset.getValue(T_0028_1051_windowWidth, window) == RESULT_OK && window >= 1) {
        (void)source.dataset.getValue(T_0028_1052_rescaleIntercept, intercept);
        if (source.dataset.getValue(T_0028_1053_rescaleSlope, slope) != RESULT_OK || slope == 0) slope = 1;
        low = (center - window / 2 - intercept) / slope;
        width = window / slope;
    }
    const bool inverted = layout.photometric == "MONOCHROME1";
    std::transform(values.begin(), values.end(), grey.begin(), [&](int v) {
        const double level = std::clamp((v - low) / width * 255, 0.0, 255.0);
        return static_cast<unsigned short>(inverted ? 255 - level : level);
    });
    return grey;
}

struct GreyImage {
    std::vector<unsigned short> pixels;
    unsigned int columns, rows;
};

// Means of square blocks, until the resampling that follows need not pass over pixels.
GreyImage reduced(GreyImage image) {
    const unsigned int step = std::max(image.columns, image.rows) / (2 * iconSize);
    if (step < 2 || std::min(image.columns, image.rows) < step) return image;
    GreyImage small{{}, image.columns / step, image.rows / step};
    small.pixels.reserve(std::size_t{small.columns} * small.rows);
    for (unsigned int y = 0; y < small.rows; ++y) {
        for (unsigned int x = 0; x < small.columns; ++x) {
            std::uint64_t sum = 0;
            for (unsigned int i = 0; i < step * step; ++i) {
                const std::size_t row = std::size_t{y} * step + i / step;
                sum += image.pixels[row * image.columns + x * step + i % step];
            }
            small.pixels.push_back(static_cast<unsigned short>(sum / (step * step)));
        }
    }
    return small;
}

// The image in the middle of a black square.
std::vector<unsigned char> squared(const unsigned short* image, unsigned int columns, unsigned int rows) {
    std::vector<unsigned char> square(iconSize * iconSize);
    const unsigned int left = (iconSize - columns) / 2;
    const unsigned int top = (iconSize - rows) / 2;
    for (unsigned int y = 0; y < rows; ++y) {
        for (unsigned int x = 0; x < columns; ++x) {
            const unsigned int level = std::min<unsigned int>(image[y * columns + x], 255);
            square[(top + y) * iconSize + left + x] = static_cast<unsigned char>(level);
        }
    }
    return square;
}

DcElemSq* iconSequence(std::vector<unsigned char> pixels) {
    auto sequence = std::make_unique<DcElemSq>(T_0088_0200_iconImageSequence);
    auto* item = new DcElemSqItem;
    sequence->add(item);
    DcElemList& list = item->getElemList();
    const auto addWord = [&list](unsigned int tag, unsigned int value) {
        list.add(new DcElem(tag, static_cast<unsigned short>(value)));
    };
    addWord(T_0028_0002_samplesPerPixel, 1);
    list.add(new DcElem(T_0028_0004_photometricInterpretation, "MONOCHROME2"));
    addWord(T_0028_0010_rows, iconSize);
    addWord(T_0028_0011_columns, iconSize);
    addWord(T_0028_0100_bitsAllocated, 8);
    addWord(T_0028_0101_bitsStored, 8);
    addWord(T_0028_0102_highBit, 7);
    addWord(T_0028_0103_pixelRepresentation, 0);
    list.add(new DcElem(T_7fe0_0010_pixelData, pixels.data(), static_cast<unsigned int>(pixels.size()),
                        UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0));
    return sequence.release();
}

}  // namespace

DcElemSq* makeIcon(SourceFile& source, std::string& why) {
    constexpr int bytesPerPixel = 8;  // what the work on one takes, about
    if (!source.hasPixels || Dict.isEncapsulated(source.meta.transferSyntax) != 0) return nullptr;
    const Layout layout(source);
    if (!layout.usable()) {
        why = "no icon: pixels of this kind are not supported";
        return nullptr;
    }
    if (layout.pixels() > std::numeric_limits<int>::max() / bytesPerPixel) {
        why = "no icon: the image is too large";
        return nullptr;
    }
    const std::vector<unsigned char> bytes = readFrame(source, layout);
    if (bytes.empty()) {
        why = "no icon: the file does not hold a whole frame";
        return nullptr;
    }
    GreyImage image = reduced({greyOf(valuesOf(bytes, layout), layout, source), layout.columns, layout.rows});
    const unsigned int longer = std::max(layout.rows, layout.columns);
    const unsigned int columns = std::max(layout.columns * iconSize / longer, 1U);
    const unsigned int rows = std::max(layout.rows * iconSize / longer, 1U);
    const Pixels small(utilResizeImage(image.pixels.data(), static_cast<int>(image.columns),
                                       static_cast<int>(image.rows), static_cast<int>(columns),
                                       static_cast<int>(rows)));
    if (small == nullptr) {
        why = "no icon: not enough memory";
        return nullptr;
    }
    return iconSequence(squared(small.get(), columns, rows));
}

}  // namespace services
