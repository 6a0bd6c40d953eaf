// Utilities: byte order, packed dates and times, the current time, text clean-up, memory, version, and
// resampling of images.
//
// All of them may be called from several threads at once. Unless said otherwise the result is 0, and a null
// argument is logged at LOG_VALIDATION as "Null argument passed" and gives UTIL_NULL_ARGUMENT.
#ifndef ORVKIT_UTIL_H
#define ORVKIT_UTIL_H

#include "orvkit/export.h"
#include "orvkit/value.h"

// ---- byte order -----------------------------------------------------------------------------------------

// Reverse the bytes of every value in place. `length` counts bytes, not values; trailing bytes that do not
// fill a value stay as they are. The data need not be aligned.
ORVKIT_API int utilSwab(short* data, unsigned int length);
ORVKIT_API int utilSwab(unsigned short* data, unsigned int length);
ORVKIT_API int utilSwab(int* data, unsigned int length);
ORVKIT_API int utilSwab(unsigned int* data, unsigned int length);
ORVKIT_API int utilSwab(float* data, unsigned int length);
ORVKIT_API int utilSwab(double* data, unsigned int length);

// ---- dates and times as numbers -------------------------------------------------------------------------

// A date as yyyymmdd: 2010, 3, 14 is 20100314. No range is checked. Division truncates toward zero.
ORVKIT_API int utilYMDToLong(int year, int month, int day, long& packed);
ORVKIT_API int utilLongToYMD(long packed, int& year, int& month, int& day);
// A time as hhmmss.ffffff: 13, 4, 5.25 is 130405.25. A packed number outside the range of int gives hour and
// minute of that range's end.
ORVKIT_API int utilHMSToDouble(int hour, int minute, double second, double& packed);
ORVKIT_API int utilDoubleToHMS(double packed, int& hour, int& minute, double& second);

// ---- current time ---------------------------------------------------------------------------------------

// The current local time, in whole seconds. The records are reset first; they are left untouched when the
// system cannot tell the local time.
ORVKIT_API void utilGetCurrentTime(DcElemValueDT& dateTime);
ORVKIT_API void utilGetCurrentTime(DcElemValueDA& date, DcElemValueTM& time);

// ---- texts ----------------------------------------------------------------------------------------------

// Turns every backslash into a slash, in place. A null path is not allowed.
ORVKIT_API int utilChangeBackslash(char* path);

// Bits of utilRemoveSpace's mode.
inline constexpr int UTIL_SPACE_LEADING = 1;
inline constexpr int UTIL_SPACE_TRAILING = 2;
inline constexpr int UTIL_SPACE_ALL = 4;  // anywhere in the text; the other bits are then ignored

// Strips blanks in place. Blanks are the space and the bytes 1 to 13. A null text is reported under the name
// "utilStrgToValue", kept for those who watch for it.
ORVKIT_API int utilRemoveSpace(char* string, int mode);

// ---- memory across the library's boundary ---------------------------------------------------------------

// Memory of the library's own heap; null when there is none or the size is negative.
ORVKIT_API void* utilNew(int size);
// Releases memory from utilNew, and memory that the library hands to its caller. Null is allowed.
ORVKIT_API void utilDelete(void* p);

// ---- version --------------------------------------------------------------------------------------------

// `buildDate` holds at least 12 bytes and receives a date such as "Nov 15 2010". When it is null the numbers
// are set all the same.
ORVKIT_API int utilGetVersion(int& major, int& minor, int& release, char* buildDate);

// ---- images ---------------------------------------------------------------------------------------------

// Resamples an image of 16-bit pixels, row by row, to another size by cubic B-spline convolution (bilinear
// near the border). Sums below 0 become 0; those above 65535 keep their low 16 bits. The result is to be
// freed with free(); null when there is no memory. A new size without pixels gives an empty block, and an
// image without pixels a black result.
ORVKIT_API unsigned short* utilResizeImage(unsigned short* image, int width, int height, int newWidth,
                                           int newHeight);

#endif
