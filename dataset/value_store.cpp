#include "dataset/value_store.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace orvkit {
namespace {

constexpr unsigned int kLocal = sizeof(ElemStore::local);
constexpr std::size_t kMost = std::numeric_limits<unsigned int>::max();

bool onHeap(const ElemStore& s) noexcept {
    return s.capacity > kLocal;
}

// Room for `more` bytes behind the used ones.
bool reserve(ElemStore& s, std::size_t more) noexcept {
    if (more > kMost - s.used) return false;
    const std::size_t need = s.used + more;
    if (need <= s.capacity) return true;
    // The first block is exact, since most values stay alone; after that it doubles.
    std::size_t size = s.count == 0 ? need : std::max<std::size_t>(need, std::size_t{s.capacity} * 2);
    if (size > kMost) size = kMost;
    void* block = std::realloc(onHeap(s) ? s.heap : nullptr, size);
    if (block == nullptr) return false;
    auto* bytes = static_cast<unsigned char*>(block);
    if (!onHeap(s)) std::memcpy(bytes, s.local, s.used);
    s.heap = bytes;
    s.capacity = static_cast<unsigned int>(size);
    return true;
}

bool reserveEnds(ElemStore& s, unsigned int values) noexcept {
    if (values <= s.endsCapacity) return true;
    const std::size_t size = std::max<std::size_t>(values, std::size_t{s.endsCapacity} * 2);
    if (size > SIZE_MAX / sizeof *s.ends) return false;
    void* block = std::realloc(s.ends, size * sizeof *s.ends);
    if (block == nullptr) return false;
    const bool first = s.ends == nullptr;
    s.ends = static_cast<unsigned int*>(block);
    s.endsCapacity = static_cast<unsigned int>(size);
    if (first && s.count != 0) s.ends[0] = s.used;
    return true;
}

struct Range {
    unsigned int begin;
    unsigned int end;
};

Range rangeOf(const ElemStore& s, unsigned int index, bool text) noexcept {
    if (!text) {
        const unsigned int unit = s.used / s.count;
        return {index * unit, (index + 1) * unit};
    }
    if (s.count == 1) return {0, s.used};
    return {index == 0 ? 0 : s.ends[index - 1], s.ends[index]};
}

}  // namespace

void storeInit(ElemStore& s) noexcept {
    s.ends = nullptr;
    s.count = 0;
    s.used = 0;
    s.capacity = kLocal;
    s.endsCapacity = 0;
}

void storeClear(ElemStore& s) noexcept {
    if (onHeap(s)) std::free(s.heap);
    std::free(s.ends);
    storeInit(s);
}

bool storeAppend(ElemStore& s, std::span<const unsigned char> value, bool text) noexcept {
    if (!reserve(s, value.size() + (text ? 1 : 0))) return false;
    if (text && s.count != 0 && !reserveEnds(s, s.count + 1)) return false;
    unsigned char* at = storeBytes(s).data() + s.used;
    if (!value.empty()) std::memcpy(at, value.data(), value.size());
    if (text) at[value.size()] = 0;
    s.used += static_cast<unsigned int>(value.size()) + (text ? 1 : 0);
    if (text && s.ends != nullptr) s.ends[s.count] = s.used;
    ++s.count;
    return true;
}

bool storeAppendRun(ElemStore& s, std::span<const unsigned char> values, unsigned int unit) noexcept {
    if (!reserve(s, values.size())) return false;
    if (!values.empty()) std::memcpy(storeBytes(s).data() + s.used, values.data(), values.size());
    s.used += static_cast<unsigned int>(values.size());
    s.count += static_cast<unsigned int>(values.size() / unit);
    return true;
}

bool storeReplace(ElemStore& s, unsigned int index, std::span<const unsigned char> value,
                  bool text) noexcept {
    const Range old = rangeOf(s, index, text);
    const std::size_t size = value.size() + (text ? 1 : 0);
    const std::size_t oldSize = old.end - old.begin;
    if (size > oldSize && !reserve(s, size - oldSize)) return false;
    unsigned char* base = storeBytes(s).data();
    std::memmove(base + old.begin + size, base + old.end, s.used - old.end);
    if (!value.empty()) std::memcpy(base + old.begin, value.data(), value.size());
    if (text) base[old.begin + value.size()] = 0;
    s.used = static_cast<unsigned int>(s.used + size - oldSize);
    if (text && s.ends != nullptr) {
        for (unsigned int i = index; i < s.count; ++i) {
            s.ends[i] = static_cast<unsigned int>(s.ends[i] + size - oldSize);
        }
    }
    return true;
}

void storeDropFirst(ElemStore& s, bool text) noexcept {
    const unsigned int gone = rangeOf(s, 0, text).end;
    unsigned char* base = storeBytes(s).data();
    std::memmove(base, base + gone, s.used - gone);
    s.used -= gone;
    --s.count;
    if (s.ends == nullptr) return;
    for (unsigned int i = 0; i < s.count; ++i) s.ends[i] = s.ends[i + 1] - gone;
}

bool storeHoldsText(const ElemStore& s) noexcept {
    return s.used != 0 && storeBytes(s).back() == 0 && (s.count == 1 || s.ends != nullptr);
}

std::span<const unsigned char> storeValue(const ElemStore& s, unsigned int index, bool text) noexcept {
    const Range r = rangeOf(s, index, text);
    return storeBytes(s).subspan(r.begin, r.end - r.begin - (text ? 1 : 0));
}

}  // namespace orvkit
