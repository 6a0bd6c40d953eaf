#include "services/store_file.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/result.h"
#include "platform/process.h"
#include "services/paths.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

constexpr const char* kPrefix = ".orvkit-";
constexpr const char* kSuffix = ".part";
constexpr std::int64_t kLarge = 4 << 20;  // what is behind it is written while more is being received

std::string temporaryName(const std::string& directory) {
    static std::atomic<unsigned int> count = 0;
    return directory + "/" + kPrefix + std::to_string(platform::processId()) + "-" + std::to_string(++count) +
           kSuffix;
}

// Preamble, prefix and meta information (PS3.10 7.1); empty on failure.
std::vector<unsigned char> header(DcDirMetaInfo& meta) {
    DcElemList group;
    unsigned int size = 0;
    if (dirCheckMetaInfo(meta) != RESULT_OK || dirFileMetaInfoToElemList(meta, group) != RESULT_OK) return {};
    (void)group.getBufSize(size, static_cast<unsigned int*>(nullptr));
    std::vector<unsigned char> bytes(size + 132);
    unsigned int length = 0;
    if (dirWriteFile(bytes.data(), length, group) != RESULT_OK) return {};
    bytes.resize(length);
    return bytes;
}

}  // namespace

int StoreFile::removeLeftovers(const std::string& directory) {
    namespace fs = std::filesystem;
    int count = 0;
    std::error_code error;
    for (fs::directory_iterator at(pathOf(directory), error), end; !error && at != end; at.increment(error)) {
        const std::string name = nameOf(at->path().filename());
        if (!name.starts_with(kPrefix) || !name.ends_with(kSuffix)) continue;
        std::error_code ignored;
        const auto age = fs::file_time_type::clock::now() - at->last_write_time(ignored);
        // A younger one may belong to a server that is at work.
        if (ignored || age < std::chrono::hours(24)) continue;
        if (platform::remove(nameOf(at->path()).c_str())) ++count;
    }
    return count;
}

StoreFile::~StoreFile() {
    drop();
}

void StoreFile::describe(DICT_UID sopClass, const std::string& instance, const std::string& sourceAet) {
    sopClass_ = sopClass;
    instance_ = instance;
    sourceAet_ = sourceAet;
}

void StoreFile::fail(const std::string& path) {
    fail(STORE_OUT_OF_RESOURCES, path + ": " + std::strerror(errno));
}

void StoreFile::fail(unsigned short status, const std::string& fault) {
    status_ = status;
    fault_ = fault;
}

// Takes over what the check has found.
bool StoreFile::check() {
    const auto verdict = check_->verdict();
    if (verdict == StoreCheck::Verdict::good) return true;
    fail(verdict == StoreCheck::Verdict::otherClass ? STORE_OTHER_CLASS : STORE_CANNOT_UNDERSTAND,
         check_->fault());
    return false;
}

bool StoreFile::begin(DICT_UID xferSyn) {
    xferSyn_ = xferSyn;
    DcDirMetaInfo meta;
    meta.version = 1;
    meta.sopClassUid = sopClass_;
    meta.transferSyntax = xferSyn;
    instance_.copy(meta.sopInstanceUid, sizeof meta.sopInstanceUid - 1);
    sourceAet_.copy(meta.sourceAeTitle, sizeof meta.sourceAeTitle - 1);
    const std::vector<unsigned char> bytes = header(meta);
    if (bytes.empty()) {
        fail(STORE_CANNOT_UNDERSTAND, "the object's identification is not valid");
        return false;
    }
    const DcDictUidInfo* const known = Dict.findUid(sopClass_);
    check_.emplace(xferSyn, known != nullptr ? known->uid : "", instance_);
    // A process that was killed may have had our number, and left its files.
    std::string name;
    do {
        name = temporaryName(directory_);
        file_ = platform::createNew(name.c_str());
    } while (!file_ && errno == EEXIST);
    if (file_) temporary_ = name;
    if (!file_ || !platform::writeAll(file_.get(), bytes.data(), bytes.size())) {
        fail(name);
        return false;
    }
    return true;
}

int StoreFile::take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int) {
    auto& file = *static_cast<StoreFile*>(self);
    if (file.failed() || (!file.file_ && !file.begin(xferSyn))) return RESULT_OK;
    file.check_->pass(data, length);
    if (!file.check()) return RESULT_OK;
    if (length > 0 && !file.write(data, length)) file.fail(file.temporary_);
    return RESULT_OK;
}

unsigned char* StoreFile::room(void* self, unsigned int* size) {
    auto& file = *static_cast<StoreFile*>(self);
    if (file.behind_ == nullptr || file.failed()) return nullptr;
    const std::span<unsigned char> room = file.behind_->room();
    if (room.empty()) return nullptr;
    *size = static_cast<unsigned int>(room.size());
    return room.data();
}

// False: errno tells why.
bool StoreFile::write(const unsigned char* data, std::size_t length) {
    size_ += static_cast<std::int64_t>(length);
    if (behind_ != nullptr) {
        if (behind_->append(data, length)) return true;
        errno = behind_->error();
        return false;
    }
    if (!platform::writeAll(file_.get(), data, length)) return false;
    if (size_ >= kLarge) {
        try {
            behind_ = std::make_unique<WriteBehind>(file_.get());
        } catch (const std::system_error&) {
            // Without a thread it is written as before.
        }
    }
    return true;
}

void StoreFile::drop() {
    behind_.reset();
    file_.reset();
    if (!temporary_.empty()) (void)platform::remove(temporary_.c_str());
    temporary_.clear();
}

bool StoreFile::finish() {
    if (!failed() && size_ == 0) fail(STORE_CANNOT_UNDERSTAND, "no data set came");
    if (!failed()) {
        check_->end();
        (void)check();
    }
    if (!failed() && behind_ != nullptr && !behind_->finish()) {
        errno = behind_->error();
        fail(temporary_);
    }
    behind_.reset();
    if (!failed() && sync_ && !platform::sync(file_.get())) fail(temporary_);
    file_.reset();
    return !failed();
}

bool StoreFile::moveTo(const std::string& path) {
    if (!platform::rename(temporary_.c_str(), path.c_str())) return false;
    temporary_.clear();
    return true;
}

bool StoreFile::commit(const std::string& path) {
    if (!finish()) return false;
    if (!moveTo(path) || (sync_ && !platform::syncEntry(path.c_str()))) fail(path);
    return !failed();
}

}  // namespace services
