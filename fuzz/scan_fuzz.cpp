// The raw scanners: what they report lies within the input, and the handle forms agree with the memory forms.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "orvkit/log.h"
#include "orvkit/scan.h"

namespace {

constexpr DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                 UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE};
constexpr unsigned int wanted[] = {SCAN_ELEM_END, 0xFFFEE00D, 0x00100010, 0x7FE00010, 0xFFFCFFFC};

void require(bool condition) {
    if (!condition) std::abort();
}

// A file of the process's own that holds the input.
class InputFile {
  public:
    InputFile() : handle_(memfd_create("input", 0)), file_(fdopen(handle_, "r+")) {}
    void hold(const std::vector<unsigned char>& bytes) {
        require(ftruncate(handle_, 0) == 0);
        require(pwrite(handle_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
        std::rewind(file_);
        std::fflush(file_);
    }
    int handle() const { return handle_; }
    FILE* stream() const { return file_; }

  private:
    int handle_;
    FILE* file_;
};

struct Lengths {
    int result = 0;
    unsigned int length = 0;
    int extra = 0;
    bool operator==(const Lengths&) const = default;
};

void checkOffsets(std::vector<unsigned char>& bytes, DICT_UID xferSyn) {
    const auto size = static_cast<unsigned int>(bytes.size());
    for (const unsigned int tag : wanted) {
        DcElemOffsetInfo info;
        info.tag = tag;
        const int result = utilGetElemOffsetInfo(bytes.data(), size, xferSyn, info);
        require(info.offset <= size && info.valueOffset <= size && info.endOffset <= size);
        require(result != 0 || (info.offset < info.valueOffset && info.valueOffset <= info.endOffset));
        unsigned int offset = 0;
        if (result == 0) require(utilGetElemOffset(bytes.data(), size, xferSyn, tag, offset) == 0);
        require(result != 0 || offset == info.offset);
    }
}

void checkLengths(std::vector<unsigned char>& bytes, DICT_UID xferSyn, const InputFile& file) {
    for (const unsigned int at : {4u, 8u, 16u, 20u}) {
        if (bytes.size() < at) return;
        const auto left = static_cast<unsigned int>(bytes.size() - at);
        unsigned char* const p = bytes.data() + at;
        const auto where = static_cast<int>(at);
        Lengths memory;
        Lengths handle;
        memory.result =
            utilGetOxValLen(p, left, xferSyn, memory.length, memory.extra, static_cast<int>(at & 4));
        require(memory.result != 0 || memory.length <= left);
        memory.result = utilGetSqItemValLen(p, left, xferSyn, memory.length, memory.extra);
        require(memory.result != 0 || memory.length <= left);
        handle.result = utilGetSqItemValLen(file.handle(), where, left, xferSyn, handle.length, handle.extra);
        require(memory == handle);
        if (at < 8) continue;
        memory.result = utilGetSqValLen(p, left, xferSyn, memory.length, memory.extra, 0);
        require(memory.result != 0 || memory.length <= left);
        handle.result = utilGetSqValLen(file.handle(), where, left, xferSyn, handle.length, handle.extra, 0);
        require(memory == handle);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static InputFile file;
    static const bool quiet = [] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        return true;
    }();
    if (!quiet || size < 2) return 0;
    const DICT_UID xferSyn = syntaxes[data[0] & 3];
    std::vector<unsigned char> bytes(data + 1, data + size);
    file.hold(bytes);
    checkOffsets(bytes, xferSyn);
    checkLengths(bytes, xferSyn, file);

    DcPfField_ fields[5];
    for (int i = 0; i < 5; ++i) fields[i].tag = wanted[i];
    DcPfFileInfo_ info;
    info.xferSyn = xferSyn;
    (void)libParseFields(file.stream(), fields, &info, 5);
    require(info.fileSize == static_cast<long long>(bytes.size()) && info.end <= info.fileSize);
    for (const DcPfField_& f : fields) require(f.valueOffset <= info.fileSize);
    return 0;
}
