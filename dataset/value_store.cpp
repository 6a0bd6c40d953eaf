#include "dataset/value_store.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "foundation/grow.h"

namespace orvkit {
namespace {

constexpr std::size_t kMost = std::numeric_limits<unsigned int>::max();

static_assert(offsetof(ElemStore, more) == sizeof ElemStore::local);

// Stands in front of the bytes on the heap. `ends`: where each of several texts ends, or null.
struct Heap {
    unsigned int* ends;
    unsigned int capacity;
    unsigned int endsCapacity;
};

bool onHeap(const ElemStore& s) noexcept {
    return s.used > ElemStore::kLocal;
}

Heap* blockOf(const ElemStore& s) noexcept {
    return onHeap(s) ? reinterpret_cast<Heap*>(s.heap) - 1 : nullptr;
}

unsigned int* endsOf(const ElemStore& s) noexcept {
    return onHeap(s) ? blockOf(s)->ends : nullptr;
}

// Makes the store `more` bytes longer; gives where its bytes are, or null.
unsigned char* grow(ElemStore& s, std::size_t more) noexcept {
    if (more > kMost - s.used) return nullptr;
    const std::size_t need = s.used + more;
    if (need > ElemStore::kLocal) {
        Heap* const old = blockOf(s);
        if (old == nullptr || old->capacity < need) {
            // The first block is exact, since most values stay alone; after that it doubles.
            const std::size_t now = old == nullptr ? std::size_t{ElemStore::kLocal} : old->capacity;
            const std::size_t size = s.count == 0 ? need : std::min(std::max(need, 2 * now), kMost);
            if (size > SIZE_MAX - sizeof(Heap)) return nullptr;
            auto* const block = static_cast<Heap*>(orvkit::grow(old, sizeof(Heap) + size));
            if (block == nullptr) return nullptr;
            auto* const bytes = reinterpret_cast<unsigned char*>(block + 1);
            if (old == nullptr) {
                std::memcpy(bytes, storeBytes(s).data(), s.used);
                block->endsCapacity = 0;
                block->ends = nullptr;
            }
            block->capacity = static_cast<unsigned int>(size);
            s.heap = bytes;
        }
    }
    s.used = static_cast<unsigned int>(need);
    return storeBytes(s).data();
}

// The bytes behind the first `size` ones are given up.
void shrink(ElemStore& s, std::size_t size) noexcept {
    Heap* const block = blockOf(s);
    s.used = static_cast<unsigned int>(size);
    if (block == nullptr || onHeap(s)) return;
    std::memcpy(storeBytes(s).data(), block + 1, size);
    std::free(block->ends);
    std::free(block);
}

struct Range {
    unsigned int begin;
    unsigned int end;
};

// The text that begins at `begin`, NUL included.
Range textFrom(const ElemStore& s, unsigned int begin) noexcept {
    const auto bytes = storeBytes(s).subspan(begin);
    const void* const nul = bytes.empty() ? nullptr : std::memchr(bytes.data(), 0, bytes.size());
    if (nul == nullptr) return {begin, s.used};
    return {begin,
            begin + static_cast<unsigned int>(static_cast<const unsigned char*>(nul) - bytes.data()) + 1};
}

Range rangeOf(const ElemStore& s, unsigned int index, bool text) noexcept {
    if (!text) {
        const unsigned int unit = s.used / s.count;
        return {index * unit, (index + 1) * unit};
    }
    if (s.count == 1) return {0, s.used};
    if (const unsigned int* const ends = endsOf(s); ends != nullptr) {
        return {index == 0 ? 0 : ends[index - 1], ends[index]};
    }
    Range range = textFrom(s, 0);
    for (; index > 0; --index) range = textFrom(s, range.end);
    return range;
}

// Notes where the last text ends. Without memory for that, texts are searched for.
void noteEnd(ElemStore& s) noexcept {
    if (!onHeap(s) || s.count < 2) return;
    Heap& block = *blockOf(s);
    const bool first = block.ends == nullptr;
    if (s.count > block.endsCapacity) {
        const std::size_t capacity = std::max<std::size_t>(s.count, 2 * std::size_t{block.endsCapacity});
        void* const ends = capacity > SIZE_MAX / sizeof *block.ends
                               ? nullptr
                               : orvkit::grow(block.ends, capacity * sizeof *block.ends);
        if (ends == nullptr) std::free(block.ends);
        block.ends = static_cast<unsigned int*>(ends);
        block.endsCapacity = ends == nullptr ? 0 : static_cast<unsigned int>(capacity);
        if (ends == nullptr) return;
    }
    if (first) {
        unsigned int begin = 0;
        for (unsigned int i = 0; i < s.count; ++i) begin = block.ends[i] = textFrom(s, begin).end;
    }
    block.ends[s.count - 1] = s.used;
}

}  // namespace

void storeInit(ElemStore& s) noexcept {
    s.count = 0;
    s.text = false;
    s.raw = false;
    s.used = 0;
}

void storeClear(ElemStore& s) noexcept {
    if (Heap* const block = blockOf(s); block != nullptr) {
        std::free(block->ends);
        std::free(block);
    }
    storeInit(s);
}

bool storeAppend(ElemStore& s, std::span<const unsigned char> value, bool text) noexcept {
    const std::size_t at = s.used;
    unsigned char* const bytes = grow(s, value.size() + (text ? 1 : 0));
    if (bytes == nullptr) return false;
    if (!value.empty()) std::memcpy(bytes + at, value.data(), value.size());
    if (text) bytes[at + value.size()] = 0;
    ++s.count;
    s.text = text;
    if (text) noteEnd(s);
    return true;
}

bool storeAppendRun(ElemStore& s, std::span<const unsigned char> values, unsigned int unit) noexcept {
    const std::size_t at = s.used;
    unsigned char* const bytes = grow(s, values.size());
    if (bytes == nullptr) return false;
    if (!values.empty()) std::memcpy(bytes + at, values.data(), values.size());
    s.count += static_cast<unsigned int>(values.size() / unit);
    return true;
}

bool storeReplace(ElemStore& s, unsigned int index, std::span<const unsigned char> value,
                  bool text) noexcept {
    const Range old = rangeOf(s, index, text);
    const std::size_t size = value.size() + (text ? 1 : 0);
    const std::size_t oldSize = old.end - old.begin;
    const std::size_t behind = s.used - old.end;
    unsigned char* const bytes = size > oldSize ? grow(s, size - oldSize) : storeBytes(s).data();
    if (bytes == nullptr) return false;
    std::memmove(bytes + old.begin + size, bytes + old.end, behind);
    if (!value.empty()) std::memcpy(bytes + old.begin, value.data(), value.size());
    if (text) bytes[old.begin + value.size()] = 0;
    if (unsigned int* const ends = endsOf(s); ends != nullptr) {
        for (unsigned int i = index; i < s.count; ++i) {
            ends[i] = static_cast<unsigned int>(ends[i] + size - oldSize);
        }
    }
    if (size < oldSize) shrink(s, old.begin + size + behind);
    return true;
}

void storeDropFirst(ElemStore& s, bool text) noexcept {
    const unsigned int gone = rangeOf(s, 0, text).end;
    const unsigned int left = s.used - gone;
    unsigned char* const bytes = storeBytes(s).data();
    std::memmove(bytes, bytes + gone, left);
    --s.count;
    if (unsigned int* const ends = endsOf(s); ends != nullptr) {
        for (unsigned int i = 0; i < s.count; ++i) ends[i] = ends[i + 1] - gone;
    }
    shrink(s, left);
}

std::span<const unsigned char> storeValue(const ElemStore& s, unsigned int index, bool text) noexcept {
    const Range r = rangeOf(s, index, text);
    return storeBytes(s).subspan(r.begin, r.end - r.begin - (text ? 1 : 0));
}

}  // namespace orvkit
