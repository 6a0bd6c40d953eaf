// Storing where each answer of the engine costs a round trip: whatever comes at once is looked up, and added,
// in lists.
#include "index/rows.h"

namespace orvkit::index {
namespace {

// A column of lists.
template <typename Value, typename Rows, typename Get>
std::vector<Value> columnOf(const Rows& rows, Get get) {
    std::vector<Value> column;
    column.reserve(rows.size());
    for (const auto& row : rows) column.push_back(get(row));
    return column;
}

Lists& listsOf(Statement& statement) {
    statement.reset();
    return *statement.lists();
}

}  // namespace

void Rows::storeInLists(std::span<const Arrival> arrivals) {
    ByUid asked;
    ByUid fresh;
    std::vector<Placed> known;
    std::vector<Arrival> again;  // instances that came twice at once
    for (const Arrival& arrival : arrivals) {
        *arrival.stored = {};
        const std::string& uid = arrival.record->instance;
        Place* const place = &placeOf(*arrival.record, arrival.stored->conflicts);
        if (asked.contains(uid) || fresh.contains(uid)) {
            again.push_back(arrival);
        } else {
            (arrival.duplicate == INDEX_NEW ? fresh : asked)[uid] = {arrival, place};
        }
    }
    if (!asked.empty()) part(asked, fresh, known);
    if (!fresh.empty()) storeFresh(fresh);
    if (!known.empty()) storeKnown(known);
    for (const Arrival& arrival : again) storeOne(arrival);
}

// Fresh is that of which its series has nothing yet.
void Rows::part(const ByUid& asked, ByUid& fresh, std::vector<Placed>& known) {
    Statement& find = session_.kept(
        "SELECT n.at, u.study, u.series FROM unnest($1) WITH ORDINALITY AS n(uid, at) CROSS JOIN uid u "
        "WHERE u.uid = n.uid ORDER BY n.at");
    listsOf(find).bindUids(1, columnOf<std::string>(asked, [](const auto& one) { return one.first; }));
    bool more = find.step();
    std::int64_t at = 0;
    for (const auto& [uid, one] : asked) {
        bool isThere = false;
        bool isElsewhere = false;
        for (++at; more && find.integer(0) == at; more = find.step()) {
            const bool same = find.integer(1) == one.place->study && find.integer(2) == one.place->series;
            (same ? isThere : isElsewhere) = true;
        }
        if (isThere) {
            known.push_back(one);
        } else {
            if (isElsewhere) one.arrival.stored->conflicts |= INDEX_INSTANCE_ELSEWHERE;
            fresh[uid] = one;
        }
    }
    find.reset();
}

// In the order of UIDs: servers that store the same wait for each other in one order.
void Rows::storeFresh(const ByUid& all) {
    const auto numbers = [&all](auto get) {
        return columnOf<std::int64_t>(all, [get](const auto& one) { return get(one.second); });
    };
    const auto texts = [&all](auto get) {
        return columnOf<std::string>(all, [get](const auto& one) { return get(one.second); });
    };
    const auto record = [](const Placed& one) -> const Record& { return *one.arrival.record; };
    const auto studies = numbers([](const Placed& one) { return one.place->study; });
    const auto series = numbers([](const Placed& one) { return one.place->series; });
    const auto uids = texts([&](const Placed& one) { return record(one).instance; });
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
    added.bindNumbers(4, numbers([&](const Placed& one) { return terms_.number(record(one).sopClass); }));
    added.bindNumbers(5, numbers([&](const Placed& one) { return terms_.number(record(one).xferSyn); }));
    added.bindNumbers(
        6, numbers([&](const Placed& one) { return static_cast<std::int64_t>(record(one).size); }));
    added.bindTexts(
        7, texts([&](const Placed& one) { return shortPath(record(one).path, record(one).instance); }));
    added.bindTexts(8, texts([&](const Placed& one) {
                        return difference(one.place->common, record(one).attributes[numberOf(Level::image)]);
                    }));
    add.post(Statement::kAnyRows);
    for (const auto& [uid, one] : all) countNew(record(one), *one.place);
}

void Rows::storeKnown(const std::vector<Placed>& all) {
    Statement& find = session_.kept(
        "SELECT n.at, i.copy, i.path, i.size FROM unnest($1, $2, $3) WITH ORDINALITY AS n(study, series, "
        "uid, at) "
        "CROSS JOIN instance i WHERE i.study = n.study AND i.series = n.series AND i.uid = n.uid ORDER BY 1, "
        "2");
    Lists& lists = listsOf(find);
    lists.bindNumbers(1, columnOf<std::int64_t>(all, [](const Placed& one) { return one.place->study; }));
    lists.bindNumbers(2, columnOf<std::int64_t>(all, [](const Placed& one) { return one.place->series; }));
    lists.bindUids(
        3, columnOf<std::string>(all, [](const Placed& one) { return one.arrival.record->instance; }));
    std::vector<Copies> copies(all.size());
    while (find.step()) {
        const auto at = static_cast<std::size_t>(find.integer(0) - 1);
        copies[at].add(*all[at].arrival.record, find.integer(1), find.text(2), find.integer(3));
    }
    find.reset();
    for (std::size_t i = 0; i < all.size(); ++i) storeBeside(copies[i], all[i]);
}

}  // namespace orvkit::index
