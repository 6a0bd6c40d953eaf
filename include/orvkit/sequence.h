// DcElemSq and DcElemSqItem: a sequence element and its items, each a nested data set (PS3.5 7.5).
// Sequences are read with defined or undefined lengths and always written with defined ones.
#ifndef ORVKIT_SEQUENCE_H
#define ORVKIT_SEQUENCE_H

#include <cstdio>

#include "orvkit/elem.h"
#include "orvkit/elemlist.h"
#include "orvkit/export.h"
#include "orvkit/list.h"

namespace orvkit {
struct ElemListAccess;
}

class ORVKIT_API DcElemSqItem : public DcNode {
  public:
    // An item whose data set is read from `length` bytes; none leave it empty.
    explicit DcElemSqItem(void* buf = nullptr, unsigned int length = 0,
                          DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT, DICT_VR vr = VR_IM);
    // Member-wise, as the data set's.
    DcElemSqItem(const DcElemSqItem&) = default;
    DcElemSqItem& operator=(const DcElemSqItem&) = default;
    ~DcElemSqItem() override;

    // The item's data set; it stays the item's.
    DcElemList& getElemList() { return list_; }
    DcElemSqItem* next() const;
    DcElemSqItem* previous() const;

    // The item with its header, always of defined length. ITEM_NULL_BUFFER null buffer.
    int frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn);
    int getBufSize(unsigned int& size, unsigned int excludedTag);
    int getBufSize(unsigned int& size, unsigned int* excluded);
    DcElemSqItem& operator+(DcElem* element);
    DcElemSqItem& operator-(DcElem* element);
    // Moves a whole data set in and destroys it.
    DcElemSqItem& operator+(DcElemList* elements);

  private:
    friend class DcElemSq;
    friend struct orvkit::ElemListAccess;
    int processIconImage();

    DcElemList list_;
};

class ORVKIT_API DcElemSq : public DcList, public DcElem {
  public:
    // A sequence whose items are read from `length` bytes; none leave it empty. A tag that the dictionary
    // knows with another VR is warned of (LOG_VALIDATION) and built all the same.
    explicit DcElemSq(unsigned int tag, void* buf = nullptr, unsigned int length = 0,
                      DICT_UID xferSyn = UID_LITTLE_ENDIAN_EXPLICIT, DICT_VR vr = VR_SQ);
    DcElemSq(unsigned short group, unsigned short element, void* buf, unsigned int length, DICT_UID xferSyn,
             DICT_VR vr);
    // Member-wise: the copy shares the items.
    DcElemSq(const DcElemSq&) = default;
    DcElemSq& operator=(const DcElemSq&) = default;
    ~DcElemSq() override;

    // Appends an item, which then belongs to the sequence. Where the dictionary holds the tag with a VR
    // other than SQ the item is destroyed and null returned.
    DcElemSqItem* add(DcElemSqItem* item);
    DcElemSq& operator+(DcElemSqItem* item);
    // Unlinks an item without destroying it.
    DcElemSq& operator-(DcElemSqItem* item);
    DcElemSqItem* first() const;
    DcElemSqItem* last() const;
    using DcElem::next;
    using DcElem::previous;

    // ELEM_VR_SIZE not a sequence, ELEM_NULL_ARGUMENT null buffer.
    int frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn) override;
    int getBufSize(unsigned int& size, unsigned int excludedTag) override;
    int getBufSize(unsigned int& size, unsigned int* excluded) override;
    int resetValueCounter() override;
    // Reads items. ELEM_VALUE_REFUSED data error, ELEM_XFER_SYNTAX, ELEM_NULL_ARGUMENT null, ELEM_REFUSED
    // refused.
    int parseVal(void* buf, unsigned int length, DICT_UID xferSyn) override;
    int printNodeList(FILE* file) override;

  private:
    friend struct orvkit::ElemListAccess;
    unsigned int effectiveTag() const { return pushedTag_ != 0 ? pushedTag_ : tag_; }
    DcElemSqItem* append(DcElemSqItem* item);
};

#endif
