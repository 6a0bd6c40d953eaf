// orvkit index rebuild and check.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/archive_arrivals.h"
#include "services/archive_files.h"
#include "services/archive_index.h"
#include "services/crew.h"
#include "services/elements.h"
#include "services/paths.h"
#include "services/progress.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;
constexpr std::string_view kSqlite = "sqlite:";

struct Counts {
    std::uint64_t stored = 0;
    std::uint64_t others = 0;      // no DICOM files
    std::uint64_t unread = 0;      // DICOM files that the index cannot know
    std::uint64_t duplicates = 0;  // of an instance that another file has
    std::uint64_t conflicts = 0;
};

// Reads files on several threads, and stores what they say.
class Rebuilder {
  public:
    Rebuilder(DcIndex& index, const std::string& directory)
        : index_(index), directory_(directory), walk_(directory), progress_("reading", 0) {}

    // False when the index could not be written; that was told.
    bool run(unsigned int jobs) {
        workTogether(jobs, [this] { work(); });
        progress_.clear();
        if (!walk_.fault().empty()) complain("%s", walk_.fault().c_str());
        return !broken_;
    }
    const Counts& counts() const { return counts_; }
    bool sawAll() const { return walk_.fault().empty(); }

  private:
    void work() {
        std::string path;
        std::uint64_t size = 0;
        while (!broken_ && walk_.next(path, size)) {
            const DcIndexBusy busy(index_);
            DcIndexStored stored;
            const int result = storeArchiveFile(index_, directory_, path, INDEX_BOTH, stored);
            const std::string fault = DcIndex::fault();
            const std::lock_guard lock(mutex_);
            progress_.step();
            count(path, result, fault, stored);
        }
    }

    void count(const std::string& path, int result, const std::string& fault, const DcIndexStored& stored) {
        if (result == RESULT_OK) {
            ++counts_.stored;
            if (stored.conflicts != 0) ++counts_.conflicts;
            if (stored.what == INDEX_STORED_NEW) return;
            ++counts_.duplicates;
            tell(path, "the same instance as " + std::string(stored.other));
        } else if (result == DIR_NOT_PART10) {
            ++counts_.others;
        } else if (result == INDEX_IDENTITY) {
            ++counts_.unread;
            tell(path, fault);
        } else if (result > INDEX_NULL_ARGUMENT && result < INDEX_IDENTITY) {
            if (!broken_.exchange(true)) tell(path, fault);
        } else {
            ++counts_.unread;
            tell(path, resultText(result));
        }
    }

    void tell(const std::string& path, const std::string& what) {
        progress_.clear();
        complain("%s: %s", path.c_str(), what.c_str());
    }

    DcIndex& index_;
    const std::string& directory_;
    ArchiveWalk walk_;
    std::mutex mutex_;  // of what follows, and of complaints
    Progress progress_;
    Counts counts_;
    std::atomic<bool> broken_ = false;
};

// Whose index would be replaced under it.
bool lockArchive(const std::string& directory, platform::FileHandle& lock) {
    lock = platform::lockFolder(directory.c_str(), platform::FolderUse::alone);
    if (lock || errno != EWOULDBLOCK) return true;
    return complain("%s: another program is at work in this archive", directory.c_str());
}

void removeIndex(const std::string& path) {
    for (const char* const suffix : {"", "-wal", "-shm", "-journal"})
        (void)platform::remove((path + suffix).c_str());
}

// Brings a new index into the place of the one that is there.
bool exchangeIndex(const std::string& made, const std::string& path) {
    const platform::FileHandle file = platform::openRead(made.c_str());
    if (!file || !platform::sync(file.get()))
        return complain("%s: it cannot be brought to the disk", made.c_str());
    // What the old one had not taken in yet would be taken for the new one's.
    for (const char* const suffix : {"-wal", "-shm"}) (void)platform::remove((path + suffix).c_str());
    if (!platform::rename(made.c_str(), path.c_str()))
        return complain("%s: it cannot be replaced", path.c_str());
    (void)platform::syncEntry(path.c_str());
    return true;
}

// Into a file of another name until it is whole.
bool makeFile(DcIndex& index, Rebuilder& rebuilder, unsigned int jobs, const std::string& path) {
    const std::string made = path + ".new";
    removeIndex(made);
    const bool opened = index.openFast((std::string(kSqlite) + made).c_str()) == RESULT_OK ||
                        complain("%s", DcIndex::fault());
    const bool whole = opened && rebuilder.run(jobs);
    index.close();
    if (whole && exchangeIndex(made, path)) return true;
    removeIndex(made);
    return false;
}

// Into a database that has none yet: what is there is its other servers', too.
bool fillDatabase(DcIndex& index, Rebuilder& rebuilder, unsigned int jobs, const std::string& place) {
    DcIndexStats stats;
    if (index.open(place.c_str(), INDEX_CREATE) != RESULT_OK || index.stats(stats) != RESULT_OK)
        return complain("%s", DcIndex::fault());
    if (stats.instances != 0)
        return complain(
            "the database has an index already, of %llu instances: `orvkit index check --repair` mends "
            "it, and a new one is made in an empty schema",
            stats.instances);
    return rebuilder.run(jobs);
}

// A file as the index knows it, in little: ten million of them are to fit.
struct Known {
    std::size_t path;  // its hash
    std::uint64_t size;
    bool seen = false;
    bool changed = false;  // what the index says is not so
};

class Checker {
  public:
    Checker(DcIndex& index, const ArchiveOptions& options) : index_(index), options_(options) {}

    // False: the index cannot be read, which was told.
    bool run() {
        FinishedArrivals done;
        if (!Arrivals(options_.directory).finish(index_, done)) ++faults_;
        if (!finishGraves(index_, options_.directory)) ++faults_;
        if (index_.walkAll(this, [](void* self, const DcIndexInstance& instance) {
                static_cast<Checker*>(self)->known_.push_back(
                    {std::hash<std::string_view>()(instance.path), instance.size});
                return 0;
            }) != RESULT_OK)
            return complain("%s", DcIndex::fault());
        std::sort(known_.begin(), known_.end(),
                  [](const Known& a, const Known& b) { return a.path < b.path; });
        for (std::size_t i = 1; i < known_.size(); ++i) {
            if (known_[i].path == known_[i - 1].path) find(known_[i].path)->changed = true;
        }
        lookAtFiles();
        lookAtRows();
        return true;
    }
    std::uint64_t faults() const { return faults_; }
    std::uint64_t mended() const { return mended_; }
    std::size_t files() const { return known_.size(); }

  private:
    Known* find(std::string_view path) { return find(std::hash<std::string_view>()(path)); }
    Known* find(std::size_t hash) {
        const auto at =
            std::lower_bound(known_.begin(), known_.end(), hash,
                             [](const Known& known, std::size_t wanted) { return known.path < wanted; });
        return at != known_.end() && at->path == hash ? &*at : nullptr;
    }

    void lookAtFiles() {
        ArchiveWalk walk(options_.directory);
        std::string path;
        std::uint64_t size = 0;
        while (walk.next(path, size)) {
            Known* const known = find(path);
            if (known == nullptr) {
                lookAtNew(path);
                continue;
            }
            known->changed = known->changed || known->size != size;
            known->seen = true;
        }
        if (walk.fault().empty()) return;
        ++faults_;
        complain("%s", walk.fault().c_str());
    }

    void lookAtNew(const std::string& path) {
        ArchiveFile file;
        const int result = readArchiveFile(archivePath(options_.directory, path), file);
        if (result == DIR_NOT_PART10) return;
        if (result != RESULT_OK) return found(path, resultText(result), [] { return false; });
        // It may have come meanwhile.
        if (isArriving(options_.directory, path) ||
            isStored(index_, textOf(file.dataset, T_0008_0018_sopInstanceUid), path))
            return;
        found(path, "it is not in the index", [&] { return store(path); });
    }

    // What the index has under a path whose file was not seen, or is not as it says.
    struct Told {
        std::vector<std::string> instances;
        std::uint64_t size = 0;
    };

    void lookAtRows() {
        struct Context {
            Checker& self;
            std::map<std::string, Told> paths;
        } context{*this, {}};
        if (std::ranges::all_of(known_, [](const Known& each) { return each.seen && !each.changed; })) return;
        (void)index_.walkAll(&context, [](void* into, const DcIndexInstance& instance) {
            auto& all = *static_cast<Context*>(into);
            const Known* const known = all.self.find(std::string_view{instance.path});
            if (known == nullptr || (known->seen && !known->changed)) return 0;
            Told& told = all.paths[instance.path];
            told.instances.emplace_back(instance.sopInstance);
            told.size = instance.size;
            return 0;
        });
        for (const auto& [path, told] : context.paths) {
            const bool seen = find(path)->seen;
            seen ? lookAtChanged(path, told) : lookForMissing(path, told.instances);
        }
    }

    void lookAtChanged(const std::string& path, const Told& told) {
        std::error_code error;
        const auto size = std::filesystem::file_size(pathOf(archivePath(options_.directory, path)), error);
        found(path,
              told.instances.size() > 1
                  ? "it is in the index " + std::to_string(told.instances.size()) + " times"
                  : "its size is " + std::to_string(size) + ", in the index " + std::to_string(told.size),
              [&, this] { return mend(path, told.instances); });
    }

    // What cannot be looked at now is not gone, nor is what came meanwhile.
    void lookForMissing(const std::string& path, const std::vector<std::string>& instances) {
        std::error_code error;
        const auto status =
            std::filesystem::symlink_status(pathOf(archivePath(options_.directory, path)), error);
        if (std::filesystem::is_regular_file(status)) return;
        if (!std::filesystem::status_known(status)) return found(path, error.message(), [] { return false; });
        found(path, "the file of instance " + instances.front() + " is gone",
              [&, this] { return forget(path, instances); });
    }

    bool forget(const std::string& path, const std::vector<std::string>& instances) {
        return std::ranges::all_of(instances, [&](const std::string& each) {
            return index_.forget(each.c_str(), path.c_str()) == RESULT_OK;
        });
    }

    // In the place of whatever the index has under its path.
    bool mend(const std::string& path, const std::vector<std::string>& instances) {
        ArchiveFile file;
        return readArchiveFile(archivePath(options_.directory, path), file) == RESULT_OK &&
               forget(path, instances) && store(path);
    }

    bool store(const std::string& path) {
        DcIndexStored stored;
        return storeArchiveFile(index_, options_.directory, path, INDEX_BOTH, stored) == RESULT_OK;
    }

    void found(const std::string& path, const std::string& what, const std::function<bool()>& mend) {
        ++faults_;
        const bool mended = options_.repair && mend();
        if (mended) ++mended_;
        complain("%s: %s%s", path.c_str(), what.c_str(),
                 mended            ? "; mended"
                 : options_.repair ? "; that cannot be mended"
                                   : "");
    }

    DcIndex& index_;
    const ArchiveOptions& options_;
    std::vector<Known> known_;
    std::uint64_t faults_ = 0;
    std::uint64_t mended_ = 0;
};

}  // namespace

int rebuildIndex(const ArchiveOptions& options) {
    const std::string place = indexPlace(options.directory, options.index);
    platform::FileHandle lock;
    if (!lockArchive(options.directory, lock)) return EXIT_FAILED;
    DcIndex index;
    Rebuilder rebuilder(index, options.directory);
    const bool whole = place.starts_with(kSqlite)
                           ? makeFile(index, rebuilder, options.jobs, place.substr(kSqlite.size()))
                           : fillDatabase(index, rebuilder, options.jobs, place);
    if (!whole) return EXIT_FAILED;
    const Counts& counts = rebuilder.counts();
    std::printf(
        "%llu files in the index, %llu of them duplicates, %llu contradict others; %llu could not be read; "
        "%llu are no DICOM files\n",
        static_cast<unsigned long long>(counts.stored), static_cast<unsigned long long>(counts.duplicates),
        static_cast<unsigned long long>(counts.conflicts), static_cast<unsigned long long>(counts.unread),
        static_cast<unsigned long long>(counts.others));
    return counts.unread == 0 && rebuilder.sawAll() ? EXIT_OK : EXIT_FAILED;
}

int checkIndex(const ArchiveOptions& options) {
    DcIndex index;
    const std::string place = indexPlace(options.directory, options.index);
    if (index.open(place.c_str(), INDEX_WRITE) != RESULT_OK) return failed("%s", DcIndex::fault());
    Checker checker(index, options);
    if (!checker.run()) return EXIT_FAILED;
    std::printf("%zu files in the index, %llu faults, %llu of them mended\n", checker.files(),
                static_cast<unsigned long long>(checker.faults()),
                static_cast<unsigned long long>(checker.mended()));
    return checker.faults() == checker.mended() ? EXIT_OK : EXIT_FAILED;
}

}  // namespace services
