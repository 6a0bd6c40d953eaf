// LZW: hostile streams are decoded into buffers of several sizes; whatever is encoded must come back.
#include "orvkit/lzw.h"

#include <cstring>

#include "fuzz/target.h"
#include "orvkit/elem.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    std::vector<unsigned char> in = fuzz::content(data, size);
    const auto length = static_cast<unsigned int>(in.size());

    for (const unsigned int capacity : {0u, 1u, length, length * 8u + 1000u}) {
        std::vector<unsigned char> out(capacity);
        unsigned int produced = capacity;
        (void)lzwDecode(in.data(), length, out.data(), &produced);
        fuzz::require(produced <= capacity);
    }

    std::vector<unsigned char> packed(length * 2 + 64);
    unsigned char* end = packed.data();
    auto packedLength = static_cast<unsigned int>(packed.size());
    if (lzwEncode(in.data(), length, end, packedLength) == 0 && length > 0) {
        fuzz::require(end == packed.data() + packedLength);
        std::vector<unsigned char> out(length);
        unsigned int produced = length;
        fuzz::require(lzwDecode(packed.data(), packedLength, out.data(), &produced) == 0);
        fuzz::require(produced == length && std::memcmp(out.data(), in.data(), length) == 0);
    }

    // As an element sees it: the length that the stream claims is not believed.
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    if (pixels.addValue(in.data(), length, UID_ORVKIT5_LZW) == 0) {
        (void)pixels.changeXferSyn(UID_LITTLE_ENDIAN_EXPLICIT);
    }
    return 0;
}
