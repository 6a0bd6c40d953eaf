// What a platform must implement, where parts of a library are loaded when they are first needed.
#ifndef ORVKIT_PLATFORM_MODULE_H
#define ORVKIT_PLATFORM_MODULE_H

#include <string>

namespace orvkit::platform {

// The address of a symbol of a module, a file in the folder of the library that this is compiled into; null
// where it cannot be had, and why in `trouble`. Modules stay loaded.
void* moduleSymbol(const char* module, const char* symbol, std::string& trouble);

}  // namespace orvkit::platform

#endif
