#include "media/allocation_meter.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

#include "tests/support/system.h"

namespace {

std::atomic<std::size_t> held{0};
std::atomic<std::size_t> most{0};

void* take(std::size_t size) noexcept {
    void* p = std::malloc(size != 0 ? size : 1);
    if (p == nullptr) return nullptr;
    const std::size_t now = held += allocatedSize(p);
    if (now > most) most = now;
    return p;
}

void give(void* p) noexcept {
    if (p != nullptr) held -= allocatedSize(p);
    std::free(p);
}

void* takeOrThrow(std::size_t size) {
    void* p = take(size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

}  // namespace

void* operator new(std::size_t size) {
    return takeOrThrow(size);
}
void* operator new[](std::size_t size) {
    return takeOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return take(size);
}
void operator delete(void* p) noexcept {
    give(p);
}
void operator delete[](void* p) noexcept {
    give(p);
}
void operator delete(void* p, std::size_t) noexcept {
    give(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    give(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    give(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    give(p);
}

AllocationMeter::AllocationMeter() : start_(held) {
    most = start_;
}
std::size_t AllocationMeter::peak() const {
    return most - start_;
}
std::size_t AllocationMeter::live() const {
    return held - std::min(start_, held.load());
}
