#include "index/care.h"

#include "index/schema.h"

namespace orvkit::index {
namespace {

std::uint64_t numberOf(Session& session, const char* sql) {
    const auto statement = session.prepare(sql);
    return statement->step() ? static_cast<std::uint64_t>(statement->integer(0)) : 0;
}

// Rows that should not be, and how they are told: the columns in the places of "%", UIDs of instances in
// those of
// "&".
struct Contradiction {
    const char* told;
    const char* sql;
};
constexpr Contradiction contradictions[] = {
    {"study % has no patient",
     "SELECT s.uid FROM study s WHERE NOT EXISTS (SELECT 1 FROM patient p WHERE p.id = s.patient)"},
    {"series % has no study",
     "SELECT e.uid FROM series e WHERE NOT EXISTS (SELECT 1 FROM study s WHERE s.id = e.study)"},
    {"instance & has no series",
     "SELECT i.uid FROM instance i WHERE NOT EXISTS "
     "(SELECT 1 FROM series e WHERE e.id = i.series AND e.study = i.study)"},
    {"instance & is not found by its UID",
     "SELECT i.uid FROM instance i WHERE NOT EXISTS "
     "(SELECT 1 FROM uid u WHERE u.uid = i.uid AND u.study = i.study AND u.series = i.series)"},
    {"UID & is that of no instance",
     "SELECT u.uid FROM uid u WHERE NOT EXISTS "
     "(SELECT 1 FROM instance i WHERE i.study = u.study AND i.series = u.series AND i.uid = u.uid)"},
    {"series % counts % instances of %",
     "SELECT e.uid, e.instances, COUNT(i.uid) FROM series e "
     "LEFT JOIN instance i ON i.study = e.study AND i.series = e.id GROUP BY e.id "
     "HAVING e.instances <> COUNT(i.uid) OR e.bytes <> COALESCE(SUM(i.size), 0)"},
    {"study % counts % series of %, % instances of %",
     "SELECT s.uid, s.series, COUNT(e.id), s.instances, CAST(COALESCE(SUM(e.instances), 0) AS BIGINT) "
     "FROM study s LEFT JOIN series e ON e.study = s.id "
     "GROUP BY s.id HAVING s.series <> COUNT(e.id) OR s.instances <> COALESCE(SUM(e.instances), 0) OR "
     "s.bytes <> COALESCE(SUM(e.bytes), 0)"},
    {"patient % counts % studies of %, % series of %, % instances of %",
     "SELECT p.pid, p.studies, COUNT(s.id), p.series, CAST(COALESCE(SUM(s.series), 0) AS BIGINT), "
     "p.instances, CAST(COALESCE(SUM(s.instances), 0) AS BIGINT) FROM patient p "
     "LEFT JOIN study s ON s.patient = p.id GROUP BY p.id HAVING p.studies <> COUNT(s.id) OR "
     "p.series <> COALESCE(SUM(s.series), 0) OR p.instances <> COALESCE(SUM(s.instances), 0)"},
};

std::string toldBy(const Contradiction& contradiction, Statement& row) {
    std::string text;
    int column = 0;
    for (const char c : std::string_view(contradiction.told)) {
        if (c == '%') {
            text += row.text(column++);
        } else if (c == '&') {
            text += row.uid(column++);
        } else {
            text += c;
        }
    }
    return text;
}

}  // namespace

DcIndexStats statsOf(Session& session) {
    DcIndexStats stats;
    stats.version = schemaVersion(session);
    stats.patients = numberOf(session, "SELECT COUNT(*) FROM patient");
    stats.studies = numberOf(session, "SELECT COUNT(*) FROM study");
    stats.series = numberOf(session, "SELECT COUNT(*) FROM series");
    stats.instances = numberOf(session, "SELECT CAST(COALESCE(SUM(instances), 0) AS BIGINT) FROM series");
    stats.bytes = numberOf(session, "SELECT CAST(COALESCE(SUM(bytes), 0) AS BIGINT) FROM series");
    stats.attributeBytes =
        numberOf(session,
                 "SELECT CAST(COALESCE((SELECT SUM(LENGTH(attributes)) FROM instance), 0) + "
                 "COALESCE((SELECT SUM(LENGTH(attributes) + LENGTH(common)) FROM series), 0) + "
                 "COALESCE((SELECT SUM(LENGTH(attributes)) FROM study), 0) + "
                 "COALESCE((SELECT SUM(LENGTH(attributes)) FROM patient), 0) AS BIGINT)");
    const std::uint64_t all = session.bytes();
    stats.indexBytes = all > stats.attributeBytes ? all - stats.attributeBytes : 0;
    stats.graves = numberOf(session, "SELECT COUNT(*) FROM grave");
    return stats;
}

bool verify(Session& session, const std::function<bool(const std::string&)>& fault) {
    bool goesOn = true;
    session.verifyPages([&](const std::string& text) { return goesOn = fault(text); });
    for (const Contradiction& one : contradictions) {
        const auto statement = goesOn ? session.stream(one.sql) : nullptr;
        while (goesOn && statement->step()) goesOn = fault(toldBy(one, *statement));
    }
    return goesOn;
}

}  // namespace orvkit::index
