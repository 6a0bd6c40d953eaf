// The stream of the LZW codec, and what both directions share.
#ifndef ORVKIT_ENCODING_LZW_STREAM_H
#define ORVKIT_ENCODING_LZW_STREAM_H

#include <cstddef>
#include <memory>
#include <new>
#include <span>

#include "encoding/lzw.h"
#include "foundation/spares.h"

namespace orvkit::lzw {

using Fault = LzwOutcome::Fault;

inline constexpr std::size_t headerSize = 8;
inline constexpr unsigned char magic[] = {0x1F, 0x9D};
inline constexpr unsigned char blockMode = 0x80;
inline constexpr unsigned char widthMask = 0x1F;
inline constexpr unsigned int minWidth = 9;
inline constexpr unsigned int maxWidth = 16;
inline constexpr unsigned int clearCode = 256;
// The encoder clears its table when the next free code gets here; a decoder may meet every code of 16 bits.
inline constexpr unsigned int encoderCodes = 61440;
inline constexpr unsigned int decoderCodes = 65536;

constexpr unsigned int largestCode(unsigned int width) noexcept {
    return (1U << width) - 1;
}

// Tables, as another stream has left them; null without memory.
template <typename Table>
typename Spares<Table>::Lent lendTable() noexcept {
    static Spares<Table> tables;
    return tables.lend([] { return std::unique_ptr<Table>(new (std::nothrow) Table); });
}

// Fills the room as far as there are bytes; gives their number, or -1.
[[nodiscard]] inline int readFully(const DcLzwIo& io, std::span<unsigned char> room) {
    std::size_t done = 0;
    while (done < room.size()) {
        const int n = io.read(io.context, room.data() + done, static_cast<unsigned int>(room.size() - done));
        if (n < 0) return -1;
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    return static_cast<int>(done);
}

// What the streaming forms read or write at once.
inline constexpr std::size_t pieceSize = std::size_t{1} << 16;
using Room = std::unique_ptr<unsigned char[]>;

inline Room allocate(std::size_t size) {
    return Room(new (std::nothrow) unsigned char[size]);
}

}  // namespace orvkit::lzw

#endif
