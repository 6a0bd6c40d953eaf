#include "support/allocation_meter.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> held{0};
std::atomic<std::size_t> most{0};
std::atomic<long> untilFault{0};  // 0: never

enum class Form : std::size_t { single, array };

// In front of what is given out.
struct alignas(std::max_align_t) Head {
    std::size_t size;
    Form form;
};

void* take(std::size_t size, Form form) noexcept {
    if (untilFault > 0 && --untilFault == 0) return nullptr;
    void* const block = std::malloc(sizeof(Head) + size);
    if (block == nullptr) return nullptr;
    const std::size_t now = held += size;
    if (now > most) most = now;
    return new (block) Head{size, form} + 1;
}

void give(void* p, Form form) noexcept {
    if (p == nullptr) return;
    Head* const head = static_cast<Head*>(p) - 1;
    if (head->form != form) {
        std::fputs("new[] without delete[], or the other way round\n", stderr);
        std::abort();
    }
    held -= head->size;
    std::free(head);
}

void* takeOrThrow(std::size_t size, Form form) {
    void* p = take(size, form);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}

}  // namespace

void* operator new(std::size_t size) {
    return takeOrThrow(size, Form::single);
}
void* operator new[](std::size_t size) {
    return takeOrThrow(size, Form::array);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return take(size, Form::single);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return take(size, Form::array);
}
void operator delete(void* p) noexcept {
    give(p, Form::single);
}
void operator delete[](void* p) noexcept {
    give(p, Form::array);
}
void operator delete(void* p, std::size_t) noexcept {
    give(p, Form::single);
}
void operator delete[](void* p, std::size_t) noexcept {
    give(p, Form::array);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    give(p, Form::single);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    give(p, Form::array);
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

AllocationFault::AllocationFault(long number) {
    untilFault = number;
}
AllocationFault::~AllocationFault() {
    untilFault = 0;
}
bool AllocationFault::met() const {
    return untilFault == 0;
}
