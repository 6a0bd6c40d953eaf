// JPEG, by libjpeg-turbo: baseline, JFIF.
#include <csetjmp>
#include <cstdio>
// Needs the types of stdio first.
#include <jpeglib.h>

#include "image/module.h"
#include "image/picture_writer.h"
#include "orvkit/result.h"

namespace orvkit::render {
namespace {

struct Faults {
    jpeg_error_mgr manager;  // first: the library hands its address back
    std::jmp_buf back;
    DcRenderFault* fault;
};

[[noreturn]] void keepWords(j_common_ptr common) {
    auto* const faults = reinterpret_cast<Faults*>(common->err);
    char words[JMSG_LENGTH_MAX];
    common->err->format_message(common, words);
    std::snprintf(faults->fault->text, sizeof faults->fault->text, "JPEG: %s", words);
    std::longjmp(faults->back, 1);  // NOLINT(cert-err52-cpp)
}

struct Destination {
    jpeg_destination_mgr manager;  // first, too
    PictureSink* sink;
    JOCTET room[1 << 14];

    void rewind() {
        manager.next_output_byte = room;
        manager.free_in_buffer = sizeof room;
    }
};

void begin(j_compress_ptr jpeg) {
    reinterpret_cast<Destination*>(jpeg->dest)->rewind();
}
// Bytes that are refused are not asked for again: the sink remembers.
boolean flush(j_compress_ptr jpeg) {
    auto* const to = reinterpret_cast<Destination*>(jpeg->dest);
    to->sink->write(to->room, sizeof to->room);
    to->rewind();
    return TRUE;
}
void end(j_compress_ptr jpeg) {
    auto* const to = reinterpret_cast<Destination*>(jpeg->dest);
    to->sink->write(to->room, sizeof to->room - to->manager.free_in_buffer);
}

// Nothing here may need a destructor: faults jump over them.
void encode(j_compress_ptr jpeg, const PictureJob& job) {
    const DcPicture& picture = job.picture;
    jpeg->image_width = picture.width();
    jpeg->image_height = picture.height();
    jpeg->input_components = static_cast<int>(picture.samples());
    jpeg->in_color_space = picture.samples() == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(jpeg);
    jpeg_set_quality(jpeg, job.quality, TRUE);
    jpeg_start_compress(jpeg, TRUE);
    if (picture.profile() != nullptr)
        jpeg_write_icc_profile(jpeg, picture.profile(), picture.profileLength());
    for (unsigned int y = 0; y < picture.height() && job.sink.isGood(); ++y) {
        JSAMPROW row = const_cast<JSAMPROW>(picture.row(y));  // the library only reads
        jpeg_write_scanlines(jpeg, &row, 1);
    }
    if (job.sink.isGood()) jpeg_finish_compress(jpeg);
}

}  // namespace

int writeJpeg(const PictureJob& job) {
    jpeg_compress_struct jpeg{};
    Faults faults{};
    Destination to{};
    jpeg.err = jpeg_std_error(&faults.manager);
    faults.manager.error_exit = keepWords;
    faults.fault = &job.fault;
    to.sink = &job.sink;
    to.manager.init_destination = begin;
    to.manager.empty_output_buffer = flush;
    to.manager.term_destination = end;
    if (setjmp(faults.back) != 0) {  // NOLINT(cert-err52-cpp)
        jpeg_destroy_compress(&jpeg);
        return IMAGE_CODEC;
    }
    jpeg_create_compress(&jpeg);
    jpeg.dest = &to.manager;
    encode(&jpeg, job);
    jpeg_destroy_compress(&jpeg);
    return RESULT_OK;
}

}  // namespace orvkit::render

ORVKIT_IMAGE_PART int orvkitWriteJpeg(const orvkit::render::PictureJob& job) {
    return orvkit::render::writeJpeg(job);
}
