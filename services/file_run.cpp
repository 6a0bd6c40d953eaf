#include "services/file_run.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "services/crew.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

bool makeFolder(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    return !error || complain("%s: %s", nameOf(path).c_str(), error.message().c_str());
}

}  // namespace

FileRun::FileRun(const char* what, const std::vector<std::string>& paths, const std::string& out,
                 bool outIsFile, bool keepGoing)
    : out_(out),
      outIsFile_(outIsFile),
      keepGoing_(keepGoing),
      sources_(pictureSources(paths, faults_)),
      progress_(what, sources_.size()) {}

bool FileRun::run(unsigned int jobs, const std::function<void(const PictureSource&)>& work) {
    for (const std::string& fault : faults_) complain("%s", fault.c_str());
    isGood_ = faults_.empty();
    if (!outIsFile_ && !makeFolder(pathOf(out_))) return false;
    const std::size_t threads = std::min<std::size_t>(jobs, sources_.size());
    workTogether(threads, [&] { takeNext(work); });
    progress_.clear();
    return isGood_;
}

void FileRun::takeNext(const std::function<void(const PictureSource&)>& work) {
    while (!isOver_) {
        const std::size_t at = next_++;
        if (at >= sources_.size()) return;
        work(sources_[at]);
        const std::lock_guard lock(mutex_);
        progress_.step();
    }
}

void FileRun::deliver(const PictureSource& source, const std::string& target,
                      const std::function<bool()>& write) {
    const std::lock_guard lock(mutex_);
    progress_.clear();
    if (!targets_.insert(target).second)
        return failLocked(source.path + ": another file is " + target + " already");
    const bool isThere = outIsFile_ || makeFolder(pathOf(target).parent_path());
    if (isThere && write()) {
        ++delivered_;
    } else {
        isGood_ = false;
        isOver_ = true;
    }
}

void FileRun::fail(const std::string& text) {
    const std::lock_guard lock(mutex_);
    progress_.clear();
    failLocked(text);
}

void FileRun::failLocked(const std::string& text) {
    if (!isOver_) complain("%s", text.c_str());
    isGood_ = false;
    if (!keepGoing_) isOver_ = true;
}

}  // namespace services
