// Data sets: what tests make them of and ask of them.
#ifndef ORVKIT_TESTS_SUPPORT_DATASET_H
#define ORVKIT_TESTS_SUPPORT_DATASET_H

#include "orvkit/sequence.h"
#include "support/capture_log.h"
#include "support/elem_values.h"
#include "support/stream.h"

inline constexpr DICT_UID kImplicit = UID_LITTLE_ENDIAN_IMPLICIT;
inline constexpr DICT_UID kExplicit = UID_LITTLE_ENDIAN_EXPLICIT;
inline constexpr DICT_UID kBig = UID_BIG_ENDIAN_EXPLICIT;
inline constexpr DICT_UID kSyntaxes[] = {kImplicit, kExplicit, kBig};

inline int decode(DcElemList& list, Stream s, DICT_UID xferSyn) {
    unsigned int length = s.size();
    return list.decode(s.data(), length, xferSyn);
}

inline std::vector<unsigned char> frame(DcElemList& list, DICT_UID xferSyn) {
    unsigned int size = 0;
    list.getBufSize(size, TAG_LIST_END);
    std::vector<unsigned char> out(size);
    unsigned int used = 0;
    EXPECT_EQ(list.frame(out.data(), used, xferSyn), RESULT_OK);
    EXPECT_LE(used, size);
    out.resize(used);
    return out;
}

// Null where there is none.
inline DcElem* elemAt(const DcElemList& list, unsigned int tag) {
    DcElem* e = nullptr;
    return list.getElem(tag, &e) == RESULT_OK ? e : nullptr;
}
inline DcElemSq* sequenceAt(const DcElemList& list, unsigned int tag) {
    DcElemSq* sq = nullptr;
    return list.getElem(tag, &sq) == RESULT_OK ? sq : nullptr;
}

inline std::string text(DcElemList& list, unsigned int tag) {
    char buffer[128];
    return list.getValue(tag, buffer, 127, 0) == RESULT_OK ? buffer : "<none>";
}

// The bytes that a raw element holds in memory.
inline std::string rawBytes(const DcElem& e) {
    std::string all;
    for (const DcBuf* b = orvkit::ElemAccess::firstBuf(e); b != nullptr; b = b->next()) {
        if (b->getBuf() != nullptr) all.append(static_cast<const char*>(b->getBuf()), b->getLen());
    }
    return all;
}
inline std::string rawBytes(const DcElemList& list, unsigned int tag) {
    const DcElem* e = elemAt(list, tag);
    return e != nullptr ? rawBytes(*e) : "<none>";
}

// An element that holds bytes as they stand in a stream.
inline DcElem* raw(unsigned int tag, DICT_VR vr, const std::string& bytes, DICT_UID xferSyn = kExplicit) {
    auto* e = new DcElem(tag, nullptr, 0u, UID_NONE, vr, 0);
    EXPECT_EQ(e->addValue(bytes.data(), static_cast<unsigned int>(bytes.size()), xferSyn), RESULT_OK);
    return e;
}

#endif
