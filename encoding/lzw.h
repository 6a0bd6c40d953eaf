// The codec of the private LZW syntax: orvkit/lzw.h tells how its streams look.
#ifndef ORVKIT_ENCODING_LZW_H
#define ORVKIT_ENCODING_LZW_H

#include <cstddef>
#include <span>

#include "orvkit/lzw.h"

namespace orvkit {

struct LzwOutcome {
    enum class Fault : unsigned char {
        none,
        memory,  // for the tables of this thread
        room,    // the output is full, or refused
        magic,   // not such a stream
        width,   // `number` bits are more than codes may have
        code,    // code `number` has no string yet
        codes,   // more strings than the stream's codes can name
        read,    // the input failed, or `number` bytes of it are missing
    };
    Fault fault = Fault::none;
    std::size_t size = 0;  // of an output in memory, also after a fault
    unsigned int number = 0;
};

LzwOutcome lzwPack(std::span<const unsigned char> in, std::span<unsigned char> out);
LzwOutcome lzwPack(const DcLzwIo& io, unsigned int inLen);
// Bytes of `out` behind those produced may be overwritten.
LzwOutcome lzwUnpack(std::span<const unsigned char> in, std::span<unsigned char> out);
LzwOutcome lzwUnpack(const DcLzwIo& io);

}  // namespace orvkit

#endif
