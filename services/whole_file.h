// A file that appears whole or not at all.
#ifndef ORVKIT_SERVICES_WHOLE_FILE_H
#define ORVKIT_SERVICES_WHOLE_FILE_H

#include <string>

namespace services {

// Stands for the file `path` while it is being made under a temporary name in the same directory. What is
// not committed is removed: by the destructor, and when the program is ended from outside (platform/stop.h).
// One at a time in a process.
class WholeFile {
  public:
    // Creates the temporary file; complains and stays not ok() when that is impossible, or when something
    // else than a regular file stands under the name. A symbolic link is followed: its target is replaced.
    explicit WholeFile(const std::string& path);
    ~WholeFile();
    WholeFile(const WholeFile&) = delete;
    WholeFile& operator=(const WholeFile&) = delete;

    bool ok() const { return !temporary_.empty(); }
    // Where to write until commit.
    const std::string& temporaryPath() const { return temporary_; }
    // Brings the bytes to the disk and the file under its name; false, with a complaint, when that fails.
    bool commit();

  private:
    void remove();

    std::string path_;
    std::string temporary_;
};

}  // namespace services

#endif
