#include "index/dialect.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace orvkit::index {
namespace {

struct Difference {
    std::string_view word;
    std::string_view sqlite;
    std::string_view postgresql;
};

// Texts of objects are bytes in PostgreSQL: they are compared byte by byte whatever the database's locale,
// and none is refused for what it holds.
constexpr Difference differences[] = {
    {"number", "INTEGER", "BIGINT"},
    {"text", "TEXT", "BYTEA"},
    {"bytes", "BLOB", "BYTEA"},
    {"row id", "INTEGER PRIMARY KEY", "BIGSERIAL PRIMARY KEY"},
    // Never the same again.
    {"lasting id", "INTEGER PRIMARY KEY AUTOINCREMENT", "BIGSERIAL PRIMARY KEY"},
    {"last id", "last_insert_rowid()", "lastval()"},
    // The rows are in the tree of the key; the others have no such tables.
    {"by key", " WITHOUT ROWID", ""},
    {"by study", " WITHOUT ROWID", " PARTITION BY HASH (study)"},
    {"by uid", " WITHOUT ROWID", " PARTITION BY HASH (uid)"},
    // Rows whose counts change find room on their page.
    {"with room", "", " WITH (fillfactor = 80)"},
    {"parts", "",
     "DO $$ BEGIN FOR part IN 0..15 LOOP\n"
     "EXECUTE format('CREATE TABLE instance_%s PARTITION OF instance FOR VALUES WITH (MODULUS 16, REMAINDER "
     "%s)', part, part);\n"
     "EXECUTE format('CREATE TABLE uid_%s PARTITION OF uid FOR VALUES WITH (MODULUS 16, REMAINDER %s)', "
     "part, "
     "part);\n"
     "END LOOP; END $$;"},
    // By which the file is known.
    {"mark", "PRAGMA application_id = 1869769592;", ""},
    {"is there", "SELECT COUNT(*) FROM sqlite_schema WHERE name = 'orvkit_index'",
     "SELECT CAST(to_regclass('orvkit_index') IS NOT NULL AS INTEGER)"},
    // What is read is to be written: nobody else writes it until this transaction ends.
    {"locked", "", " FOR UPDATE"},
    // A column that a row of the outer table gives, where its value is known from elsewhere, too: to look for
    // that value alone goes through the index of each part.
    {"as it comes", "", " || ''"},
    // Keeps the index of a column from being used, where the engine has no better counsel.
    {"no index", "+", ""},
};

std::string_view meaning(Dialect dialect, std::string_view word) {
    const auto* const row = std::find_if(std::begin(differences), std::end(differences),
                                         [word](const Difference& d) { return d.word == word; });
    if (row == std::end(differences)) throw std::logic_error("no word of any dialect: " + std::string(word));
    return dialect == Dialect::sqlite ? row->sqlite : row->postgresql;
}

}  // namespace

std::string inDialect(Dialect dialect, std::string_view sql) {
    std::string text;
    for (;;) {
        const std::size_t open = sql.find('{');
        text += sql.substr(0, open);
        if (open == std::string_view::npos) return text;
        sql.remove_prefix(open + 1);
        const std::size_t close = sql.find('}');
        text += meaning(dialect, sql.substr(0, close));
        sql.remove_prefix(close + 1);
    }
}

}  // namespace orvkit::index
