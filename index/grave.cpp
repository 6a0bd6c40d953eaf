// Rows that are taken out, and those above them that are then empty.
#include <algorithm>

#include "index/rows.h"
#include "index/selection.h"
#include "index/trouble.h"
#include "orvkit/result.h"

namespace orvkit::index {

void Rows::dropWords(Level level, std::string_view attributes, std::int64_t row) {
    Statement& drop = session_.kept("DELETE FROM word WHERE kind = $1 AND form = $2 AND id = $3");
    for (const Word& word : wordsOf(level, attributes)) (void)drop.run(word.kind, word.form, row);
}

// Out of the tables of instances: one, of which the attributes' row is known.
void Rows::dropInstance(const InstanceKey& key, std::int64_t attributes) {
    if (attributes != 0) (void)session_.kept("DELETE FROM instance_attributes WHERE id = $1").run(attributes);
    (void)session_.kept("DELETE FROM instance WHERE study = $1 AND series = $2 AND uid = $3 AND copy = $4")
        .run(key.study, key.series, key.uid, key.copy);
    (void)session_
        .kept(
            "DELETE FROM uid WHERE uid = $1 AND study = $2 AND series = $3 AND NOT EXISTS "
            "(SELECT 1 FROM instance i WHERE i.study = $2 AND i.series = $3 AND i.uid = $1)")
        .run(key.uid, key.study, key.series);
}

// Counts that are not what was added, but what is left.
void Rows::recountStudy(std::int64_t study) {
    (void)session_
        .kept(
            "UPDATE study SET "
            "series = (SELECT COUNT(*) FROM series e WHERE e.study = study.id), "
            "instances = (SELECT COALESCE(SUM(e.instances), 0) FROM series e WHERE e.study = study.id), "
            "bytes = (SELECT COALESCE(SUM(e.bytes), 0) FROM series e WHERE e.study = study.id) WHERE id = $1")
        .run(study);
    Statement& modalities = session_.kept("SELECT attributes FROM series WHERE study = $1");
    std::vector<std::string> values;
    for (bool more = modalities.run(study); more; more = modalities.step()) {
        values.emplace_back(trimmed(valueOf(modalities.text(0), 0x00080060)));
    }
    modalities.reset();
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    std::string all;
    for (const std::string& value : values) all += (all.empty() || value.empty() ? "" : "\\") + value;
    Statement& known = session_.kept("SELECT modalities FROM study WHERE id = $1");
    const std::string before = known.run(study) ? std::string(known.text(0)) : "";
    known.reset();
    Statement& drop = session_.kept("DELETE FROM word WHERE kind = $1 AND form = $2 AND id = $3");
    eachValue(before, [&](std::string_view value) {
        if (!std::binary_search(values.begin(), values.end(), value))
            (void)drop.run(kModality, formOf(value), study);
    });
    Statement& classes = session_.kept(
        "SELECT DISTINCT t.uid FROM instance i JOIN term t ON t.id = i.class WHERE i.study = $1 ORDER BY "
        "t.uid");
    std::string uids;
    for (bool more = classes.run(study); more; more = classes.step()) {
        uids += (uids.empty() ? "" : "\\") + std::string(classes.text(0));
    }
    classes.reset();
    (void)session_.kept("UPDATE study SET modalities = $1, classes = $2 WHERE id = $3").run(all, uids, study);
}

// A series that has lost instances, and what is above it.
void Rows::dropEmpty(std::int64_t study, std::int64_t series) {
    (void)session_
        .kept(
            "UPDATE series SET "
            "instances = (SELECT COUNT(*) FROM instance i WHERE i.study = $1 AND i.series = $2), "
            "bytes = (SELECT COALESCE(SUM(i.size), 0) FROM instance i WHERE i.study = $1 AND i.series = $2) "
            "WHERE id = $2")
        .run(study, series);
    const auto dropIfEmpty = [this](Level level, std::int64_t row) {
        const std::string table = rowOf(level).table;
        Statement& find =
            session_.kept("SELECT attributes FROM " + table + " WHERE id = $1 AND instances = 0");
        if (!find.run(row)) return find.reset();
        dropWords(level, Bytes(find.text(0)), row);
        find.reset();
        (void)session_.kept("DELETE FROM " + table + " WHERE id = $1").run(row);
    };
    Statement& above = session_.kept("SELECT patient FROM study WHERE id = $1");
    const std::int64_t patient = above.run(study) ? above.integer(0) : 0;
    above.reset();
    dropIfEmpty(Level::series, series);
    recountStudy(study);
    dropIfEmpty(Level::study, study);
    (void)session_
        .kept(
            "UPDATE patient SET studies = (SELECT COUNT(*) FROM study s WHERE s.patient = patient.id), "
            "series = (SELECT COALESCE(SUM(s.series), 0) FROM study s WHERE s.patient = patient.id), "
            "instances = (SELECT COALESCE(SUM(s.instances), 0) FROM study s WHERE s.patient = patient.id) "
            "WHERE id = $1")
        .run(patient);
    dropIfEmpty(Level::patient, patient);
}

void Rows::bury(const Request& selection, std::int64_t now, DcIndexGrave& grave) {
    grave = {};
    settle();
    const std::vector<SelectedSeries> all = selectSeries(session_, selection);
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
            (void)session_
                .kept(
                    "INSERT INTO grave_instance (grave, study, series, uid, path, class, syntax, size) "
                    "VALUES ($1, $2, $3, $4, $5, $6, $7, $8)")
                .run(number, series.studyUid, series.seriesUid, one.uid, one.path, one.sopClass, one.syntax,
                     one.size);
            dropInstance({series.study, series.series, one.uid, one.copy}, one.attributes);
            ++grave.instances;
            grave.bytes += static_cast<unsigned long long>(one.size);
        }
        dropEmpty(series.study, series.series);
    }
    places_.clear();
    grave.number = static_cast<unsigned long long>(number);
    grave.when = now;
    (void)session_.kept("UPDATE grave SET instances = $1, bytes = $2 WHERE id = $3")
        .run(grave.instances, grave.bytes, number);
}

void Rows::closeGrave(std::int64_t number) {
    Statement& find = session_.kept("SELECT 1 FROM grave WHERE id = $1");
    const bool found = find.run(number);
    find.reset();
    if (!found) fail(INDEX_ABSENT, "there is no grave " + std::to_string(number));
    (void)session_.kept("DELETE FROM grave_instance WHERE grave = $1").run(number);
    (void)session_.kept("DELETE FROM grave WHERE id = $1").run(number);
}

void Rows::forgetFile(const std::string& instance, const std::string& path) {
    settle();
    Statement& find = session_.kept(
        "SELECT i.study, i.series, i.copy, i.attributes, i.path FROM uid u CROSS JOIN instance i "
        "WHERE u.uid = $1 AND i.study = u.study AND i.series = u.series AND i.uid = u.uid");
    for (bool more = find.run(instance); more; more = find.step()) {
        if (wholePath(find.text(4), instance) != path) continue;
        const InstanceKey key{find.integer(0), find.integer(1), instance, find.integer(2)};
        const std::int64_t attributes = find.integer(3);
        find.reset();
        dropInstance(key, attributes);
        dropEmpty(key.study, key.series);
        places_.clear();
        return;
    }
    fail(INDEX_ABSENT, "there is no instance " + instance + " in the file " + path);
}

}  // namespace orvkit::index
