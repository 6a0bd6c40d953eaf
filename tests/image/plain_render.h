// Pictures the plain way: one pixel after the other, in double precision, by the letter of PS3.4 N.2. What
// the library makes is compared with it.
#ifndef ORVKIT_TESTS_IMAGE_PLAIN_RENDER_H
#define ORVKIT_TESTS_IMAGE_PLAIN_RENDER_H

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "orvkit/render.h"
#include "orvkit/sequence.h"
#include "orvkit/tags.h"

namespace plain {

struct Table {
    int first;
    unsigned int bits;
    std::vector<unsigned short> entries;

    double at(double value) const {
        const double index = std::floor(value + 0.5) - first;
        return entries[static_cast<std::size_t>(
            std::clamp<double>(index, 0, static_cast<double>(entries.size()) - 1))];
    }
    double level(double value) const { return at(value) / (std::pow(2, bits) - 1); }
};

struct Window {
    double center, width;
};

enum class Group { none, shared, own };

// A grey image in terms of its attributes.
struct Grey {
    DcImagePixels layout;
    bool isReal = false;
    std::vector<double> stored;
    double slope = 1, intercept = 0;
    std::optional<Table> modality, voi;
    std::vector<Window> windows;
    std::string function, shape;
    std::optional<Window> padding;  // from and to
    Group group = Group::none;      // where rescale and windows stand
};

// Stored values as pixels lie, with other bits set wherever the values leave room.
inline std::vector<unsigned char> packed(const Grey& image) {
    const DcImagePixels& p = image.layout;
    std::vector<unsigned char> bytes((image.stored.size() * p.bitsAllocated + 7) / 8);
    for (std::size_t i = 0; i < image.stored.size(); ++i) {
        const double value = image.stored[i];
        unsigned char* const to = bytes.data() + i * p.bitsAllocated / 8;
        const auto real = static_cast<float>(value);
        const std::uint64_t mask = ~std::uint64_t{0} >> (64 - p.bitsStored);
        const unsigned int shift = p.highBit + 1 - p.bitsStored;
        const std::uint64_t junk = (0x5A5A5A5A5A5A5A5AULL * (i + 1)) & ~(mask << shift);
        const std::uint64_t raw =
            ((static_cast<std::uint64_t>(static_cast<std::int64_t>(value)) & mask) << shift) | junk;
        if (p.bitsAllocated == 1) {
            *to = static_cast<unsigned char>(*to | (raw & 1) << i % 8);
        } else if (image.isReal && p.bitsAllocated == 32) {
            std::memcpy(to, &real, 4);
        } else if (image.isReal) {
            std::memcpy(to, &value, 8);
        } else {
            for (unsigned int b = 0; b < p.bitsAllocated; b += 8)
                to[b / 8] = static_cast<unsigned char>(raw >> b);
        }
    }
    return bytes;
}

inline void put(DcElemList& list, unsigned int tag, const std::string& text) {
    list.add(new DcElem(tag, text.c_str()));
}
inline void putWord(DcElemList& list, unsigned int tag, int value, DICT_VR vr = VR_US) {
    auto bits = static_cast<unsigned short>(value);
    list.add(new DcElem(tag, &bits, 2, UID_LITTLE_ENDIAN_EXPLICIT, vr, 0));
}
inline DcElemList& addItem(DcElemList& list, unsigned int tag) {
    auto* const sequence = new DcElemSq(tag);
    auto* const item = new DcElemSqItem;
    sequence->add(item);
    list.add(sequence);
    return item->getElemList();
}
inline void putTable(DcElemList& list, unsigned int descriptor, unsigned int data, const Table& table,
                     bool isSigned) {
    unsigned short words[] = {static_cast<unsigned short>(table.entries.size()),
                              static_cast<unsigned short>(table.first),
                              static_cast<unsigned short>(table.bits)};
    list.add(
        new DcElem(descriptor, words, sizeof words, UID_LITTLE_ENDIAN_EXPLICIT, isSigned ? VR_SS : VR_US, 0));
    auto entries = table.entries;
    list.add(new DcElem(data, entries.data(), static_cast<unsigned int>(2 * entries.size()),
                        UID_LITTLE_ENDIAN_EXPLICIT, VR_OW, 0));
}

// As a decimal string of at most 16 characters.
inline std::string decimal(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

// The attributes as a data set.
inline void describe(const Grey& image, DcElemList& list) {
    const auto groupOf = [&](unsigned int tag) -> DcElemList& {
        if (image.group == Group::none) return list;
        const unsigned int groups = image.group == Group::own ? T_5200_9230_perFrameFunctionalGroupsSequence
                                                              : T_5200_9229_sharedFunctionalGroupsSequence;
        DcElemSq* sequence = nullptr;
        if (list.getElem(groups, static_cast<DcElem**>(nullptr)) != 0) (void)addItem(list, groups);
        (void)list.getElem(groups, &sequence);
        return addItem(sequence->first()->getElemList(), tag);
    };
    if (image.slope != 1 || image.intercept != 0) {
        DcElemList& group = groupOf(T_0028_9145_pixelValueTransformationSequence);
        put(group, T_0028_1053_rescaleSlope, decimal(image.slope));
        put(group, T_0028_1052_rescaleIntercept, decimal(image.intercept));
    }
    if (!image.windows.empty()) {
        std::string centers, widths;
        for (const Window& one : image.windows) {
            centers += (centers.empty() ? "" : "\\") + decimal(one.center);
            widths += (widths.empty() ? "" : "\\") + decimal(one.width);
        }
        DcElemList& group = groupOf(T_0028_9132_frameVoiLutSequence);
        put(group, T_0028_1050_windowCenter, centers);
        put(group, T_0028_1051_windowWidth, widths);
        if (!image.function.empty()) put(group, T_0028_1056_voiLutFunction, image.function);
    }
    if (image.modality) {
        putTable(addItem(list, T_0028_3000_modalityLutSequence), T_0028_3002_lutDescriptor,
                 T_0028_3006_lutData, *image.modality, image.layout.isSigned);
    }
    if (image.voi) {
        putTable(addItem(list, T_0028_3010_voiLutSequence), T_0028_3002_lutDescriptor, T_0028_3006_lutData,
                 *image.voi, image.voi->first < 0);
    }
    if (!image.shape.empty()) put(list, T_2050_0020_presentationLutShape, image.shape);
    if (image.padding && !image.isReal) {
        putWord(list, T_0028_0120_pixelPaddingValue, static_cast<int>(image.padding->center));
        putWord(list, T_0028_0121_pixelPaddingRangeLimit, static_cast<int>(image.padding->width));
    }
}

inline double windowed(double x, double c, double w, const std::string& function) {
    if (function == "SIGMOID") return 1 / (1 + std::exp(-4 * (x - c) / w));
    if (function == "LINEAR_EXACT") return x <= c - w / 2 ? 0 : x > c + w / 2 ? 1 : (x - c) / w + 0.5;
    if (x <= c - 0.5 - (w - 1) / 2) return 0;
    return x > c - 0.5 + (w - 1) / 2 ? 1 : (x - (c - 0.5)) / (w - 1) + 0.5;
}

// Levels of grey from 0 to 1.
inline std::vector<double> render(const Grey& image, const DcRenderOptions& options) {
    const auto isPadding = [&](double s) {
        return image.padding && !image.isReal && s >= image.padding->center && s <= image.padding->width;
    };
    const auto modality = [&](double s) {
        return image.modality ? image.modality->at(s) : s * image.slope + image.intercept;
    };
    std::vector<double> values;
    for (const double s : image.stored) {
        if (!isPadding(s)) values.push_back(modality(s));
    }
    std::sort(values.begin(), values.end());
    const auto at = [&](double percent) {
        return values[static_cast<std::size_t>(percent / 100 * static_cast<double>(values.size() - 1) + 0.5)];
    };
    const double bits = std::pow(2, image.layout.bitsStored);
    double least = modality(image.layout.isSigned ? -bits / 2 : 0);
    double most = modality(image.layout.isSigned ? bits / 2 - 1 : bits - 1);
    if (image.modality) {
        least = *std::min_element(image.modality->entries.begin(), image.modality->entries.end());
        most = *std::max_element(image.modality->entries.begin(), image.modality->entries.end());
    }
    if (least > most) std::swap(least, most);
    const auto range = [](double x, double low, double high) {
        return windowed(x, (low + high) / 2, high - low, "LINEAR_EXACT");
    };
    const auto voi = [&](double x) {
        switch (options.voi) {
            case RENDER_VOI_GIVEN:
                return windowed(x, options.center, options.width,
                                image.windows.empty() ? "" : image.function);
            case RENDER_VOI_WINDOW:
                return windowed(x, image.windows[options.index - 1].center,
                                image.windows[options.index - 1].width, image.function);
            case RENDER_VOI_PERCENTILE:
                return range(x, at(options.lowPercent), at(options.highPercent));
            case RENDER_VOI_RANGE:
                return range(x, at(0), at(100));
            case RENDER_VOI_BITS:
                return image.isReal ? range(x, at(0), at(100)) : range(x, least, most);
            default:
                break;
        }
        if (image.voi) return image.voi->level(x);
        if (!image.windows.empty())
            return windowed(x, image.windows[0].center, image.windows[0].width, image.function);
        return image.layout.bitsStored <= 8 ? range(x, least, most) : range(x, at(0), at(100));
    };
    const bool turned = image.shape == "INVERSE" ||
                        (image.shape.empty() && image.layout.photometric == DcPhotometric::monochrome1);
    std::vector<double> levels;
    for (const double s : image.stored) {
        const double level = isPadding(s) ? 0 : turned ? 1 - voi(modality(s)) : voi(modality(s));
        levels.push_back(options.invert ? 1 - level : level);
    }
    return levels;
}

}  // namespace plain

#endif
