#include "services/store_file.h"

#include <cerrno>
#include <cstring>
#include <system_error>
#include <vector>

#include "dictionary/uid_text.h"
#include "orvkit/file.h"
#include "orvkit/result.h"
#include "services/report.h"

namespace services {
namespace {

namespace platform = orvkit::platform;

constexpr std::int64_t kLarge = 4 << 20;  // what is behind it is written while more is being received

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

StoreFile::~StoreFile() {
    drop();
}

void StoreFile::describe(DICT_UID sopClass, const std::string& instance, const std::string& sourceAet) {
    sopClass_ = sopClass;
    instance_ = instance;
    sourceAet_ = sourceAet;
}

void StoreFile::fail(const std::string& path) {
    fail(kStoreOutOfResources, path + ": " + std::strerror(errno));
}

void StoreFile::fail(unsigned short status, const std::string& fault) {
    status_ = status;
    fault_ = fault;
}

// Takes over what the check has found.
bool StoreFile::check() {
    const auto verdict = check_->verdict();
    if (verdict == StoreCheck::Verdict::good) return true;
    fail(verdict == StoreCheck::Verdict::otherClass ? kStoreOtherClass : kStoreCannotUnderstand,
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
        fail(kStoreCannotUnderstand, "the object's identification is not valid");
        return false;
    }
    check_.emplace(xferSyn, orvkit::uidText(sopClass_), instance_);
    if (!file_.begin(directory_) || !platform::writeAll(file_.handle(), bytes.data(), bytes.size())) {
        fail(directory_);
        return false;
    }
    return true;
}

bool StoreFile::pass(std::size_t length) {
    const std::string why = guard_ ? guard_(static_cast<std::uint64_t>(size_) + length) : "";
    if (why.empty()) return true;
    fail(kStoreOutOfResources, why);
    drop();
    return false;
}

int StoreFile::take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int) {
    auto& file = *static_cast<StoreFile*>(self);
    if (file.failed() || !file.pass(length) || (!file.file_ && !file.begin(xferSyn))) return RESULT_OK;
    file.check_->pass(data, length);
    if (!file.check()) return RESULT_OK;
    if (length > 0 && !file.write(data, length)) file.fail(file.directory_);
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
    if (!platform::writeAll(file_.handle(), data, length)) return false;
    if (size_ >= kLarge) {
        try {
            behind_ = std::make_unique<WriteBehind>(file_.handle(), sync_);
        } catch (const std::system_error&) {
            // Without a thread it is written as before.
        }
    }
    return true;
}

void StoreFile::drop() {
    behind_.reset();
    file_.drop();
}

bool StoreFile::complete() {
    if (std::exchange(complete_, true)) return !failed();
    if (!failed() && size_ == 0) fail(kStoreCannotUnderstand, "no data set came");
    if (!failed()) {
        check_->end();
        (void)check();
    }
    if (!failed() && behind_ != nullptr && !behind_->finish()) {
        errno = behind_->error();
        fail(directory_);
    }
    behind_.reset();
    return !failed();
}

void StoreFile::exchange(platform::NewFile file, DICT_UID xferSyn, const std::string& instance) {
    file_ = std::move(file);
    xferSyn_ = xferSyn;
    instance_ = instance;
}

bool StoreFile::finish() {
    if (!complete()) return false;
    if (sync_ && !platform::sync(file_.handle())) fail(directory_);
    return !failed();
}

bool StoreFile::moveTo(const std::string& path) {
    return file_.commit(path, false);
}

bool StoreFile::commit(const std::string& path) {
    if (!finish()) return false;
    if (!moveTo(path) || (sync_ && !platform::syncEntry(path.c_str()))) fail(path);
    return !failed();
}

}  // namespace services
