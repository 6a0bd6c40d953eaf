// Blocks of bytes that grow in place where they can.
#ifndef ORVKIT_FOUNDATION_GROW_H
#define ORVKIT_FOUNDATION_GROW_H

#include <cstdlib>
#include <new>

namespace orvkit {

// As std::realloc; the program's own answer to a lack of memory is asked, as by operator new. Null: the block
// is as it was.
inline void* grow(void* block, std::size_t size) noexcept {
    for (;;) {
        void* const larger = std::realloc(block, size);
        if (larger != nullptr) return larger;
        const std::new_handler answer = std::get_new_handler();
        if (answer == nullptr) return nullptr;
        try {
            answer();
        } catch (...) {
            return nullptr;
        }
    }
}

}  // namespace orvkit

#endif
