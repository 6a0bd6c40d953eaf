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

// Digits for the characters of a UID, two a byte.
#define ORVKIT_PACKED(uid)                                       \
    "decode(translate(encode(" uid                               \
    ", 'escape'), '.0123456789', '123456789ab') || repeat('0', " \
    "length(" uid ") % 2), 'hex')"

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
    // Readers go on while a version becomes the next one.
    {"no writers", "", "LOCK TABLE instance, instance_attributes, uid IN SHARE MODE;"},
    // As uid_form.h has it. Tables that are cut into parts cannot be keyed otherwise: they are made anew.
    {"packed uid", "i.uid", ORVKIT_PACKED("i.uid")},
    {"no bytes", "x''", "''"},
    {"new parts", "",
     "CREATE TABLE new_uid (study INTEGER NOT NULL, series INTEGER NOT NULL, uid BYTEA NOT NULL, "
     "PRIMARY KEY (uid, study, series)) PARTITION BY HASH (uid);\n"
     "DO $$ BEGIN FOR part IN 0..15 LOOP\n"
     "EXECUTE format('CREATE TABLE new_instance_%s PARTITION OF new_instance FOR VALUES "
     "WITH (MODULUS 16, REMAINDER %s)', part, part);\n"
     "EXECUTE format('CREATE TABLE new_uid_%s PARTITION OF new_uid FOR VALUES "
     "WITH (MODULUS 16, REMAINDER %s)', part, part);\n"
     "END LOOP; END $$;"},
    {"packed uids", "",
     "INSERT INTO new_uid (study, series, uid) SELECT i.study, i.series, " ORVKIT_PACKED(
         "i.uid") " FROM uid i ORDER BY i.uid;\n"
                  "DROP TABLE uid; ALTER TABLE new_uid RENAME TO uid;"},
    {"old names", "",
     "DO $$ BEGIN FOR part IN 0..15 LOOP\n"
     "EXECUTE format('ALTER TABLE new_instance_%s RENAME TO instance_%s', part, part);\n"
     "EXECUTE format('ALTER TABLE new_uid_%s RENAME TO uid_%s', part, part);\n"
     "END LOOP; END $$;"},
    // By which the file is known.
    {"mark", "PRAGMA application_id = 1869769592;", ""},
    {"is there", "SELECT COUNT(*) FROM sqlite_schema WHERE name = 'orvkit_index'",
     "SELECT CAST(to_regclass('orvkit_index') IS NOT NULL AS INTEGER)"},
    // Around what changes one row, and is trouble where there is none: a transaction can then be sent as a
    // whole.
    {"one row", "", "WITH changed AS ("},
    {"or trouble", "", " RETURNING 1) SELECT 1 / COUNT(*) FROM changed"},
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
