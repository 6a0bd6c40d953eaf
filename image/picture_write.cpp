// The formats of pictures, and the one that needs no library: PNM.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/bytes.h"
#include "image/picture_writer.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

using Write = int (*)(const PictureJob& job);

struct Format {
    DcPictureFormat facts;
    Write write;  // null where the library was missing
};

constexpr Format formats[] = {
    {{PICTURE_PNG, "PNG", "png", 16, "libpng", ORVKIT_WITH_PNG != 0}, ORVKIT_WITH_PNG ? writePng : nullptr},
    {{PICTURE_JPEG, "JPEG", "jpg jpeg", 8, "libjpeg-turbo", ORVKIT_WITH_JPEG != 0},
     ORVKIT_WITH_JPEG ? writeJpeg : nullptr},
    {{PICTURE_TIFF, "TIFF", "tif tiff", 16, "libtiff", ORVKIT_WITH_TIFF != 0},
     ORVKIT_WITH_TIFF ? writeTiff : nullptr},
    {{PICTURE_PNM, "PNM", "pnm pgm ppm", 16, "", true}, writePnm},
};

// Whether the word stands in a list of words, whatever the case of its letters.
bool isAmong(std::string_view list, std::string word) {
    if (word.empty() || word.find(' ') != std::string::npos) return false;
    for (char& c : word) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const std::string all = ' ' + std::string(list) + ' ';
    return all.find(' ' + word + ' ') != std::string::npos;
}

}  // namespace

int writePnm(const PictureJob& job) {
    const DcPicture& picture = job.picture;
    char header[48];
    const int length =
        std::snprintf(header, sizeof header, "P%c\n%u %u\n%u\n", picture.samples() == 1 ? '5' : '6',
                      picture.width(), picture.height(), picture.bits() == 8 ? 255 : 65535);
    job.sink.write(header, static_cast<std::size_t>(length));
    std::vector<unsigned char> row(static_cast<std::size_t>(picture.rowBytes()));
    for (unsigned int y = 0; y < picture.height() && job.sink.isGood(); ++y) {
        std::copy_n(picture.row(y), row.size(), row.begin());
        if (std::endian::native == std::endian::little) swapUnits(row, picture.bits() / 8);
        job.sink.write(row.data(), row.size());
    }
    return RESULT_OK;
}

}  // namespace orvkit::render

const DcPictureFormat* pictureFormat(unsigned int index) {
    using orvkit::render::formats;
    return index < std::size(formats) ? &formats[index].facts : nullptr;
}

const DcPictureFormat* pictureFormatOf(const char* fileName) {
    const std::string_view name = fileName == nullptr ? "" : fileName;
    const std::size_t dot = name.find_last_of("./\\");
    if (dot == std::string_view::npos || name[dot] != '.') return nullptr;
    for (const auto& format : orvkit::render::formats) {
        if (orvkit::render::isAmong(format.facts.extensions, std::string(name.substr(dot + 1))))
            return &format.facts;
    }
    return nullptr;
}

int pictureWrite(const DcPicture& picture, PICTURE_FORMAT format, int quality, DcPictureSinkCB sink,
                 void* context, DcRenderFault* fault) try {
    using namespace orvkit::render;
    DcRenderFault ignored;
    DcRenderFault& told = fault != nullptr ? *fault : ignored;
    const auto fail = [&told](int result, const char* name, const char* why) {
        std::snprintf(told.text, sizeof told.text, "%s%s", name, why);
        return result;
    };
    told.text[0] = '\0';
    const auto* const row = std::find_if(std::begin(formats), std::end(formats),
                                         [=](const Format& one) { return one.facts.format == format; });
    if (row == std::end(formats) || quality < 1 || quality > 100 || sink == nullptr) {
        return fail(IMAGE_OPTION, "", "no such format or quality");
    }
    if (row->write == nullptr) return fail(IMAGE_NO_CODEC, row->facts.name, " was left out of this build");
    if (picture.width() == 0 || picture.bits() > row->facts.mostBits) {
        return fail(IMAGE_CANNOT_HOLD, row->facts.name, " cannot hold such a picture");
    }
    PictureSink counted(sink, context);
    const int result = row->write({picture, quality, counted, told});
    return counted.isGood() ? result : DIR_READ_WRITE;
} catch (const std::bad_alloc&) {
    if (fault != nullptr) std::snprintf(fault->text, sizeof fault->text, "not enough memory");
    return IMAGE_NO_MEMORY;
}
