#include "index/care.h"

#include "index/schema.h"

namespace orvkit::index {
namespace {

std::uint64_t numberOf(Session& session, const char* sql) {
    const auto statement = session.prepare(sql);
    return statement->step() ? static_cast<std::uint64_t>(statement->integer(0)) : 0;
}

// Rows that should not be: each statement gives what to tell of one.
constexpr const char* contradictions[] = {
    "SELECT 'study ' || s.uid || ' has no patient' FROM study s WHERE NOT EXISTS "
    "(SELECT 1 FROM patient p WHERE p.id = s.patient)",
    "SELECT 'series ' || e.uid || ' has no study' FROM series e WHERE NOT EXISTS "
    "(SELECT 1 FROM study s WHERE s.id = e.study)",
    "SELECT 'instance ' || i.uid || ' has no series' FROM instance i WHERE NOT EXISTS "
    "(SELECT 1 FROM series e WHERE e.id = i.series AND e.study = i.study)",
    "SELECT 'instance ' || i.uid || ' is not found by its UID' FROM instance i WHERE NOT EXISTS "
    "(SELECT 1 FROM uid u WHERE u.uid = i.uid AND u.study = i.study AND u.series = i.series)",
    "SELECT 'UID ' || u.uid || ' is that of no instance' FROM uid u WHERE NOT EXISTS "
    "(SELECT 1 FROM instance i WHERE i.study = u.study AND i.series = u.series AND i.uid = u.uid)",
    "SELECT 'instance ' || i.uid || ' has lost its attributes' FROM instance i WHERE i.attributes <> 0 AND "
    "NOT EXISTS (SELECT 1 FROM instance_attributes a WHERE a.id = i.attributes)",
    "SELECT 'series ' || e.uid || ' counts ' || e.instances || ' instances of ' || COUNT(i.uid) FROM series "
    "e "
    "LEFT JOIN instance i ON i.study = e.study AND i.series = e.id GROUP BY e.id "
    "HAVING e.instances <> COUNT(i.uid) OR e.bytes <> COALESCE(SUM(i.size), 0)",
    "SELECT 'study ' || s.uid || ' counts ' || s.series || ' series of ' || COUNT(e.id) || ', ' || "
    "s.instances "
    "|| ' instances of ' || COALESCE(SUM(e.instances), 0) FROM study s LEFT JOIN series e ON e.study = s.id "
    "GROUP BY s.id HAVING s.series <> COUNT(e.id) OR s.instances <> COALESCE(SUM(e.instances), 0) OR "
    "s.bytes <> COALESCE(SUM(e.bytes), 0)",
    "SELECT 'patient ' || p.pid || ' counts ' || p.studies || ' studies of ' || COUNT(s.id) FROM patient p "
    "LEFT JOIN study s ON s.patient = p.id GROUP BY p.id HAVING p.studies <> COUNT(s.id) OR "
    "p.series <> COALESCE(SUM(s.series), 0) OR p.instances <> COALESCE(SUM(s.instances), 0)",
};

}  // namespace

DcIndexStats statsOf(Session& session) {
    DcIndexStats stats;
    stats.version = schemaVersion(session);
    stats.patients = numberOf(session, "SELECT COUNT(*) FROM patient");
    stats.studies = numberOf(session, "SELECT COUNT(*) FROM study");
    stats.series = numberOf(session, "SELECT COUNT(*) FROM series");
    stats.instances = numberOf(session, "SELECT COALESCE(SUM(instances), 0) FROM series");
    stats.bytes = numberOf(session, "SELECT COALESCE(SUM(bytes), 0) FROM series");
    stats.attributeBytes =
        numberOf(session,
                 "SELECT COALESCE((SELECT SUM(LENGTH(data)) FROM instance_attributes), 0) + "
                 "COALESCE((SELECT SUM(LENGTH(attributes) + LENGTH(common)) FROM series), 0) + "
                 "COALESCE((SELECT SUM(LENGTH(attributes)) FROM study), 0) + "
                 "COALESCE((SELECT SUM(LENGTH(attributes)) FROM patient), 0)");
    const std::uint64_t all = session.bytes();
    stats.indexBytes = all > stats.attributeBytes ? all - stats.attributeBytes : 0;
    stats.graves = numberOf(session, "SELECT COUNT(*) FROM grave");
    return stats;
}

bool verify(Session& session, const std::function<bool(const std::string&)>& fault) {
    bool goesOn = true;
    session.verifyPages([&](const std::string& text) { return goesOn = fault(text); });
    for (const char* const sql : contradictions) {
        const auto statement = goesOn ? session.prepare(sql) : nullptr;
        while (goesOn && statement->step()) goesOn = fault(std::string(statement->text(0)));
    }
    return goesOn;
}

}  // namespace orvkit::index
