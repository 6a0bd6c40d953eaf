// Names of files: in UTF-8 everywhere in this program, and as the paths of std::filesystem, whose own
// conversion from plain characters takes them for something else on some systems.
#ifndef ORVKIT_SERVICES_PATHS_H
#define ORVKIT_SERVICES_PATHS_H

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

namespace services {

inline std::filesystem::path pathOf(std::string_view name) {
    return {std::u8string(name.begin(), name.end())};
}

inline std::string nameOf(const std::filesystem::path& path) {
    const std::u8string name = path.u8string();
    return {name.begin(), name.end()};
}

inline bool isFolder(std::string_view name) {
    std::error_code error;
    return std::filesystem::is_directory(pathOf(name), error);
}

// Whether what is to be written under this name is a file: no folder stands there, and none is asked for.
inline bool namesFile(std::string_view name) {
    return !name.ends_with('/') && !isFolder(name);
}

// The entries of a folder; a signal does not end that.
inline std::filesystem::directory_iterator openFolder(const std::filesystem::path& folder,
                                                      std::error_code& error) {
    for (;;) {
        std::filesystem::directory_iterator entries(folder, error);
        if (error != std::errc::interrupted) return entries;
    }
}

}  // namespace services

#endif
