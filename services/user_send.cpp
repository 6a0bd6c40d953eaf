// Part 10 files to a storage provider (C-STORE, PS3.4 annex B), as they are on disk where it takes them so.
#include "services/user.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>

#include "dictionary/uid_text.h"
#include "network/store_request.h"
#include "orvkit/dict.h"
#include "orvkit/result.h"
#include "services/association.h"
#include "services/charset.h"
#include "services/commitment_user.h"
#include "services/crew.h"
#include "services/network_text.h"
#include "services/outgoing_copy.h"
#include "services/progress.h"
#include "services/report.h"
#include "services/send_plan.h"
#include "services/source_file.h"

namespace services {
namespace {

using Clock = std::chrono::steady_clock;

// What all workers share; safe to use from any of them.
class Report {
  public:
    // With `lists` it keeps what was sent.
    Report(std::size_t files, bool lists) : progress_("sending", files), lists_(lists) {}

    void sent(const OutgoingFile& file) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++sent_;
        converted_ += file.converted ? 1 : 0;
        bytes_ += file.size;
        if (lists_) objects_.push_back({file.path, orvkit::uidText(file.sopClass), file.instance});
        progress_.step();
    }
    void warn(const OutgoingFile& file, const std::string& text) {
        const std::lock_guard<std::mutex> lock(mutex_);
        tell(file.path, text);
    }
    // The first of them: of files that were made anonymous there may be thousands.
    void note(const std::vector<std::pair<std::string, std::string>>& notes) {
        constexpr std::size_t kMost = 5;
        for (std::size_t i = 0; i < std::min(notes.size(), kMost); ++i) tell(notes[i].first, notes[i].second);
        if (notes.size() > kMost)
            complain("%zu more files differ from their headers so", notes.size() - kMost);
    }
    void failed(const std::string& path, const std::string& why) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++failed_;
        tell(path, why);
        progress_.step();
    }
    // One line for all of them: there may be thousands.
    void notSent(std::size_t files, const std::string& why) {
        const std::lock_guard<std::mutex> lock(mutex_);
        failed_ += files;
        progress_.clear();
        complain("%zu %s not sent: %s", files, files == 1 ? "file" : "files", why.c_str());
    }
    const std::vector<SentObject>& objects() const { return objects_; }
    int finish(Clock::time_point begun) {
        progress_.clear();
        if (converted_ > 0) {
            complain("%zu %s sent in an uncompressed transfer syntax: the peer does not take that of the %s",
                     converted_, converted_ == 1 ? "file was" : "files were",
                     converted_ == 1 ? "file" : "files");
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - begun).count();
        std::printf("%zu sent (%s), %zu failed, in %.2f s: %.1f files and %s a second\n", sent_,
                    bytesText(static_cast<double>(bytes_)).c_str(), failed_, seconds,
                    static_cast<double>(sent_) / seconds,
                    bytesText(static_cast<double>(bytes_) / seconds).c_str());
        return failed_ == 0 ? EXIT_OK : EXIT_FAILED;
    }

  private:
    void tell(const std::string& path, const std::string& text) {
        progress_.clear();
        complain("%s: %s", withEscapes(path).c_str(), text.c_str());
    }

    std::mutex mutex_;
    Progress progress_;
    std::size_t sent_ = 0;
    std::size_t converted_ = 0;
    std::size_t failed_ = 0;
    unsigned long long bytes_ = 0;
    bool lists_;
    std::vector<SentObject> objects_;
};

// Sends the files of one group over as many associations as there are jobs.
class GroupSender {
  public:
    GroupSender(const SendOptions& options, SendGroup& group, Report& report)
        : options_(options), group_(group), report_(report) {
        for (OutgoingFile& file : group_.files) waiting_.push_back(&file);
    }

    void run() {
        const std::size_t jobs = std::min(static_cast<std::size_t>(options_.jobs), group_.files.size());
        workTogether(jobs, [this] { work(); });
        if (!waiting_.empty()) report_.notSent(waiting_.size(), fault_);
    }

  private:
    enum class Sent { yes, refused, lost };  // refused: this file only; lost: the association

    OutgoingFile* take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (waiting_.empty()) return nullptr;
        OutgoingFile* const file = waiting_.front();
        waiting_.pop_front();
        return file;
    }
    void putBack(OutgoingFile* file, const std::string& why) {
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.push_front(file);
        fault_ = why;
    }
    void noteFault(const std::string& why) {
        const std::lock_guard<std::mutex> lock(mutex_);
        fault_ = why;
    }

    void work() {
        Association association(options_);
        int refusals = 0;  // of associations, one after another
        while (OutgoingFile* file = take()) {
            if (!association.isOpen()) {
                if (!association.open(group_.contexts)) {
                    putBack(file, association.fault());
                    if (++refusals > options_.retry) return;
                    std::this_thread::sleep_for(std::chrono::milliseconds(250 << std::min(refusals, 5)));
                    continue;
                }
                refusals = 0;
            }
            const Sent outcome = send(association, *file);
            if (outcome == Sent::yes) {
                report_.sent(*file);
            } else if (outcome == Sent::lost && ++file->attempts <= options_.retry) {
                putBack(file, file->fault);
            } else {
                report_.failed(file->path, file->fault);
                if (outcome == Sent::lost && options_.retry == 0) {
                    noteFault("an association was lost (--retry goes on with a new one)");
                    return;
                }
            }
        }
        association.release();
    }

    // UID_NONE: the peer takes none in which the file can go.
    DICT_UID syntaxFor(const Association& association, OutgoingFile& file) const {
        std::vector<DICT_UID> wanted = fallbacksOf(file.xferSyn, options_.transcode);
        wanted.insert(wanted.begin(), file.xferSyn);
        const DICT_UID syntax = association.acceptedSyntax(file.sopClass, wanted);
        if (syntax == UID_NONE) {
            const int result = association.contextResult(file.sopClass, file.xferSyn);
            file.fault =
                contextText(result) + ": " + describeUid(file.sopClass) + " in " + describeUid(file.xferSyn);
        }
        return syntax;
    }

    Sent send(Association& association, OutgoingFile& file) {
        const DICT_UID syntax = syntaxFor(association, file);
        if (syntax == UID_NONE) return Sent::refused;
        FileIdentity object;
        const int result =
            file.odd ? readOddFile(file.path, object, false) : readIdentity(file.path, object, false);
        if (result != RESULT_OK) {
            file.fault = resultText(result);
            return Sent::refused;
        }
        if (object.sopClass != file.sopClass || object.xferSyn != file.xferSyn || object.size != file.size) {
            file.fault = "it has become another object since its header was read";
            return Sent::refused;
        }
        file.converted = syntax != file.xferSyn;
        file.instance = object.instance;
        orvkit::platform::NewFile copy;
        const bool asItIs = !file.odd && !file.converted;
        if (!asItIs && !(file.fault = copyInSyntax(file.path, object, file.odd, syntax, copy)).empty())
            return Sent::refused;
        DcCmdCStoreRq request;
        const std::string path = asItIs ? file.path : copy.path();
        if (!orvkit::fillStoreRequest(request, path.c_str(), object.sopClass, object.instance.c_str())) {
            file.fault = "its path has more than 1024 characters, or begins or ends with blanks";
            return Sent::refused;
        }
        if (!association.send(request, file.sopClass, syntax)) {
            file.fault = association.fault();
            return association.isOpen() ? Sent::refused : Sent::lost;
        }
        const std::unique_ptr<DcMsg> response = association.receive(DICT_MSG_C_STORE_RSP);
        if (response == nullptr) {
            file.fault = association.fault();
            association.abort();
            return Sent::lost;
        }
        switch (statusKind(statusOf(*response))) {
            case StatusKind::warning:
                report_.warn(file, "stored with a warning: " + statusText(*response));
                return Sent::yes;
            case StatusKind::success:
                return Sent::yes;
            default:
                file.fault = "the peer answered " + statusText(*response);
                return Sent::refused;
        }
    }

    const SendOptions& options_;
    SendGroup& group_;
    Report& report_;
    std::mutex mutex_;
    std::deque<OutgoingFile*> waiting_;
    std::string fault_;
};

}  // namespace

int send(const SendOptions& options, const std::vector<std::string>& paths) {
    SendPlan plan = planSend(paths, options.transcode);
    const Clock::time_point begun = Clock::now();
    Report report(plan.files, options.commit);
    for (const auto& [path, why] : plan.faults) report.failed(path, why);
    report.note(plan.notes);
    for (SendGroup& group : plan.groups) GroupSender(options, group, report).run();
    const int status = report.finish(begun);
    if (!options.commit) return status;
    (void)std::fflush(stdout);
    const int committed = commit(options, report.objects());
    return status != EXIT_OK ? status : committed;
}

}  // namespace services
