// Blocks as utilNew gives them, which the library's buffers own.
#ifndef ORVKIT_FOUNDATION_BLOCK_H
#define ORVKIT_FOUNDATION_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace orvkit {

struct ReleaseBlock {
    void operator()(unsigned char* p) const noexcept { ::operator delete(p); }
};
using Block = std::unique_ptr<unsigned char, ReleaseBlock>;

// Null without memory.
[[nodiscard]] inline Block allocate(std::uint64_t size) noexcept {
    if (size > SIZE_MAX) return nullptr;
    return Block(static_cast<unsigned char*>(::operator new(static_cast<std::size_t>(size), std::nothrow)));
}

}  // namespace orvkit

#endif
