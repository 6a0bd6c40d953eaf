// Text in the character sets of data sets (PS3.3 C.12.1.1.2, PS3.5 6.1), from and to UTF-8.
//
// All 33 defined terms of Specific Character Set (0008,0005) are known: the default repertoire, the
// single-byte sets, the multi-byte sets with code extensions (ISO 2022), UTF-8, GB18030 and GBK. The
// characters themselves come from the operating system.
//
// The functions may be called from several threads at once, and log nothing.
#ifndef ORVKIT_CHARSET_H
#define ORVKIT_CHARSET_H

#include "orvkit/dict.h"
#include "orvkit/export.h"

// What could not be converted.
struct DcTextLoss {
    unsigned int count = 0;  // bytes without a character, or characters without a code
    unsigned int first = 0;  // offset of the first one in the text that was given
};

// 0 when every one of `terms` is known: the value of (0008,0005), its values separated by backslashes. Null
// and
// "" are the default repertoire. ELEM_CHARSET otherwise.
ORVKIT_API int textCheckCharset(const char* terms);

// Both functions take `length` bytes, NULs included, and give NUL-terminated memory of utilNew, which the
// caller releases with utilDelete; `convertedLength` does not count the NUL. `vr` is that of the element:
// text of a VR that Specific Character Set does not affect (PS3.5 6.1.2.2) is in the default repertoire, and
// the VR says at which characters code extensions fall back to the first set (PS3.5 6.1.2.5.3): ends of
// lines, the backslash where it separates values, "^" and "=" in names.
//
// 0; ELEM_CHARSET_LOSS when something could not be converted: what could be is there, and `loss`, which may
// be null, tells the rest. ELEM_NULL_ARGUMENT, ELEM_NO_MEMORY: nothing is there.

// U+FFFD stands for each byte that is no character, so the result is UTF-8 whatever the bytes. Terms that are
// not known count as absent. A backslash in the result separates values: one that is half of a character is
// gone, so values are to be told apart after this call, not before.
ORVKIT_API int textToUtf8(const char* terms, DICT_VR vr, const char* text, unsigned int length,
                          char*& converted, unsigned int& convertedLength, DcTextLoss* loss = nullptr);
// "?" stands for each character that none of the sets has, for ESC where escape sequences may be, and for
// each byte that is no UTF-8. Escape sequences go where PS3.5 6.1.2.5.3 wants them. ELEM_CHARSET, and nothing
// is there, when a term is not known.
ORVKIT_API int textFromUtf8(const char* terms, DICT_VR vr, const char* utf8, unsigned int length,
                            char*& converted, unsigned int& convertedLength, DcTextLoss* loss = nullptr);

#endif
