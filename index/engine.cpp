#include "index/session.h"
#include "index/trouble.h"
#include "orvkit/result.h"

namespace orvkit::index {
namespace {

struct Row {
    std::string_view scheme;
    std::unique_ptr<Engine> (*open)(const std::string& place, INDEX_OPEN how, bool fast);
};

#if ORVKIT_WITH_POSTGRESQL
constexpr auto kOpenPostgresql = openPostgresql;
#else
std::unique_ptr<Engine> kOpenPostgresql(const std::string& place, INDEX_OPEN, bool) {
    fail(INDEX_PLACE, tellable(place) + ": this orvkit_index was built without PostgreSQL");
}
#endif

constexpr Row kRows[] = {
    {"sqlite:", openSqlite}, {"postgresql://", kOpenPostgresql}, {"postgres://", kOpenPostgresql}};

}  // namespace

std::string tellable(const std::string& place) {
    std::string text = place;
    const std::size_t user = text.find("://");
    if (user == std::string::npos) return text;
    const std::size_t host = text.rfind('@', text.find('/', user + 3));
    const std::size_t colon = text.find(':', user + 3);
    if (host != std::string::npos && host > user && colon < host) text.erase(colon, host - colon);
    constexpr std::string_view key = "password=";
    for (std::size_t at = text.find(key); at != std::string::npos; at = text.find(key, at + key.size()))
        text.erase(at + key.size(), text.find('&', at) - at - key.size());
    return text;
}

std::unique_ptr<Engine> openEngine(const std::string& where, INDEX_OPEN how, bool fast) {
    for (const Row& row : kRows) {
        if (where.starts_with(row.scheme)) return row.open(where, how, fast);
    }
    fail(INDEX_PLACE,
         tellable(where) +
             ": no such place for an index; it is to be sqlite:PATH or postgresql://HOST/DATABASE");
}

}  // namespace orvkit::index
