// The raw scanners: what they report lies within the input, and the handle forms agree with the memory forms.
#include "orvkit/scan.h"

#include "fuzz/target.h"

namespace {

using fuzz::require;

constexpr unsigned int wanted[] = {SCAN_ELEM_END, 0xFFFEE00D, 0x00100010, 0x7FE00010, 0xFFFCFFFC};

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

void checkLengths(std::vector<unsigned char>& bytes, DICT_UID xferSyn, const fuzz::MemoryFile& file) {
    for (const unsigned int at : {4u, 8u, 16u, 20u}) {
        if (bytes.size() < at) return;
        const auto left = static_cast<unsigned int>(bytes.size() - at);
        unsigned char* const p = bytes.data() + at;
        const auto where = static_cast<int>(at);
        Lengths memory, handle;
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
    static fuzz::MemoryFile file;
    static FILE* const stream = fdopen(file.handle(), "r+");
    if (size < 2) return 0;
    const DICT_UID xferSyn = fuzz::syntaxes[data[0] & 3];
    std::vector<unsigned char> bytes = fuzz::content(data, size);
    file.hold(bytes);
    std::rewind(stream);
    std::fflush(stream);
    checkOffsets(bytes, xferSyn);
    checkLengths(bytes, xferSyn, file);

    DcPfField_ fields[5];
    for (int i = 0; i < 5; ++i) fields[i].tag = wanted[i];
    DcPfFileInfo_ info;
    info.xferSyn = xferSyn;
    (void)libParseFields(stream, fields, &info, 5);
    require(info.fileSize == static_cast<long long>(bytes.size()) && info.end <= info.fileSize);
    for (const DcPfField_& f : fields) require(f.valueOffset <= info.fileSize);
    return 0;
}
