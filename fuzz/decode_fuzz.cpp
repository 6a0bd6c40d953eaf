// Data sets: decoded in each syntax, framed in another, read again, copied and printed. What frame writes
// must fit what getBufSize announced.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/log.h"

namespace {

constexpr DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                 UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE};

std::vector<unsigned char> framed(DcElemList& list, DICT_UID xferSyn) {
    unsigned int size = 0;
    list.getBufSize(size, static_cast<unsigned int*>(nullptr));
    if (size > (64u << 20)) return {};
    std::vector<unsigned char> out(size + 1, 0x5A);
    unsigned int used = 0;
    const int result = list.frame(out.data(), used, xferSyn);
    if (used > size || out[size] != 0x5A) std::abort();
    out.resize(result == 0 ? used : 0);
    return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        return true;
    }();
    if (!quiet || size < 1) return 0;
    const DICT_UID from = syntaxes[data[0] & 3];
    const DICT_UID to = syntaxes[(data[0] >> 2) & 3];
    elemListSetValueExceptionLevel((data[0] & 16) != 0 ? 0 : -1);

    // A block of its own, so that a byte too many is seen.
    std::vector<unsigned char> bytes(data + 1, data + size);
    DcElemList list;
    auto length = static_cast<unsigned int>(bytes.size());
    (void)list.parse(bytes.data(), length, from);
    if (length > bytes.size()) std::abort();

    std::vector<unsigned char> out = framed(list, to);
    DcElemList again;
    length = static_cast<unsigned int>(out.size());
    (void)again.parse(out.data(), length, to);
    (void)framed(again, from);
    DcElemList copy;
    (void)list.duplicate(&copy, nullptr);
    (void)list.printNodeList("/dev/null", "w", (data[0] & 32) != 0 ? PRINT_NODE_FLAT : PRINT_NODE_TREE);
    return 0;
}
