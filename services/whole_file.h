// A file that appears whole or not at all, told to the user.
#ifndef ORVKIT_SERVICES_WHOLE_FILE_H
#define ORVKIT_SERVICES_WHOLE_FILE_H

#include <string>

#include "platform/new_file.h"

namespace services {

// Stands for the file `path` while it is being made. What is not committed is removed: by the destructor, and
// when the program is ended from outside (platform/stop.h). One at a time in a process.
class WholeFile {
  public:
    // Begins the file; complains and stays not ok() when that is impossible, or when something else than a
    // regular file stands under the name. A symbolic link is followed: its target is replaced.
    explicit WholeFile(const std::string& path);
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    bool ok() const { return static_cast<bool>(file_); }
    // Where to write until commit: by the handle, or by a path that opens the file once more.
    int handle() const { return file_.handle(); }
    const std::string& temporaryPath() const { return temporary_; }
    // Brings the file under its name, and with `sync` its bytes to the disk first; false, with a complaint,
    // when that fails.
    [[nodiscard]] bool commit(bool sync = true);

  private:
    std::string path_;
    std::string temporary_;
    orvkit::platform::NewFile file_;
};

}  // namespace services

#endif
