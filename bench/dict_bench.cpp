// Times lookups in the dictionary, each beside a binary search over the same records in the same run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

#include "orvkit/dict.h"

namespace {

// Many draws, so that no order is learned by the branch predictor.
constexpr std::size_t draws = 1'000'000;
constexpr int repeats = 7;

// The best of some repeats, in nanoseconds per lookup of one of `tags`.
template <typename Lookup>
double timeOf(const std::vector<unsigned int>& tags, Lookup lookup) {
    double best = 1e9;
    for (int repeat = 0; repeat < repeats; ++repeat) {
        const auto start = std::chrono::steady_clock::now();
        unsigned int sum = 0;
        for (const unsigned int tag : tags) sum += lookup(tag);
        const std::chrono::duration<double, std::nano> spent = std::chrono::steady_clock::now() - start;
        [[maybe_unused]] volatile unsigned int keep = sum;
        best = std::min(best, spent.count() / static_cast<double>(tags.size()));
    }
    return best;
}

// A tag that the record under a key answers for: the key itself, but for repeating groups.
unsigned int tagOf(unsigned int key) {
    const unsigned int group = key >> 16;
    return group == 0x50FF || group == 0x60FF ? key & 0xFF00FFFF : key;
}

void report(const char* what, double ns, double reference) {
    std::printf("%-44s %7.2f ns   %5.2f of lower_bound\n", what, ns, ns / reference);
}

}  // namespace

int main() {
    std::vector<DcDictElemInfo> sorted;
    for (std::size_t i = 0; i < Dict.tagCount(); ++i) sorted.push_back(Dict.tagAt(i));

    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> position(0, sorted.size() - 1);
    std::vector<unsigned int> shuffled(draws);
    std::vector<unsigned int> absent(draws);
    std::vector<unsigned int> ascending(draws);
    for (std::size_t i = 0; i < draws; ++i) {
        shuffled[i] = tagOf(sorted[position(random)].tag);
        absent[i] = shuffled[i] ^ 0x00028000;
        ascending[i] = tagOf(sorted[i % sorted.size()].tag);
    }

    const auto lowerBound = [&](unsigned int tag) {
        const auto it = std::lower_bound(sorted.begin(), sorted.end(), tag,
                                         [](const DcDictElemInfo& r, unsigned int t) { return r.tag < t; });
        return static_cast<unsigned int>(it == sorted.end() ? 0 : it->vr);
    };
    const auto facts = [](unsigned int tag) { return static_cast<unsigned int>(Dict.facts(tag).vr); };
    const auto info = [](unsigned int tag) {
        DcDictElemInfo record;
        Dict.getElemInfo(tag, &record);
        return static_cast<unsigned int>(record.vr);
    };
    const auto name = [](unsigned int tag) {
        char text[64];
        Dict.getDesc(tag, text);
        return static_cast<unsigned int>(text[2]);
    };

    const double reference = timeOf(shuffled, lowerBound);
    report("std::lower_bound, random order", reference, reference);
    report("facts, random order", timeOf(shuffled, facts), reference);
    report("facts, ascending order", timeOf(ascending, facts), reference);
    report("facts, tags without a record", timeOf(absent, facts), reference);
    report("getElemInfo, random order", timeOf(shuffled, info), reference);
    report("getDesc, random order", timeOf(shuffled, name), reference);

    unsigned int tagDef = 0;
    Dict.add(0x00091010, VR_LO, 1, "bench", &tagDef);
    report("facts after an addition, random order", timeOf(shuffled, facts), reference);
    const auto start = std::chrono::steady_clock::now();
    for (unsigned int i = 0; i < 1000; ++i) Dict.add(0x00080101 + 0x20000 * i, VR_LO, 1, "bench", &tagDef);
    const std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - start;
    std::printf("%-44s %7.2f us\n", "one addition, of 1000", spent.count() / 1000);
}
