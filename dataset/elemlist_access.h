// What the parts of the data set code need of data sets and sequences beyond their public interface.
#ifndef ORVKIT_DATASET_ELEMLIST_ACCESS_H
#define ORVKIT_DATASET_ELEMLIST_ACCESS_H

#include "orvkit/elemlist.h"
#include "orvkit/sequence.h"

namespace orvkit {

// What getBufSize saturates at.
inline constexpr unsigned int kMostRoom = 0xFFFFFFFF;

struct ElemListAccess {
    static bool ordered(const DcElemList& list);
    static DcElem* lowerBound(const DcElemList& list, unsigned int tag);
    static DcElem* find(const DcElemList& list, unsigned int tag);
    static void* exceptionContext(const DcElemList& list) { return list.exceptionContext_; }
    static DcElemValueExceptionCB exceptionCB(const DcElemList& list) { return list.exceptionCB_; }
    static unsigned int& lastTag(DcElemList& list) { return list.lastTag_; }
    // frame for a buffer of `room` bytes, which guards against sizes beyond 32 bits.
    static int frame(DcElemList& list, unsigned char* buf, unsigned int room, unsigned int& length,
                     DICT_UID xferSyn);
    static int frame(DcElemSq& sq, unsigned char* buf, unsigned int room, unsigned int& length,
                     DICT_UID xferSyn);
    static int frame(DcElemSqItem& item, unsigned char* buf, unsigned int room, unsigned int& length,
                     DICT_UID xferSyn);
    // Appends without asking the dictionary what belongs into the sequence.
    static DcElemSqItem* append(DcElemSq& sq, DcElemSqItem* item) { return sq.append(item); }
    static int parseElem(DcElemList& list, unsigned char* buf, unsigned int length, DICT_UID xferSyn,
                         unsigned int& used) {
        return list.parseElem(buf, length, xferSyn, used);
    }
};

}  // namespace orvkit

#endif
