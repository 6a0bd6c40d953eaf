// JPEG of 8 bits, baseline, extended and progressive, by libjpeg-turbo. The library leaves through longjmp:
// what runs inside `guarded` has nothing that needs a destructor.
#include <cstdio>

#include <jpeglib.h>
// After jpeglib.h.
#include <jerror.h>

#include <csetjmp>
#include <memory>

#include "image/jpeg_header.h"
#include "image/module.h"

namespace orvkit::image::jpeg {

namespace {

// Each scan of a progressive frame goes over all of it, however few bytes it has.
constexpr int kMostScans = 200;

struct ErrorManager : jpeg_error_mgr {
    std::jmp_buf jump;
    bool damaged = false;
    char words[JMSG_LENGTH_MAX] = {};
};

ErrorManager& managerOf(j_common_ptr info) {
    return *static_cast<ErrorManager*>(info->err);
}

[[noreturn]] void leave(j_common_ptr info) {
    (*info->err->format_message)(info, managerOf(info).words);
    std::longjmp(managerOf(info).jump, 1);
}

// The warnings after which pixels are guessed; others are about what is not needed.
void note(j_common_ptr info, int level) {
    ErrorManager& error = managerOf(info);
    if (level >= 0 || error.damaged) return;
    switch (info->err->msg_code) {
        case JWRN_BOGUS_PROGRESSION:
        case JWRN_HIT_MARKER:
        case JWRN_HUFF_BAD_CODE:
        case JWRN_MUST_RESYNC:
            error.damaged = true;
            (*info->err->format_message)(info, error.words);
            break;
        default:
            break;
    }
}

void quiet(j_common_ptr) {}

void prepare(ErrorManager& error) {
    jpeg_std_error(&error);
    error.error_exit = leave;
    error.emit_message = note;
    error.output_message = quiet;
}

// False when the library left.
template <typename Work>
bool guarded(ErrorManager& error, Work work) {
    if (setjmp(error.jump) != 0) return false;
    work();
    return true;
}

void watchScans(j_common_ptr info) {
    if (reinterpret_cast<j_decompress_ptr>(info)->input_scan_number <= kMostScans) return;
    std::snprintf(managerOf(info).words, JMSG_LENGTH_MAX, "more than %d scans", kMostScans);
    std::longjmp(managerOf(info).jump, 1);
}

struct Decompressor {
    Decompressor() {
        prepare(error);
        info.err = &error;
        monitor.progress_monitor = watchScans;
    }
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;
    ~Decompressor() { jpeg_destroy_decompress(&info); }

    jpeg_decompress_struct info{};
    ErrorManager error{};
    jpeg_progress_mgr monitor{};
};

struct Compressor {
    Compressor() {
        prepare(error);
        info.err = &error;
    }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;
    ~Compressor() {
        jpeg_destroy_compress(&info);
        std::free(out);  // NOLINT: from the library's malloc
    }

    jpeg_compress_struct info{};
    ErrorManager error{};
    unsigned char* out = nullptr;
    unsigned long size = 0;
};

void decodeAll(Decompressor& jpeg, Bytes stream, Room samples, bool ycc) {
    jpeg_decompress_struct& info = jpeg.info;
    jpeg_create_decompress(&info);
    info.progress = &jpeg.monitor;
    jpeg_mem_src(&info, stream.data(), static_cast<unsigned long>(stream.size()));
    (void)jpeg_read_header(&info, TRUE);
    if (info.num_components == 3) {
        info.jpeg_color_space = ycc ? JCS_YCbCr : JCS_RGB;
        info.out_color_space = JCS_RGB;
    } else {
        info.out_color_space = info.jpeg_color_space;
    }
    (void)jpeg_start_decompress(&info);
    const std::size_t pitch =
        std::size_t{info.output_width} * static_cast<unsigned int>(info.output_components);
    if (pitch * info.output_height != samples.size()) ERREXIT(&info, JERR_BAD_LENGTH);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = samples.data() + info.output_scanline * pitch;
        (void)jpeg_read_scanlines(&info, &row, 1);
    }
    (void)jpeg_finish_decompress(&info);
}

void encodeAll(Compressor& jpeg, const EncodeJob& job, bool isYcc) {
    jpeg_compress_struct& info = jpeg.info;
    jpeg_create_compress(&info);
    jpeg_mem_dest(&info, &jpeg.out, &jpeg.size);
    info.image_width = job.pixels.columns;
    info.image_height = job.pixels.rows;
    info.input_components = static_cast<int>(job.pixels.samples);
    info.in_color_space = job.pixels.samples == 1 ? JCS_GRAYSCALE : isYcc ? JCS_YCbCr : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, static_cast<int>(job.options.quality), TRUE);
    info.optimize_coding = TRUE;
    if (job.pixels.samples == 3) {
        info.comp_info[0].h_samp_factor = 2;
        info.comp_info[0].v_samp_factor = 1;
    }
    jpeg_start_compress(&info, TRUE);
    const std::size_t pitch = std::size_t{job.pixels.columns} * job.pixels.samples;
    while (info.next_scanline < info.image_height) {
        // The library only reads.
        JSAMPROW row = const_cast<JSAMPROW>(job.samples.data() + info.next_scanline * pitch);
        (void)jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
}

}  // namespace

Fault decodeByLibjpeg(DecodeJob& job, const Headers& headers) {
    const bool ycc = headers.frame.count == 3 && isYcc(headers, job.says.photometric);
    Decompressor jpeg;
    const bool whole = guarded(jpeg.error, [&] { decodeAll(jpeg, job.stream, job.samples, ycc); });
    if (!whole || jpeg.error.damaged) return damaged(jpeg.error.words);
    job.planar = false;
    if (headers.frame.count == 3) job.photometric = DcPhotometric::rgb;
    return {};
}

Fault encodeByLibjpeg(EncodeJob& job) {
    if (job.options.quality < 1 || job.options.quality > 100) return {IMAGE_OPTION, "quality is 1 to 100"};
    const bool isYcc = job.pixels.photometric == DcPhotometric::ybrFull;
    Compressor jpeg;
    if (!guarded(jpeg.error, [&] { encodeAll(jpeg, job, isYcc); })) return {IMAGE_CODEC, jpeg.error.words};
    job.out.insert(job.out.end(), jpeg.out, jpeg.out + jpeg.size);
    if (job.pixels.samples == 3) job.photometric = DcPhotometric::ybrFull422;
    return {};
}

}  // namespace orvkit::image::jpeg

ORVKIT_IMAGE_PART decltype(&orvkit::image::jpeg::decodeByLibjpeg) orvkitDecodeByLibjpeg() {
    return &orvkit::image::jpeg::decodeByLibjpeg;
}
ORVKIT_IMAGE_PART decltype(&orvkit::image::jpeg::encodeByLibjpeg) orvkitEncodeByLibjpeg() {
    return &orvkit::image::jpeg::encodeByLibjpeg;
}
