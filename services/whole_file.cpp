#include "services/whole_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/file.h"
#include "platform/stop.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

// Room for more around the name; no UTF-8 character is cut.
std::string shortened(const std::string& name) {
    std::size_t length = 200;
    if (name.size() <= length) return name;
    while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80) --length;
    return name.substr(0, length);
}

}  // namespace

WholeFile::WholeFile(const std::string& path) : path_(path) {
    std::error_code error;
    fs::path name = pathOf(path);
    if (fs::is_symlink(name, error) && fs::exists(name, error)) {
        name = fs::canonical(name, error);
        path_ = nameOf(name);
    }
    if (fs::exists(name, error) && !fs::is_regular_file(name, error)) {
        complain("%s: exists and is not a regular file", path.c_str());
        return;
    }
    std::string pattern =
        nameOf(name.parent_path() / pathOf("." + shortened(nameOf(name.filename())) + ".XXXXXX"));
    const platform::FileHandle handle = platform::createTemporary(pattern, path_.c_str());
    if (!handle) {
        complain("%s: cannot be created: %s", path.c_str(), std::strerror(errno));
        return;
    }
    temporary_ = pattern;
    if (!platform::removeWhenEnded(temporary_.c_str())) {
        complain("%s: the name is too long", path.c_str());
        remove();
    }
}

WholeFile::~WholeFile() {
    remove();
}

bool WholeFile::commit() {
    if (!platform::sync(temporary_.c_str()) || !platform::rename(temporary_.c_str(), path_.c_str())) {
        complain("%s: cannot be written: %s", path_.c_str(), std::strerror(errno));
        remove();
        return false;
    }
    (void)platform::removeWhenEnded("");
    temporary_.clear();
    // The name itself reaches the disk with the directory; the file is whole either way.
    (void)platform::syncEntry(path_.c_str());
    return true;
}

void WholeFile::remove() {
    if (temporary_.empty()) return;
    (void)platform::remove(temporary_.c_str());
    (void)platform::removeWhenEnded("");
    temporary_.clear();
}

}  // namespace services
