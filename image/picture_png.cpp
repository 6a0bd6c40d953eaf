// PNG, by libpng.
#include <png.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <vector>

#include "image/module.h"
#include "image/picture_reader.h"
#include "image/picture_writer.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

// The words go to the user; the way back is the library's jump.
void keepWords(png_structp png, png_const_charp words) {
    auto* const fault = static_cast<DcRenderFault*>(png_get_error_ptr(png));
    std::snprintf(fault->text, sizeof fault->text, "PNG: %s", words);
    png_longjmp(png, 1);
}

void hold(png_structp, png_const_charp) {}

void put(png_structp png, png_bytep bytes, png_size_t length) {
    if (!static_cast<PictureSink*>(png_get_io_ptr(png))->write(bytes, length)) png_error(png, "no room");
}

void putProfile(png_structp png, png_infop info, const DcPicture& picture) {
    if (picture.profile() == nullptr) return;
    // Profiles that are not by the letter are carried all the same.
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_set_benign_errors(png, 1);
    png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, picture.profile(),
                 picture.profileLength());
}

// Nothing here may need a destructor: faults jump over them.
int encode(png_structp png, png_infop info, const PictureJob& job) {
    const DcPicture& picture = job.picture;
    if (setjmp(png_jmpbuf(png)) != 0) return IMAGE_CODEC;  // NOLINT(cert-err52-cpp)
    png_set_write_fn(png, &job.sink, put, nullptr);
    png_set_IHDR(png, info, picture.width(), picture.height(), static_cast<int>(picture.bits()),
                 picture.samples() == 1 ? PNG_COLOR_TYPE_GRAY : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    // Nearly as small as with the library's own choice, in a fifth of the time.
    png_set_compression_level(png, 2);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    putProfile(png, info, picture);
    png_write_info(png, info);
    if (picture.bits() == 16 && std::endian::native == std::endian::little) png_set_swap(png);
    for (unsigned int y = 0; y < picture.height(); ++y) png_write_row(png, picture.row(y));
    png_write_end(png, info);
    return RESULT_OK;
}

// Where the reading is.
struct Reading {
    const PictureFile* file;
    std::size_t at;
};

void get(png_structp png, png_bytep room, png_size_t length) {
    auto* const reading = static_cast<Reading*>(png_get_io_ptr(png));
    const auto rest = reading->file->bytes.subspan(reading->at);
    if (rest.size() < length) png_error(png, "the file is cut short");
    std::copy_n(rest.begin(), length, room);
    reading->at += length;
}

// What the rows are to be: grey or red, green and blue, of 8 or 16 bits in the order of the machine.
void wantPlain(png_structp png, png_infop info, const PictureFile& file) {
    const png_byte bits = png_get_bit_depth(png, info);
    file.found.bits = bits;
    const bool isClear = png_get_valid(png, info, PNG_INFO_tRNS) != 0;
    file.found.alpha = isClear || (png_get_color_type(png, info) & PNG_COLOR_MASK_ALPHA) != 0 ? 1 : 0;
    png_set_expand(png);
    png_set_strip_alpha(png);
    if (bits == 16 && std::endian::native == std::endian::little) png_set_swap(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
}

void takeProfile(png_structp png, png_infop info, DcPicture& picture) {
    png_charp name = nullptr;
    png_bytep profile = nullptr;
    png_uint_32 length = 0;
    int method = 0;
    if (png_get_iCCP(png, info, &name, &method, &profile, &length) != 0)
        (void)picture.setProfile(profile, length);
}

// Nothing here may need a destructor: faults jump over them.
int decode(png_structp png, png_infop info, Reading& reading, std::vector<png_bytep>& rows) {
    const PictureFile& file = *reading.file;
    if (setjmp(png_jmpbuf(png)) != 0) return IMAGE_STREAM;  // NOLINT(cert-err52-cpp)
    png_set_read_fn(png, &reading, get);
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);
    png_read_info(png, info);
    wantPlain(png, info, file);
    const unsigned int height = png_get_image_height(png, info);
    constexpr unsigned int mostOfDeflate = 1032;
    const int result = makeRoom(file, png_get_image_width(png, info), height, png_get_channels(png, info),
                                png_get_bit_depth(png, info), mostOfDeflate);
    if (result != RESULT_OK) return result;
    rows.resize(height);
    for (unsigned int y = 0; y < height; ++y) rows[y] = file.picture.row(y);
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    takeProfile(png, info, file.picture);
    return RESULT_OK;
}

}  // namespace

int readPng(const PictureFile& file) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &file.fault, keepWords, hold);
    if (png == nullptr) return IMAGE_NO_MEMORY;
    png_infop info = png_create_info_struct(png);
    Reading reading{&file, 0};
    std::vector<png_bytep> rows;
    const int result = info == nullptr ? IMAGE_NO_MEMORY : decode(png, info, reading, rows);
    png_destroy_read_struct(&png, &info, nullptr);
    return result;
}

int writePng(const PictureJob& job) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &job.fault, keepWords, hold);
    if (png == nullptr) return IMAGE_NO_MEMORY;
    png_infop info = png_create_info_struct(png);
    const int result = info == nullptr ? IMAGE_NO_MEMORY : encode(png, info, job);
    png_destroy_write_struct(&png, &info);
    return result;
}

}  // namespace orvkit::render

ORVKIT_IMAGE_PART int orvkitWritePng(const orvkit::render::PictureJob& job) {
    return orvkit::render::writePng(job);
}

ORVKIT_IMAGE_PART int orvkitReadPng(const orvkit::render::PictureFile& file) {
    return orvkit::render::readPng(file);
}
