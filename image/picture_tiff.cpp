// TIFF, by libtiff 4.5 or later: strips, LZW.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "image/module.h"
#include "image/picture_writer.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

// The file in memory: the library goes back and forth in it.
class Memory {
  public:
    const std::vector<unsigned char>& bytes() const { return bytes_; }

    tmsize_t read(void* into, tmsize_t length) {
        const std::size_t there = bytes_.size() - std::min(at_, bytes_.size());
        const std::size_t n = std::min(static_cast<std::size_t>(length), there);
        if (n > 0) std::memcpy(into, bytes_.data() + at_, n);
        at_ += n;
        return static_cast<tmsize_t>(n);
    }
    tmsize_t write(const void* from, tmsize_t length) noexcept try {
        const auto n = static_cast<std::size_t>(length);
        if (bytes_.size() < at_ + n) bytes_.resize(at_ + n);
        if (n > 0) std::memcpy(bytes_.data() + at_, from, n);
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
    std::vector<unsigned char> bytes_;
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

std::unique_ptr<TIFF, Close> openTiff(Memory& memory, DcRenderFault& fault) {
    const std::unique_ptr<TIFFOpenOptions, Close> options(TIFFOpenOptionsAlloc());
    if (options == nullptr) return nullptr;
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), keepWords, &fault);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), hold, nullptr);
    return std::unique_ptr<TIFF, Close>(TIFFClientOpenExt(
        "picture", "w", &memory,
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

}  // namespace

int writeTiff(const PictureJob& job) {
    const DcPicture& picture = job.picture;
    constexpr std::uint64_t most = std::uint64_t{3} << 30;  // offsets have 32 bits, and LZW may grow a little
    if (picture.rowBytes() * picture.height() > most) {
        std::snprintf(job.fault.text, sizeof job.fault.text, "TIFF: the picture is too large");
        return IMAGE_CANNOT_HOLD;
    }
    Memory memory;
    {
        const auto tiff = openTiff(memory, job.fault);
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
