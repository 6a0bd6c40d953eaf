// One step of zlib over spans, which may be longer than zlib counts.
#ifndef ORVKIT_DEFLATE_ZLIB_PASS_H
#define ORVKIT_DEFLATE_ZLIB_PASS_H

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>

namespace orvkit::zlib {

inline constexpr int kRawWindow = -15;  // RFC 1951 without a header, with the largest window
inline constexpr int kMemoryLevel = 8;  // zlib's own choice

inline uInt clipped(std::size_t size) noexcept {
    return static_cast<uInt>(std::min<std::size_t>(size, std::numeric_limits<uInt>::max()));
}

// Runs `call` over the front of both, and takes from them what it has used.
template <typename Call>
int pass(z_stream& z, std::span<const unsigned char>& in, std::span<unsigned char>& out, Call call) {
    z.next_in = const_cast<Bytef*>(in.data());  // zlib only reads
    z.avail_in = clipped(in.size());
    z.next_out = out.data();
    z.avail_out = clipped(out.size());
    const std::size_t offered = z.avail_in;
    const std::size_t room = z.avail_out;
    const int result = call();
    in = in.subspan(offered - z.avail_in);
    out = out.subspan(room - z.avail_out);
    return result;
}

}  // namespace orvkit::zlib

#endif
