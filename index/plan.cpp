#include "index/plan.h"

#include <algorithm>
#include <limits>

#include "index/forms.h"
#include "index/terms.h"

namespace orvkit::index {
namespace {

constexpr std::size_t kSlice = 200;      // UIDs of a statement
constexpr std::size_t kMostValues = 50;  // of another key, or of a UID that is looked at in passing
constexpr std::int64_t kEnough = 1000;   // rows that are counted to compare keys

// A value as far as an index can tell: its beginning, or all of it.
struct Beginning {
    std::string form;
    bool whole = false;
};
Beginning beginningOf(const std::string& value) {
    const std::size_t end = value.find_first_of("*?");
    return {formOf(value.substr(0, end)), end == std::string::npos};
}

void addMatch(Sql& sql, const std::string& column, const Beginning& beginning) {
    if (beginning.whole) {
        (sql << column << " = ").put(beginning.form);
    } else {
        (sql << "(" << column << " >= ").put(beginning.form);
        (sql << " AND " << column << " < ").put(behindAll(beginning.form));
        sql << ")";
    }
}

template <typename Items, typename Add>
void addAnyOf(Sql& sql, const Items& items, Add add) {
    sql << "(";
    bool first = true;
    for (const auto& item : items) {
        if (!first) sql << " OR ";
        first = false;
        add(item);
    }
    sql << ")";
}

// A key that the index may be searched by.
struct Candidate {
    const SearchRow* row = nullptr;
    const Key* key = nullptr;
    std::vector<Beginning> beginnings;  // of texts, words and names
    std::size_t group = 3;              // of names: the component group that is asked for, or any

    std::string column(std::string_view alias) const { return std::string(alias) + "." + row->column; }
};

// Groups of a name's key that has them; those of any other are the whole key.
bool takeName(const Key& key, Candidate& candidate) {
    if (key.fuzzy || key.values.size() != 1) return false;
    const NameGroups groups = nameGroups(key.values[0]);
    const bool apart = key.values[0].find('=') != std::string::npos;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        const Beginning beginning = beginningOf(groups[i]);
        if (beginning.form.empty()) continue;
        candidate.group = apart ? i : 3;
        candidate.beginnings = {beginning};
        return true;
    }
    return false;
}

// Whether there is something of it to search by.
bool take(const SearchRow& row, const Key& key, Candidate& candidate) {
    candidate.row = &row;
    candidate.key = &key;
    if (key.isUniversal() || key.empty) return false;
    if (row.search == Search::uid) return true;
    if (row.search == Search::date) return !key.ranges.empty() && key.ranges.size() <= kMostValues;
    if (row.search == Search::name) return takeName(key, candidate);
    if (row.search == Search::names) {
        if (key.fuzzy || key.values.size() != 1 || key.values[0].find('=') != std::string::npos) return false;
        candidate.beginnings = {beginningOf(nameGroups(key.values[0])[0])};
        return !candidate.beginnings[0].form.empty();
    }
    if (key.values.size() > kMostValues) return false;
    for (const std::string& value : key.values) candidate.beginnings.push_back(beginningOf(value));
    return std::none_of(candidate.beginnings.begin(), candidate.beginnings.end(),
                        [](const Beginning& b) { return b.form.empty(); });
}

// Of names that are searched for fuzzily: the longest word.
bool takeFuzzy(const Key& key, Candidate& candidate) {
    static constexpr SearchRow row{0x00100010, 0, Level::patient, Search::words, nullptr, kNameWord};
    if (!key.fuzzy || key.values.size() != 1) return false;
    Beginning longest;
    for (const std::string& word : nameWords(key.values[0])) {
        const std::string front = word.substr(0, word.find_first_of("*?"));
        if (front.size() > longest.form.size()) longest.form = front;
    }
    candidate = {&row, &key, {longest}, 3};
    return !longest.form.empty();
}

std::vector<Candidate> candidatesOf(const Request& request) {
    std::vector<Candidate> all;
    for (const SearchRow& row : searches()) {
        const Key* key = row.level <= request.level ? request.key(row.tag) : nullptr;
        if (key == nullptr) continue;
        Candidate candidate;
        if (row.search == Search::name && takeFuzzy(*key, candidate)) all.push_back(candidate);
        if (row.within != 0) {
            const auto inner = std::find_if(key->item.begin(), key->item.end(),
                                            [&row](const Key& k) { return k.tag == row.within; });
            key = inner != key->item.end() ? &*inner : nullptr;
        }
        candidate = {};
        if (key != nullptr && take(row, *key, candidate)) all.push_back(candidate);
    }
    return all;
}

std::string dayText(std::int64_t day) {
    // Back from the days since 0000-03-01.
    const std::int64_t era = day / 146097;
    const std::int64_t ofEra = day % 146097;
    const std::int64_t year = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * year + year / 4 - year / 100);
    const std::int64_t part = (5 * ofYear + 2) / 153;
    const std::int64_t month = part < 10 ? part + 3 : part - 9;
    char text[32];
    std::snprintf(text, sizeof text, "%04d%02d%02d",
                  static_cast<int>(year + era * 400 + (month <= 2 ? 1 : 0)), static_cast<int>(month),
                  static_cast<int>(ofYear - (153 * part + 2) / 5 + 1));
    return text;
}

// `spare` days more at both ends, where times have zones.
void addDates(Sql& sql, const std::string& column, const std::vector<Range>& ranges, std::int64_t spare) {
    addAnyOf(sql, ranges, [&](const Range& range) {
        sql << "(";
        if (range.from.has_value())
            (sql << column << " >= ")
                .put(dayText(std::max<std::int64_t>(range.from->from / kDay - spare, 0)));
        if (range.from.has_value() && range.to.has_value()) sql << " AND ";
        if (range.to.has_value()) (sql << column << " <= ").put(dayText(range.to->to / kDay + spare));
        sql << ")";
    });
}

// The condition of a key on rows of its own table, or of words.
void addCondition(Sql& sql, const Candidate& candidate, const std::string& column, const Request& request) {
    switch (candidate.row->search) {
        case Search::uid:
            return addAnyOf(sql, candidate.key->patterns, [&](const std::string& uid) {
                const bool ofInstance = candidate.row->level == Level::image;
                (sql << column << " = ").put(ofInstance ? Sql::Value(Uid{uid}) : Sql::Value(uid));
            });
        case Search::date:
            return addDates(sql, column, candidate.key->ranges, request.offset.has_value() ? 1 : 0);
        default:
            return addAnyOf(sql, candidate.beginnings, [&](const Beginning& b) { addMatch(sql, column, b); });
    }
}

void addNameCondition(Sql& sql, const Candidate& candidate) {
    static constexpr const char* columns[] = {"p.name_a", "p.name_i", "p.name_p"};
    if (candidate.group < 3) return addMatch(sql, columns[candidate.group], candidate.beginnings[0]);
    addAnyOf(sql, columns, [&](const char* column) { addMatch(sql, column, candidate.beginnings[0]); });
}

void addDriver(Sql& sql, const Candidate& candidate, const Request& request) {
    const LevelRow& level = rowOf(candidate.row->level);
    if (candidate.row->column == nullptr) {
        (sql << "w.kind = ").put(std::int64_t{candidate.row->kind});
        sql << " AND ";
        return addCondition(sql, candidate, "w.form", request);
    }
    if (candidate.row->search == Search::name) return addNameCondition(sql, candidate);
    const bool isImage = candidate.row->level == Level::image;
    addCondition(sql, candidate, isImage ? "u.uid" : candidate.column(level.alias), request);
}

// How many rows a key leaves, as far as that matters.
std::int64_t estimate(Session& session, const Candidate& candidate, const Request& request) {
    const LevelRow& level = rowOf(candidate.row->level);
    Sql sql;
    sql << "SELECT COUNT(*) FROM (SELECT 1 FROM ";
    if (candidate.row->column == nullptr) {
        sql << "word w";
    } else {
        sql << level.table << " " << level.alias;
    }
    sql << " WHERE ";
    addDriver(sql, candidate, request);
    (sql << " LIMIT ").put(kEnough);
    sql << ") AS counted";
    const auto count = session.prepare(sql.text());
    sql.bindTo(*count);
    return count->step() ? count->integer(0) : kEnough;
}

const Candidate* choose(Session& session, const std::vector<Candidate>& candidates, const Request& request) {
    if (candidates.empty()) return nullptr;
    // UIDs stand first, from below.
    if (candidates[0].row->search == Search::uid || candidates.size() == 1) return candidates.data();
    const Candidate* best = nullptr;
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (const Candidate& candidate : candidates) {
        const std::int64_t rows = estimate(session, candidate, request);
        if (rows < least) best = &candidate;
        least = std::min(least, rows);
    }
    return best;
}

std::string join(Level level, Level from) {
    switch (level) {
        case Level::patient:
            return "p.id = s.patient";
        case Level::study:
            return from > Level::study ? "s.id = e.study" : "s.patient = p.id";
        case Level::series:
            return from > Level::series ? "e.id = i.series" : "e.study = s.id";
        default:
            return "i.study = e.study AND i.series = e.id";
    }
}

// The tables in the order in which they are gone through, and how their rows hang together.
void addTables(Sql& sql, const Candidate* driver, Level level) {
    const Level first = driver != nullptr ? driver->row->level : level;
    std::string where;
    std::string from;
    const auto add = [&](Level next, const std::string& on) {
        const LevelRow& row = rowOf(next);
        from += (from.empty() ? "" : " CROSS JOIN ") + std::string(row.table) + " " + row.alias;
        where += (where.empty() || on.empty() ? "" : " AND ") + on;
    };
    if (driver != nullptr && driver->row->level == Level::image) {
        from = "uid u";
        add(Level::image, "i.study = u.study AND i.series = u.series AND i.uid = u.uid{as it comes}");
    } else if (driver != nullptr && driver->row->column == nullptr) {
        from = "word w";
        add(first, std::string(rowOf(first).alias) + ".id = w.id");
    } else {
        add(first, "");
    }
    for (std::size_t i = numberOf(first); i-- > 0;)
        add(static_cast<Level>(i), join(static_cast<Level>(i), first));
    for (std::size_t i = numberOf(first) + 1; i <= numberOf(level); ++i)
        add(static_cast<Level>(i), join(static_cast<Level>(i), first));
    sql << " FROM " << from << " WHERE " << (where.empty() ? "1 = 1" : where);
}

void addColumns(Sql& sql, Level level) {
    static constexpr const char* columns[] = {
        "p.attributes, p.studies, p.series, p.instances",
        ", s.attributes, s.uid, s.modalities, s.classes, s.series, s.instances",
        ", e.attributes, e.uid, e.instances, e.common",
        ", i.uid, i.class, i.attributes",
    };
    sql << "SELECT ";
    for (std::size_t i = 0; i <= numberOf(level); ++i) sql << columns[i];
    sql << (level == Level::image ? ", i.copy, e.id" : std::string(", ") + rowOf(level).alias + ".id");
}

// What other keys say of columns that come anyhow saves the look at attributes.
void addFilters(Sql& sql, const std::vector<Candidate>& candidates, const Candidate* driver,
                const Request& request) {
    for (const Candidate& other : candidates) {
        const bool isSimple = other.row->column != nullptr && other.row->search != Search::name;
        if (&other == driver || !isSimple || other.key->patterns.size() > kMostValues) continue;
        sql << " AND ";
        addCondition(sql, other, "{no index}" + other.column(rowOf(other.row->level).alias), request);
    }
}

// What no value can be matches nothing.
bool isHopeless(const Key& key) {
    const bool isTime = key.vr == VR_DA || key.vr == VR_TM || key.vr == VR_DT;
    return isTime && !key.values.empty() && key.ranges.empty();
}

}  // namespace

int Columns::row(Level level) {
    static constexpr int behind[] = {studyAttributes, seriesAttributes, instanceUid, ownAttributes + 1};
    return behind[numberOf(level)];
}

Plan makePlan(Session& session, const Request& request) {
    Plan plan;
    if (std::any_of(request.narrowing.begin(), request.narrowing.end(), isHopeless)) return plan;
    const std::vector<Candidate> candidates = candidatesOf(request);
    const Candidate* const driver = choose(session, candidates, request);
    plan.everything = driver == nullptr;
    plan.repeats = driver != nullptr && driver->row->column == nullptr &&
                   (driver->beginnings.size() > 1 || !driver->beginnings[0].whole);
    const auto addStatement = [&](const Candidate* by) {
        Sql& sql = plan.statements.emplace_back();
        addColumns(sql, request.level);
        addTables(sql, by, request.level);
        if (by != nullptr) {
            sql << " AND ";
            addDriver(sql, *by, request);
        }
        addFilters(sql, candidates, driver, request);
    };
    if (driver == nullptr || driver->row->search != Search::uid) {
        addStatement(driver);
        return plan;
    }
    std::vector<std::string> uids = driver->key->patterns;
    uids.erase(std::unique(uids.begin(), uids.end()), uids.end());
    for (std::size_t at = 0; at < uids.size(); at += kSlice) {
        Key slice;
        slice.tag = driver->key->tag;
        slice.patterns.assign(uids.begin() + static_cast<std::ptrdiff_t>(at),
                              uids.begin() + static_cast<std::ptrdiff_t>(std::min(uids.size(), at + kSlice)));
        const Candidate part{driver->row, &slice, {}, 3};
        addStatement(&part);
    }
    return plan;
}

}  // namespace orvkit::index
