// Decoding, framing and look-ups of data sets, with ratios to references timed in the same run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/sequence.h"

namespace {

std::size_t allocations = 0;
std::size_t allocated = 0;
volatile unsigned char sink = 0;

double seconds(const std::function<void()>& work, int rounds) {
    double best = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        best =
            std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

void put16(std::vector<unsigned char>& out, unsigned int v) {
    out.push_back(static_cast<unsigned char>(v));
    out.push_back(static_cast<unsigned char>(v >> 8));
}

// Private elements, 240 a group, so that any number has a place in tag order.
std::vector<unsigned char> manySmall(unsigned int count, const char* vr, const char* value) {
    std::vector<unsigned char> out;
    for (unsigned int i = 0; i < count; ++i) {
        put16(out, 0x0011 + 2 * (i / 60000));
        put16(out, 0x1000 + i % 60000);
        out.insert(out.end(), vr, vr + 2);
        put16(out, static_cast<unsigned int>(std::strlen(value)));
        out.insert(out.end(), value, value + std::strlen(value));
    }
    return out;
}

std::vector<unsigned char> nested(unsigned int items) {
    std::vector<unsigned char> out;
    const unsigned char header[] = {0x08, 0x00, 0x40, 0x11, 'S', 'Q', 0, 0, 0xFF, 0xFF, 0xFF, 0xFF};
    out.insert(out.end(), header, header + sizeof header);
    for (unsigned int i = 0; i < items; ++i) {
        const unsigned char item[] = {0xFE, 0xFF, 0x00, 0xE0, 0xFF, 0xFF, 0xFF, 0xFF, 0x08, 0x00,
                                      0x50, 0x11, 'U',  'I',  4,    0,    '1',  '.',  '2',  0,
                                      0x08, 0x00, 0x55, 0x11, 'U',  'I',  4,    0,    '1',  '.',
                                      '3',  0,    0xFE, 0xFF, 0x0D, 0xE0, 0,    0,    0,    0};
        out.insert(out.end(), item, item + sizeof item);
    }
    const unsigned char end[] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};
    out.insert(out.end(), end, end + sizeof end);
    return out;
}

void decodeSmall(const char* name, const std::vector<unsigned char>& bytes, unsigned int elements) {
    const auto work = [&] {
        DcElemList list;
        auto length = static_cast<unsigned int>(bytes.size());
        (void)list.decode(const_cast<unsigned char*>(bytes.data()), length, UID_LITTLE_ENDIAN_EXPLICIT);
    };
    const double t = seconds(work, 5);
    const double mallocs = seconds(
        [&] {
            std::vector<void*> blocks(elements);
            for (auto& b : blocks) b = ::operator new(96);
            for (auto* b : blocks) ::operator delete(b);
        },
        5);
    DcElemList list;
    auto length = static_cast<unsigned int>(bytes.size());
    const std::size_t before = allocations;
    const std::size_t bytesBefore = allocated;
    (void)list.decode(const_cast<unsigned char*>(bytes.data()), length, UID_LITTLE_ENDIAN_EXPLICIT);
    std::printf(
        "decode+destroy %-22s %8u elements  %6.2f M/s  %5.1f x malloc/free(96)  %.2f new/elem %.0f B\n", name,
        elements, elements / t / 1e6, t / mallocs, static_cast<double>(allocations - before) / elements,
        static_cast<double>(allocated - bytesBefore) / elements);
}

}  // namespace

[[gnu::noinline]] void* operator new(std::size_t n) {
    ++allocations;
    allocated += n;
    if (void* p = std::malloc(n)) return p;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
    std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

int main() {
    for (const unsigned int n : {100000u, 1000000u}) {
        decodeSmall("LO short", manySmall(n, "LO", "ABCD"), n);
        decodeSmall("US", manySmall(n, "US", "AB"), n);
        decodeSmall("UI", manySmall(n, "UI", "1.2.840.10008.1.2.1 "), n);
        decodeSmall("DS", manySmall(n, "DS", "1.25 "), n);
        decodeSmall("items of two", nested(n / 2), n);
    }

    // A pixel-heavy object.
    std::vector<unsigned char> pixels = {0xE0, 0x7F, 0x10, 0x00, 'O', 'W', 0, 0, 0, 0, 0, 0x10};
    pixels.resize(12 + 0x10000000, 7);
    const double pix = seconds(
        [&] {
            DcElemList list;
            auto length = static_cast<unsigned int>(pixels.size());
            (void)list.decode(pixels.data(), length, UID_LITTLE_ENDIAN_EXPLICIT);
        },
        3);
    const double copy = seconds(
        [&] {
            std::unique_ptr<unsigned char[]> block(new unsigned char[pixels.size()]);
            std::memcpy(block.get(), pixels.data(), pixels.size());
            sink = block[pixels.size() / 2];
        },
        3);
    std::printf("decode of 256 MiB of pixels: %.2f x new+memcpy\n", pix / copy);

    // Look-ups.
    const auto bytes = manySmall(100000, "US", "AB");
    DcElemList list;
    auto length = static_cast<unsigned int>(bytes.size());
    (void)list.decode(const_cast<unsigned char*>(bytes.data()), length, UID_LITTLE_ENDIAN_EXPLICIT);
    std::vector<unsigned int> tags;
    for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
        unsigned int tag;
        e->getTag(tag);
        tags.push_back(tag);
    }
    const auto lookAll = [&] {
        for (const unsigned int tag : tags) {
            DcElem* e;
            if (list.getElem(tag, &e) != 0) std::abort();
        }
    };
    std::printf("100,000 look-ups in order: %.1f ms\n", seconds(lookAll, 3) * 1e3);
    std::shuffle(tags.begin(), tags.end(), std::mt19937(1));
    std::printf("100,000 look-ups at random: %.1f ms\n", seconds(lookAll, 3) * 1e3);

    for (const unsigned int n : {100000u, 1000000u}) {
        const auto many = manySmall(n, "LO", "ABCD");
        DcElemList set;
        auto len = static_cast<unsigned int>(many.size());
        (void)set.decode(const_cast<unsigned char*>(many.data()), len, UID_LITTLE_ENDIAN_EXPLICIT);
        unsigned int size = 0;
        (void)set.getBufSize(size, static_cast<unsigned int*>(nullptr));
        std::vector<unsigned char> out(size);
        const double t = seconds([&] { (void)set.frame(out.data(), len, UID_BIG_ENDIAN_EXPLICIT); }, 5);
        std::printf("frame %u elements: %.2f M/s\n", n, n / t / 1e6);
    }
}
