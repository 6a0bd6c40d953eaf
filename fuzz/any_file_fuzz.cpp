// Files that may be no Part 10 files by the letter: read from memory, from disk and around pixel data to the
// same end; where nothing is odd, as the strict reader does; and what was read is written as a file that is
// one.
#include <algorithm>
#include <cstring>

#include "fuzz/target.h"
#include "orvkit/file.h"
#include "orvkit/result.h"

namespace {

using fuzz::require;

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

void writeAndRead(const char* path, DcDirMetaInfo& meta, DcElemList& dataset) {
    meta.version = 1;
    if (meta.sopClassUid == UID_NONE) meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    if (meta.sopInstanceUid[0] == '\0') std::strcpy(meta.sopInstanceUid, "1.2.3");
    if (dirWriteFile(path, meta, dataset) != RESULT_OK) return;
    DcDirMetaInfo strict;
    DcElemList again;
    (void)dirReadFile(path, strict, again);
    require(strict.transferSyntax == meta.transferSyntax);
}

}  // namespace

// The first byte: 1 puts zeros around the file, 2 reads directories as they lie.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile input;
    static fuzz::MemoryFile output;
    if (size < 2) return 0;
    std::vector<unsigned char> bytes = fuzz::content(data, size);
    if ((data[0] & 1) != 0) {
        bytes.insert(bytes.begin(), data[0], 0);
        bytes.insert(bytes.end(), data[0], 0);
        bytes.shrink_to_fit();
    }
    (void)dirSetImplicitDirectory(data[0] & 2);
    input.hold(bytes);
    const auto length = static_cast<unsigned int>(bytes.size());

    DcDirMetaInfo meta, diskMeta, strictMeta, aroundMeta;
    DcElemList inMemory, fromDisk, strict, aroundPixels;
    DcDirFound found, diskFound, aroundFound;
    const int result = dirReadAnyFile(bytes.data(), length, meta, inMemory, found);
    require(dirReadAnyFile(input.path(), diskMeta, fromDisk, diskFound) == result);
    require(fromDisk.count() == inMemory.count() && same(diskFound, found));
    require(found.zerosBefore + found.zerosBehind <= bytes.size());
    DcDirAround around;
    around.found = &aroundFound;
    (void)dirReadAroundPixels(input.path(), aroundMeta, aroundPixels, around);
    require(same(aroundFound, found));

    if (found.xferSyn == UID_NONE) {
        require(inMemory.first() == nullptr);
        return 0;
    }
    require(meta.transferSyntax == found.xferSyn);
    if (isByTheLetter(found)) {
        require(dirReadFile(bytes.data(), length, strictMeta, strict) == result);
        require(strict.count() == inMemory.count());
    }
    writeAndRead(output.path(), meta, inMemory);
    return 0;
}
