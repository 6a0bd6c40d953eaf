// The codec of the private LZW syntax: orvkit/lzw.h tells how its streams look.
#ifndef ORVKIT_ENCODING_LZW_H
#define ORVKIT_ENCODING_LZW_H

#include <cstddef>
#include <span>

namespace orvkit {

struct LzwOutcome {
    enum class Fault : unsigned char {
        none,
        memory,  // for the tables of this thread
        room,    // the output is full
        magic,   // not such a stream
        width,   // `number` bits are more than codes may have
        code,    // code `number` has no string yet
        codes,   // more strings than the stream's codes can name
    };
    Fault fault = Fault::none;
    std::size_t size = 0;  // of the output, also after a fault
    unsigned int number = 0;
};

LzwOutcome lzwPack(std::span<const unsigned char> in, std::span<unsigned char> out) noexcept;
// Bytes of `out` behind those produced may be overwritten.
LzwOutcome lzwUnpack(std::span<const unsigned char> in, std::span<unsigned char> out) noexcept;

}  // namespace orvkit

#endif
