#include "tls/engine.h"

#include "platform/module.h"

namespace orvkit::tls {

#ifdef ORVKIT_TLS_DIRECT

const Engine* engine(Words&) {
    return orvkitTlsEngine();
}

#else

namespace {

struct Module {
    std::string trouble;
    void* symbol = platform::moduleSymbol("orvkit_tls_openssl.so", "orvkitTlsEngine", trouble);
};

}  // namespace

const Engine* engine(Words& fault) {
    static const Module module;
    if (module.symbol != nullptr) return reinterpret_cast<decltype(&orvkitTlsEngine)>(module.symbol)();
    fault.set("TLS cannot be loaded: %s", module.trouble.c_str());
    return nullptr;
}

#endif

}  // namespace orvkit::tls
