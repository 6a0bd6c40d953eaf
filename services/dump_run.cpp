#include "services/dump_run.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/new_file.h"
#include "services/charset.h"
#include "services/crew.h"
#include "services/dump_file.h"
#include "services/output.h"
#include "services/paths.h"
#include "services/print_forms.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

// What one thread takes at a time: enough that turns cost little, and little enough that all have something.
constexpr std::size_t kFilesAtOnce = 16;

struct Found {
    std::string path;
    std::string fault;  // of a directory that cannot be read
};

// The files that paths stand for, one after the other: those of a directory when it is reached. Links to
// directories are not followed.
class Walk {
  public:
    explicit Walk(const std::vector<std::string>& paths) {
        std::vector<Entry> given;
        given.reserve(paths.size());
        std::error_code error;
        for (const std::string& path : paths) given.push_back({path, fs::is_directory(pathOf(path), error)});
        open_.push_back({std::move(given), 0});
    }

    bool next(Found& found) {
        while (!open_.empty()) {
            Level& level = open_.back();
            if (level.at == level.entries.size()) {
                open_.pop_back();
                continue;
            }
            const Entry entry = std::move(level.entries[level.at++]);
            found = {entry.path, {}};
            if (!entry.directory) return true;
            found.fault = enter(entry.path);
            if (!found.fault.empty()) return true;
        }
        return false;
    }

  private:
    struct Entry {
        std::string path;
        bool directory;
        bool operator<(const Entry& other) const { return path < other.path; }
    };
    struct Level {
        std::vector<Entry> entries;
        std::size_t at;
    };

    // Gives what went wrong; what was found so far comes next in any case.
    std::string enter(const std::string& path) {
        const std::string front = path.back() == '/' ? path : path + '/';
        std::vector<Entry> entries;
        std::error_code error;
        fs::directory_iterator at = openFolder(pathOf(path), error);
        for (; !error && at != fs::directory_iterator(); at.increment(error)) {
            std::error_code unknown;
            const bool directory = at->is_directory(unknown) && !at->is_symlink(unknown);
            if (!directory && !isWanted(*at)) continue;
            entries.push_back({front + nameOf(at->path().filename()), directory});
        }
        std::sort(entries.begin(), entries.end());
        open_.push_back({std::move(entries), 0});
        return error ? error.message() : std::string();
    }
    // Regular files and links to such, and what the system does not tell of.
    static bool isWanted(const fs::directory_entry& entry) {
        std::error_code error;
        if (orvkit::platform::isUnfinished(nameOf(entry.path().filename()))) return false;
        return entry.is_regular_file(error) || (error && !entry.is_symlink(error));
    }

    std::vector<Level> open_;
};

class DumpRun;

// One turn: some files, whose text waits until it is theirs to be written.
class Turn final : public OutputGate {
  public:
    Turn(DumpRun& run, std::size_t number) : run_(run), number_(number) {}
    // Text of this size waits as long as it may.
    bool opens(std::size_t size) override;

  private:
    static constexpr std::size_t kMostHeld = std::size_t{4} << 20;

    DumpRun& run_;
    std::size_t number_;
    bool open_ = false;
};

class DumpRun {
  public:
    explicit DumpRun(const DumpRequest& request) : request_(request), walk_(request.paths) {
        std::error_code error;
        titles_ = request.paths.size() > 1 ||
                  (!request.paths.empty() && fs::is_directory(pathOf(request.paths[0]), error));
    }

    bool run() {
        Output out;
        const std::unique_ptr<DumpForm> frame = form(out);
        frame->begin();
        out.flush();
        const bool many = titles_ && request_.jobs > 1;
        workTogether(many ? request_.jobs : 1, [this] { work(); });
        if (failure_) std::rethrow_exception(failure_);
        frame->resume(written_);
        frame->end();
        out.flush();
        return ok_ && !out.failed();
    }

    // Waits for a turn, or asks whether it has come.
    bool await(std::size_t number, bool wait) {
        std::unique_lock lock(turns_);
        const auto come = [&] { return turn_ == number || failure_; };
        if (wait) passed_.wait(lock, come);
        return come();
    }
    // The first text of a turn is about to be written behind that of others.
    void join() {
        if (std::exchange(written_, true) && request_.look == DumpLook::json) std::fputc(',', stdout);
    }

  private:
    std::unique_ptr<DumpForm> form(Output& out) const {
        switch (request_.look) {
            case DumpLook::json:
                return makeJsonForm(out);
            case DumpLook::flat:
                return makeFlatForm(out, request_.print);
            default:
                return makeTreeForm(out, request_.print);
        }
    }

    bool take(std::vector<Found>& files, std::size_t& number) {
        const std::lock_guard lock(walking_);
        files.clear();
        Found found;
        while (files.size() < kFilesAtOnce && walk_.next(found)) files.push_back(std::move(found));
        number = taken_++;
        return !files.empty();
    }
    void work() {
        std::vector<Found> files;
        std::size_t number = 0;
        try {
            while (std::ferror(stdout) == 0 && take(files, number)) {
                Turn turn(*this, number);
                Output out(&turn);
                const std::unique_ptr<DumpForm> look = form(out);
                for (const Found& file : files) show(file, number, *look, out);
                (void)await(number, true);
                out.flush();
                pass();
            }
        } catch (...) {
            const std::lock_guard lock(turns_);
            if (!failure_) failure_ = std::current_exception();
            passed_.notify_all();
        }
    }
    void pass() {
        const std::lock_guard lock(turns_);
        ++turn_;
        passed_.notify_all();
    }

    void show(const Found& found, std::size_t number, DumpForm& look, Output& out) {
        DumpedFile file;
        file.path = found.path;
        if (request_.charset) file.charset = &*request_.charset;
        if (found.fault.empty()) {
            readForDump(file);
            if (file.kind == DumpedFile::Kind::file) {
                look.file(file, request_.pick, titles_ ? found.path.c_str() : nullptr);
            }
        } else {
            file.faults.push_back(found.fault);
        }
        const std::size_t notes = (file.note.empty() ? 0 : 1) + (file.remark.empty() ? 0 : 1);
        if (!file.remark.empty()) file.faults.insert(file.faults.begin(), file.remark);
        if (!file.note.empty()) file.faults.insert(file.faults.begin(), file.note);
        if (file.faults.empty()) return;
        if (file.faults.size() > notes) ok_ = false;
        (void)await(number, true);
        (void)out.deliver();  // so that both stand in order where they go to the same place
        for (const std::string& fault : file.faults) {
            complain("%s: %s", withEscapes(found.path).c_str(), withEscapes(fault).c_str());
        }
    }

    const DumpRequest& request_;
    bool titles_ = false;
    std::atomic<bool> ok_ = true;

    std::mutex walking_;
    Walk walk_;
    std::size_t taken_ = 0;

    std::mutex turns_;
    std::condition_variable passed_;
    std::size_t turn_ = 0;
    bool written_ = false;  // whoever has the turn may look
    std::exception_ptr failure_;
};

bool Turn::opens(std::size_t size) {
    if (open_) return true;
    open_ = run_.await(number_, size > kMostHeld);
    if (open_) run_.join();
    return open_;
}

}  // namespace

bool dumpFiles(const DumpRequest& request) {
    return DumpRun(request).run();
}

}  // namespace services
