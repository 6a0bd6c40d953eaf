// What writes pictures: one function a format.
#ifndef ORVKIT_IMAGE_PICTURE_WRITER_H
#define ORVKIT_IMAGE_PICTURE_WRITER_H

#include <cstddef>

#include "orvkit/render.h"

namespace orvkit::render {

// Hands the bytes of a file on, and remembers that somebody refused some.
class PictureSink {
  public:
    PictureSink(DcPictureSinkCB sink, void* context) : sink_(sink), context_(context) {}
    bool write(const void* bytes, std::size_t length) {
        if (isGood_ && length > 0)
            isGood_ = sink_(context_, static_cast<const unsigned char*>(bytes), length);
        return isGood_;
    }
    bool isGood() const { return isGood_; }

  private:
    DcPictureSinkCB sink_;
    void* context_;
    bool isGood_ = true;
};

struct PictureJob {
    const DcPicture& picture;
    int quality;
    PictureSink& sink;
    DcRenderFault& fault;  // in the words of the format's library
};

// RESULT_OK, or the code when the sink did not refuse. The picture is one that the format holds.
int writePng(const PictureJob& job);
int writeJpeg(const PictureJob& job);
int writeTiff(const PictureJob& job);
int writePnm(const PictureJob& job);

}  // namespace orvkit::render

#endif
