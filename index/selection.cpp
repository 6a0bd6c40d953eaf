#include "index/selection.h"

#include <algorithm>
#include <map>

#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

constexpr std::size_t kValuesAtOnce = 200;  // of a statement
constexpr std::size_t kPage = 500;          // instances that are read at once

const char kColumns[] = "s.patient, e.study, e.id, s.uid, e.uid, e.instances, e.bytes";

SelectedSeries seriesOf(Statement& row) {
    return {row.integer(0),
            row.integer(1),
            row.integer(2),
            std::string(row.text(3)),
            std::string(row.text(4)),
            static_cast<std::uint64_t>(row.integer(5)),
            static_cast<std::uint64_t>(row.integer(6)),
            {}};
}

std::string placeholders(std::size_t from, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) text += (i == 0 ? "$" : ", $") + std::to_string(from + i);
    return text;
}

const std::vector<std::string>* valuesOf(const Request& selection, Level level) {
    const Key* const key = selection.key(rowOf(level).unique);
    return key != nullptr && !key->values.empty() ? &key->values : nullptr;
}

// One statement a level, which goes by the key of that level, or the number of the series; those above are
// looked at in passing.
const char* statementOf(Level level) {
    switch (level) {
        case Level::patient:
            return " FROM patient p CROSS JOIN study s CROSS JOIN series e WHERE s.patient = p.id AND "
                   "e.study = s.id AND p.pid IN (";
        case Level::study:
            return " FROM study s CROSS JOIN patient p CROSS JOIN series e WHERE p.id = s.patient AND "
                   "e.study = s.id AND s.uid IN (";
        case Level::series:
            return " FROM series e CROSS JOIN study s CROSS JOIN patient p WHERE s.id = e.study AND "
                   "p.id = s.patient AND e.uid IN (";
        default:
            return " FROM series e CROSS JOIN study s CROSS JOIN patient p WHERE s.id = e.study AND "
                   "p.id = s.patient AND e.id IN (";
    }
}

// The rows of a statement that ends in a list of values, some hundred of them at a time.
template <typename Value, typename Take>
void eachRow(Session& session, const std::string& sql, const std::vector<Value>& values, Take take) {
    for (std::size_t at = 0; at < values.size(); at += kValuesAtOnce) {
        const std::size_t count = std::min(kValuesAtOnce, values.size() - at);
        const std::string whole = sql + placeholders(1, count) + ")";
        // Each object that is stored is looked up: to prepare that takes longer than to run it.
        const auto made = count > 1 ? session.prepare(whole) : nullptr;
        Statement& find = made != nullptr ? *made : session.kept(whole);
        find.reset();
        for (std::size_t i = 0; i < count; ++i) find.bindAny(static_cast<int>(i + 1), values[at + i]);
        while (find.step()) take(find);
        find.reset();
    }
}

bool isAmong(const std::vector<std::string>* values, std::string_view value) {
    return values == nullptr || std::find(values->begin(), values->end(), value) != values->end();
}

SelectedInstance instanceOf(Statement& row) {
    return {std::string(row.uid(0)), row.integer(1), row.integer(2),
            row.integer(3),          row.integer(4), std::string(row.text(5))};
}

// Each once, in order.
std::vector<SelectedSeries> merged(std::vector<SelectedSeries> all) {
    std::sort(all.begin(), all.end(), [](const SelectedSeries& a, const SelectedSeries& b) {
        return std::pair(a.study, a.series) < std::pair(b.study, b.series);
    });
    std::vector<SelectedSeries> result;
    for (SelectedSeries& one : all) {
        if (result.empty() || result.back().series != one.series) {
            result.push_back(std::move(one));
        } else {
            for (std::string& uid : one.uids) result.back().uids.push_back(std::move(uid));
        }
    }
    for (SelectedSeries& one : result) {
        std::sort(one.uids.begin(), one.uids.end());
        one.uids.erase(std::unique(one.uids.begin(), one.uids.end()), one.uids.end());
    }
    return result;
}

bool giveAll(const std::vector<SelectedInstance>& page,
             const std::function<bool(const SelectedInstance&)>& take) {
    return std::all_of(page.begin(), page.end(), take);
}

}  // namespace

std::vector<SelectedSeries> selectSeries(Session& session, const Request& selection) {
    std::vector<SelectedSeries> all;
    const std::vector<std::string>& values = *valuesOf(selection, selection.level);
    const std::string sql = std::string("SELECT ") + kColumns + ", p.pid" + statementOf(selection.level);
    const auto take = [&](Statement& row) {
        if (isAmong(valuesOf(selection, Level::patient), row.text(7)) &&
            isAmong(valuesOf(selection, Level::study), row.text(3)) &&
            isAmong(valuesOf(selection, Level::series), row.text(4)))
            all.push_back(seriesOf(row));
    };
    if (selection.level != Level::image) {
        eachRow(session, sql, values, take);
        return merged(std::move(all));
    }
    // Most of those that are looked up one by one are not there.
    std::map<std::int64_t, std::vector<std::string>> uids;
    std::vector<Uid> asked;
    asked.reserve(values.size());
    for (const std::string& value : values) asked.push_back({value});
    eachRow(session, "SELECT series, uid FROM uid WHERE uid IN (", asked,
            [&uids](Statement& row) { uids[row.integer(0)].emplace_back(row.uid(1)); });
    std::vector<std::int64_t> series;
    series.reserve(uids.size());
    for (const auto& [id, those] : uids) series.push_back(id);
    eachRow(session, sql, series, take);
    for (SelectedSeries& one : all) one.uids = std::move(uids[one.series]);
    return merged(std::move(all));
}

std::vector<SelectedSeries> nextSeries(Session& session, std::int64_t behind, std::size_t most) {
    Statement& find = session.kept(std::string("SELECT ") + kColumns +
                                   " FROM series e CROSS JOIN study s WHERE e.id > $1 AND s.id = e.study "
                                   "ORDER BY e.id LIMIT $2");
    std::vector<SelectedSeries> all;
    for (bool more = find.run(behind, most); more; more = find.step()) all.push_back(seriesOf(find));
    find.reset();
    return all;
}

bool eachInstance(Session& session, Level level, const SelectedSeries& series,
                  const std::function<bool(const SelectedInstance&)>& take) {
    static const std::string columns =
        "SELECT uid, copy, class, syntax, size, path FROM instance WHERE study = $1 AND series = $2 ";
    std::vector<SelectedInstance> page;
    if (level == Level::image) {
        Statement& find = session.kept(columns + "AND uid = $3 ORDER BY copy");
        for (const std::string& uid : series.uids) {
            page.clear();
            for (bool more = find.run(series.study, series.series, Uid{uid}); more; more = find.step())
                page.push_back(instanceOf(find));
            find.reset();
            if (!giveAll(page, take)) return false;
        }
        return true;
    }
    Statement& find = session.kept(columns + "AND (uid, copy) > ($3, $4) ORDER BY uid, copy LIMIT $5");
    std::string behind;
    std::int64_t copy = -1;
    do {
        page.clear();
        for (bool more = find.run(series.study, series.series, Uid{behind}, copy, kPage); more;
             more = find.step())
            page.push_back(instanceOf(find));
        find.reset();
        if (!giveAll(page, take)) return false;
        if (page.empty()) return true;
        behind = page.back().uid;
        copy = page.back().copy;
    } while (page.size() == kPage);
    return true;
}

}  // namespace orvkit::index
