// Adding single small texts, as decoding does: the cost of a value, beside copying the same bytes.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "dataset/elem_access.h"
#include "dataset/value_store.h"
#include "orvkit/elem.h"

namespace {

constexpr int rounds = 60;  // short and many, so that the best is undisturbed on a busy machine
constexpr std::size_t count = 50'000;

struct Case {
    const char* name;
    DICT_VR vr;
    std::vector<std::string> texts;
};

double best(auto work) {
    double least = 1e9;
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        least =
            std::min(least, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return least;
}

// The texts one behind the other, as in a stream.
struct Packed {
    std::string bytes;
    std::vector<std::string_view> values;
};
Packed pack(const std::vector<std::string>& texts) {
    Packed p;
    std::vector<std::size_t> ends;
    for (std::size_t i = 0; i < count; ++i) {
        p.bytes += texts[i % texts.size()];
        ends.push_back(p.bytes.size());
    }
    std::size_t begin = 0;
    for (const std::size_t end : ends) {
        p.values.push_back(std::string_view(p.bytes).substr(begin, end - begin));
        begin = end;
    }
    return p;
}

}  // namespace

int main() {
    const Case cases[] = {
        {"DA", VR_DA, {"20240115", "19991231"}},
        {"TM", VR_TM, {"101530.25 ", "235959"}},
        {"CS", VR_CS, {"ORIGINAL", "MONOCHROME2 ", "CT"}},
        {"LO", VR_LO, {"Thorax^Standard ", "Some longer series description 5.0"}},
        {"UI",
         VR_UI,
         {std::string("1.2.840.10008.5.1.4.1.1.2\0", 26), "1.2.840.113619.2.55.3.604688119.868"}},
        {"DS", VR_DS, {"-123.4567 ", "0.5 ", "1.5e-3"}},
        {"IS", VR_IS, {"12", "4096"}},
        {"PN", VR_PN, {"Doe^John^^Dr"}},
    };
    std::printf("%-4s %10s %14s %10s %14s\n", "VR", "ns/value", "values/s", "bytes", "x memcpy");
    for (const Case& c : cases) {
        const Packed packed = pack(c.texts);
        DcElem element(0x00111010u, nullptr, 0u, UID_LITTLE_ENDIAN_EXPLICIT, c.vr, 0);
        int failed = 0;
        const double adding = best([&] {
            for (const std::string_view text : packed.values) {
                orvkit::storeClear(orvkit::ElemAccess::store(element));
                failed |= orvkit::ElemAccess::addText(element, text, ELEM_INDEX_APPEND);
            }
        });
        // The least that can be done: the same bytes copied value by value.
        char to[64];
        const double copying = best([&] {
            for (const std::string_view text : packed.values) {
                std::memcpy(to, text.data(), text.size());
                asm volatile("" : : "r"(to) : "memory");
            }
        });
        if (failed != 0) {
            std::printf("%s: a value was refused\n", c.name);
            return 1;
        }
        std::printf("%-4s %10.1f %14.0f %10.1f %14.1f\n", c.name, adding / count * 1e9, count / adding,
                    static_cast<double>(packed.bytes.size()) / count, adding / copying);
    }
    return 0;
}
