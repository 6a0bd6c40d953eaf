// Blocks of bytes that a DcBuf may own and utilDelete releases, here with an owner.
#ifndef ORVKIT_FOUNDATION_BLOCK_H
#define ORVKIT_FOUNDATION_BLOCK_H

#include <cstddef>
#include <memory>
#include <new>

namespace orvkit {

struct Release {
    void operator()(void* p) const noexcept { ::operator delete(p); }
};
using Block = std::unique_ptr<unsigned char, Release>;

// Null without memory.
inline Block allocate(std::size_t size) noexcept {
    return Block(static_cast<unsigned char*>(::operator new(size, std::nothrow)));
}

}  // namespace orvkit

#endif
