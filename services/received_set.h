// What `orvkit serve --file-set` receives becomes part of a file set.
#ifndef ORVKIT_SERVICES_RECEIVED_SET_H
#define ORVKIT_SERVICES_RECEIVED_SET_H

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "orvkit/dicomdir.h"
#include "platform/file.h"
#include "services/file_set.h"
#include "services/received_journal.h"
#include "services/store_file.h"

namespace services {

// For use by several threads at once. What has its place is in the journal until the DICOMDIR lists it, so
// that it is found whenever the process is killed.
class ReceivedSet {
  public:
    using Tell = std::function<void(const std::string&)>;

    // Takes up the file set of a directory, or begins one, together with what a server that was killed left
    // in the journal; `tell` receives what there is to tell of that. With `sync` everything is on the disk
    // when it is confirmed. False, with a complaint, when another program writes the set, or when its
    // DICOMDIR cannot be written again without loss.
    [[nodiscard]] bool open(const std::string& directory, bool sync, const Tell& tell);
    // Moves a finished file to its File ID, with its records. The status for the sender; `told` receives the
    // File ID and what there is to tell of it, or why the file is not in the set. The same object again is a
    // success without another file.
    unsigned short place(StoreFile& file, std::string& told);
    // Writes the DICOMDIR when something came since the last time; false: `fault` tells why, and it is to be
    // tried again.
    [[nodiscard]] bool write(std::string& fault);
    // Whether the last write failed some seconds ago.
    bool isOverdue();

  private:
    // What must be on the disk before a file is confirmed.
    struct Entry {
        std::string fileId;
        std::shared_ptr<ReceivedJournal::File> journal;
        std::vector<std::string> folders;  // File IDs, whose entries no other object has brought there
    };

    [[nodiscard]] bool takeUp(const Tell& tell);
    std::string listed(const std::string& instance);
    [[nodiscard]] bool enter(StoreFile& file, SourceFile& source, Entry& entry, FileSet::Faults& faults);
    [[nodiscard]] bool moveIn(StoreFile& file, Entry& entry);
    [[nodiscard]] bool syncEntries(const Entry& entry);
    void withdraw(const Entry& entry);
    unsigned short again(const StoreFile& file, const std::string& fileId, std::string& told) const;
    std::string pathOfFile(const std::string& fileId) const;

    std::mutex mutex_;
    std::string root_;
    bool sync_ = true;
    orvkit::platform::FileHandle lock_;  // of the directory
    DcDirDicomDir directory_;
    std::unique_ptr<FileSet> set_;
    ReceivedJournal journal_;
    std::unordered_set<std::string> durable_;  // folders whose entries are on the disk
    std::chrono::steady_clock::time_point failedAt_;
    bool failed_ = false;   // the last write
    bool leftOut_ = false;  // something that is noted waits for another start
};

}  // namespace services

#endif
