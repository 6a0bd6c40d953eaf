#include "index/libpq.h"

#include <string>

#include "index/trouble.h"
#include "orvkit/result.h"
#include "platform/module.h"

namespace orvkit::index {

#ifdef ORVKIT_INDEX_DIRECT

const Libpq& libpq() {
    return *orvkitIndexLibpq();
}

#else

namespace {

struct Module {
    std::string trouble;
    void* symbol = platform::moduleSymbol("orvkit_index_postgresql.so", "orvkitIndexLibpq", trouble);
};

}  // namespace

const Libpq& libpq() {
    static const Module module;
    if (module.symbol == nullptr) fail(INDEX_ENGINE, "PostgreSQL cannot be loaded: " + module.trouble);
    return *reinterpret_cast<decltype(&orvkitIndexLibpq)>(module.symbol)();
}

#endif

}  // namespace orvkit::index
