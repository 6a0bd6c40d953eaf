// Files: the meta information turned into elements and back; the whole read strictly, read as what may be no
// Part 10 file by the letter, around pixel data and up to them, from memory and from disk to the same end;
// and written again.
#include "orvkit/file.h"

#include <algorithm>
#include <cstring>

#include "fuzz/target.h"
#include "orvkit/result.h"

namespace {

using fuzz::require;
using Bytes = std::vector<unsigned char>;

void complete(DcDirMetaInfo& meta) {
    meta.version = 1;
    if (meta.transferSyntax == UID_NONE) meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (meta.sopClassUid == UID_NONE) meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    if (meta.sopInstanceUid[0] == '\0') std::strcpy(meta.sopInstanceUid, "1.2.3");
}

// So that most inputs reach the elements of the meta information.
void addPreamble(Bytes& bytes) {
    if (bytes.size() >= 132 && std::memcmp(bytes.data() + 128, "DICM", 4) == 0) return;
    constexpr char magic[] = {'D', 'I', 'C', 'M', 2, 0};
    bytes.insert(bytes.begin(), magic, magic + sizeof magic);
    bytes.insert(bytes.begin(), 128, 0);
}

void checkMetaInfo(Bytes& bytes) {
    DcDirMetaInfo meta, again;
    unsigned int end = 0;
    const int result = dirReadFileMetaInfo(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, end);
    require(result == 0 ? end > 132 && end <= bytes.size() : end == 0);
    require((meta.privateInfo != nullptr) == (meta.privateInfoLen != 0));
    DcElemList group;
    require(dirFileMetaInfoToElemList(meta, group) == 0 && dirElemListToFileMetaInfo(group, again) == 0);
    require(again.version == meta.version && again.transferSyntax == meta.transferSyntax);
    require(again.sopClassUid == meta.sopClassUid && again.privateInfoLen == meta.privateInfoLen);
}

struct Read {
    int result = 0;
    DcDirMetaInfo meta;
    DcElemList list;
    DcDirFound found;
};

bool same(const DcDirFound& a, const DcDirFound& b) {
    return a.preamble == b.preamble && a.meta == b.meta && a.metaImplicit == b.metaImplicit &&
           a.groupLength == b.groupLength && a.zerosBefore == b.zerosBefore &&
           a.zerosBehind == b.zerosBehind && a.xferSyn == b.xferSyn && a.guessed == b.guessed &&
           a.directoryImplicit == b.directoryImplicit;
}

bool isByTheLetter(const DcDirFound& found) {
    return found.preamble && found.meta && !found.metaImplicit && found.groupLength && !found.guessed &&
           found.zerosBehind == 0;
}

void checkHeader(const char* path, int size) {
    Read header;
    int offset = 0, length = 0;
    (void)dirReadNonPixelElem(path, header.meta, header.list, &offset, &length);
    require(offset >= -1 && offset <= size && length >= 0 && length <= size - std::max(offset, 0));
}

// In the syntax that it is in, or in big endian.
void write(Read& read, bool big, const char* path) {
    complete(read.meta);
    if (big) read.meta.transferSyntax = UID_BIG_ENDIAN_EXPLICIT;
    const int before = read.list.count();
    if (dirWriteFile(path, read.meta, read.list) == 0) {
        Read again;
        (void)dirReadFile(path, again.meta, again.list);
        require(again.meta.transferSyntax == read.meta.transferSyntax);
    }
    require(read.list.count() == before);
}

}  // namespace

// The first byte: 1 puts zeros around the file, 2 a preamble in front; both read directories as they lie.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile input, output;
    if (size < 2) return 0;
    Bytes bytes = fuzz::content(data, size);
    if ((data[0] & 2) != 0) addPreamble(bytes);
    if ((data[0] & 1) != 0) {
        bytes.insert(bytes.begin(), data[0], 0);
        bytes.insert(bytes.end(), data[0], 0);
    }
    bytes.shrink_to_fit();
    const auto length = static_cast<unsigned int>(bytes.size());
    (void)dirSetImplicitDirectory((data[0] & 3) == 3);
    input.hold(bytes);
    checkMetaInfo(bytes);
    checkHeader(input.path(), static_cast<int>(length));

    Read strict, strictDisk, any, anyDisk, aroundPixels;
    strict.result = dirReadFile(bytes.data(), length, strict.meta, strict.list);
    require(dirReadFile(input.path(), strictDisk.meta, strictDisk.list) == strict.result);
    require(strictDisk.list.count() == strict.list.count());
    write(strict, size % 2 != 0, output.path());

    any.result = dirReadAnyFile(bytes.data(), length, any.meta, any.list, any.found);
    require(dirReadAnyFile(input.path(), anyDisk.meta, anyDisk.list, anyDisk.found) == any.result);
    require(anyDisk.list.count() == any.list.count() && same(anyDisk.found, any.found));
    require(any.found.zerosBefore + any.found.zerosBehind <= bytes.size());
    DcDirAround around;
    around.found = &aroundPixels.found;
    const int result = dirReadAroundPixels(input.path(), aroundPixels.meta, aroundPixels.list, around);
    require(same(aroundPixels.found, any.found));
    require((result == DIR_NOT_PART10) == (any.result == DIR_NOT_PART10));
    require(any.meta.transferSyntax == any.found.xferSyn || any.found.xferSyn == UID_NONE);
    if (any.found.xferSyn == UID_NONE) {
        require(any.list.first() == nullptr);
        return 0;
    }
    if (isByTheLetter(any.found)) {
        require(strict.result == any.result && strict.list.count() == any.list.count());
    }
    write(any, false, output.path());
    return 0;
}
