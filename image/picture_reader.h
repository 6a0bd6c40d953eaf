// What reads pictures: one function a format.
#ifndef ORVKIT_IMAGE_PICTURE_READER_H
#define ORVKIT_IMAGE_PICTURE_READER_H

#include <cstddef>
#include <cstdio>
#include <span>

#include "orvkit/render.h"
#include "orvkit/result.h"

namespace orvkit::render {

struct PictureFile {
    std::span<const unsigned char> bytes;
    unsigned int page;  // from 1
    DcPicture& picture;
    DcPictureFound& found;
    DcRenderFault& fault;  // in the words of the format's library
};

inline int cannotRead(const PictureFile& file, int result, const char* why) {
    std::snprintf(file.fault.text, sizeof file.fault.text, "%s", why);
    return result;
}

// Makes room for the picture, where the file is long enough to hold so much: `most` is how often as many
// bytes its compression can make of it. In the header, for the modules beside the library.
inline int makeRoom(const PictureFile& file, unsigned int width, unsigned int height, unsigned int samples,
                    unsigned int bits, unsigned int most) {
    constexpr unsigned int mostSide = 65535;
    if (width == 0 || height == 0) return cannotRead(file, IMAGE_STREAM, "a picture without pixels");
    if (width > mostSide || height > mostSide)
        return cannotRead(file, IMAGE_CANNOT_HOLD, "more than 65535 rows or columns");
    const unsigned long long wanted = 1ULL * width * height * samples * (bits / 8);
    if (wanted / most > file.bytes.size() + 256)
        return cannotRead(file, IMAGE_STREAM, "more pixels than the file has bytes for");
    const int result = file.picture.make(width, height, samples, bits);
    return result == RESULT_OK ? result : cannotRead(file, result, "not enough memory");
}

int readPng(const PictureFile& file);
int readTiff(const PictureFile& file);
int readPnm(const PictureFile& file);

}  // namespace orvkit::render

#endif
