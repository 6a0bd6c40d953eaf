// The codec of the private transfer syntax "orvKIT5 LZW".
//
// A stream is a header of 8 bytes and a run of variable-width codes:
//
//   offset  size  content
//        0     2  magic 1F 9D
//        2     1  low 5 bits: widest code in bits (written as 16); bit 7: block mode (written as set)
//        3     1  0
//        4     4  length of the uncompressed data, little endian (not used when decoding)
//        8     .  codes, least significant bit first, 9 to 16 bits wide
//
// Codes stand in groups of 8, so that a group of width w takes w bytes; a change of width starts a new group.
// In block mode code 256 clears the string table and leaves the width as it is.
//
// Both functions may run in several threads at once: the tables belong to the thread, are allocated on its
// first use (1.3 megabytes to encode, 0.5 to decode) and freed when it ends. Failures are logged at
// LOG_ERROR, null arguments at LOG_VALIDATION.
#ifndef ORVKIT_LZW_H
#define ORVKIT_LZW_H

#include "orvkit/export.h"

// Where the streaming forms take bytes from, and where they bring them: a piece at a time, in order.
struct DcLzwIo {
    void* context;
    // Puts up to `room` bytes (which is never 0) at `into` and gives their number: 0 at the end, -1 on
    // failure.
    int (*read)(void* context, unsigned char* into, unsigned int room);
    // Takes the bytes, or answers false, which ends the work.
    bool (*write)(void* context, const unsigned char* bytes, unsigned int length);
};

// Compresses `inLen` bytes. `outLen` gives the room at `out`; afterwards `out` points behind what was
// written and `outLen` holds the number of bytes written. Noise grows by more than a fifth.
// ELEM_NULL_ARGUMENT, ELEM_LZW_OUTPUT `out` too small, ELEM_NO_MEMORY.
ORVKIT_API int lzwEncode(const unsigned char* in, unsigned int inLen, unsigned char*& out,
                         unsigned int& outLen);

// Restores what lzwEncode compressed. `*outLen` gives the room at `out` and afterwards the number of bytes
// produced, also after a failure; bytes of `out` behind those may have been overwritten.
// ELEM_NULL_ARGUMENT, ELEM_LZW_HEADER bad header, ELEM_LZW_OUTPUT `out` too small, ELEM_LZW_CODE corrupt
// stream, ELEM_NO_MEMORY.
ORVKIT_API int lzwDecode(const unsigned char* in, unsigned int inLen, unsigned char* out,
                         unsigned int* outLen);

// The same for values that need not fit memory, which stays at 7 megabytes whatever their length. Encoding
// reads `inLen` bytes, decoding up to the end; nothing is known of the length of what they write before it is
// written. UTIL_READ `read` failed or gave fewer bytes than `inLen`, ELEM_LZW_OUTPUT refused by `write`; all
// others as above. What was written before a failure is to be thrown away.
ORVKIT_API int lzwEncode(const DcLzwIo& io, unsigned int inLen);
ORVKIT_API int lzwDecode(const DcLzwIo& io);

#endif
