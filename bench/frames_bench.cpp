// How long a frame takes to be found in a file that nobody has looked at: opened, found and its first bytes
// read, with and without a table.
//     bench_frames_bench FILE FRAME
#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "orvkit/edition.h"
#include "orvkit/frames.h"
#include "orvkit/log.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s FILE FRAME\n", argv[0]);
        return 2;
    }
    for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION}) logActivate(level, LOG_OFF);
    dictSetEdition(DICT_EDITION_CURRENT);
    const auto number = static_cast<unsigned int>(std::strtoul(argv[2], nullptr, 10));
    std::vector<double> times;
    DcFrame found;
    DcFrames frames;
    for (int i = 0; i < 15; ++i) {
        const auto begun = std::chrono::steady_clock::now();
        if (frames.open(argv[1]) != 0 || frames.find(number, found) != 0) return 1;
        const auto took = std::chrono::steady_clock::now() - begun;
        times.push_back(std::chrono::duration<double, std::milli>(took).count());
    }
    std::sort(times.begin(), times.end());
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("frame %u of %u by way %d: %.3f ms (median of 15, opening included), %.1f MB\n", number,
                frames.count(), static_cast<int>(frames.foundBy()), times[7],
                static_cast<double>(usage.ru_maxrss) / 1024);
    return 0;
}
