#include "services/archive_server.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "services/archive_inquiry.h"
#include "services/elements.h"
#include "services/paths.h"
#include "services/report.h"
#include "services/same_object.h"
#include "services/text.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

constexpr std::size_t kMostFolders = 100'000;  // that are kept in mind
constexpr std::size_t kLongestPath = 1024;     // of a file that is to be sent again

// True: nothing stands there.
bool removeFile(const std::string& path) {
    std::error_code error;
    fs::remove(pathOf(path), error);
    return !error;
}

// What an object contradicts, for people.
std::string conflictsText(unsigned int conflicts) {
    static constexpr struct {
        unsigned int bit;
        const char* what;
    } rows[] = {{INDEX_INSTANCE_ELSEWHERE, "the instance is also in another series or study"},
                {INDEX_SERIES_ELSEWHERE, "its series is also in another study"},
                {INDEX_STUDY_ELSEWHERE, "its study is also another patient's"},
                {INDEX_PATIENT_DIFFERS, "its patient has another name, birth date or sex so far"}};
    std::string text;
    for (const auto& row : rows) {
        if ((conflicts & row.bit) != 0) text += std::string("; ") + row.what;
    }
    return text;
}

}  // namespace

class Archive::Claim {
  public:
    Claim(Archive& archive, const std::string& instance) : archive_(archive), instance_(instance) {
        std::unique_lock lock(archive_.mutex_);
        archive_.left_.wait(lock, [this] { return !archive_.claimed_.contains(instance_); });
        archive_.claimed_.insert(instance_);
    }
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    ~Claim() {
        {
            const std::lock_guard lock(archive_.mutex_);
            archive_.claimed_.erase(instance_);
        }
        archive_.left_.notify_all();
    }

  private:
    Archive& archive_;
    const std::string& instance_;
};

bool Archive::serve(StoreServer& server) {
    directory_ = server.directory;
    use_ = platform::lockFolder(directory_.c_str(), platform::FolderUse::shared);
    if (!use_ && errno == EWOULDBLOCK)
        return complain("%s: its index is being made anew", directory_.c_str());
    const std::string place = indexPlace(directory_, settings_.index);
    int opened = index_.open(place.c_str(), INDEX_WRITE);
    if (opened == INDEX_ABSENT) {
        opened = index_.open(place.c_str(), INDEX_CREATE);
        if (opened == RESULT_OK)
            server.tell("the index is new: what stands in " + directory_ +
                        " already is found after `orvkit index rebuild`");
    }
    if (opened != RESULT_OK) return complain("%s", DcIndex::fault());
    if (!finishOthers(server)) return false;
    server.storing = [this]() -> std::shared_ptr<void> { return std::make_shared<DcIndexBusy>(index_); };
    server.place = [this, &server](StoreFile& file, std::string& told) {
        return this->place(server, file, told);
    };
    offerInquiries(server);
    server.archive = this;
    return true;
}

bool Archive::finishOthers(const StoreServer& server) {
    FinishedArrivals done;
    arrivals_.emplace(directory_);
    if (!arrivals_->prepare() || !arrivals_->finish(index_, done)) return false;
    if (done.finished + done.removed > 0) {
        server.tell("of a server that was killed " + std::to_string(done.finished) +
                    " objects are in the index now, and " + std::to_string(done.removed) +
                    " that were there already, or are none, are removed");
    }
    return finishGraves(index_, directory_);
}

std::optional<PeerOptions> Archive::destination(std::string_view title) const {
    return settings_.destination(trimmed(title));
}

// One at which nothing stands, and that the instance does not have in any series, not even where its file is
// lost. Noted first and looked at then, it is nobody else's. "": errno tells why.
std::string Archive::choosePath(const Coming& coming, const std::string& instance, Arrival& arrival) {
    for (int number = 1;; ++number) {
        std::string path = settings_.layout.pathFor(coming.object, instance, number);
        if (archivePath(directory_, path).size() > kLongestPath)
            path = ArchiveLayout().pathFor(coming.object, instance, number);
        std::error_code error;
        if (!arrival.begin(path)) {
            if (errno != EEXIST) return {};
        } else if (!fs::exists(pathOf(archivePath(directory_, path)), error) && !coming.known.has(path)) {
            return path;
        }
    }
}

// True: the instance is there, and that is all; else what to do with it is in `coming`.
bool Archive::settleDuplicate(const StoreFile& file, Coming& coming, std::string& told,
                              unsigned short& status) {
    coming.known = pathsOf(index_, coming.object, file.instance());
    const std::vector<std::string>& known = coming.known.same;
    if (known.empty()) {
        if (coming.known.others.empty()) coming.duplicate = INDEX_NEW;
        return false;
    }
    status = kStoreSuccess;
    for (const std::string& path : known) {
        if (!isSameObject(file.temporaryPath(), archivePath(directory_, path))) continue;
        told = "nothing: it is there as " + path;
        return true;
    }
    const std::string whole = archivePath(directory_, known.front());
    ArchiveFile there;
    if (readArchiveFile(whole, there) != RESULT_OK || there.isCut) {
        // What is left of it stays; a check tells of it.
        std::error_code error;
        coming.note =
            "; " + known.front() + (fs::exists(pathOf(whole), error) ? " was damaged" : " was gone");
        coming.duplicate = INDEX_REPLACE;
        return false;
    }
    coming.note = "; " + known.front() + " has " + differencesTo(coming.object, there);
    if (settings_.onDuplicate == OnDuplicate::replace) {
        coming.duplicate = INDEX_REPLACE;
        coming.replaced = known.front();
        return false;
    }
    coming.duplicate = INDEX_BOTH;
    if (settings_.onDuplicate == OnDuplicate::both) return false;
    const bool rejects = settings_.onDuplicate == OnDuplicate::reject;
    if (rejects) status = kStoreDuplicate;
    told =
        (rejects ? "the instance is there already" : "nothing: the instance is there already") + coming.note;
    return true;
}

// With the folders above it, all on the disk where that is asked for: another association may have made them
// and be waiting for that. False: errno tells why.
bool Archive::moveInto(StoreFile& file, const std::string& path, bool sync) {
    const std::string folder = path.substr(0, path.rfind('/') == path.npos ? 0 : path.rfind('/'));
    std::error_code error;
    const bool made = fs::create_directories(pathOf(archivePath(directory_, folder)), error);
    if (sync && (made || !isKnown(folder))) {
        for (std::size_t end = folder.size(); end != 0 && end != folder.npos;
             end = folder.rfind('/', end - 1))
            (void)platform::syncEntry(archivePath(directory_, folder.substr(0, end)).c_str());
        const std::lock_guard lock(mutex_);
        if (folders_.size() >= kMostFolders) folders_.clear();
        folders_.insert(folder);
    }
    const std::string whole = archivePath(directory_, path);
    return file.moveTo(whole) && (!sync || platform::syncEntry(whole.c_str()));
}

bool Archive::isKnown(const std::string& folder) {
    const std::lock_guard lock(mutex_);
    return folders_.contains(folder);
}

unsigned short Archive::place(StoreServer& server, StoreFile& file, std::string& told) {
    Coming coming;
    if (const int result = readArchiveFile(file.temporaryPath(), coming.object); result != RESULT_OK) {
        told = "it cannot be read again: " + resultText(result);
        return kStoreCannotUnderstand;
    }
    const Claim claim(*this, file.instance());
    unsigned short status = kStoreOutOfResources;
    if (settleDuplicate(file, coming, told, status)) return status;
    status = kStoreOutOfResources;
    Arrival arrival(*arrivals_);
    coming.path = choosePath(coming, file.instance(), arrival);
    const std::string whole = archivePath(directory_, coming.path);
    auto fate = Fate::unwanted;
    if (!coming.path.empty() && moveInto(file, coming.path, server.sync)) {
        status = store(coming, told, fate);
    } else {
        told = whole + ": " + std::strerror(errno);
    }
    if (fate == Fate::unknown || (fate == Fate::unwanted && !coming.path.empty() && !removeFile(whole)))
        arrival.leave();
    return status;
}

unsigned short Archive::store(Coming& coming, std::string& told, Fate& fate) {
    DcIndexFile about;
    about.path = coming.path.c_str();
    about.xferSyn = coming.object.xferSyn.c_str();
    about.size = coming.object.size;
    DcIndexStored stored;
    // A file that is replaced is noted, too, until it has gone.
    Arrival leaving(*arrivals_);
    if (!coming.replaced.empty()) (void)leaving.begin(coming.replaced);
    const int result = index_.store(coming.object.dataset, about, coming.duplicate, stored);
    // Who mends an index may have found the file before.
    const bool kept =
        result == RESULT_OK && (stored.what != INDEX_STORED_KEPT || coming.path == stored.other);
    if (result == RESULT_OK && stored.what == INDEX_STORED_REPLACED && !coming.replaced.empty() &&
        coming.path != stored.other && !removeFile(archivePath(directory_, stored.other)))
        leaving.leave();
    if (kept) {
        fate = Fate::kept;
        told = coming.path + conflictsText(stored.conflicts) + coming.note;
        return kStoreSuccess;
    }
    if (result == RESULT_OK) {
        told = std::string("nothing: it is there as ") + stored.other;
        return kStoreSuccess;
    }
    // A database that is lost may have its rows or not. The next server looks.
    if (result == INDEX_ENGINE) {
        fate = Fate::unknown;
        leaving.leave();
    }
    told = DcIndex::fault();
    if (told.empty()) told = resultText(result);
    return result == INDEX_IDENTITY ? kStoreCannotUnderstand : kStoreOutOfResources;
}

}  // namespace services
