// What is called of SQLite, which is linked by a module that is loaded when the first index in a file is
// opened.
#ifndef ORVKIT_INDEX_LIBSQLITE_H
#define ORVKIT_INDEX_LIBSQLITE_H

#include <sqlite3.h>

namespace orvkit::index {

#define ORVKIT_LIBSQLITE(row)                                                                             \
    row(sqlite3_bind_blob64) row(sqlite3_bind_int64) row(sqlite3_bind_null) row(sqlite3_bind_text64)      \
        row(sqlite3_busy_timeout) row(sqlite3_changes) row(sqlite3_clear_bindings) row(sqlite3_close_v2)  \
            row(sqlite3_column_blob) row(sqlite3_column_bytes) row(sqlite3_column_int64)                  \
                row(sqlite3_db_config) row(sqlite3_errmsg) row(sqlite3_errstr) row(sqlite3_exec)          \
                    row(sqlite3_finalize) row(sqlite3_limit) row(sqlite3_open_v2) row(sqlite3_prepare_v2) \
                        row(sqlite3_progress_handler) row(sqlite3_reset) row(sqlite3_step)

struct Libsqlite {
#define ORVKIT_LIBSQLITE_MEMBER(name) decltype(&::name) name;
    ORVKIT_LIBSQLITE(ORVKIT_LIBSQLITE_MEMBER)
#undef ORVKIT_LIBSQLITE_MEMBER
};

// Trouble, INDEX_ENGINE: the module cannot be loaded.
const Libsqlite& libsqlite();

}  // namespace orvkit::index

extern "C"
#ifdef __GNUC__
    __attribute__((visibility("default")))
#endif
    const orvkit::index::Libsqlite*
    orvkitIndexLibsqlite();  // libsqlite_table.cpp

#endif
