// One job for many files, on several threads: each of them makes what it makes, and files are written one at
// a time, each under a name of its own.
#ifndef ORVKIT_SERVICES_FILE_RUN_H
#define ORVKIT_SERVICES_FILE_RUN_H

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "services/picture_file.h"
#include "services/progress.h"

namespace services {

class FileRun {
  public:
    // `paths` are files, and directories that are searched through; `out` a file, or a directory that is
    // made. With `keepGoing` a fault does not end the run.
    FileRun(const char* what, const std::vector<std::string>& paths, const std::string& out, bool outIsFile,
            bool keepGoing);

    std::size_t count() const { return sources_.size(); }
    // Calls `work` for each file, on so many threads. False when anything failed.
    [[nodiscard]] bool run(unsigned int jobs, const std::function<void(const PictureSource&)>& work);

    // For those at work:
    bool isOver() const { return isOver_; }
    void fail(const std::string& text);
    // Calls `write`, with no other at the same time, for the file that a source becomes, or a part of it.
    // Where that cannot be written, which `write` has told, nothing more is tried.
    void deliver(const PictureSource& source, const std::string& target, const std::function<bool()>& write);
    // Files written.
    std::size_t delivered() const { return delivered_; }

  private:
    void takeNext(const std::function<void(const PictureSource&)>& work);
    void failLocked(const std::string& text);

    std::string out_;
    bool outIsFile_;
    bool keepGoing_;
    std::vector<std::string> faults_;
    std::vector<PictureSource> sources_;
    std::mutex mutex_;  // of what follows, of writing and of complaints
    Progress progress_;
    std::set<std::string> targets_;
    std::size_t delivered_ = 0;
    bool isGood_ = true;
    std::atomic<bool> isOver_ = false;
    std::atomic<std::size_t> next_ = 0;
};

}  // namespace services

#endif
