// A Part 10 file that is made while its data set arrives, and appears under its name when it is whole and on
// the disk.
#ifndef ORVKIT_SERVICES_STORE_FILE_H
#define ORVKIT_SERVICES_STORE_FILE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "orvkit/uids.h"
#include "platform/new_file.h"
#include "services/store_check.h"
#include "services/write_behind.h"

namespace services {

// The outcomes of a store (PS3.4 B.2.3).
inline constexpr unsigned short kStoreSuccess = 0x0000;
inline constexpr unsigned short kStoreProcessingFailure = 0x0110;  // PS3.7 C.5.10
inline constexpr unsigned short kStoreDuplicate = 0x0111;          // PS3.7 C
inline constexpr unsigned short kStoreOutOfResources = 0xA700;
inline constexpr unsigned short kStoreOtherClass = 0xA900;
inline constexpr unsigned short kStoreCannotUnderstand = 0xC000;

// Any number at once, also from several threads. What is not committed is removed by the destructor.
class StoreFile {
  public:
    // Until it has its name, it is a file in the making in that directory (platform/new_file.h).
    StoreFile(const std::string& directory, bool sync) : directory_(directory), sync_(sync) {}
    StoreFile(const StoreFile&) = delete;
    StoreFile& operator=(const StoreFile&) = delete;
    ~StoreFile();

    // What the file is to say of itself; before its first byte.
    void describe(DICT_UID sopClass, const std::string& instance, const std::string& sourceAet);
    // Asked before the first byte and as more come, with the bytes of the data set so far: why these are too
    // many, or
    // "". What is too large is dropped at once.
    using Guard = std::function<std::string(std::uint64_t size)>;
    void setGuard(Guard guard) { guard_ = std::move(guard); }
    // It will not be kept, whatever comes.
    void refuse(unsigned short status, const std::string& why) { fail(status, why); }
    // For DcTul::registerDataSetCB, both. What cannot be written, or is not the object that was announced
    // (StoreCheck), is dropped, so that the object is received to its end and the association goes on: see
    // failed.
    static int take(void* self, const unsigned char* data, unsigned int length, DICT_UID xferSyn, int last);
    static unsigned char* room(void* self, unsigned int* size);

    bool failed() const { return !fault_.empty(); }
    const std::string& fault() const { return fault_; }
    // kStoreSuccess unless failed.
    unsigned short status() const { return status_; }
    std::int64_t size() const { return size_; }  // bytes of the data set
    DICT_UID xferSyn() const { return xferSyn_; }
    const std::string& instance() const { return instance_; }
    // By which this process opens it once more, until it has its name.
    std::string temporaryPath() const { return file_.path(); }

    // All has come: what was received is written and was what it should be. False: failed.
    [[nodiscard]] bool complete();
    // That, and the bytes are on the disk. Called by commit.
    [[nodiscard]] bool finish();
    // Another file takes its place once it is complete: the same object in another transfer syntax.
    void exchange(orvkit::platform::NewFile file, DICT_UID xferSyn, const std::string& instance);
    // Gives a finished file its name, which is not brought to the disk; false: errno tells why.
    [[nodiscard]] bool moveTo(const std::string& path);
    // Gives the file its name, replacing one that exists.
    [[nodiscard]] bool commit(const std::string& path);
    // Removes what there is of the file.
    void drop();

  private:
    [[nodiscard]] bool begin(DICT_UID xferSyn);
    [[nodiscard]] bool write(const unsigned char* data, std::size_t length);
    void fail(const std::string& path);
    void fail(unsigned short status, const std::string& fault);
    [[nodiscard]] bool check();
    [[nodiscard]] bool pass(std::size_t length);

    std::string directory_;
    bool sync_;
    DICT_UID sopClass_ = UID_NONE;
    std::string instance_;
    std::string sourceAet_;
    DICT_UID xferSyn_ = UID_NONE;
    orvkit::platform::NewFile file_;
    std::unique_ptr<WriteBehind> behind_;  // of a large object; goes before its file
    std::int64_t size_ = 0;
    std::optional<StoreCheck> check_;
    Guard guard_;
    bool complete_ = false;
    unsigned short status_ = kStoreSuccess;
    std::string fault_;
};

}  // namespace services

#endif
