// File meta information: read from memory, and, where it could be read, turned into elements and back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "orvkit/file.h"
#include "orvkit/log.h"

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        return true;
    }();
    if (!quiet || size < 1) return 0;
    // Inputs without a preamble get one, so that most of them reach the elements.
    std::vector<unsigned char> bytes(data + 1, data + size);
    if (bytes.size() < 132 || std::memcmp(bytes.data() + 128, "DICM", 4) != 0) {
        const char magic[] = {'D', 'I', 'C', 'M', 2, 0};
        bytes.insert(bytes.begin(), magic, magic + (data[0] % 2 == 0 ? 6 : 4));
        bytes.insert(bytes.begin(), 128, 0);
        bytes.shrink_to_fit();
    }
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
    const DcDirMetaInfo copy(again);
    require(std::strcmp(copy.sopInstanceUid, again.sopInstanceUid) == 0);
    (void)dirCheckMetaInfo(again);
    return 0;
}
