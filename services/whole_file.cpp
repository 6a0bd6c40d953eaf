#include "services/whole_file.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/stop.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

}  // namespace

WholeFile::WholeFile(const std::string& path) : path_(platform::linkTarget(path)) {
    const fs::path name = pathOf(path_);
    std::error_code error;
    if (fs::exists(name, error) && !fs::is_regular_file(name, error)) {
        complain("%s: exists and is not a regular file", path.c_str());
        return;
    }
    if (!file_.beginBeside(path_)) {
        complain("%s: cannot be created: %s", path.c_str(), std::strerror(errno));
        return;
    }
    temporary_ = file_.path();
    if (file_.name().empty()) return;
    // Where files need a name, those of killed programs are removed by whoever comes next.
    (void)platform::removeUnfinished(nameOf(name.has_parent_path() ? name.parent_path() : pathOf(".")));
    if (!platform::removeWhenEnded(temporary_.c_str())) {
        complain("%s: the name is too long", path.c_str());
        file_.drop();
    }
}

WholeFile::~WholeFile() {
    file_.drop();
    (void)platform::removeWhenEnded("");
}

bool WholeFile::commit(bool sync) {
    if (file_.commit(path_, sync)) return true;
    return complain("%s: cannot be written: %s", path_.c_str(), std::strerror(errno));
}

}  // namespace services
