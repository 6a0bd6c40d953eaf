#include "index/libsqlite.h"

const orvkit::index::Libsqlite* orvkitIndexLibsqlite() {
#define ORVKIT_LIBSQLITE_VALUE(name) &name,
    static constexpr orvkit::index::Libsqlite all = {ORVKIT_LIBSQLITE(ORVKIT_LIBSQLITE_VALUE)};
#undef ORVKIT_LIBSQLITE_VALUE
    return &all;
}
