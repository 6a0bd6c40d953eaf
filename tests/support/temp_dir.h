// A directory of a test's own, removed with everything in it at the end; and small helpers for files.
#ifndef ORVKIT_TESTS_SUPPORT_TEMP_DIR_H
#define ORVKIT_TESTS_SUPPORT_TEMP_DIR_H

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>

class TempDir {
  public:
    TempDir() {
        std::random_device random;
        do {
            path_ = std::filesystem::temp_directory_path() / ("orvkit-test-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(path_));
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    // The path of a file in the directory, whether it exists or not.
    std::string operator/(const std::string& name) const { return (path_ / name).generic_string(); }

  private:
    std::filesystem::path path_;
};

inline std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

// With the ends of lines that the C library's text files have on this system taken as "\n".
inline std::string readText(const std::string& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

// What a function writes to a file that it is given.
template <typename Print>
std::string printed(Print print) {
    const TempDir dir;
    FILE* const file = std::fopen((dir / "out").c_str(), "wb");
    const int result = print(file);
    std::fclose(file);
    return result == 0 ? readWhole(dir / "out") : "failed: " + std::to_string(result);
}

inline void writeWhole(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

#endif
