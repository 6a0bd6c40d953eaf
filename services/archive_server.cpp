#include "services/archive_server.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
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
#include "services/text.h"

namespace services {
namespace {

namespace fs = std::filesystem;
namespace platform = orvkit::platform;

// FNV-1a: of UIDs, which nobody can choose so that a folder fills up and anything is lost by it.
std::uint32_t hashOf(const std::string& text) {
    std::uint32_t hash = 2166136261U;
    for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
    return hash ^ hash >> 16;
}

// "4f/a0": two levels, so that ten million files are some hundred to a folder.
std::string folderOf(const ArchiveFile& object, const std::string& instance) {
    static constexpr char digits[] = "0123456789abcdef";
    const std::uint32_t hash = hashOf(textOf(object.dataset, T_0020_000d_studyInstanceUid) + "/" +
                                      textOf(object.dataset, T_0020_000e_seriesInstanceUid) + "/" + instance);
    std::string folder;
    for (const unsigned int shift : {12U, 8U, 4U, 0U}) {
        if (shift == 4) folder += '/';
        folder += digits[hash >> shift & 15U];
    }
    return folder;
}

// With the folders above it, all on the disk where that is asked for. False: errno tells why.
bool moveInto(StoreFile& file, const std::string& path, bool sync) {
    const fs::path folder = pathOf(path).parent_path();
    std::error_code error;
    if (fs::create_directories(folder, error) && sync) {
        (void)platform::syncEntry(nameOf(folder).c_str());
        (void)platform::syncEntry(nameOf(folder.parent_path()).c_str());
    }
    return file.moveTo(path) && (!sync || platform::syncEntry(path.c_str()));
}

void removeFile(const std::string& path) {
    std::error_code error;
    fs::remove(pathOf(path), error);
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
    const std::string place = indexPlace(directory_, settings_.index);
    int opened = index_.open(place.c_str(), INDEX_WRITE);
    if (opened == INDEX_ABSENT) {
        opened = index_.open(place.c_str(), INDEX_CREATE);
        if (opened == RESULT_OK)
            server.tell("the index is new: what stands in " + directory_ +
                        " already is found after `orvkit index rebuild`");
    }
    if (opened != RESULT_OK) return complain("%s", DcIndex::fault());
    if (!finishGraves(index_, directory_)) return false;
    server.storing = [this]() -> std::shared_ptr<void> { return std::make_shared<DcIndexBusy>(index_); };
    server.place = [this, &server](StoreFile& file, std::string& told) {
        return this->place(server, file, told);
    };
    offerInquiries(server);
    server.archive = this;
    return true;
}

const PeerOptions* Archive::destination(std::string_view title) const {
    const auto at = std::ranges::find(settings_.destinations, trimmed(title), &PeerOptions::aec);
    return at != settings_.destinations.end() ? &*at : nullptr;
}

// One that no instance has. A file that stands there all the same was never confirmed: its server ended
// before its rows were written.
std::string Archive::choosePath(const ArchiveFile& object, const std::string& instance) {
    std::set<std::string> taken;
    (void)index_.lookUp(instance.c_str(), &taken, [](void* all, const DcIndexInstance& known) {
        static_cast<std::set<std::string>*>(all)->insert(known.path);
        return 0;
    });
    const std::string stem = folderOf(object, instance) + "/" + instance;
    std::string path = stem + ".dcm";
    for (int number = 2; taken.contains(path); ++number) path = stem + "-" + std::to_string(number) + ".dcm";
    return path;
}

unsigned short Archive::place(StoreServer& server, StoreFile& file, std::string& told) {
    ArchiveFile object;
    if (const int result = readArchiveFile(file.temporaryPath(), object); result != RESULT_OK) {
        told = "it cannot be read again: " + resultText(result);
        return kStoreCannotUnderstand;
    }
    const Claim claim(*this, file.instance());
    const std::string path = choosePath(object, file.instance());
    const std::string whole = archivePath(directory_, path);
    if (!moveInto(file, whole, server.sync)) {
        told = whole + ": " + std::strerror(errno);
        return kStoreOutOfResources;
    }
    return store(object, path, told);
}

// What its rows do not tell of is not kept.
unsigned short Archive::store(ArchiveFile& object, const std::string& path, std::string& told) {
    DcIndexFile about;
    about.path = path.c_str();
    about.xferSyn = object.xferSyn.c_str();
    about.size = object.size;
    DcIndexStored stored;
    const int result = index_.store(object.dataset, about, INDEX_KEEP, stored);
    if (result == RESULT_OK && stored.what != INDEX_STORED_KEPT) {
        told = path + conflictsText(stored.conflicts);
        return kStoreSuccess;
    }
    removeFile(archivePath(directory_, path));
    if (result == RESULT_OK) {
        told = std::string("nothing: it is there as ") + stored.other;
        return kStoreSuccess;
    }
    told = DcIndex::fault();
    if (told.empty()) told = resultText(result);
    return result == INDEX_IDENTITY ? kStoreCannotUnderstand : kStoreOutOfResources;
}

}  // namespace services
