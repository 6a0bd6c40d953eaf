// Storing where each answer of the engine costs a round trip: whatever is new comes in lists, behind one
// look-up for all.
#include <algorithm>
#include <set>

#include "index/rows.h"

namespace orvkit::index {
namespace {

// A column of rows that are added.
template <typename Value, typename Row, typename Get>
std::vector<Value> columnOf(const std::vector<Row>& rows, Get get) {
    std::vector<Value> column;
    column.reserve(rows.size());
    for (const Row& row : rows) column.push_back(get(row));
    return column;
}

Lists& listsOf(Statement& statement) {
    statement.reset();
    return *statement.lists();
}

}  // namespace

void Rows::storeInLists(std::span<const Arrival> arrivals) {
    std::vector<Fresh> fresh;
    std::vector<Arrival> others;
    std::map<std::string, Placed> asked;
    std::set<std::string_view> uids;
    for (const Arrival& arrival : arrivals) {
        *arrival.stored = {};
        const Record& record = *arrival.record;
        const Place& place = placeOf(record, arrival.stored->conflicts);
        if (!uids.insert(record.instance).second) {
            others.push_back(arrival);
        } else if (arrival.duplicate == INDEX_NEW) {
            fresh.push_back({&record, &place});
        } else {
            asked[record.instance] = {arrival, &place};
        }
    }
    if (!asked.empty()) ask(asked, fresh, others);
    // Servers that store the same wait for each other in one order.
    std::ranges::sort(fresh, {}, [](const Fresh& one) -> const std::string& { return one.record->instance; });
    if (!fresh.empty()) addInstances(fresh);
    for (const Arrival& other : others) storeOne(other);
}

// Which of them are fresh.
void Rows::ask(const std::map<std::string, Placed>& asked, std::vector<Fresh>& fresh,
               std::vector<Arrival>& others) {
    Statement& find = session_.kept(
        "SELECT n.at, u.study, u.series FROM unnest($1) WITH ORDINALITY AS n(uid, at) CROSS JOIN uid u "
        "WHERE u.uid = n.uid ORDER BY n.at");
    std::vector<std::string> uids;
    for (const auto& [uid, one] : asked) uids.push_back(uid);
    listsOf(find).bindUids(1, uids);
    bool more = find.step();
    std::int64_t at = 0;
    for (const auto& [uid, one] : asked) {
        const auto& [arrival, place] = one;
        bool known = false;
        for (++at; more && find.integer(0) == at; more = find.step()) {
            const bool same = find.integer(1) == place->study && find.integer(2) == place->series;
            known = known || same;
            if (!same) arrival.stored->conflicts |= INDEX_INSTANCE_ELSEWHERE;
        }
        if (known) {
            others.push_back(arrival);
        } else {
            fresh.push_back({arrival.record, place});
        }
    }
    find.reset();
}

void Rows::addInstances(const std::vector<Fresh>& all) {
    const auto numbers = [&all](auto get) { return columnOf<std::int64_t>(all, get); };
    const auto texts = [&all](auto get) { return columnOf<std::string>(all, get); };
    const std::vector<std::int64_t> studies = numbers([](const Fresh& one) { return one.place->study; });
    const std::vector<std::int64_t> series = numbers([](const Fresh& one) { return one.place->series; });
    const std::vector<std::string> uids = texts([](const Fresh& one) { return one.record->instance; });
    Statement& name = session_.kept("INSERT INTO uid (study, series, uid) SELECT * FROM unnest($1, $2, $3)");
    Lists& named = listsOf(name);
    named.bindNumbers(1, studies);
    named.bindNumbers(2, series);
    named.bindUids(3, uids);
    name.post(Statement::kAnyRows);
    Statement& add = session_.kept(
        "INSERT INTO instance (copy, study, series, uid, class, syntax, size, path, attributes) "
        "SELECT 0, * FROM unnest($1, $2, $3, $4, $5, $6, $7, $8)");
    Lists& added = listsOf(add);
    added.bindNumbers(1, studies);
    added.bindNumbers(2, series);
    added.bindUids(3, uids);
    added.bindNumbers(4, numbers([this](const Fresh& one) { return terms_.number(one.record->sopClass); }));
    added.bindNumbers(5, numbers([this](const Fresh& one) { return terms_.number(one.record->xferSyn); }));
    added.bindNumbers(6,
                      numbers([](const Fresh& one) { return static_cast<std::int64_t>(one.record->size); }));
    added.bindTexts(
        7, texts([](const Fresh& one) { return shortPath(one.record->path, one.record->instance); }));
    added.bindTexts(8, texts([](const Fresh& one) {
                        return difference(one.place->common, one.record->attributes[numberOf(Level::image)]);
                    }));
    add.post(Statement::kAnyRows);
    for (const Fresh& one : all) countNew(*one.record, *one.place);
}

}  // namespace orvkit::index
