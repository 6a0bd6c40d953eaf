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

// Marks a printf-like function: the format is argument `format`, its values start at `first`, both
// counted from 1 (for a member function the object is argument 1).
#if defined(__GNUC__)
#define ORVKIT_PRINTF(format, first) __attribute__((format(printf, format, first)))
#else
#define ORVKIT_PRINTF(format, first)
#endif

#endif
