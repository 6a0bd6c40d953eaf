// Pictures of other formats, and the one that needs no library: PNM.
#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <string_view>

#include "foundation/bytes.h"
#include "image/isolation.h"
#include "image/picture_reader.h"
#include "orvkit/result.h"

namespace orvkit::render {

namespace {

using Read = int (*)(const PictureFile& file);

using namespace std::string_view_literals;

constexpr struct {
    std::string_view begins;
    PICTURE_FORMAT format;
    Read read;  // null where the library was missing
} kFormats[] = {
    {"\x89PNG\r\n\x1A\n"sv, PICTURE_PNG, ORVKIT_WITH_PNG ? readPng : nullptr},
    {"II*\0"sv, PICTURE_TIFF, ORVKIT_WITH_TIFF ? readTiff : nullptr},
    {"MM\0*"sv, PICTURE_TIFF, ORVKIT_WITH_TIFF ? readTiff : nullptr},
    {"II+\0"sv, PICTURE_TIFF, ORVKIT_WITH_TIFF ? readTiff : nullptr},
    {"MM\0+"sv, PICTURE_TIFF, ORVKIT_WITH_TIFF ? readTiff : nullptr},
    {"P5"sv, PICTURE_PNM, readPnm},
    {"P6"sv, PICTURE_PNM, readPnm},
};

// The numbers at the head of a PNM file.
class PnmNumbers {
  public:
    explicit PnmNumbers(std::span<const unsigned char> bytes) : bytes_(bytes) {}

    // 0 where there is none, or one above a million.
    unsigned int next() {
        while (at_ < bytes_.size() && (isBlank(bytes_[at_]) || bytes_[at_] == '#')) {
            const bool isComment = bytes_[at_] == '#';
            do ++at_;
            while (isComment && at_ < bytes_.size() && bytes_[at_] != '\n');
        }
        unsigned int number = 0;
        for (; at_ < bytes_.size() && bytes_[at_] >= '0' && bytes_[at_] <= '9'; ++at_) {
            number = number * 10 + (bytes_[at_] - '0');
            if (number > 1000000) return 0;
        }
        return number;
    }
    // Behind the one blank that ends the last number.
    std::span<const unsigned char> rest() const {
        return at_ < bytes_.size() ? bytes_.subspan(at_ + 1) : std::span<const unsigned char>();
    }

  private:
    static bool isBlank(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

    std::span<const unsigned char> bytes_;
    std::size_t at_ = 2;
};

}  // namespace

int readPnm(const PictureFile& file) {
    PnmNumbers numbers(file.bytes);
    const unsigned int width = numbers.next();
    const unsigned int height = numbers.next();
    const unsigned int most = numbers.next();
    if (most == 0 || most > 65535) return cannotRead(file, IMAGE_STREAM, "PNM: a damaged head");
    DcPicture& picture = file.picture;
    file.found.bits = static_cast<unsigned int>(std::bit_width(most));
    const int result = makeRoom(file, width, height, file.bytes[1] == '6' ? 3 : 1, most > 255 ? 16 : 8, 1);
    if (result != RESULT_OK) return result;
    std::span<const unsigned char> rest = numbers.rest();
    const auto rowBytes = static_cast<std::size_t>(picture.rowBytes());
    if (rest.size() / rowBytes < height) return cannotRead(file, IMAGE_STREAM, "PNM: the file is cut short");
    for (unsigned int y = 0; y < height; ++y, rest = rest.subspan(rowBytes)) {
        std::memcpy(picture.row(y), rest.data(), rowBytes);
        if (std::endian::native == std::endian::little)
            swapUnits({picture.row(y), rowBytes}, picture.bits() / 8);
    }
    return RESULT_OK;
}

}  // namespace orvkit::render

int pictureRead(const void* bytes, std::size_t length, unsigned int page, DcPicture& picture,
                DcPictureFound& found, DcRenderFault* fault) try {
    using namespace orvkit::render;
    DcRenderFault ignored;
    DcRenderFault& told = fault != nullptr ? *fault : ignored;
    told.text[0] = '\0';
    found = {};
    const PictureFile file{{static_cast<const unsigned char*>(bytes), bytes == nullptr ? 0 : length},
                           page,
                           picture,
                           found,
                           told};
    const std::string_view text(static_cast<const char*>(bytes), file.bytes.size());
    const auto* const row =
        std::ranges::find_if(kFormats, [text](const auto& one) { return text.starts_with(one.begins); });
    if (row == std::end(kFormats)) return cannotRead(file, IMAGE_NO_CODEC, "neither PNG nor TIFF nor PNM");
    found.format = row->format;
    if (row->read == nullptr) {
        const DcPictureFormat& facts = *pictureFormat(static_cast<unsigned int>(row->format));
        std::snprintf(told.text, sizeof told.text, "%s was left out of this build: it needs %s", facts.name,
                      facts.library);
        return IMAGE_NO_CODEC;
    }
    if (page == 0 || (page > 1 && row->format != PICTURE_TIFF))
        return cannotRead(file, IMAGE_OPTION, "there is no such page");
    const bool isElsewhere = row->read != readPnm && orvkit::image::arePicturesIsolated();
    const int result = isElsewhere ? orvkit::image::readIsolated(file) : row->read(file);
    // Libraries tell of faults behind which they go on, and fail without a word.
    if (result == RESULT_OK) told.text[0] = '\0';
    return result == RESULT_OK || told.text[0] != '\0' ? result
                                                       : cannotRead(file, result, "the file is damaged");
} catch (const std::bad_alloc&) {
    if (fault != nullptr) std::snprintf(fault->text, sizeof fault->text, "not enough memory");
    return IMAGE_NO_MEMORY;
}
