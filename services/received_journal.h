// The files of a file set that its DICOMDIR does not list yet: what a server that was killed had confirmed is
// found by the next one.
#ifndef ORVKIT_SERVICES_RECEIVED_JOURNAL_H
#define ORVKIT_SERVICES_RECEIVED_JOURNAL_H

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/file.h"

namespace services {

// A hidden file in the root of the set, a File ID a line; it is there only while it has something to tell.
class ReceivedJournal {
  public:
    // One that is being written; shared with those who sync it.
    struct File {
        orvkit::platform::FileHandle handle;
        std::string path;
        std::atomic<bool> entered = false;  // on the disk, in its directory
    };

    explicit ReceivedJournal(const std::string& root = {});

    // The File IDs that are noted; a line that was broken off, or is none, does not count. Without a value:
    // errno tells why it cannot be read.
    std::optional<std::vector<std::string>> read() const;
    // Notes a File ID. Null: errno tells why not.
    std::shared_ptr<File> note(const std::string& fileId);
    // Brings what was noted to the disk; by any thread.
    static bool sync(File& file);
    // The DICOMDIR lists them all.
    void clear();

  private:
    std::string path_;
    std::shared_ptr<File> file_;
};

}  // namespace services

#endif
