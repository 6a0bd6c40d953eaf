// The program of these tests, which is its own child for codec libraries: a good one, and some that go wrong
// as libraries do.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "image/isolation.h"

namespace {

volatile unsigned int turns;

void hang() {
    for (;;) turns = turns + 1;
}

// Addresses alone: nothing is touched.
void takeMemory() {
    static std::vector<std::unique_ptr<char[]>> taken;
    for (int i = 0; i < 4096; ++i) taken.emplace_back(new char[std::size_t{16} << 20]);
    std::abort();
}

constexpr struct {
    const char* argument;
    void (*before)();
} kChildren[] = {{"codec-child", nullptr},
                 {"child-that-hangs", hang},
                 {"child-that-aborts", [] { (void)std::raise(SIGABRT); }},
                 {"child-that-crashes", [] { (void)std::raise(SIGKILL); }},
                 {"child-that-leaves", [] { std::_Exit(3); }},
                 {"child-that-takes-memory", takeMemory}};

}  // namespace

int main(int argc, char** argv) {
    for (const auto& child : kChildren) {
        if (argc == 2 && child.argument == std::string(argv[1])) orvkit::image::serveIsolated(child.before);
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
