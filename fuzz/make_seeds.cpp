// Writes the seeds as files for libFuzzer: make_seeds DIRECTORY [SAMPLES]
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "fuzz/seeds.h"
#include "orvkit/log.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s DIRECTORY [SAMPLES]\n", argv[0]);
        return 2;
    }
    for (LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
    const std::filesystem::path directory(argv[1]);
    std::filesystem::create_directories(directory);
    int number = 0;
    for (const fuzz::Bytes& seed : fuzz::seeds(argc > 2 ? argv[2] : "")) {
        std::ofstream file(directory / std::to_string(number++), std::ios::binary);
        file.write(reinterpret_cast<const char*>(seed.data()), static_cast<std::streamsize>(seed.size()));
        if (!file.flush()) return 1;
    }
    std::printf("%d seeds\n", number);
    return 0;
}
