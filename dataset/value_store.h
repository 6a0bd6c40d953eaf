// The values of one element: a run of bytes that starts inside the element and moves to the heap when it
// grows. Binary values stand side by side, all of one size; texts keep a NUL each.
#ifndef ORVKIT_DATASET_VALUE_STORE_H
#define ORVKIT_DATASET_VALUE_STORE_H

#include <span>
#include <string_view>

#include "orvkit/elem.h"

namespace orvkit {

void storeInit(ElemStore& s) noexcept;
void storeClear(ElemStore& s) noexcept;  // frees; the store is as new

// One value at the end. `text` adds a NUL and lets sizes differ. false when memory is exhausted.
[[nodiscard]] bool storeAppend(ElemStore& s, std::span<const unsigned char> value, bool text) noexcept;
// `count` binary values of `unit` bytes at once.
[[nodiscard]] bool storeAppendRun(ElemStore& s, std::span<const unsigned char> values,
                                  unsigned int unit) noexcept;
[[nodiscard]] bool storeReplace(ElemStore& s, unsigned int index, std::span<const unsigned char> value,
                                bool text) noexcept;
void storeDropFirst(ElemStore& s, bool text) noexcept;

// The bytes of a value; of a text without its NUL. The index must be below count.
std::span<const unsigned char> storeValue(const ElemStore& s, unsigned int index, bool text) noexcept;
inline std::string_view storeText(const ElemStore& s, unsigned int index) noexcept {
    const auto v = storeValue(s, index, true);
    return {reinterpret_cast<const char*>(v.data()), v.size()};
}
// All bytes, NULs included.
inline std::span<unsigned char> storeBytes(ElemStore& s) noexcept {
    return {s.used > ElemStore::kLocal ? s.heap : reinterpret_cast<unsigned char*>(&s), s.used};
}
inline std::span<const unsigned char> storeBytes(const ElemStore& s) noexcept {
    return {s.used > ElemStore::kLocal ? s.heap : reinterpret_cast<const unsigned char*>(&s), s.used};
}

}  // namespace orvkit

#endif
