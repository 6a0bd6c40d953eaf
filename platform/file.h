// What a platform must implement: files behind low-level handles.
//
// A handle is the C runtime's small integer, -1 for none. Offsets and sizes count bytes and have 64 bits.
// Paths are never null; on Windows they are UTF-8. Calls that were interrupted go on by themselves. After a
// failure errno tells why. Different handles may be used by different threads at once.
#ifndef ORVKIT_PLATFORM_FILE_H
#define ORVKIT_PLATFORM_FILE_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>

namespace orvkit::platform {

// Closes a handle; false when the system tells only now that what was written is lost. -1 is allowed.
bool closeHandle(int handle) noexcept;

// Owns a handle and closes it.
class FileHandle {
  public:
    FileHandle() noexcept = default;
    explicit FileHandle(int handle) noexcept : handle_(handle) {}
    FileHandle(FileHandle&& other) noexcept : handle_(other.release()) {}
    FileHandle& operator=(FileHandle&& other) noexcept {
        reset(other.release());
        return *this;
    }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    ~FileHandle() { (void)closeHandle(handle_); }

    int get() const noexcept { return handle_; }
    explicit operator bool() const noexcept { return handle_ != -1; }
    // Hands the handle to the caller.
    [[nodiscard]] int release() noexcept { return std::exchange(handle_, -1); }
    void reset(int handle = -1) noexcept { (void)closeHandle(std::exchange(handle_, handle)); }
    // For a file that was written: false when its bytes did not all arrive.
    [[nodiscard]] bool close() noexcept { return closeHandle(release()); }

  private:
    int handle_ = -1;
};

// Open in binary mode, not inherited by child processes; an empty FileHandle on failure. Directories may
// open for reading and then fail to be read: ask `examine` for the kind.
[[nodiscard]] FileHandle openRead(const char* path) noexcept;
// Made if absent, emptied if present.
[[nodiscard]] FileHandle createWrite(const char* path) noexcept;
// Made if absent; writes go to the end.
[[nodiscard]] FileHandle openAppend(const char* path) noexcept;
// A stream of the C library, in the modes of fopen; null on failure.
[[nodiscard]] std::FILE* openStream(const char* path, const char* mode) noexcept;
// The position of such a stream, which has 64 bits: -1 and false on failure.
std::int64_t tellStream(std::FILE* stream) noexcept;
[[nodiscard]] bool seekStream(std::FILE* stream, std::int64_t offset, int whence = SEEK_SET) noexcept;
// A file for its maker alone, with the access rights of the file at `like`, or those of any new file when
// that is null or there is none; see new_file.h. As long as the handle is open, removeAbandoned leaves the
// file alone. Fails when the path exists.
[[nodiscard]] FileHandle createTemporary(const char* path, const char* like) noexcept;
// The same without a name: it goes with its handle unless giveName is called. Fails where the system or the
// file system has no such files.
[[nodiscard]] FileHandle createUnnamed(const char* directory, const char* like) noexcept;
// Fails when the path exists.
[[nodiscard]] bool giveName(int handle, const char* path) noexcept;
// A path by which this process opens the file of a handle once more, if it has no name.
std::string pathOfHandle(int handle);
// Removes a file of createTemporary whose maker has ended; false when there is none, or its maker is at work.
// Where the system cannot tell, one that was not changed for a day counts as abandoned.
bool removeAbandoned(const char* path) noexcept;
// Another handle on the same open file, with the same file position; errno EBADF: not a handle, EMFILE: no
// handle left.
[[nodiscard]] FileHandle duplicate(int handle) noexcept;

// Read `length` bytes at `offset` (the file position stays) or at the file position (which moves on). Give
// the number of bytes read, smaller only at the end of the file; -1 on failure.
[[nodiscard]] std::int64_t readAt(int handle, void* data, std::size_t length, std::int64_t offset) noexcept;
[[nodiscard]] std::int64_t read(int handle, void* data, std::size_t length) noexcept;

// Writes everything at the file position, or fails.
[[nodiscard]] bool writeAll(int handle, const void* data, std::size_t length) noexcept;

// Moves the file position, counted from the start; false on failure.
[[nodiscard]] bool seek(int handle, std::int64_t offset) noexcept;
// The file position; -1 on failure.
std::int64_t tell(int handle) noexcept;

// Appends `length` bytes of one file, from `offset`, at the file position of another, by the fastest way that
// the system has. The position of `from` stays. Gives the number of bytes copied, smaller only when `from`
// ends early; -1 on failure.
[[nodiscard]] std::int64_t copyRange(int from, std::int64_t offset, int to, std::int64_t length) noexcept;

enum class FileKind : unsigned char { regular, directory, other };

struct FileInfo {
    std::int64_t size = 0;
    FileKind kind = FileKind::other;
    std::time_t created = 0;  // or the time of the last change of status, where nothing better is known
    std::time_t modified = 0;
    std::uint64_t volume = 0;  // with `index`: the same for all paths and handles of one file
    std::uint64_t index = 0;

    bool isSameFile(const FileInfo& other) const noexcept {
        return volume == other.volume && index == other.index;
    }
};

// What the system knows about an open file or a path (links are followed); false on failure.
[[nodiscard]] bool examine(int handle, FileInfo& info) noexcept;
[[nodiscard]] bool examine(const char* path, FileInfo& info) noexcept;

// Waits until what was written is on the disk; false on failure. File systems that cannot tell count as done.
[[nodiscard]] bool sync(int handle) noexcept;
// Lets the system begin with that while more is written, where it can; a later sync waits for less then.
void beginSync(int handle) noexcept;
// So much is worth a beginSync.
constexpr std::int64_t syncPiece = 8 << 20;
// The same for a file's entry in its directory, after it was made or renamed.
bool syncEntry(const char* path) noexcept;
// What any program wrote, as far as the system lets a user ask for that.
void syncAll() noexcept;

// Replaces `to` in one step if it exists; both on the same file system. False on failure.
[[nodiscard]] bool rename(const char* from, const char* to) noexcept;
// The same for a file of createTemporary, whose handle is given up; false also when the system tells only now
// that what was written is lost, and then `to` is as it was.
[[nodiscard]] bool rename(FileHandle file, const char* from, const char* to) noexcept;
bool remove(const char* path) noexcept;

// Says that this process is at work in a directory until the handle is closed or the process ends, however it
// ends. Any number may share a directory, or one has it alone. Empty when others have it (errno EWOULDBLOCK),
// or when it cannot be had; errno ENOTSUP: the file system keeps no such locks.
enum class FolderUse : unsigned char { shared, alone };
[[nodiscard]] FileHandle lockFolder(const char* path, FolderUse use) noexcept;

}  // namespace orvkit::platform

#endif
