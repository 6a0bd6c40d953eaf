// Part 10 files: read from memory and from disk to the same end, read up to Pixel Data, and written again
// with the pixels in memory and on disk.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/log.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

// A file without a place in the file system, and a path to it.
class MemoryFile {
  public:
    MemoryFile() : handle_(memfd_create("file", 0)), path_("/proc/self/fd/" + std::to_string(handle_)) {}
    void hold(const std::vector<unsigned char>& bytes) {
        require(ftruncate(handle_, 0) == 0);
        require(pwrite(handle_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
    }
    const char* path() const { return path_.c_str(); }

  private:
    int handle_;
    std::string path_;
};

void complete(DcDirMetaInfo& meta) {
    meta.version = 1;
    if (meta.transferSyntax == UID_NONE) meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (meta.sopClassUid == UID_NONE) meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    if (meta.sopInstanceUid[0] == '\0') std::strcpy(meta.sopInstanceUid, "1.2.3");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static MemoryFile input;
    static MemoryFile output;
    static const bool quiet = [] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        return true;
    }();
    if (!quiet || size < 2) return 0;
    std::vector<unsigned char> bytes(data + 1, data + size);
    input.hold(bytes);

    DcDirMetaInfo meta;
    DcElemList inMemory;
    const int result = dirReadFile(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, inMemory);
    DcDirMetaInfo diskMeta;
    DcElemList fromDisk;
    require(dirReadFile(input.path(), diskMeta, fromDisk) == result);
    require(fromDisk.count() == inMemory.count());

    DcDirMetaInfo headerMeta;
    DcElemList header;
    int offset = 0;
    int length = 0;
    const int partial = dirReadNonPixelElem(input.path(), headerMeta, header, &offset, &length);
    require(offset >= -1 && offset <= static_cast<int>(bytes.size()));
    require(length >= 0 && length <= static_cast<int>(bytes.size()) - std::max(offset, 0));

    complete(meta);
    if ((data[0] & 1) != 0) meta.transferSyntax = UID_BIG_ENDIAN_EXPLICIT;
    const int before = inMemory.count();
    if (dirWriteFile(output.path(), meta, inMemory) == 0) {
        DcElemList again;
        (void)dirReadFile(output.path(), meta, again);
    }
    require(inMemory.count() == before);
    if (partial == 0 && offset >= 0) {
        complete(headerMeta);
        header.add(new DcElem(0x7FE00010, input.path(), offset, static_cast<unsigned int>(length),
                              headerMeta.transferSyntax));
        const int elements = header.count();
        (void)dirWriteFile(output.path(), headerMeta, header);
        require(header.count() == elements);
    }
    return 0;
}
