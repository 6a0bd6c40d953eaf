// Preloaded into a program: its n-th allocation fails, those of the C++ library and of the C library alike.
// FAIL_ALLOCATION: n, and "+" behind it when all later ones fail, too. COUNT_ALLOCATIONS: a file that is
// given the number of allocations in the end.
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

std::atomic<long> count{0};
long failing = 0;
bool andLater = false;

[[gnu::constructor]] void begin() {
    const char* const text = std::getenv("FAIL_ALLOCATION");
    if (text != nullptr) failing = std::atol(text);
    andLater = text != nullptr && std::strchr(text, '+') != nullptr;
    count = 0;
}

[[gnu::destructor]] void end() {
    const long total = count;
    const char* const path = std::getenv("COUNT_ALLOCATIONS");
    std::FILE* const file = path != nullptr ? std::fopen(path, "w") : nullptr;
    if (file == nullptr) return;
    (void)std::fprintf(file, "%ld\n", total);
    (void)std::fclose(file);
}

bool fails() {
    const long now = ++count;
    if (failing == 0 || (andLater ? now < failing : now != failing)) return false;
    errno = ENOMEM;
    return true;
}

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
    return fails() ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, std::size_t size) {
    return fails() ? nullptr : __libc_realloc(block, size);
}
}
