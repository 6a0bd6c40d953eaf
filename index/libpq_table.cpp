#include "index/libpq.h"

const orvkit::index::Libpq* orvkitIndexLibpq() {
#define ORVKIT_LIBPQ_VALUE(name) &name,
    static constexpr orvkit::index::Libpq all = {ORVKIT_LIBPQ(ORVKIT_LIBPQ_VALUE)};
#undef ORVKIT_LIBPQ_VALUE
    return &all;
}
