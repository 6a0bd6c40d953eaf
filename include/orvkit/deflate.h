// Deflated data sets: transfer syntax 1.2.840.10008.1.2.1.99 (PS3.5 A.5, RFC 1951). A library of its own,
// orvkit_deflate, over zlib: link it beside orvkit, and call deflateRegister once.
//
// From then on files of that syntax are read and written by the functions of file.h, and data sets on the
// network by DcMsm, as those of explicit VR little endian are. Without it a deflated file is
// ELEM_XFER_SYNTAX. Streams with a zlib header (RFC 1950) are read too, which is told as LOG_VALIDATION; what
// is written has none. What came out of a stream that is cut or damaged is kept, and the result is
// ELEM_PACKED_STREAM.
#ifndef ORVKIT_DEFLATE_H
#define ORVKIT_DEFLATE_H

#if defined(_WIN32) && !defined(ORVKIT_STATIC)
#if defined(ORVKIT_DEFLATE_BUILDING)
#define ORVKIT_DEFLATE_API __declspec(dllexport)
#else
#define ORVKIT_DEFLATE_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ORVKIT_DEFLATE_API __attribute__((visibility("default")))
#else
#define ORVKIT_DEFLATE_API
#endif

// Teaches the orvkit library the syntax, for the whole process and for good. As often as you like, from any
// thread.
ORVKIT_DEFLATE_API void deflateRegister() noexcept;

// The most bytes that one data set may become when it is inflated, wherever they go: DIR_FILE_SIZE beyond.
// Initially 2147483648. What is inflated in memory (dirReadFile, and messages) keeps within
// dirSetMaxFileSize too; what is not goes through a temporary file. For the whole process, from any thread.
// DIR_FILE_SIZE for 0: the limit stays.
ORVKIT_DEFLATE_API int deflateSetMaxSize(unsigned long long bytes) noexcept;

#endif
