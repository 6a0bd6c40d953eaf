#include "services/archive_files.h"

#include <vector>

#include "dictionary/uid_text.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"
#include "platform/file.h"
#include "platform/new_file.h"
#include "services/archive_arrivals.h"
#include "services/elements.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace fs = std::filesystem;

struct Buried {
    std::string path;
    std::string instance;
};

bool moveToGrave(const std::string& directory, unsigned long long grave, const std::string& path) {
    const std::string from = archivePath(directory, path);
    const std::string to = gravePath(directory, grave, path);
    std::error_code error;
    if (!fs::exists(pathOf(from), error)) return true;
    fs::create_directories(pathOf(to).parent_path(), error);
    if (!error) fs::rename(pathOf(from), pathOf(to), error);
    if (!error) return true;
    // Programs that start together bring the same to its end: one of them has.
    std::error_code gone;
    if (!fs::exists(pathOf(from), gone) && !gone) return true;
    return complain("%s: %s", from.c_str(), error.message().c_str());
}

// Where a layout gives several the same name, one that came later may stand there.
bool isAnother(const std::string& path, const std::string& instance) {
    ArchiveFile file;
    return readArchiveFile(path, file) == RESULT_OK &&
           textOf(file.dataset, T_0008_0018_sopInstanceUid) != instance;
}

}  // namespace

std::string indexPlace(const std::string& directory, const std::string& given) {
    return given.empty() ? "sqlite:" + archivePath(directory, kIndexFile) : given;
}

std::string archivePath(const std::string& directory, const std::string& path) {
    return directory + (directory.ends_with('/') ? "" : "/") + path;
}

std::string gravePath(const std::string& directory, unsigned long long grave, const std::string& path) {
    return archivePath(directory, std::string(kGraveFolder) + "/" + std::to_string(grave) + "/" + path);
}

int readArchiveFile(const std::string& path, ArchiveFile& file) {
    DcDirMetaInfo meta;
    DcElemList group;
    DcDirAround around;
    around.meta = &group;
    around.byTable = 1;
    const int result = dirReadAroundPixels(path.c_str(), meta, file.dataset, around);
    // Of one that is cut in its pixels everything is known that the index wants.
    if (result != RESULT_OK && result != ELEM_VALUE_REFUSED) return result;
    file.isCut = result != RESULT_OK;
    file.xferSyn = textOf(group, T_0002_0010_transferSyntaxUid);
    if (file.xferSyn.empty()) file.xferSyn = orvkit::uidText(meta.transferSyntax);
    orvkit::platform::FileInfo info;
    if (!orvkit::platform::examine(path.c_str(), info)) return DIR_STAT;
    file.size = static_cast<std::uint64_t>(info.size);
    return RESULT_OK;
}

int storeArchiveFile(DcIndex& index, const std::string& directory, const std::string& path,
                     INDEX_DUPLICATE duplicate, DcIndexStored& stored) {
    ArchiveFile file;
    const int result = readArchiveFile(archivePath(directory, path), file);
    if (result != RESULT_OK) return result;
    DcIndexFile about;
    about.path = path.c_str();
    about.xferSyn = file.xferSyn.c_str();
    about.size = file.size;
    return index.store(file.dataset, about, duplicate, stored);
}

bool isStored(DcIndex& index, const std::string& instance, const std::string& path) {
    struct Context {
        const std::string& path;
        bool found = false;
    } context{path};
    (void)index.lookUp(instance.c_str(), &context, [](void* self, const DcIndexInstance& known) {
        auto& wanted = *static_cast<Context*>(self);
        wanted.found = wanted.found || wanted.path == known.path;
        return 0;
    });
    return context.found;
}

ArchiveWalk::ArchiveWalk(const std::string& directory) : root_(pathOf(directory)) {
    std::error_code error;
    at_ = fs::recursive_directory_iterator(root_, fs::directory_options::skip_permission_denied, error);
    if (error) fault_ = directory + ": " + error.message();
    probe(root_);
}

// Iterators pass over a folder that may not be read without a word.
void ArchiveWalk::probe(const fs::path& folder) {
    std::error_code error;
    const fs::directory_iterator entries(folder, error);
    if (error && error != std::errc::no_such_file_or_directory)
        fault_ = nameOf(folder) + ": " + error.message();
}

bool ArchiveWalk::next(std::string& path, std::uint64_t& size) {
    const std::lock_guard lock(mutex_);
    for (std::error_code error; at_ != fs::recursive_directory_iterator();) {
        const fs::directory_entry entry = *at_;
        const bool own = orvkit::platform::isUnfinished(nameOf(entry.path().filename()));
        if (own) {
            at_.disable_recursion_pending();
        } else if (fs::is_directory(entry.symlink_status(error))) {
            probe(entry.path());
        }
        at_.increment(error);
        if (error) fault_ = nameOf(entry.path()) + ": " + error.message();
        if (own || !fs::is_regular_file(entry.symlink_status(error))) continue;
        path = nameOf(entry.path().lexically_relative(root_));
        size = entry.file_size(error);
        if (!error) return true;
        fault_ = nameOf(entry.path()) + ": " + error.message();
    }
    return false;
}

bool finishGraves(DcIndex& index, const std::string& directory) {
    std::vector<unsigned long long> graves;
    (void)index.walkGraves(&graves, [](void* all, const DcIndexGrave& grave) {
        static_cast<std::vector<unsigned long long>*>(all)->push_back(grave.number);
        return 0;
    });
    bool good = true;
    for (const unsigned long long grave : graves) {
        std::vector<Buried> files;
        (void)index.walkGrave(grave, &files, [](void* all, const DcIndexInstance& instance) {
            static_cast<std::vector<Buried>*>(all)->push_back({instance.path, instance.sopInstance});
            return 0;
        });
        for (const Buried& file : files) {
            // What stands there may be on its way in again: it is noted until its rows are there.
            std::error_code error;
            if (fs::exists(pathOf(archivePath(directory, file.path)), error) &&
                !isArriving(directory, file.path) && !isStored(index, file.instance, file.path) &&
                !isAnother(archivePath(directory, file.path), file.instance))
                good = moveToGrave(directory, grave, file.path) && good;
        }
    }
    return good;
}

}  // namespace services
