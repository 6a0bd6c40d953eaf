// A directory of a test's own, removed with everything in it at the end; and small helpers for files.
#ifndef ORVKIT_TESTS_SUPPORT_TEMP_DIR_H
#define ORVKIT_TESTS_SUPPORT_TEMP_DIR_H

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class TempDir {
  public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "orvkit-test-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        path_ = name;
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    // The path of a file in the directory, whether it exists or not.
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

inline std::string readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void writeWhole(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

#endif
