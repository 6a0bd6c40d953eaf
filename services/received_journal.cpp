#include "services/received_journal.h"

#include <cerrno>
#include <utility>

#include "services/file_id.h"

namespace services {

namespace platform = orvkit::platform;

ReceivedJournal::ReceivedJournal(const std::string& root) : path_(pathOfFileId(root, ".orvkit-received")) {}

std::optional<std::vector<std::string>> ReceivedJournal::read() const {
    std::string text;
    std::vector<std::string> fileIds;
    const platform::FileHandle file = platform::openRead(path_.c_str());
    if (!file && errno == ENOENT) return fileIds;
    char room[4096];
    for (std::int64_t n = -1; n != 0; text.append(room, static_cast<std::size_t>(n))) {
        if (file) n = platform::read(file.get(), room, sizeof room);
        if (n < 0) return {};
    }
    std::size_t end = 0;
    for (std::size_t at = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        std::string fileId = text.substr(at, end - at);
        if (fileIdFault(fileId).empty()) fileIds.push_back(std::move(fileId));
    }
    return fileIds;
}

std::shared_ptr<ReceivedJournal::File> ReceivedJournal::note(const std::string& fileId) {
    if (file_ == nullptr) {
        auto file = std::make_shared<File>();
        file->handle = platform::openAppend(path_.c_str());
        file->path = path_;
        if (!file->handle) return nullptr;
        file_ = std::move(file);
    }
    // What a failed write has left of a line does not run into this one.
    const std::string line = '\n' + fileId + '\n';
    return platform::writeAll(file_->handle.get(), line.data(), line.size()) ? file_ : nullptr;
}

bool ReceivedJournal::sync(File& file) {
    if (!platform::sync(file.handle.get())) return false;
    if (!file.entered && !platform::syncEntry(file.path.c_str())) return false;
    file.entered = true;
    return true;
}

void ReceivedJournal::clear() {
    file_.reset();
    (void)platform::remove(path_.c_str());
}

}  // namespace services
