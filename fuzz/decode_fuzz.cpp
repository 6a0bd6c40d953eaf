// Data sets: decoded in each syntax, framed in another, read again, copied and printed. What frame writes
// must fit what getBufSize announced. The element-at-a-time parser must take something in each step, or
// refuse.
#include "dataset/elemlist_access.h"
#include "fuzz/target.h"

namespace {

std::vector<unsigned char> framed(DcElemList& list, DICT_UID xferSyn) {
    unsigned int size = 0;
    list.getBufSize(size, static_cast<unsigned int*>(nullptr));
    if (size > (64u << 20)) return {};
    std::vector<unsigned char> out(size + 1, 0x5A);
    unsigned int used = 0;
    const int result = list.frame(out.data(), used, xferSyn);
    fuzz::require(used <= size && out[size] == 0x5A);
    out.resize(result == 0 ? used : 0);
    return out;
}

void parseOneByOne(std::vector<unsigned char>& bytes, DICT_UID xferSyn) {
    DcElemList list;
    for (std::size_t done = 0; done < bytes.size();) {
        unsigned int used = 0;
        const auto left = static_cast<unsigned int>(bytes.size() - done);
        const int result = orvkit::ElemListAccess::parseElem(list, bytes.data() + done, left, xferSyn, used);
        fuzz::require(used <= left && (used != 0 || result != 0));
        if (used == 0) break;
        done += used;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) return 0;
    const DICT_UID from = fuzz::syntaxes[data[0] & 3];
    const DICT_UID to = fuzz::syntaxes[(data[0] >> 2) & 3];
    elemListSetValueExceptionLevel((data[0] & 16) != 0 ? 0 : -1);

    std::vector<unsigned char> bytes = fuzz::content(data, size);
    DcElemList list;
    auto length = static_cast<unsigned int>(bytes.size());
    (void)list.parse(bytes.data(), length, from);
    fuzz::require(length <= bytes.size());

    std::vector<unsigned char> out = framed(list, to);
    DcElemList again;
    length = static_cast<unsigned int>(out.size());
    (void)again.parse(out.data(), length, to);
    (void)framed(again, from);
    DcElemList copy;
    (void)list.duplicate(&copy, nullptr);
    (void)list.printNodeList(nullDevice, "w", (data[0] & 32) != 0 ? PRINT_NODE_FLAT : PRINT_NODE_TREE);
    parseOneByOne(bytes, from);
    return 0;
}
