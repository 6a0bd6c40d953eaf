#include "media/sample_files.h"

#include <cstdlib>

const char* samplesDirectory() {
    static const std::string directory = [] {
        const char* named = std::getenv("ORVKIT_SAMPLES");
        const std::string path = named != nullptr ? named : ORVKIT_DEFAULT_SAMPLES;
        return std::filesystem::exists(path + "/INDEX.tsv") ? path : std::string();
    }();
    return directory.empty() ? nullptr : directory.c_str();
}
