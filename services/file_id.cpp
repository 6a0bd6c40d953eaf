#include "services/file_id.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <vector>

#include "orvkit/dicomdir.h"
#include "services/paths.h"

namespace services {
namespace {

std::vector<std::string> componentsOf(const std::string& fileId) {
    std::vector<std::string> components(1);
    for (const char c : fileId) {
        if (c == '/' || c == '\\') {
            components.emplace_back();
        } else {
            components.back() += c;
        }
    }
    return components;
}

bool isFileIdCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

}  // namespace

std::string fileIdFault(const std::string& fileId) {
    constexpr std::size_t longestComponent = 8;
    const std::vector<std::string> components = componentsOf(fileId);
    if (components.size() > static_cast<std::size_t>(DIR_FILE_ID_COMPONENTS)) {
        return "a File ID has at most 8 components";
    }
    for (const std::string& component : components) {
        if (component.empty()) return "a component of the File ID is empty";
        if (component.size() > longestComponent) return "a component of a File ID has at most 8 characters";
        if (!std::all_of(component.begin(), component.end(), isFileIdCharacter)) {
            return "a File ID is made of A-Z, 0-9 and _ only";
        }
    }
    return {};
}

std::string normalFileId(std::string fileId) {
    std::replace(fileId.begin(), fileId.end(), '/', '\\');
    return fileId;
}

std::string pathOfFileId(const std::string& root, const std::string& fileId) {
    std::string below = fileId;
    std::replace(below.begin(), below.end(), '\\', '/');
    return root + (root.empty() || root.back() != '/' ? "/" : "") + below;
}

bool leadsOutOfRoot(const std::string& root, const std::string& fileId) {
    std::string path = root;
    for (const std::string& component : componentsOf(fileId)) {
        if (component.empty() || component == "." || component == "..") return true;
        path = pathOfFileId(path, component);
        std::error_code ignored;
        if (std::filesystem::is_symlink(pathOf(path), ignored)) return true;
    }
    return false;
}

}  // namespace services
