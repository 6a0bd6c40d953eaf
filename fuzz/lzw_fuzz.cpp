// LZW: hostile streams are decoded into buffers of several sizes; whatever is encoded must come back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "orvkit/elem.h"
#include "orvkit/log.h"
#include "orvkit/lzw.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        return true;
    }();
    if (!quiet || size < 1) return 0;
    std::vector<unsigned char> in(data + 1, data + size);
    const auto length = static_cast<unsigned int>(in.size());

    for (const unsigned int capacity : {0u, 1u, length, length * 8u + 1000u}) {
        std::vector<unsigned char> out(capacity);
        unsigned int produced = capacity;
        (void)lzwDecode(in.data(), length, out.data(), &produced);
        if (produced > capacity) std::abort();
    }

    std::vector<unsigned char> packed(length * 2 + 64);
    unsigned char* end = packed.data();
    auto packedLength = static_cast<unsigned int>(packed.size());
    if (lzwEncode(in.data(), length, end, packedLength) == 0 && length > 0) {
        if (end != packed.data() + packedLength) std::abort();
        std::vector<unsigned char> out(length);
        unsigned int produced = length;
        if (lzwDecode(packed.data(), packedLength, out.data(), &produced) != 0) std::abort();
        if (produced != length || std::memcmp(out.data(), in.data(), length) != 0) std::abort();
    }

    // As an element sees it: the length that the stream claims is not believed.
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    if (pixels.addValue(in.data(), length, UID_ORVKIT5_LZW) == 0) {
        (void)pixels.changeXferSyn(UID_LITTLE_ENDIAN_EXPLICIT);
    }
    return 0;
}
