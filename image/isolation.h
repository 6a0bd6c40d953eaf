// What codec libraries do, done in child processes.
#ifndef ORVKIT_IMAGE_ISOLATION_H
#define ORVKIT_IMAGE_ISOLATION_H

#include <cstdint>
#include <vector>

#include "image/codec.h"
#include "image/picture_reader.h"

namespace orvkit::image {

enum class Work : std::uint32_t { nothing, check, decode, encode, pack, unpack, picture };

// A call of one of the functions of image.h.
struct Call {
    Work work = Work::nothing;
    const Codec* codec = nullptr;
    const DcImagePixels& pixels;
    Bytes in;
    Room room{};                                // of decode
    std::vector<unsigned char>* out = nullptr;  // of encode, pack and unpack: behind what it holds
    DcImageOptions options{};
};

// Whether such a call goes to a child process; `stream` is what is to be decoded.
bool isIsolated(const Codec& codec, Bytes stream) noexcept;
// Has it done there. Throws std::bad_alloc; after a failure `out` is as it was.
Fault callIsolated(const Call& call, DcImageResult& result);

// The same of pictureRead, for a file whose format a library reads.
bool arePicturesIsolated() noexcept;
int readIsolated(const render::PictureFile& file);

// What imageServeIsolated does, with something done before each call, for tests.
[[noreturn]] void serveIsolated(void (*before)()) noexcept;

}  // namespace orvkit::image

#endif
