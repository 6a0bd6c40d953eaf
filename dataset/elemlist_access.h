// What the parts of the data set code need of data sets and sequences beyond their public interface.
#ifndef ORVKIT_DATASET_ELEMLIST_ACCESS_H
#define ORVKIT_DATASET_ELEMLIST_ACCESS_H

#include "orvkit/elemlist.h"
#include "orvkit/sequence.h"

namespace orvkit {

struct ElemListAccess {
    static bool ordered(const DcElemList& list);
    static DcElem* lowerBound(const DcElemList& list, unsigned int tag);
    static DcElem* find(const DcElemList& list, unsigned int tag);
    static void* exceptionContext(const DcElemList& list) { return list.exceptionContext_; }
    static DcElemValueExceptionCB exceptionCB(const DcElemList& list) { return list.exceptionCB_; }
    static unsigned int& lastTag(DcElemList& list) { return list.lastTag_; }
    // Appends without asking the dictionary what belongs into the sequence.
    static DcElemSqItem* append(DcElemSq& sq, DcElemSqItem* item) { return sq.append(item); }
    static int parseElem(DcElemList& list, unsigned char* buf, unsigned int length, DICT_UID xferSyn,
                         unsigned int& used) {
        return list.parseElem(buf, length, xferSyn, used);
    }
};

}  // namespace orvkit

#endif
