// The element-at-a-time parser, to the end of the input. Each step must take something, or refuse.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "dataset/elemlist_access.h"
#include "orvkit/elemlist.h"
#include "orvkit/log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        return true;
    }();
    if (!quiet || size < 1) return 0;
    constexpr DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                     UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE};
    const DICT_UID xferSyn = syntaxes[data[0] & 3];
    std::vector<unsigned char> bytes(data + 1, data + size);
    DcElemList list;
    std::size_t at = 0;
    while (at < bytes.size()) {
        unsigned int used = 0;
        const auto left = static_cast<unsigned int>(bytes.size() - at);
        const int result = orvkit::ElemListAccess::parseElem(list, bytes.data() + at, left, xferSyn, used);
        if (used > left) std::abort();
        if (used == 0 && result == 0) std::abort();
        if (used == 0) break;
        at += used;
    }
    return 0;
}
