#include "index/libpq.h"

#include "index/engine_library.h"

namespace orvkit::index {

const Libpq& libpq() {
#ifdef ORVKIT_INDEX_DIRECT
    return *orvkitIndexLibpq();
#else
    static const EngineLibrary library("orvkit_index_postgresql.so", "orvkitIndexLibpq");
    return *library.get<decltype(&orvkitIndexLibpq)>("PostgreSQL")();
#endif
}

}  // namespace orvkit::index
