// What codec libraries do, done in child processes.
#ifndef ORVKIT_IMAGE_ISOLATION_H
#define ORVKIT_IMAGE_ISOLATION_H

#include <cstdint>
#include <vector>

#include "image/codec.h"

namespace orvkit::image {

enum class Work : std::uint32_t { nothing, check, decode, encode, pack, unpack };

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

// Whether such a call goes to a child process.
bool isIsolated(const Codec& codec) noexcept;
// Has it done there. Throws std::bad_alloc; after a failure `out` is as it was.
Fault callIsolated(const Call& call, DcImageResult& result);

// What imageServeIsolated does, with something done before each call, for tests.
[[noreturn]] void serveIsolated(void (*before)()) noexcept;

}  // namespace orvkit::image

#endif
