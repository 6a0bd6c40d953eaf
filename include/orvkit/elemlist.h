// DcElemList: a data set, that is data elements in ascending tag order with at most one element per tag
// (PS3.5 7). It owns its elements.
#ifndef ORVKIT_ELEMLIST_H
#define ORVKIT_ELEMLIST_H

#include <cstdio>

#include "orvkit/buf.h"
#include "orvkit/elem.h"
#include "orvkit/export.h"
#include "orvkit/list.h"

class DcElemSq;

namespace orvkit {
struct ElemListAccess;
struct ElemIndex;
}  // namespace orvkit

// Form of the print: every element with its values one by one, or an indented tree with a line each.
enum PRINT_NODE : int { PRINT_NODE_FLAT = 0, PRINT_NODE_TREE = 1 };

// Ends an array of tags.
inline constexpr unsigned int TAG_LIST_END = 0xFFFFFFFF;
// Sequences nested deeper than this are refused while decoding (ELEM_VALUE_REFUSED): far above any real
// object.
inline constexpr int ELEM_MAX_NESTING = 1024;

class ORVKIT_API DcElemList : public DcList {
  public:
    // An empty data set, then parse(buf, length, xferSyn), which does nothing without bytes.
    DcElemList(void* buf, unsigned int length, DICT_UID xferSyn);
    DcElemList() : DcElemList(nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT) {}
    // Member-wise copies: the copy shares elements and queued buffers with its source, and only one of the
    // two may be destroyed.
    DcElemList(const DcElemList&) = default;
    DcElemList& operator=(const DcElemList&) = default;
    ~DcElemList() override;

    // ---- elements ---------------------------------------------------------------------------------------
    // Puts an element in tag order; from now on it belongs to the data set. One with the same tag is
    // replaced and destroyed, with a warning (LOG_VALIDATION). Null gives null.
    DcElem* add(DcElem* element);
    // Moves every element of `other` over and destroys `other`. The result is only good as a test for null
    // (null argument).
    DcElemList* add(DcElemList* other);
    DcElemList& operator+(DcElem* element);
    DcElemList& operator+(DcElemList* other);
    // Unlink without destroying: the element is the caller's again. subtract returns the element that
    // followed it, as DcList::subtract does.
    DcElem* subtract(DcElem* element);
    DcElemList& operator-(DcElem* element);
    DcElem* first() const;
    DcElem* last() const;

    // The element of that tag. ELEM_NOT_FOUND when absent; a null `out` only asks.
    int getElem(unsigned int tag, DcElem** out) const;
    int getElem(unsigned short group, unsigned short element, DcElem** out) const;
    // ELEM_NULL_ARGUMENT null `out`, ELEM_NOT_FOUND absent, ELEM_NOT_SEQUENCE not a sequence (all but
    // ELEM_NOT_FOUND at LOG_ERROR).
    int getElem(unsigned int tag, DcElemSq** out) const;
    int getElem(unsigned short group, unsigned short element, DcElemSq** out) const;
    // Moves all elements, or one, into another data set. ELEM_NULL_ARGUMENT null (all), ELEM_NOT_FOUND absent
    // (one).
    int moveElem(DcElemList* dest);
    int moveElem(DcElemList* dest, unsigned int tag);
    int moveElem(DcElemList* dest, unsigned short group, unsigned short element);
    // Position counted from 0, or -1.
    int index(unsigned int tag) const;
    int index(unsigned short group, unsigned short element) const;
    int index(DcElem* element) const;

    int getValueCount(unsigned int tag) const;  // -1 when absent
    int resetValueCounter();
    // Bytes that suffice for frame; `excluded` is a list of tags ended by TAG_LIST_END, or null. Elements in
    // items are counted whatever their tags. 0xFFFFFFFF also when the sum does not fit 32 bits: frame then
    // refuses. Always 0.
    int getBufSize(unsigned int& size, unsigned int* excluded) const;
    int getBufSize(unsigned int& size, unsigned int excludedTag) const;

    // ---- raw buffers to be parsed -----------------------------------------------------------------------
    DcBuf* add(DcBuf* buffer);
    DcBuf* subtract(DcBuf* buffer);
    DcElemList& operator+(DcBuf* buffer);
    DcElemList& operator-(DcBuf* buffer);
    int parse();  // parse of the buffers queued by add

    // ---- streams ----------------------------------------------------------------------------------------
    // Reads `length` bytes as data elements; leniently: see docs/architecture.md. Elements read before an
    // error stay. The bytes are only read.
    // ELEM_VALUE_REFUSED out of order or a length past the end, ELEM_XFER_SYNTAX, ELEM_NULL_ARGUMENT null,
    // UTIL_MALFORMED item expected (LOG_NOTICE).
    int parse(void* buf, unsigned int& length, DICT_UID xferSyn);
    int decode(void* buf, unsigned int& length, DICT_UID xferSyn);
    // Joins the memory buffers and reads them; a file or handle buffer becomes the value of Pixel Data and
    // leaves the list. ELEM_NULL_ARGUMENT null, ELEM_NO_MEMORY.
    int parse(DcBufList* list);
    // Writes every element in tag order. `buf` holds at least getBufSize bytes; `length` receives the bytes
    // written. Lengths are always defined; group lengths that are present are recomputed. Bytes of file and
    // handle buffers are left out: they follow when the writer copies them.
    // ELEM_XFER_SYNTAX not a transfer syntax, ELEM_NULL_ARGUMENT null (both LOG_NOTICE), or the element's
    // code.
    int frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn);
    int encode(unsigned char* buf, unsigned int& length, DICT_UID xferSyn);
    // Deep copy through encoding and decoding, without group 7FE0; `tags` (ended by TAG_LIST_END) picks
    // elements. ELEM_NULL_ARGUMENT null dest.
    int duplicate(DcElemList* dest, unsigned int* tags);

    // Prints to a file opened with that fopen mode. ELEM_NULL_ARGUMENT null argument or file that cannot be
    // opened.
    int printNodeList(const char* path, const char* mode, PRINT_NODE how);

    // ---- settings ---------------------------------------------------------------------------------------
    int setDecodingFlag(int flag);
    int getDecodingFlag() const;
    // 0 installs the callback that accepts every value, anything else none; both clear the context.
    int setValueExceptionLevel(int level);
    // For elements added from now on.
    int registerValueExceptionCB(void* context, DcElemValueExceptionCB callback);

    // ---- one-line access: getElem, then the element's operation of the same name --------------------------
    int changeValue(unsigned int tag, DcElemValueAS& value, int index = 0);
    int changeValue(unsigned int tag, DcElemValueAT& value, int index = 0);
    int changeValue(unsigned int tag, DcElemValueDA& value, int index = 0);
    int changeValue(unsigned int tag, DcElemValueDT& value, int index = 0);
    int changeValue(unsigned int tag, DcElemValuePN& value, int index = 0);
    int changeValue(unsigned int tag, DcElemValueTM& value, int index = 0);
    int changeValue(unsigned int tag, DICT_UID value, int index = 0);
    int changeValue(unsigned int tag, const char* value, int index = 0);
    int changeValue(unsigned int tag, short value, int index = 0);
    int changeValue(unsigned int tag, unsigned short value, int index = 0);
    int changeValue(unsigned int tag, int value, int index = 0);
    int changeValue(unsigned int tag, unsigned int value, int index = 0);
    int changeValue(unsigned int tag, float value, int index = 0);
    int changeValue(unsigned int tag, double value, int index = 0);
    int changeValue(unsigned short group, unsigned short element, DcElemValueAS& value, int index);
    int changeValue(unsigned short group, unsigned short element, DcElemValueAT& value, int index);
    int changeValue(unsigned short group, unsigned short element, DcElemValueDA& value, int index);
    int changeValue(unsigned short group, unsigned short element, DcElemValueDT& value, int index);
    int changeValue(unsigned short group, unsigned short element, DcElemValuePN& value, int index);
    int changeValue(unsigned short group, unsigned short element, DcElemValueTM& value, int index);
    int changeValue(unsigned short group, unsigned short element, DICT_UID value, int index);
    int changeValue(unsigned short group, unsigned short element, const char* value, int index);
    int changeValue(unsigned short group, unsigned short element, short value, int index);
    int changeValue(unsigned short group, unsigned short element, unsigned short value, int index);
    int changeValue(unsigned short group, unsigned short element, int value, int index);
    int changeValue(unsigned short group, unsigned short element, unsigned int value, int index);
    int changeValue(unsigned short group, unsigned short element, float value, int index);
    int changeValue(unsigned short group, unsigned short element, double value, int index);

    // The output is emptied first, so that a failed look-up (ELEM_NOT_FOUND) leaves an empty one.
    int getValue(unsigned int tag, DcElemValueAS& value, int index = 0);
    int getValue(unsigned int tag, DcElemValueAT& value, int index = 0);
    int getValue(unsigned int tag, DcElemValueDA& value, int index = 0);
    int getValue(unsigned int tag, DcElemValueDT& value, int index = 0);
    int getValue(unsigned int tag, DcElemValuePN& value, int index = 0);
    int getValue(unsigned int tag, DcElemValueTM& value, int index = 0);
    int getValue(unsigned int tag, DICT_UID& value, int index = 0);
    int getValue(unsigned int tag, char* buffer, int length, int index = 0);
    int getValue(unsigned int tag, short& value, int index = 0);
    int getValue(unsigned int tag, unsigned short& value, int index = 0);
    int getValue(unsigned int tag, int& value, int index = 0);
    int getValue(unsigned int tag, unsigned int& value, int index = 0);
    int getValue(unsigned int tag, float& value, int index = 0);
    int getValue(unsigned int tag, double& value, int index = 0);
    int getValue(unsigned int tag, DcBuf& value, int index = 0);
    int getValue(unsigned short group, unsigned short element, DcElemValueAS& value, int index);
    int getValue(unsigned short group, unsigned short element, DcElemValueAT& value, int index);
    int getValue(unsigned short group, unsigned short element, DcElemValueDA& value, int index);
    int getValue(unsigned short group, unsigned short element, DcElemValueDT& value, int index);
    int getValue(unsigned short group, unsigned short element, DcElemValuePN& value, int index);
    int getValue(unsigned short group, unsigned short element, DcElemValueTM& value, int index);
    int getValue(unsigned short group, unsigned short element, DICT_UID& value, int index);
    int getValue(unsigned short group, unsigned short element, char* buffer, int length, int index);
    int getValue(unsigned short group, unsigned short element, short& value, int index);
    int getValue(unsigned short group, unsigned short element, unsigned short& value, int index);
    int getValue(unsigned short group, unsigned short element, int& value, int index);
    int getValue(unsigned short group, unsigned short element, unsigned int& value, int index);
    int getValue(unsigned short group, unsigned short element, float& value, int index);
    int getValue(unsigned short group, unsigned short element, double& value, int index);
    int getValue(unsigned short group, unsigned short element, DcBuf& value, int index);

  protected:
    // ELEM_NULL_ARGUMENT null stream.
    int printNodeList(FILE* file, PRINT_NODE how);

    static int compFunc(void* a, void* b);

  private:
    friend struct orvkit::ElemListAccess;

    // The element-at-a-time parser: the element at the start of `length` bytes, by stricter rules than
    // decode; `used` receives the bytes it took.
    int parseElem(unsigned char* buf, unsigned int length, DICT_UID xferSyn, unsigned int& used);

    DcBufList* pending_;
    unsigned int lastTag_;
    int decodingFlag_;
    void* exceptionContext_;
    DcElemValueExceptionCB exceptionCB_;
    // Answers look-ups in large data sets; made when first needed, dropped when the order is in doubt.
    mutable orvkit::ElemIndex* index_;
    mutable DcElem* recent_;               // where the last look-up ended
    mutable unsigned int orderedVersion_;  // list version for which strictly ascending tags are certain
};

// What went wrong while decoding, and where: told for each element that could not be read, or whose value was
// refused, by the thread that decodes.
struct DcElemFault {
    int result;           // the code
    unsigned int offset;  // of the element's tag, counted from the first byte of the stream
    const unsigned int*
        path;          // tags from the data set down to the element, with item numbers (from 1) between:
    int pathLength;    // tag, item, tag, item, ..., tag
    const char* text;  // the message that was logged, or would have been
};
typedef void (*DcElemFaultCB)(void* context, const DcElemFault& fault);
// For the calling thread; null for none. Returns 0.
ORVKIT_API int elemListRegisterFaultCB(void* context, DcElemFaultCB callback);

#endif
