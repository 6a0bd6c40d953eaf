#include "index/session.h"
#include "index/trouble.h"
#include "orvkit/result.h"

namespace orvkit::index {

std::unique_ptr<Engine> openEngine(const std::string& where, INDEX_OPEN how, bool fast) {
    struct Row {
        std::string_view scheme;
        std::unique_ptr<Engine> (*open)(const std::string& rest, INDEX_OPEN how, bool fast);
    };
    static constexpr Row rows[] = {{"sqlite:", openSqlite}};
    for (const Row& row : rows) {
        if (where.starts_with(row.scheme)) return row.open(where.substr(row.scheme.size()), how, fast);
    }
    fail(INDEX_PLACE, where + ": no such place for an index; it is to be sqlite:PATH");
}

}  // namespace orvkit::index
