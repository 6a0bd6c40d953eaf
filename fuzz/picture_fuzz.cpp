// Files of pictures: hostile ones, and sound ones that were tampered with. The first byte picks which.
#include <algorithm>

#include "fuzz/target.h"
#include "orvkit/image.h"
#include "orvkit/render.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A sound file, made once.
const Bytes& fileOf(unsigned int format, unsigned int kind) {
    static Bytes made[4][4];
    Bytes& bytes = made[format % 4][kind % 4];
    if (!bytes.empty()) return bytes;
    DcPicture picture;
    (void)picture.make(23, 17, kind % 2 == 0 ? 1 : 3, kind < 2 ? 8 : 16);
    for (unsigned int y = 0; y < picture.height(); ++y) {
        for (unsigned int i = 0; i < picture.rowBytes(); ++i)
            picture.row(y)[i] = static_cast<unsigned char>(y * 5 + i);
    }
    const auto sink = [](void* to, const unsigned char* from, unsigned long long length) {
        static_cast<Bytes*>(to)->insert(static_cast<Bytes*>(to)->end(), from, from + length);
        return true;
    };
    (void)pictureWrite(picture, static_cast<PICTURE_FORMAT>(format % 4), 90, sink, &bytes, nullptr);
    if (bytes.empty()) bytes.push_back(0);  // the format is left out of this build
    return bytes;
}

void read(const Bytes& bytes, unsigned int page) {
    DcPicture picture;
    DcPictureFound found;
    DcRenderFault fault;
    const int result = pictureRead(bytes.data(), bytes.size(), page, picture, found, &fault);
    fuzz::require((result == RESULT_OK) == (fault.text[0] == '\0'));
    fuzz::require(result != RESULT_OK || (picture.width() > 0 && picture.height() > 0 && found.bits <= 16));
    DcImageResult says;
    const char* uid = nullptr;
    if (imageDescribeJpeg(bytes.data(), bytes.size(), says, uid) != RESULT_OK) return;
    fuzz::require(says.pixels.samples >= 1 && says.pixels.samples <= 4 && says.pixels.bitsStored <= 16);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    Bytes bytes = fuzz::content(data, size);
    const unsigned int page = 1 + data[0] % 2;
    if ((data[0] & 0x80) != 0) {
        // What follows changes bytes: places of two bytes, and what is put there.
        Bytes file = fileOf(data[0] >> 1 & 3, data[0] >> 3 & 3);
        for (std::size_t i = 0; i + 3 <= bytes.size(); i += 3) {
            file[(std::size_t{bytes[i]} << 8 | bytes[i + 1]) % file.size()] = bytes[i + 2];
        }
        if ((data[0] & 0x40) != 0) file.resize(file.size() - file.size() / 5);
        bytes = std::move(file);
    }
    bytes.shrink_to_fit();
    read(bytes, page);
    return 0;
}
