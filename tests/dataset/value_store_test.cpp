// The values of an element against a list of texts: they move to the heap and back as they grow and shrink.
#include "dataset/value_store.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace orvkit {
namespace {

std::span<const unsigned char> bytesOf(const std::string& text) {
    return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
}

TEST(ValueStore, HoldsWhatAListWouldHold) {
    std::mt19937 random(7);
    const auto below = [&random](std::size_t n) { return static_cast<unsigned int>(random() % n); };
    for (int run = 0; run < 200; ++run) {
        const bool text = run % 2 == 0;
        const unsigned int unit = 1 + below(8);
        ElemStore store;
        storeInit(store);
        std::vector<std::string> model;
        for (int step = 0; step < 60; ++step) {
            const std::string value(text ? below(9) * below(4) : unit, static_cast<char>('a' + below(26)));
            if (model.empty() || below(3) != 0) {
                ASSERT_TRUE(storeAppend(store, bytesOf(value), text));
                model.push_back(value);
            } else if (below(2) == 0) {
                const unsigned int at = below(model.size());
                ASSERT_TRUE(storeReplace(store, at, bytesOf(value), text));
                model[at] = value;
            } else {
                storeDropFirst(store, text);
                model.erase(model.begin());
            }
            ASSERT_EQ(store.count, model.size());
            for (unsigned int i = 0; i < store.count; ++i) {
                const auto held = storeValue(store, i, text);
                ASSERT_EQ(std::string(held.begin(), held.end()), model[i]) << run << ' ' << step << ' ' << i;
            }
        }
        storeClear(store);
    }
}

}  // namespace
}  // namespace orvkit
