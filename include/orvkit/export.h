// Visibility of the library's interface, and the attributes its declarations use.
#ifndef ORVKIT_EXPORT_H
#define ORVKIT_EXPORT_H

#if defined(_WIN32) && !defined(ORVKIT_STATIC)
#if defined(ORVKIT_BUILDING)
#define ORVKIT_API __declspec(dllexport)
#else
#define ORVKIT_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define ORVKIT_API __attribute__((visibility("default")))
#else
#define ORVKIT_API
#endif

// Marks a printf-like function: the text's and the first value's places among its arguments, counted from 1,
// the object of a member function included.
#if defined(__MINGW32__) && !defined(__clang__)
#define ORVKIT_PRINTF(text, values) __attribute__((__format__(__gnu_printf__, text, values)))
#elif defined(__GNUC__)
#define ORVKIT_PRINTF(text, values) __attribute__((__format__(__printf__, text, values)))
#else
#define ORVKIT_PRINTF(text, values)
#endif

#endif
