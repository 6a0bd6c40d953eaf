// DcBuf and DcBufList: where a run of encoded bytes lives (in memory, in a file, behind an open handle), how
// long it is, and in which transfer syntax it is encoded.
#ifndef ORVKIT_BUF_H
#define ORVKIT_BUF_H

#include "orvkit/export.h"
#include "orvkit/list.h"

enum DICT_UID : int;

enum BUF_TYPE : int {
    BUF_MEMORY = 0,  // in memory at the buffer address
    BUF_FILE = 1,    // in the named file, from the offset
    BUF_HANDLE = 2,  // in the open file behind the handle, from the offset
    BUF_NONE = 3,    // nowhere: the state after reset
};

// An owning buffer releases its memory block, which must come from `new` or utilNew, and closes its handle.
// A copy is borrowed: it refers to the block and handle of its source and never releases or closes them, so
// the source must outlive it. The file name is always the buffer's own. Lengths and offsets count bytes;
// those of files have 64 bits on every platform, through the functions that say so in their names.
class ORVKIT_API DcBuf : public DcNode {
  public:
    DcBuf() noexcept : borrowed_(0), offsetHigh_(0), lengthHigh_(0) {}
    // Takes over a memory block.
    DcBuf(void* data, unsigned int length, DICT_UID xferSyn) noexcept;
    // Names a file, which is neither opened nor checked.
    DcBuf(const char* fileName, int offset, unsigned int length, DICT_UID xferSyn) noexcept;
    // Takes over a low-level file handle.
    DcBuf(int handle, int offset, unsigned int length, DICT_UID xferSyn) noexcept;

    // Borrowed copies. Membership in a list is not copied. Whatever this buffer owned before an assignment
    // is neither released nor closed.
    DcBuf(const DcBuf& other) noexcept;
    DcBuf& operator=(const DcBuf& other) noexcept;

    ~DcBuf() override;

    // Forgets everything, without releasing the block or closing the handle: their ownership has gone
    // elsewhere.
    void reset() noexcept;
    // Takes over everything that `source` holds, its ownership or borrowed state included, and resets it.
    // What this buffer owned before is neither released nor closed.
    void move(DcBuf* source) noexcept;

    // Replace the block or the handle; an owning buffer releases or closes the previous one. The type stays.
    void setBuf(void* data) noexcept;
    void setHandle(int handle) noexcept;
    // Copies the name; null clears it. The type stays.
    void setFileName(const char* name) noexcept;
    // setLen sets the length in use; the allocated length stays.
    void setOffset(int offset) noexcept {
        offset_ = offset;
        offsetHigh_ = 0;
    }
    void setLen(unsigned int length) noexcept {
        length_ = length;
        lengthHigh_ = 0;
    }
    // The place in a file. ELEM_VALUE_REFUSED for an offset from 2^47 or a length from 2^48 on: the place
    // stays.
    int setPlace64(unsigned long long offset, unsigned long long length) noexcept;
    void setType(BUF_TYPE type) noexcept { type_ = type; }
    void setXferSyn(DICT_UID xferSyn) noexcept { xferSyn_ = xferSyn; }

    BUF_TYPE getType() const noexcept { return type_; }
    void* getBuf() const noexcept { return data_; }           // null when none
    char* getFileName() const noexcept { return fileName_; }  // the buffer's own; null when none
    int getHandle() const noexcept { return handle_; }        // -1 when none
    // From 2 GByte on as the unsigned 32-bit number that it is; -1 from 4 GByte on: see getOffset64.
    int getOffset() const noexcept { return offsetHigh_ == 0 ? offset_ : -1; }
    unsigned int getAllocLen() const noexcept { return allocLength_; }
    // 0xFFFFFFFF, which no value has, from 4 GByte on: see getLen64.
    unsigned int getLen() const noexcept { return lengthHigh_ == 0 ? length_ : 0xFFFFFFFF; }
    unsigned long long getOffset64() const noexcept {
        return static_cast<unsigned long long>(offsetHigh_) << 32 | static_cast<unsigned int>(offset_);
    }
    unsigned long long getLen64() const noexcept {
        return static_cast<unsigned long long>(lengthHigh_) << 32 | length_;
    }
    DICT_UID getXferSyn() const noexcept { return xferSyn_; }

    // The neighbours in a DcBufList.
    DcBuf* next() const noexcept { return static_cast<DcBuf*>(DcNode::next()); }
    DcBuf* previous() const noexcept { return static_cast<DcBuf*>(DcNode::previous()); }

  private:
    void take(const DcBuf& other) noexcept;

    unsigned int borrowed_ : 1;
    unsigned int offsetHigh_ : 15;  // what offset_ and length_ have no room for
    unsigned int lengthHigh_ : 16;
    BUF_TYPE type_ = BUF_NONE;
    void* data_ = nullptr;
    char* fileName_ = nullptr;
    int handle_ = -1;
    int offset_ = 0;
    unsigned int allocLength_ = 0;
    unsigned int length_ = 0;
    DICT_UID xferSyn_ = static_cast<DICT_UID>(0);
};

// Buffers in the order in which they were added; owned by the list. Copies share the buffers (list.h).
class ORVKIT_API DcBufList : public DcList {
  public:
    DcBufList() noexcept = default;
    DcBufList(const DcBufList&) noexcept = default;
    DcBufList& operator=(const DcBufList&) noexcept = default;
    ~DcBufList() override;

    DcBuf* add(DcBuf* buf) { return static_cast<DcBuf*>(DcList::add(buf)); }
    DcBuf* subtract(DcBuf* buf) { return static_cast<DcBuf*>(DcList::subtract(buf)); }
    DcBufList& operator+(DcBuf* buf) {
        add(buf);
        return *this;
    }
    DcBufList& operator-(DcBuf* buf) {
        subtract(buf);
        return *this;
    }
    DcBuf* first() const noexcept { return static_cast<DcBuf*>(DcList::first()); }
    DcBuf* last() const noexcept { return static_cast<DcBuf*>(DcList::last()); }
};

#endif
