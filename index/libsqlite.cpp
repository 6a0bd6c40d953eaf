#include "index/libsqlite.h"

#include "index/engine_library.h"

namespace orvkit::index {

const Libsqlite& libsqlite() {
#ifdef ORVKIT_INDEX_DIRECT
    return *orvkitIndexLibsqlite();
#else
    static const EngineLibrary library("orvkit_index_sqlite.so", "orvkitIndexLibsqlite");
    return *library.get<decltype(&orvkitIndexLibsqlite)>("SQLite")();
#endif
}

}  // namespace orvkit::index
