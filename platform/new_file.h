// A file in the making: it appears under its name whole or not at all. The same on all systems.
#ifndef ORVKIT_PLATFORM_NEW_FILE_H
#define ORVKIT_PLATFORM_NEW_FILE_H

#include <string>
#include <string_view>
#include <utility>

#include "platform/file.h"

namespace orvkit::platform {

// Until it is whole, a file has no name where the system and the file system allow that, and goes with its
// maker however that ends. Elsewhere it stands in the directory of its target as
// ".orvkit-<process>-<number>.part" (process 0 for the moment in which it replaces another file): every
// reader of a folder passes such names over, and whoever comes next to write there removes those whose maker
// has ended.
class NewFile {
  public:
    NewFile() noexcept = default;
    NewFile(NewFile&& other) noexcept = default;
    NewFile& operator=(NewFile&& other) noexcept;
    ~NewFile() { drop(); }

    // Makes the file, for a target in this directory, which gets the access rights of the file at `like`
    // (none: null). False: errno tells why.
    [[nodiscard]] bool begin(const std::string& directory, const char* like = nullptr);
    // The same beside `target`, with its rights.
    [[nodiscard]] bool beginBeside(const std::string& target);

    // The same with a temporary name on every system: what others are to find while its maker is at work.
    [[nodiscard]] bool beginNamed(const std::string& directory, const char* like = nullptr);
    // Gives a file of beginNamed another name beside its own, which stays when the file is dropped. False:
    // errno tells why; EEXIST: something stands there.
    [[nodiscard]] bool addName(const std::string& path) const;

    explicit operator bool() const noexcept { return static_cast<bool>(file_); }
    // For writing.
    int handle() const noexcept { return file_.get(); }
    // The temporary name, "" while there is none.
    const std::string& name() const noexcept { return name_; }
    // By which this process opens the file once more.
    std::string path() const { return name_.empty() ? pathOfHandle(handle()) : name_; }

    // Gives the file its name, replacing what stands there; with `sync` its bytes are on the disk first, and
    // its entry in the directory as far as the system can. False: errno tells why, the file is dropped, and
    // what stood under the name stands there still.
    [[nodiscard]] bool commit(const std::string& target, bool sync);
    void drop() noexcept;

  private:
    [[nodiscard]] bool place(const std::string& target);

    FileHandle file_;
    std::string name_;
};

// A file for a while: nothing is left of it when its handles are closed and this object is gone.
class ScratchFile {
  public:
    // In the directory, beside the file at a path, or where the system keeps such files. False: errno tells
    // why.
    [[nodiscard]] bool begin(const std::string& directory, const char* like = nullptr);
    [[nodiscard]] bool beginBeside(const std::string& target);
    [[nodiscard]] bool begin();

    explicit operator bool() const noexcept { return static_cast<bool>(reading_); }
    int forWriting() const noexcept { return file_.handle(); }
    int forReading() const noexcept { return reading_.get(); }
    // The handle for reading is the caller's from now on.
    [[nodiscard]] FileHandle takeReading() noexcept { return std::move(reading_); }

  private:
    [[nodiscard]] bool open();

    NewFile file_;
    FileHandle reading_;
};

// The file that a symbolic link leads to, for replacing that; the path itself when it is none, or leads
// nowhere.
std::string linkTarget(const std::string& path);

// Whether a file of this name, without its directory, is a writer's own: one in the making, its lock, or
// what it has noted.
bool isUnfinished(std::string_view name) noexcept;
// One in the making: without its maker it is nothing.
bool isInTheMaking(std::string_view name) noexcept;

// Removes the files in the making in a directory at which nobody is at work; gives their number.
int removeUnfinished(const std::string& directory) noexcept;

}  // namespace orvkit::platform

#endif
