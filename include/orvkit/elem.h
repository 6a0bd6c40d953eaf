// DcElem: one data element, that is a tag, a value representation (VR) and zero or more values
// (PS3.5 7.1).
//
// Lifetimes: an element owns its values and its raw buffers. An element handed to a data set
// (DcElemList::add) belongs to that data set from then on, also when it is refused.
//
// Every operation returns a result code, 0 for success (result.h). Refusals are logged once at
// LOG_VALIDATION unless said otherwise.
#ifndef ORVKIT_ELEM_H
#define ORVKIT_ELEM_H

#include <cstdio>

#include "orvkit/buf.h"
#include "orvkit/dict.h"
#include "orvkit/export.h"
#include "orvkit/list.h"
#include "orvkit/uids.h"
#include "orvkit/value.h"

// As an index of getValue: the value at the element's value counter, which then advances.
inline constexpr int ELEM_INDEX_NEXT = 0xFEFE;
// As an index of addValue: append.
inline constexpr int ELEM_INDEX_APPEND = -1;

// Asked when a value breaks the rules of its VR or is too long: a result of 0 accepts, anything else
// refuses the value (result ELEM_REFUSED). `*replacement` points at the value's text; it may be pointed at
// another text, which must live until the call that added the value returns.
typedef int (*DcElemValueExceptionCB)(void* context, unsigned int tag, DICT_VR vr, char* value,
                                      char** replacement);

namespace orvkit {
struct ElemAccess;

// How an element keeps its values: one run of bytes, at the front of the store itself while they are few.
// Binary values stand side by side, texts end in a NUL each. Raw buffers stand in the same place: an element
// has the one or the other.
struct ElemStore {
    static constexpr unsigned int kLocal = 14;

    union {
        unsigned char* heap;  // when `used` is more than kLocal
        DcBuf* firstBuf;      // linked through their nodes
        unsigned char local[8];
    };
    unsigned char more[kLocal - 8];  // goes on behind `local`
    bool text;
    bool raw;
    unsigned int count;
    unsigned int used;
};
}  // namespace orvkit

class ORVKIT_API DcElem : public DcNode {
  public:
    // Raw form: an element whose value is decoded from `length` encoded bytes, as parseVal does. VR_IM asks
    // for the dictionary's VR. `sequenceFlag` is 1 only for the element part of a DcElemSq.
    DcElem(unsigned int tag, void* value, unsigned int length, DICT_UID xferSyn, DICT_VR vr,
           int sequenceFlag);
    DcElem(unsigned short group, unsigned short element, void* value, unsigned int length, DICT_UID xferSyn,
           DICT_VR vr, int sequenceFlag);

    // Typed forms: the dictionary's VR, and one value added with addValue. A refusal is logged and leaves
    // an element without a value.
    DcElem(unsigned int tag, DcElemValueAS& value);
    DcElem(unsigned int tag, DcElemValueAT& value);
    DcElem(unsigned int tag, DcElemValueDA& value);
    DcElem(unsigned int tag, DcElemValueDT& value);
    DcElem(unsigned int tag, DcElemValuePN& value);
    DcElem(unsigned int tag, DcElemValueTM& value);
    DcElem(unsigned int tag, DICT_UID value);
    DcElem(unsigned int tag, const char* value);
    DcElem(unsigned int tag, short value);
    DcElem(unsigned int tag, unsigned short value);
    DcElem(unsigned int tag, int value);
    DcElem(unsigned int tag, unsigned int value);
    DcElem(unsigned int tag, float value);
    DcElem(unsigned int tag, double value);
    DcElem(unsigned short group, unsigned short element, DcElemValueAS& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueAT& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueDA& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueDT& value);
    DcElem(unsigned short group, unsigned short element, DcElemValuePN& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueTM& value);
    DcElem(unsigned short group, unsigned short element, DICT_UID value);
    DcElem(unsigned short group, unsigned short element, const char* value);
    DcElem(unsigned short group, unsigned short element, short value);
    DcElem(unsigned short group, unsigned short element, unsigned short value);
    DcElem(unsigned short group, unsigned short element, int value);
    DcElem(unsigned short group, unsigned short element, unsigned int value);
    DcElem(unsigned short group, unsigned short element, float value);
    DcElem(unsigned short group, unsigned short element, double value);

    // Raw buffers: the content of `buffer` is taken over (the DcBuf itself stays the caller's) ...
    DcElem(unsigned int tag, DcBuf* buffer);
    DcElem(unsigned short group, unsigned short element, DcBuf* buffer);
    // ... `length` bytes of a file from `offset`, read when they are needed ...
    DcElem(unsigned int tag, const char* fileName, int offset, unsigned int length, DICT_UID xferSyn);
    DcElem(unsigned short group, unsigned short element, const char* fileName, int offset,
           unsigned int length, DICT_UID xferSyn);
    // ... or the same behind a low-level handle, which is duplicated.
    DcElem(unsigned int tag, int handle, int offset, unsigned int length, DICT_UID xferSyn);
    DcElem(unsigned short group, unsigned short element, int handle, int offset, unsigned int length,
           DICT_UID xferSyn);

    // Member-wise copies: the copy shares values and buffers with its source, and at most one of the two
    // may be destroyed or changed.
    DcElem(const DcElem&) = default;
    DcElem& operator=(const DcElem&) = default;

    // ---- virtual operations, in slot order --------------------------------------------------------------
    ~DcElem() override;
    // Writes the element (tag, VR, length, value) at `buf`, which holds at least getBufSize bytes; `length`
    // receives the bytes written. An element that carries a transfer syntax of its own is written in that
    // one when neither it nor `xferSyn` is implicit. The bytes of file and handle buffers are not written,
    // only their length.
    // ELEM_VALUE_REFUSED value too long for a 16-bit length (LOG_ERROR), ELEM_VR_SIZE VR that cannot be
    // written, ELEM_NULL_ARGUMENT null buffer, ELEM_EMPTY_VALUE raw VR without a buffer. After a refusal
    // `length` must not be used.
    virtual int frame(unsigned char* buf, unsigned int& length, DICT_UID xferSyn);
    // An upper bound of the bytes that frame writes in any transfer syntax. The tag list is for sequences: it
    // is handed on to the items.
    virtual int getBufSize(unsigned int& size, unsigned int* excluded);
    virtual int getBufSize(unsigned int& size, unsigned int excludedTag);
    // Replaces all values by those decoded from `length` bytes. A null value, no length or no transfer
    // syntax leaves the element empty. The bytes are only read.
    // ELEM_VR_SIZE VR without a usable size, ELEM_XFER_SYNTAX unknown transfer syntax, or the result of
    // addValue.
    virtual int parseVal(void* value, unsigned int length, DICT_UID xferSyn);
    virtual int resetValueCounter();
    virtual int printNodeList(FILE* file);

    // ---- identity ---------------------------------------------------------------------------------------
    int getTag(unsigned int& tag) const;
    int getTag(unsigned short& group, unsigned short& element) const;
    int setTag(unsigned int tag);
    int setTag(unsigned short group, unsigned short element);
    // Like setTag, but the tag held before goes on deciding the VR and byte order.
    int pushTag(unsigned int tag);
    int pushTag(unsigned short group, unsigned short element);
    int getVr(DICT_VR& vr) const;
    DICT_VR getVr() const;
    // The two letters of the VR as an explicit stream has them; `code` needs room for 4 characters. They are
    // those of getVr but where a stream of today's edition (edition.h) held two capitals that stand for no VR
    // known here: such an element is UN, and goes back with its own letters into streams of its byte order.
    // The codes of DcDict::getVr.
    int getVrCode(char* code) const;
    // The dictionary's value multiplicity as it stands there: n exactly n, 0 no known limit, -k at most k.
    int getVm() const;
    DICT_UID getXferSyn() const;
    DcElem* next() const;
    DcElem* previous() const;

    // ---- values -----------------------------------------------------------------------------------------
    // Number of values; for raw VRs (OB OF OW UN UT OX and the unknown VR) 1 with a buffer, else 0.
    int getValueCount(int& count) const;
    int getValueCount() const;
    // Moves the value counter on: 0, or ELEM_NO_MORE_VALUES at the end; the argument receives where it
    // stands.
    int indexValueCounter(int& counter);
    int indexValueCounter();
    int deleteAllValues();
    // The callback asked about values that break their VR's rules; null for none.
    int registerValueExceptionCB(void* context, DcElemValueExceptionCB callback);

    // Adds a value, converted as the VR asks. index -1 appends; another index replaces that value. An
    // element of limited multiplicity that is full loses its oldest value, unless the value exception
    // level is 0.
    // ELEM_VALUE_REFUSED type or value refused, ELEM_NULL_ARGUMENT null pointer (LOG_NOTICE),
    // ELEM_INVALID_INDEX bad index, ELEM_REFUSED refused by the callback, or the code of the VR's check.
    int addValue(DcElemValueAS& value, int index = ELEM_INDEX_APPEND);
    int addValue(DcElemValueAT& value, int index = ELEM_INDEX_APPEND);
    int addValue(DcElemValueDA& value, int index = ELEM_INDEX_APPEND);
    int addValue(DcElemValueDT& value, int index = ELEM_INDEX_APPEND);
    int addValue(DcElemValuePN& value, int index = ELEM_INDEX_APPEND);
    int addValue(DcElemValueTM& value, int index = ELEM_INDEX_APPEND);
    int addValue(DICT_UID value, int index = ELEM_INDEX_APPEND);
    // A backslash separates values, except in LT, ST, UR and UT.
    int addValue(const char* value, int index = ELEM_INDEX_APPEND);
    int addValue(short value, int index = ELEM_INDEX_APPEND);
    int addValue(unsigned short value, int index = ELEM_INDEX_APPEND);
    int addValue(int value, int index = ELEM_INDEX_APPEND);
    int addValue(unsigned int value, int index = ELEM_INDEX_APPEND);
    // For SV and UV, which take every integer and refuse what is beyond their range (ELEM_VALUE_REFUSED).
    int addValue(long long value, int index = ELEM_INDEX_APPEND);
    int addValue(unsigned long long value, int index = ELEM_INDEX_APPEND);
    int addValue(float value, int index = ELEM_INDEX_APPEND);
    int addValue(double value, int index = ELEM_INDEX_APPEND);

    // Raw buffers, for OB OD OF OL OV OW UN UT OX and the unknown VR. Several make one value; for UN and UT
    // the memory form replaces. ELEM_VALUE_REFUSED refused, ELEM_XFER_SYNTAX not a transfer syntax,
    // ELEM_NO_MEMORY (LOG_ERROR).
    int addValue(DcBuf* buffer);                                            // content taken over
    int addValue(const void* data, unsigned int length, DICT_UID xferSyn);  // bytes copied
    int addValue(const char* fileName, int offset, unsigned int length, DICT_UID xferSyn);  // OB OW OX only
    int addValue(int handle, int offset, unsigned int length, DICT_UID xferSyn);            // OB OW OX only

    // addValue in the place of an existing value. ELEM_INVALID_INDEX when there is none at that index.
    int changeValue(DcElemValueAS& value, int index);
    int changeValue(DcElemValueAT& value, int index);
    int changeValue(DcElemValueDA& value, int index);
    int changeValue(DcElemValueDT& value, int index);
    int changeValue(DcElemValuePN& value, int index);
    int changeValue(DcElemValueTM& value, int index);
    int changeValue(DICT_UID value, int index);
    int changeValue(const char* value, int index);
    int changeValue(short value, int index);
    int changeValue(unsigned short value, int index);
    int changeValue(int value, int index);
    int changeValue(unsigned int value, int index);
    int changeValue(float value, int index);
    int changeValue(double value, int index);

    // Reads the value at `index`, converted where the VR allows. Index 0 follows the value counter once
    // that has moved.
    // ELEM_NULL_ARGUMENT null buffer (LOG_NOTICE), ELEM_EMPTY_VALUE no value (silent; it comes before
    // ELEM_VR_SIZE, and raw buffers are values only for the DcBuf form and the text of UT), ELEM_VR_SIZE VR
    // cannot deliver the type, ELEM_NO_MORE_VALUES past the last value (silent), ELEM_INVALID_INDEX bad
    // index, ELEM_TRUNCATED buffer too short (of a number as text: silent).
    int getValue(DcElemValueAS& value, int index = 0);
    int getValue(DcElemValueAT& value, int index = 0);
    int getValue(DcElemValueDA& value, int index = 0);
    int getValue(DcElemValueDT& value, int index = 0);
    int getValue(DcElemValuePN& value, int index = 0);
    int getValue(DcElemValueTM& value, int index = 0);
    int getValue(DICT_UID& value, int index = 0);
    // At most `length` characters and a NUL, trimmed at both ends. The buffer holds length + 1 bytes: a text
    // writes a NUL to buffer[length], too, also when it is shorter.
    int getValue(char* buffer, int length, int index = 0);
    int getValue(short& value, int index = 0);
    int getValue(unsigned short& value, int index = 0);
    int getValue(int& value, int index = 0);
    int getValue(unsigned int& value, int index = 0);
    // Of SV and UV, and of every other VR of integers. A value beyond the range of the type gives
    // ELEM_VALUE_REFUSED and the nearest limit.
    int getValue(long long& value, int index = 0);
    int getValue(unsigned long long& value, int index = 0);
    int getValue(float& value, int index = 0);
    int getValue(double& value, int index = 0);
    // A borrowed copy of a raw buffer: the one the value counter stands at. ELEM_VR_SIZE comes before
    // ELEM_EMPTY_VALUE here.
    int getValue(DcBuf& value, int index = 0);

    // Converts the first raw buffer of an OB, OW or OX element between its native form and the private LZW
    // transfer syntax (208). Anything else stays as it is (0). ELEM_XFER_SYNTAX for a disk buffer or another
    // pair of syntaxes, or the codec's code; the element is then unchanged.
    int changeXferSyn(DICT_UID xferSyn);

  private:
    friend class DcElemList;
    friend class DcElemSq;
    friend struct orvkit::ElemAccess;

    void initialize(unsigned int tag, void* value, unsigned int length, DICT_UID xferSyn, DICT_VR vr,
                    int sequenceFlag);

    // Checks of a text against its VR: 0, ELEM_NULL_ARGUMENT null, ELEM_EMPTY_VALUE empty, ELEM_TOO_LONG too
    // long, ELEM_ILLEGAL_CHAR illegal character.
    int verifyValueAE(const char* text) const;
    int verifyValueCS(const char* text) const;
    int verifyValueDS(const char* text) const;
    int verifyValueFX(const char* text) const;
    int verifyValueIS(const char* text) const;
    int verifyValueLO(const char* text) const;
    int verifyValueLT(const char* text) const;
    int verifyValueSH(const char* text) const;
    int verifyValueUI(const char* text) const;
    int verifyValueUT(const char* text) const;
    int verifyValueXL(const char* text) const;
    int verifyValueXS(const char* text) const;

    int addValueStrg(const char* text, unsigned int length, int index);
    // Stores one value: `size` bytes of a binary value, or a text of that length (a NUL is added).
    int addValueFmtBuf(const void* data, unsigned int size, int index, bool binary);
    // Deep copies of all values in a null-terminated array, owned by the caller (each block and the array
    // from new[]).
    int getValue(DICT_VR_SIZE& size, int& vrLength, void*** values) const;

    unsigned int tag_;
    unsigned int pushedTag_;
    int vm_;
    short vr_;  // a DICT_VR
    unsigned short sequenceFlag_ : 1;
    unsigned short letters_ : 15;  // of a VR that nobody knows; 0 for none
    DICT_UID xferSyn_;
    int counter_;
    void* exceptionContext_;
    DcElemValueExceptionCB exceptionCB_;
    orvkit::ElemStore store_;
};

// ---- texts to values: the parsers behind addValue and getValue --------------------------------------------
// Group and element serve the messages only. UTIL_NULL_ARGUMENT null text, ELEM_EMPTY_VALUE empty,
// UTIL_STRING_LENGTH wrong length, UTIL_MALFORMED invalid.
ORVKIT_API int utilStrgToValue(const char* text, DcElemValueAS& value, unsigned short group,
                               unsigned short element);
ORVKIT_API int utilStrgToValue(const char* text, DcElemValueAT& value, unsigned short group,
                               unsigned short element);
ORVKIT_API int utilStrgToValue(const char* text, DcElemValueDA& value, unsigned short group,
                               unsigned short element);
ORVKIT_API int utilStrgToValue(const char* text, DcElemValueDT& value, unsigned short group,
                               unsigned short element);
ORVKIT_API int utilStrgToValue(const char* text, DcElemValuePN& value);
ORVKIT_API int utilStrgToValue(const char* text, DcElemValueTM& value, unsigned short group,
                               unsigned short element);
// hhmmss.ffffff with optional colons; seconds in s.
ORVKIT_API int utilStrgToHMS(const char* text, int& hour, int& minute, double& second, unsigned short group,
                             unsigned short element);
// yyyymmdd, or the older yyyy.mm.dd; every fourth year is a leap year.
ORVKIT_API int utilStrgToYMD(const char* text, int& year, int& month, int& day, unsigned short group,
                             unsigned short element);

#endif
