// Raw scanning: finding elements, their ends and their lengths in encoded bytes without building a data set.
// Everything here walks the headers once, whatever the nesting, and never trusts a length.
#ifndef ORVKIT_SCAN_H
#define ORVKIT_SCAN_H

#include <cstdio>

#include "orvkit/dict.h"
#include "orvkit/export.h"
#include "orvkit/uids.h"

// Asks utilGetElemOffsetInfo for the end of the element that begins the buffer.
inline constexpr unsigned int SCAN_ELEM_END = 0xFFFFFFFE;

// Question and answer of utilGetElemOffsetInfo.
struct DcElemOffsetInfo {
    unsigned int tag = 0;          // in: the tag to find at the top level of the buffer, or SCAN_ELEM_END
    unsigned int offset = 0;       // out: where that element's tag begins
    unsigned int valueOffset = 0;  // out: where its value begins
    unsigned int valueLen = 0;     // out: its length field as it stands (0xFFFFFFFF undefined)
    unsigned int endOffset = 0;    // out: the first byte behind it, delimiters included
};

// Walks the elements of an encoded buffer, by the same transfer syntax rule by group as decoding, to the
// first element of info.tag at the top level. 0; ELEM_NOT_FOUND when there is none (not logged);
// ELEM_XFER_SYNTAX unknown transfer syntax; UTIL_NULL_ARGUMENT null; UTIL_LENGTH_FIELD a length past the end,
// a sequence or item without its delimiter, or sequences nested deeper than ELEM_MAX_NESTING;
// UTIL_NO_TERMINATOR fragments or another value of undefined length without a delimiter; UTIL_MALFORMED an
// item expected (all LOG_ERROR). When only the end of the element itself cannot be found, the other answers
// are given beside the code.
ORVKIT_API int utilGetElemOffsetInfo(unsigned char* buf, unsigned int length, DICT_UID xferSyn,
                                     DcElemOffsetInfo& info);
// The same, for the offset of the tag alone.
ORVKIT_API int utilGetElemOffset(unsigned char* buf, unsigned int length, DICT_UID xferSyn, unsigned int tag,
                                 unsigned int& offset);

// Lengths of values. `p` points at the 32-bit length field of an element or item; `remaining` counts the
// bytes from there. `length` receives the bytes of the value, `extra` those of its closing delimiter (8 for
// undefined lengths, else 0). On failure both are 0 and the result is UTIL_LENGTH_FIELD (LOG_ERROR; null:
// LOG_NOTICE), or what the walk over an undefined length found wrong: the codes of utilGetElemOffsetInfo.
//
// OB, OW, UT and their like: the delimiter is searched byte by byte. With `wholeBufferIfMissing` everything
// is taken where there is none (LOG_VALIDATION); `extra` is 8 then as well.
ORVKIT_API int utilGetOxValLen(unsigned char* p, unsigned int remaining, DICT_UID xferSyn,
                               unsigned int& length, int& extra, int wholeBufferIfMissing);
// Sequences: walked item by item. The tag (and, in explicit syntaxes, VR and reserved bytes) must stand in
// front of `p`. `flag` is kept for callers and has no effect.
ORVKIT_API int utilGetSqValLen(unsigned char* p, unsigned int remaining, DICT_UID xferSyn,
                               unsigned int& length, int& extra, int flag);
ORVKIT_API int utilGetSqItemValLen(unsigned char* p, unsigned int remaining, DICT_UID xferSyn,
                                   unsigned int& length, int& extra);
// The same on the bytes of an open file: `offset` is that of the length field behind the low-level
// `handle`. The handle's position is not changed. UTIL_READ (LOG_ERROR) for what cannot be read.
ORVKIT_API int utilGetSqValLen(int handle, int offset, unsigned int remaining, DICT_UID xferSyn,
                               unsigned int& length, int& extra, int flag);
ORVKIT_API int utilGetSqItemValLen(int handle, int offset, unsigned int remaining, DICT_UID xferSyn,
                                   unsigned int& length, int& extra);

// One wanted tag of libParseFields and where it was found.
struct DcPfField_ {
    unsigned int tag = 0;       // in
    int found = 0;              // out: 1 when the tag was met at the top level
    DICT_VR vr = VR_UNKNOWN;    // out: as in the stream, or the dictionary's
    long long offset = 0;       // out: file offset of the tag
    long long valueOffset = 0;  // out: file offset of the value's first byte
    unsigned int valueLen = 0;  // out: length field as it stands (0xFFFFFFFF undefined)
};
struct DcPfFileInfo_ {
    DICT_UID xferSyn = UID_NONE;  // in: how the stream is encoded
    long long start = 0;          // out: where the walk began
    long long end = 0;            // out: the first byte that was not walked over
    long long fileSize = 0;       // out
};
// Walks the data elements of an open file from its current position until every one of `count` wanted
// fields is found, the tags have gone past the largest wanted one, or the file ends. Sequences and undefined
// lengths are walked over; values are skipped, not read. 0 also when fields are missing (see `found`);
// ELEM_XFER_SYNTAX unknown transfer syntax; UTIL_NULL_ARGUMENT, UTIL_READ read error, UTIL_LENGTH_FIELD a
// length past the end, UTIL_NO_TERMINATOR a missing delimiter, UTIL_MALFORMED an item expected (all
// LOG_ERROR, "libParseFields").
ORVKIT_API int libParseFields(FILE* file, DcPfField_* fields, DcPfFileInfo_* info, int count);

#endif
