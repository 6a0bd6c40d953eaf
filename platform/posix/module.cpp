#include "platform/module.h"

#include <dlfcn.h>

namespace orvkit::platform {

void* moduleSymbol(const char* module, const char* symbol, std::string& trouble) {
    Dl_info own{};
    if (::dladdr(reinterpret_cast<const void*>(&moduleSymbol), &own) == 0) return nullptr;
    const std::string path = own.dli_fname;
    const std::size_t name = path.rfind('/') + 1;
    void* const handle = ::dlopen((path.substr(0, name) + module).c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const found = handle == nullptr ? nullptr : ::dlsym(handle, symbol);
    if (found == nullptr) {
        const char* const words = ::dlerror();
        trouble = words != nullptr ? words : "no module";
    }
    return found;
}

}  // namespace orvkit::platform
