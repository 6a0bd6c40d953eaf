// A data set as a flat list of what it holds, in order, with values as they would stand in a stream.
#ifndef ORVKIT_TESTS_MEDIA_LEAVES_H
#define ORVKIT_TESTS_MEDIA_LEAVES_H

#include "support/dataset.h"

struct Leaf {
    enum Kind { element, sequence, item } kind = element;
    int depth = 0;
    unsigned int tag = 0;
    DICT_VR vr = VR_UNKNOWN;
    std::string value;

    friend bool operator==(const Leaf&, const Leaf&) = default;
};

// The value of one element as it would be written: raw values as they are held in memory, all others encoded.
inline std::string valueOf(DcElem& e, DICT_UID stream) {
    if (orvkit::isRawVr(orvkit::ElemAccess::vr(e))) return rawBytes(e);
    unsigned int size = 0;
    (void)e.getBufSize(size, static_cast<unsigned int*>(nullptr));
    std::string bytes(size, '\0');
    unsigned int used = 0;
    // Texts above 65535 bytes have no explicit form; their bytes are the same in the implicit one.
    const bool text = orvkit::ElemAccess::vrSize(e) == VR_SIZE_CHAR;
    (void)orvkit::ElemAccess::frameInStream(e, reinterpret_cast<unsigned char*>(bytes.data()), used,
                                            text ? kImplicit : stream);
    const bool wide = orvkit::vrRow(orvkit::ElemAccess::vr(e)).head == orvkit::Head::wide;
    const std::size_t header = wide && !text && stream != kImplicit ? 12 : 8;
    return bytes.substr(header, used - header);
}

inline void collectLeaves(DcElemList& list, DICT_UID stream, int depth, std::vector<Leaf>& leaves) {
    for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
        const unsigned int tag = orvkit::ElemAccess::tag(*e);
        if (!orvkit::ElemAccess::isSequence(*e)) {
            leaves.push_back({Leaf::element, depth, tag, e->getVr(), valueOf(*e, stream)});
            continue;
        }
        leaves.push_back({Leaf::sequence, depth, tag, VR_SQ, ""});
        for (auto* item = static_cast<DcElemSq*>(e)->first(); item != nullptr; item = item->next()) {
            leaves.push_back({Leaf::item, depth + 1, 0xFFFEE000, VR_SI, ""});
            collectLeaves(item->getElemList(), stream, depth + 2, leaves);
        }
    }
}

inline std::vector<Leaf> leavesOf(DcElemList& list, DICT_UID stream) {
    std::vector<Leaf> leaves;
    collectLeaves(list, stream, 0, leaves);
    return leaves;
}

#endif
