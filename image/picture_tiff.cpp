// TIFF, by libtiff 4.5 or later: strips, LZW.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "image/module.h"
#include "image/picture_reader.h"
#include "image/picture_writer.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

// The file in memory, the caller's that is read or one that is made: the library goes back and forth in it.
class Memory {
  public:
    Memory() = default;
    explicit Memory(std::span<const unsigned char> bytes) : bytes_(bytes) {}
    std::span<const unsigned char> bytes() const { return bytes_; }

    tmsize_t read(void* into, tmsize_t length) {
        const std::size_t there = bytes_.size() - std::min(at_, bytes_.size());
        const std::size_t n = std::min(static_cast<std::size_t>(length), there);
        if (n > 0) std::memcpy(into, bytes_.data() + at_, n);
        at_ += n;
        return static_cast<tmsize_t>(n);
    }
    tmsize_t write(const void* from, tmsize_t length) noexcept try {
        const auto n = static_cast<std::size_t>(length);
        if (made_.size() < at_ + n) made_.resize(at_ + n);
        bytes_ = made_;
        if (n > 0) std::memcpy(made_.data() + at_, from, n);
        at_ += n;
        return length;
    } catch (const std::bad_alloc&) {
        return -1;
    }
    toff_t seek(toff_t offset, int whence) {
        const std::size_t base = whence == SEEK_CUR ? at_ : whence == SEEK_END ? bytes_.size() : 0;
        at_ = base + static_cast<std::size_t>(offset);
        return at_;
    }

  private:
    std::span<const unsigned char> bytes_;
    std::vector<unsigned char> made_;
    std::size_t at_ = 0;
};

Memory& memoryOf(thandle_t handle) {
    return *static_cast<Memory*>(handle);
}

int keepWords(TIFF*, void* fault, const char*, const char* format, va_list values) {
    auto& text = static_cast<DcRenderFault*>(fault)->text;
    const int front = std::snprintf(text, sizeof text, "TIFF: ");
    std::vsnprintf(text + front, sizeof text - static_cast<std::size_t>(front), format, values);
    return 1;
}
int hold(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

struct Close {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};

std::unique_ptr<TIFF, Close> openTiff(Memory& memory, const char* mode, DcRenderFault& fault) {
    const std::unique_ptr<TIFFOpenOptions, Close> options(TIFFOpenOptionsAlloc());
    if (options == nullptr) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepWords, &fault);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), hold, nullptr);
    return std::unique_ptr<TIFF, Close>(TIFFClientOpenExt(
        "picture", mode, &memory,
        [](thandle_t h, void* into, tmsize_t n) { return memoryOf(h).read(into, n); },
        [](thandle_t h, void* from, tmsize_t n) { return memoryOf(h).write(from, n); },
        [](thandle_t h, toff_t offset, int whence) { return memoryOf(h).seek(offset, whence); },
        [](thandle_t) { return 0; }, [](thandle_t h) { return toff_t{memoryOf(h).bytes().size()}; }, nullptr,
        nullptr, options.get()));
}

bool describe(TIFF* tiff, const DcPicture& picture) {
    const auto put = [tiff](std::uint32_t tag, auto... values) {
        return TIFFSetField(tiff, tag, values...) == 1;
    };
    return put(TIFFTAG_IMAGEWIDTH, picture.width()) && put(TIFFTAG_IMAGELENGTH, picture.height()) &&
           put(TIFFTAG_BITSPERSAMPLE, picture.bits()) && put(TIFFTAG_SAMPLESPERPIXEL, picture.samples()) &&
           put(TIFFTAG_PHOTOMETRIC, picture.samples() == 1 ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB) &&
           put(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) && put(TIFFTAG_COMPRESSION, COMPRESSION_LZW) &&
           put(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) &&
           put(TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0)) &&
           (picture.profile() == nullptr ||
            put(TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(picture.profileLength()), picture.profile()));
}

// What a page says of its samples.
struct Page {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t bits = 1;
    std::uint16_t samples = 1;
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    std::uint16_t planar = PLANARCONFIG_CONTIG;
    std::uint16_t format = SAMPLEFORMAT_UINT;
    bool isTiled = false;

    explicit Page(TIFF* tiff) : isTiled(TIFFIsTiled(tiff) != 0) {
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
        TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planar);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
    }
    bool isGrey() const {
        return photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    }
    unsigned int colours() const { return isGrey() ? 1 : 3; }
    // Rows can be taken as they come.
    bool isPlain() const {
        return (isGrey() || photometric == PHOTOMETRIC_RGB) && (bits == 8 || bits == 16) &&
               planar == PLANARCONFIG_CONTIG && samples >= colours() && !isTiled;
    }
};

constexpr unsigned int kMostOfCompression = 4096;  // that any of its compressions makes of a byte

// Samples that are neither colour nor grey are left away.
int readRows(TIFF* tiff, const Page& page, const PictureFile& file) {
    std::vector<unsigned char> row(static_cast<std::size_t>(TIFFScanlineSize64(tiff)));
    const unsigned int unit = page.bits / 8;
    const std::size_t pixel = std::size_t{page.samples} * unit;
    const std::size_t kept = std::size_t{page.colours()} * unit;
    if (row.size() < pixel * page.width) return cannotRead(file, IMAGE_STREAM, "TIFF: rows are too short");
    const unsigned char turned = page.photometric == PHOTOMETRIC_MINISWHITE ? 0xFF : 0;
    for (std::uint32_t y = 0; y < page.height; ++y) {
        if (TIFFReadScanline(tiff, row.data(), y, 0) != 1) return IMAGE_STREAM;
        unsigned char* to = file.picture.row(y);
        for (std::size_t x = 0; x < page.width; ++x) {
            for (std::size_t i = 0; i < kept; ++i)
                *to++ = static_cast<unsigned char>(row[x * pixel + i] ^ turned);
        }
    }
    return RESULT_OK;
}

// What the library makes red, green and blue of: palettes, tiles, planes, YCbCr, fewer bits than 8.
int readColours(TIFF* tiff, const Page& page, const PictureFile& file) {
    std::vector<std::uint32_t> pixels(std::size_t{page.width} * page.height);
    if (TIFFReadRGBAImageOriented(tiff, page.width, page.height, pixels.data(), ORIENTATION_TOPLEFT, 1) != 1)
        return IMAGE_STREAM;
    const std::uint32_t* from = pixels.data();
    for (std::uint32_t y = 0; y < page.height; ++y) {
        unsigned char* to = file.picture.row(y);
        for (std::uint32_t x = 0; x < page.width; ++x, ++from) {
            for (unsigned int i = 0; i < page.colours(); ++i)
                *to++ = static_cast<unsigned char>(*from >> (8 * i));
        }
    }
    return RESULT_OK;
}

}  // namespace

int readTiff(const PictureFile& file) {
    Memory memory(file.bytes);
    const auto tiff = openTiff(memory, "rm", file.fault);
    if (tiff == nullptr) return IMAGE_STREAM;
    file.found.pages = TIFFNumberOfDirectories(tiff.get());
    if (file.page > file.found.pages) return cannotRead(file, IMAGE_OPTION, "TIFF: there is no such page");
    if (TIFFSetDirectory(tiff.get(), static_cast<tdir_t>(file.page - 1)) != 1) return IMAGE_STREAM;
    const Page page(tiff.get());
    file.found.bits = page.bits;
    file.found.alpha = page.samples > page.colours() && page.photometric != PHOTOMETRIC_SEPARATED ? 1 : 0;
    if (page.format != SAMPLEFORMAT_UINT || (!page.isPlain() && page.bits > 8))
        return cannotRead(file, IMAGE_CANNOT_HOLD,
                          "TIFF: samples with signs, real numbers, or above 8 bits in tiles or planes");
    const int result =
        makeRoom(file, page.width, page.height, page.colours(), page.bits == 16 ? 16 : 8, kMostOfCompression);
    if (result != RESULT_OK) return result;
    std::uint32_t length = 0;
    void* profile = nullptr;
    if (TIFFGetField(tiff.get(), TIFFTAG_ICCPROFILE, &length, &profile) == 1)
        (void)file.picture.setProfile(static_cast<const unsigned char*>(profile), length);
    return page.isPlain() ? readRows(tiff.get(), page, file) : readColours(tiff.get(), page, file);
}

int writeTiff(const PictureJob& job) {
    const DcPicture& picture = job.picture;
    constexpr std::uint64_t most = std::uint64_t{3} << 30;  // offsets have 32 bits, and LZW may grow a little
    if (picture.rowBytes() * picture.height() > most) {
        std::snprintf(job.fault.text, sizeof job.fault.text, "TIFF: the picture is too large");
        return IMAGE_CANNOT_HOLD;
    }
    Memory memory;
    {
        const auto tiff = openTiff(memory, "w", job.fault);
        if (tiff == nullptr || !describe(tiff.get(), picture)) return IMAGE_CODEC;
        std::vector<unsigned char> row(static_cast<std::size_t>(picture.rowBytes()));
        for (unsigned int y = 0; y < picture.height(); ++y) {
            std::copy_n(picture.row(y), row.size(), row.begin());  // which the library works in
            if (TIFFWriteScanline(tiff.get(), row.data(), y, 0) != 1) return IMAGE_CODEC;
        }
        if (TIFFFlush(tiff.get()) != 1) return IMAGE_CODEC;
    }
    job.sink.write(memory.bytes().data(), memory.bytes().size());
    return RESULT_OK;
}

}  // namespace orvkit::render

ORVKIT_IMAGE_PART int orvkitWriteTiff(const orvkit::render::PictureJob& job) {
    return orvkit::render::writeTiff(job);
}

ORVKIT_IMAGE_PART int orvkitReadTiff(const orvkit::render::PictureFile& file) {
    return orvkit::render::readTiff(file);
}
