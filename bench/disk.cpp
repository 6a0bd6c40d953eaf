// What the disk allows: files written, synced, given their names, and their folders synced, a second.
// Usage: bench_disk FOLDER THREADS FILES BYTES. Each thread has a folder of its own in FOLDER.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/file.h"
#include "platform/new_file.h"

namespace {

bool store(const std::string& folder, int number, const std::vector<char>& bytes) {
    orvkit::platform::NewFile file;
    return file.begin(folder) && orvkit::platform::writeAll(file.handle(), bytes.data(), bytes.size()) &&
           file.commit(folder + "/" + std::to_string(number), true);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    const std::string folder = argv[1];
    const int threads = std::atoi(argv[2]);
    const int files = std::atoi(argv[3]);
    const std::vector<char> bytes(std::strtoul(argv[4], nullptr, 10), 7);
    for (int t = 0; t < threads; ++t) std::filesystem::create_directories(folder + "/" + std::to_string(t));
    std::atomic<int> next = 0;
    std::vector<std::thread> all;
    all.reserve(static_cast<std::size_t>(threads));
    const auto begun = std::chrono::steady_clock::now();
    for (int t = 0; t < threads; ++t) {
        all.emplace_back([&, own = folder + "/" + std::to_string(t)] {
            for (int number; (number = next++) < files;) {
                if (!store(own, number, bytes)) std::exit(1);
            }
        });
    }
    for (std::thread& thread : all) thread.join();
    std::printf("%.0f\n",
                files / std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count());
    return 0;
}
