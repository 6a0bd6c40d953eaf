// Rows shared out among threads.
#ifndef ORVKIT_IMAGE_BANDS_H
#define ORVKIT_IMAGE_BANDS_H

#include <algorithm>
#include <system_error>
#include <thread>
#include <vector>

namespace orvkit::render {

// Calls `work` with the first row of a band and the one behind its last, on at most so many threads, of which
// the caller is one. `work` throws nothing. Where the system gives no thread the caller does what is left.
template <typename Work>
void forBands(unsigned int rows, unsigned int threads, const Work& work) {
    constexpr unsigned int fewRows = 32;  // a thread costs more than these
    const unsigned int bands = std::clamp(std::min(threads, rows / fewRows), 1u, 256u);
    const auto begin = [=](unsigned int band) {
        return static_cast<unsigned int>(static_cast<unsigned long long>(rows) * band / bands);
    };
    std::vector<std::thread> others;
    others.reserve(bands);
    unsigned int band = 1;
    try {
        for (; band < bands; ++band) others.emplace_back([=, &work] { work(begin(band), begin(band + 1)); });
    } catch (const std::system_error&) {
        work(begin(band), rows);
    }
    work(0u, begin(1));
    for (std::thread& other : others) other.join();
}

}  // namespace orvkit::render

#endif
