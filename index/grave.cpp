// Rows that are taken out, and those above them that are then empty. They are locked first, in the order in
// which settle writes them: what another server has stored until then is seen, and what it stores later finds
// out.
#include <algorithm>
#include <set>

#include "index/rows.h"
#include "index/trouble.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {

void Rows::lock(const std::set<std::int64_t>& patients, const std::set<std::int64_t>& studies,
                const std::set<std::int64_t>& series) {
    const auto lockAll = [this](Level level, const std::set<std::int64_t>& rows) {
        Statement& statement =
            session_.kept("SELECT id FROM " + std::string(rowOf(level).table) + " WHERE id = $1{locked}");
        for (const std::int64_t row : rows) statement.change(Statement::kAnyRows, row);
    };
    lockAll(Level::patient, patients);
    lockAll(Level::study, studies);
    lockAll(Level::series, series);
}

std::vector<SelectedSeries> Rows::selectLocked(const Request& selection) {
    std::set<std::int64_t> patients;
    std::set<std::int64_t> studies;
    std::set<std::int64_t> series;
    for (const SelectedSeries& one : selectSeries(session_, selection)) {
        patients.insert(one.patient);
        studies.insert(one.study);
        series.insert(one.series);
    }
    lock(patients, studies, series);
    // What nobody has locked is another's that came since: it stays.
    std::vector<SelectedSeries> all = selectSeries(session_, selection);
    std::erase_if(all, [&series](const SelectedSeries& one) { return !series.contains(one.series); });
    return all;
}

void Rows::dropWords(Level level, std::string_view attributes, std::int64_t row) {
    Statement& drop = session_.kept("DELETE FROM word WHERE kind = $1 AND form = $2 AND id = $3");
    for (const Word& word : wordsOf(level, attributes))
        drop.change(Statement::kAnyRows, word.kind, word.form, row);
}

void Rows::dropInstance(const InstanceKey& key) {
    session_.kept("DELETE FROM instance WHERE study = $1 AND series = $2 AND uid = $3 AND copy = $4")
        .change(1, key.study, key.series, Uid{key.uid}, key.copy);
    session_
        .kept(
            "DELETE FROM uid WHERE uid = $1 AND study = $2 AND series = $3 AND NOT EXISTS "
            "(SELECT 1 FROM instance i WHERE i.study = $2 AND i.series = $3 AND i.uid = $1)")
        .change(Statement::kAnyRows, Uid{key.uid}, key.study, key.series);
}

std::string Rows::modalitiesOf(std::int64_t study) {
    Statement& find = session_.kept("SELECT attributes FROM series WHERE study = $1");
    std::set<std::string> values;
    for (bool more = find.run(study); more; more = find.step()) {
        values.emplace(trimmed(valueOf(find.text(0), T_0008_0060_modality)));
    }
    find.reset();
    std::string all;
    for (const std::string& value : values) all += (all.empty() || value.empty() ? "" : "\\") + value;
    return all;
}

std::string Rows::classesOf(std::int64_t study) {
    Statement& find = session_.kept(
        "SELECT DISTINCT t.uid FROM instance i JOIN term t ON t.id = i.class WHERE i.study = $1 ORDER BY "
        "t.uid");
    std::string uids;
    for (bool more = find.run(study); more; more = find.step()) {
        uids += (uids.empty() ? "" : "\\") + std::string(find.text(0));
    }
    find.reset();
    return uids;
}

// Counts that are not what was added, but what is left.
void Rows::recountSeries(std::int64_t study, std::int64_t series) {
    session_
        .kept(
            "UPDATE series SET "
            "instances = (SELECT COUNT(*) FROM instance i WHERE i.study = $1 AND i.series = $2), "
            "bytes = (SELECT COALESCE(SUM(i.size), 0) FROM instance i WHERE i.study = $1 AND i.series = $2) "
            "WHERE id = $2")
        .change(1, study, series);
}

void Rows::recountStudy(std::int64_t study) {
    session_
        .kept(
            "UPDATE study SET "
            "series = (SELECT COUNT(*) FROM series e WHERE e.study = study.id), "
            "instances = (SELECT COALESCE(SUM(e.instances), 0) FROM series e WHERE e.study = study.id), "
            "bytes = (SELECT COALESCE(SUM(e.bytes), 0) FROM series e WHERE e.study = study.id) WHERE id = $1")
        .change(1, study);
    const std::string modalities = modalitiesOf(study);
    Statement& known = session_.kept("SELECT modalities FROM study WHERE id = $1");
    const std::string before = known.run(study) ? std::string(known.text(0)) : "";
    known.reset();
    std::set<std::string, std::less<>> left;
    eachValue(modalities, [&left](std::string_view value) { left.emplace(value); });
    Statement& drop = session_.kept("DELETE FROM word WHERE kind = $1 AND form = $2 AND id = $3");
    eachValue(before, [&](std::string_view value) {
        if (!left.contains(value)) drop.change(Statement::kAnyRows, kModality, formOf(value), study);
    });
    session_.kept("UPDATE study SET modalities = $1, classes = $2 WHERE id = $3")
        .change(1, modalities, classesOf(study), study);
}

void Rows::recountPatient(std::int64_t patient) {
    session_
        .kept(
            "UPDATE patient SET studies = (SELECT COUNT(*) FROM study s WHERE s.patient = patient.id), "
            "series = (SELECT COALESCE(SUM(s.series), 0) FROM study s WHERE s.patient = patient.id), "
            "instances = (SELECT COALESCE(SUM(s.instances), 0) FROM study s WHERE s.patient = patient.id) "
            "WHERE id = $1")
        .change(1, patient);
}

void Rows::dropIfEmpty(Level level, std::int64_t row) {
    const std::string table = rowOf(level).table;
    Statement& find = session_.kept("SELECT attributes FROM " + table + " WHERE id = $1 AND instances = 0");
    if (!find.run(row)) return find.reset();
    dropWords(level, Bytes(find.text(0)), row);
    find.reset();
    session_.kept("DELETE FROM " + table + " WHERE id = $1").change(1, row);
}

// A series that has lost instances, and what is above it.
void Rows::dropEmpty(const SelectedSeries& series) {
    recountSeries(series.study, series.series);
    dropIfEmpty(Level::series, series.series);
    recountStudy(series.study);
    dropIfEmpty(Level::study, series.study);
    recountPatient(series.patient);
    dropIfEmpty(Level::patient, series.patient);
}

void Rows::buryInstance(std::int64_t grave, const SelectedSeries& series, const SelectedInstance& one) {
    session_
        .kept(
            "INSERT INTO grave_instance (grave, study, series, uid, path, class, syntax, size) "
            "VALUES ($1, $2, $3, $4, $5, $6, $7, $8)")
        .change(1, grave, series.studyUid, series.seriesUid, one.uid, one.path, one.sopClass, one.syntax,
                one.size);
    dropInstance({series.study, series.series, one.uid, one.copy});
}

void Rows::bury(const Request& selection, std::int64_t now, DcIndexGrave& grave) {
    grave = {};
    settle();
    const std::vector<SelectedSeries> all = selectLocked(selection);
    if (all.empty()) return;
    Statement& add =
        session_.kept("INSERT INTO grave (made, instances, bytes) VALUES ($1, 0, 0) RETURNING id");
    (void)add.run(now);
    const std::int64_t number = add.integer(0);
    add.reset();
    for (const SelectedSeries& series : all) {
        std::vector<SelectedInstance> instances;
        eachInstance(session_, selection.level, series,
                     [&instances](const SelectedInstance& one) { return instances.push_back(one), true; });
        for (const SelectedInstance& one : instances) {
            buryInstance(number, series, one);
            ++grave.instances;
            grave.bytes += static_cast<unsigned long long>(one.size);
        }
        dropEmpty(series);
    }
    forget();
    grave.number = static_cast<unsigned long long>(number);
    grave.when = now;
    session_.kept("UPDATE grave SET instances = $1, bytes = $2 WHERE id = $3")
        .change(1, grave.instances, grave.bytes, number);
}

void Rows::closeGrave(std::int64_t number) {
    Statement& find = session_.kept("SELECT 1 FROM grave WHERE id = $1{locked}");
    const bool found = find.run(number);
    find.reset();
    if (!found) fail(INDEX_ABSENT, "there is no grave " + std::to_string(number));
    session_.kept("DELETE FROM grave_instance WHERE grave = $1").change(Statement::kAnyRows, number);
    session_.kept("DELETE FROM grave WHERE id = $1").change(1, number);
}

void Rows::forgetFile(const std::string& instance, const std::string& path) {
    settle();
    Statement& find = session_.kept(
        "SELECT i.study, i.series, i.copy, i.path, s.patient FROM uid u CROSS JOIN instance i "
        "CROSS JOIN study s WHERE u.uid = $1 AND i.study = u.study AND i.series = u.series AND "
        "i.uid = u.uid{as it comes} AND s.id = u.study");
    for (bool more = find.run(Uid{instance}); more; more = find.step()) {
        if (wholePath(find.text(3), instance) != path) continue;
        const InstanceKey key{find.integer(0), find.integer(1), instance, find.integer(2)};
        SelectedSeries series;
        series.patient = find.integer(4);
        series.study = key.study;
        series.series = key.series;
        find.reset();
        lock({series.patient}, {series.study}, {series.series});
        dropInstance(key);
        dropEmpty(series);
        return forget();
    }
    fail(INDEX_ABSENT, "there is no instance " + instance + " in the file " + path);
}

}  // namespace orvkit::index
