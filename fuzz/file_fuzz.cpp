// Part 10 files: the meta information turned into elements and back; the whole read from memory and from disk
// to the same end, read up to Pixel Data, and written again.
#include "orvkit/file.h"

#include <algorithm>
#include <cstring>

#include "fuzz/target.h"
#include "orvkit/result.h"

namespace {

using fuzz::require;

void complete(DcDirMetaInfo& meta) {
    meta.version = 1;
    if (meta.transferSyntax == UID_NONE) meta.transferSyntax = UID_LITTLE_ENDIAN_EXPLICIT;
    if (meta.sopClassUid == UID_NONE) meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    if (meta.sopInstanceUid[0] == '\0') std::strcpy(meta.sopInstanceUid, "1.2.3");
}

// So that most inputs reach the elements of the meta information.
void addPreamble(std::vector<unsigned char>& bytes) {
    if (bytes.size() >= 132 && std::memcmp(bytes.data() + 128, "DICM", 4) == 0) return;
    constexpr char magic[] = {'D', 'I', 'C', 'M', 2, 0};
    bytes.insert(bytes.begin(), magic, magic + sizeof magic);
    bytes.insert(bytes.begin(), 128, 0);
    bytes.shrink_to_fit();
}

void checkMetaInfo(std::vector<unsigned char>& bytes) {
    DcDirMetaInfo meta;
    unsigned int end = 0;
    const int result = dirReadFileMetaInfo(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, end);
    require(result == 0 ? end > 132 && end <= bytes.size() : end == 0);
    require((meta.privateInfo != nullptr) == (meta.privateInfoLen != 0));
    DcElemList group;
    require(dirFileMetaInfoToElemList(meta, group) == 0);
    DcDirMetaInfo again;
    require(dirElemListToFileMetaInfo(group, again) == 0);
    require(again.version == meta.version && again.transferSyntax == meta.transferSyntax);
    require(again.sopClassUid == meta.sopClassUid && again.privateInfoLen == meta.privateInfoLen);
}

// Files of any form: what is found in memory is found on disk.
void checkOddForms(std::vector<unsigned char>& bytes, const char* path) {
    DcDirMetaInfo meta;
    DcElemList inMemory, fromDisk;
    DcDirFound found, there;
    DcDirAround around;
    around.found = &there;
    const int result =
        dirReadAnyFile(bytes.data(), static_cast<unsigned int>(bytes.size()), meta, inMemory, found);
    const bool known = dirReadAroundPixels(path, meta, fromDisk, around) != DIR_NOT_PART10;
    require(known == (result != DIR_NOT_PART10) && found.xferSyn == there.xferSyn);
    require(found.zerosBefore + found.zerosBehind <= bytes.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::MemoryFile input;
    static fuzz::MemoryFile output;
    if (size < 2) return 0;
    std::vector<unsigned char> bytes = fuzz::content(data, size);
    if ((data[0] & 2) != 0) addPreamble(bytes);
    checkMetaInfo(bytes);
    input.hold(bytes);
    checkOddForms(bytes, input.path());

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
    (void)dirReadNonPixelElem(input.path(), headerMeta, header, &offset, &length);
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
    return 0;
}
