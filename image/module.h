// What a module gives to modules.cpp, by the name that stands there. Where there are no modules it is there,
// too, and nobody asks.
#ifndef ORVKIT_IMAGE_MODULE_H
#define ORVKIT_IMAGE_MODULE_H

#if defined(__GNUC__) && !defined(_WIN32)
#define ORVKIT_IMAGE_PART extern "C" __attribute__((visibility("default")))
#else
#define ORVKIT_IMAGE_PART extern "C"
#endif

#endif
