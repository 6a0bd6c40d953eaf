// An image in a file: its data set, and its frames unpacked one by one.
#ifndef ORVKIT_SERVICES_IMAGE_FILE_H
#define ORVKIT_SERVICES_IMAGE_FILE_H

#include <string>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/frames.h"
#include "orvkit/render.h"

namespace services {

// What a result of DcFrames means to a user.
std::string frameFault(int result);

class ImageFile {
  public:
    enum class Kind { image, noImage, notDicom, damaged };

    // Reads everything but the pixels. Of all but an image, `fault` says why.
    [[nodiscard]] Kind open(const std::string& path);
    const std::string& fault() const { return fault_; }
    DcElemList& dataset() { return dataset_; }
    unsigned int frames() const { return frames_.count(); }
    // The one that stands for all: Representative Frame Number, or the first.
    unsigned int representative();
    // Whether the frames can be unpacked at all, or need not be. False: `fault` says what is missing.
    [[nodiscard]] bool hasCodec();
    // Reads a frame, counted from 1, and unpacks it. False: `fault` says why, with the codec's name in front.
    [[nodiscard]] bool read(unsigned int frame);
    // What was read last; valid until the next reading.
    const DcRenderPixels& pixels() const { return pixels_; }

  private:
    bool unpack();
    bool fail(std::string why) {
        fault_ = std::move(why);
        return false;
    }

    std::string fault_;
    DcDirMetaInfo meta_;
    DcElemList dataset_;
    DcFrames frames_;
    DcRenderPixels says_;    // by the data set
    DcRenderPixels pixels_;  // as they are
    std::vector<unsigned char> stored_;
    std::vector<unsigned char> unpacked_;
};

}  // namespace services

#endif
