// What the parts of the data set code need of data sets and sequences beyond their public interface.
#ifndef ORVKIT_DATASET_ELEMLIST_ACCESS_H
#define ORVKIT_DATASET_ELEMLIST_ACCESS_H

#include <vector>

#include "dataset/elem_access.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"

namespace orvkit {

// What getBufSize saturates at.
inline constexpr unsigned int kMostRoom = 0xFFFFFFFF;

// An element that was framed without its bytes, which stand in a file or in its own memory.
struct FramedHeader {
    DcElem* element;
    unsigned int end;      // where its bytes belong in what was framed
    bool undefinedLength;  // a Sequence Delimitation belongs behind them; behind those in memory it stands
};

struct ElemListAccess {
    static bool ordered(const DcElemList& list);
    static DcElem* lowerBound(const DcElemList& list, unsigned int tag);
    static DcElem* find(const DcElemList& list, unsigned int tag);
    static void* exceptionContext(const DcElemList& list) { return list.exceptionContext_; }
    static DcElemValueExceptionCB exceptionCB(const DcElemList& list) { return list.exceptionCB_; }
    static unsigned int& lastTag(DcElemList& list) { return list.lastTag_; }
    // The raw buffers to be parsed; null until there is one.
    static DcBufList* pending(const DcElemList& list) noexcept { return list.pending_; }
    // Moves an element that keeps the callback it had.
    static void move(DcElem* e, DcElemList& from, DcElemList& to) {
        void* const context = ElemAccess::exceptionContext(*e);
        const DcElemValueExceptionCB callback = ElemAccess::exceptionCB(*e);
        from.subtract(e);
        to.add(e);
        e->registerValueExceptionCB(context, callback);
    }
    // getValue with index 0, but wherever the element's value counter stands.
    template <typename... Out>
    static int firstValue(const DcElemList& list, unsigned int tag, Out&&... out) {
        DcElem* const e = find(list, tag);
        if (e == nullptr) return ELEM_NOT_FOUND;
        const int counter = ElemAccess::counter(*e);
        ElemAccess::setCounter(*e, 0);
        const int result = e->getValue(out..., 0);
        ElemAccess::setCounter(*e, counter);
        return result;
    }
    // frame for a buffer of `room` bytes, which guards against sizes beyond 32 bits. `onDisk` receives the
    // elements of the list itself whose bytes are left to the caller, in order: those in files, and the Pixel
    // Data `lent`, which is in memory and in the byte order of the stream.
    [[nodiscard]] static int frame(DcElemList& list, unsigned char* buf, unsigned int room,
                                   unsigned int& length, DICT_UID xferSyn,
                                   std::vector<FramedHeader>* onDisk = nullptr, const DcElem* lent = nullptr);
    [[nodiscard]] static int frame(DcElemSq& sq, unsigned char* buf, unsigned int room, unsigned int& length,
                                   DICT_UID xferSyn);
    [[nodiscard]] static int frame(DcElemSqItem& item, unsigned char* buf, unsigned int room,
                                   unsigned int& length, DICT_UID xferSyn);
    // Appends without asking the dictionary what belongs into the sequence.
    static DcElemSqItem* append(DcElemSq& sq, DcElemSqItem* item) { return sq.append(item); }
    static int parseElem(DcElemList& list, unsigned char* buf, unsigned int length, DICT_UID xferSyn,
                         unsigned int& used) {
        return list.parseElem(buf, length, xferSyn, used);
    }
};

}  // namespace orvkit

#endif
