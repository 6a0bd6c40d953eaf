#include "index/rows.h"

#include <algorithm>

#include "foundation/text.h"
#include "index/trouble.h"
#include "orvkit/result.h"
#include "orvkit/tags.h"

namespace orvkit::index {
namespace {

constexpr std::size_t kMostPlaces = 1024;

// What is there already in a list of values, or with it.
bool isAmong(std::string_view list, std::string_view value) {
    bool found = false;
    eachValue(list, [&](std::string_view one) { found = found || one == value; });
    return found;
}
std::string with(std::string_view list, const std::string& value) {
    std::vector<std::string> values;
    eachValue(list, [&values](std::string_view one) {
        if (!one.empty()) values.emplace_back(one);
    });
    values.insert(std::upper_bound(values.begin(), values.end(), value), value);
    std::string all;
    for (const std::string& one : values) all += (all.empty() ? "" : "\\") + one;
    return all;
}

bool isAnother(std::string_view known, std::string_view said, unsigned int tag) {
    const std::string_view before = trimmed(valueOf(known, tag));
    const std::string_view now = trimmed(valueOf(said, tag));
    return !before.empty() && !now.empty() && before != now;
}

}  // namespace

void Rows::begin() {
    const std::int64_t foreign = session_.foreignChanges();
    if (foreign != foreign_) forget();
    foreign_ = foreign;
}

void Rows::forget() {
    places_.clear();
    patients_.clear();
    studies_.clear();
    series_.clear();
    terms_.forget();
}

void Rows::settle() {
    for (const auto& [id, added] : patients_) {
        (void)session_
            .kept(
                "UPDATE patient SET studies = studies + $1, series = series + $2, instances = instances + $3 "
                "WHERE id = $4")
            .run(added.studies, added.series, added.instances, id);
    }
    for (const auto& [id, added] : studies_) {
        (void)session_
            .kept(
                "UPDATE study SET series = series + $1, instances = instances + $2, bytes = bytes + $3 "
                "WHERE id = $4")
            .run(added.series, added.instances, added.bytes, id);
    }
    for (const auto& [id, added] : series_) {
        (void)session_.kept("UPDATE series SET instances = instances + $1, bytes = bytes + $2 WHERE id = $3")
            .run(added.instances, added.bytes, id);
    }
    patients_.clear();
    studies_.clear();
    series_.clear();
    if (places_.size() > kMostPlaces) places_.clear();
}

void Rows::count(const Place& place, const Added& added) {
    for (Added* const sum : {&patients_[place.patient], &studies_[place.study], &series_[place.series]}) {
        sum->series += added.series;
        sum->instances += added.instances;
        sum->bytes += added.bytes;
    }
    patients_[place.patient].studies += added.studies;
}

void Rows::addWords(Level level, std::string_view attributes, std::int64_t row) {
    Statement& add =
        session_.kept("INSERT INTO word (kind, form, id) VALUES ($1, $2, $3) ON CONFLICT DO NOTHING");
    for (const Word& word : wordsOf(level, attributes)) (void)add.run(word.kind, word.form, row);
}

std::int64_t Rows::patientOf(const Record& record, unsigned int& conflicts) {
    const Bytes& said = record.attributes[numberOf(Level::patient)];
    Statement& find =
        session_.kept("SELECT id, attributes FROM patient WHERE pid = $1 AND issuer = $2 AND apart = $3");
    if (find.run(record.patientId, record.issuer, record.apart)) {
        const std::int64_t id = find.integer(0);
        for (const unsigned int tag :
             {T_0010_0010_patientsName, T_0010_0030_patientsBirthDate, T_0010_0040_patientsSex}) {
            if (isAnother(find.text(1), said, tag)) conflicts |= INDEX_PATIENT_DIFFERS;
        }
        find.reset();
        return id;
    }
    Statement& add = session_.kept(
        "INSERT INTO patient (pid, issuer, apart, id_form, name_a, name_i, name_p, birth, attributes) "
        "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9) RETURNING id");
    add.reset();
    add.bind(1, record.patientId);
    add.bind(2, record.issuer);
    add.bind(3, record.apart);
    add.bindForm(4, formOf(record.patientId));
    const NameGroups groups = nameGroups(valueOf(said, T_0010_0010_patientsName));
    for (std::size_t i = 0; i < groups.size(); ++i) add.bindForm(static_cast<int>(5 + i), formOf(groups[i]));
    add.bindForm(8, dateForm(valueOf(said, T_0010_0030_patientsBirthDate)));
    add.bindBytes(9, said);
    (void)add.step();
    const std::int64_t id = add.integer(0);
    add.reset();
    addWords(Level::patient, said, id);
    return id;
}

void Rows::findStudy(const Record& record, Place& place, unsigned int& conflicts) {
    Statement& find = session_.kept("SELECT id, classes FROM study WHERE uid = $1 AND patient = $2");
    if (find.run(record.study, place.patient)) {
        place.study = find.integer(0);
        place.classes = find.text(1);
        return find.reset();
    }
    Statement& elsewhere = session_.kept("SELECT 1 FROM study WHERE uid = $1 LIMIT 1");
    if (elsewhere.run(record.study)) conflicts |= INDEX_STUDY_ELSEWHERE;
    elsewhere.reset();
    const Bytes& said = record.attributes[numberOf(Level::study)];
    Statement& add = session_.kept(
        "INSERT INTO study (patient, uid, date, accession, study_id, description, attributes) "
        "VALUES ($1, $2, $3, $4, $5, $6, $7) RETURNING id");
    add.reset();
    add.bind(1, place.patient);
    add.bind(2, record.study);
    add.bindForm(3, dateForm(valueOf(said, T_0008_0020_studyDate)));
    add.bindForm(4, formOf(valueOf(said, T_0008_0050_accessionNumber)));
    add.bindForm(5, formOf(valueOf(said, T_0020_0010_studyId)));
    add.bindForm(6, formOf(valueOf(said, T_0008_1030_studyDescription)));
    add.bindBytes(7, said);
    (void)add.step();
    place.study = add.integer(0);
    add.reset();
    addWords(Level::study, said, place.study);
    ++patients_[place.patient].studies;
}

void Rows::findSeries(const Record& record, Place& place, unsigned int& conflicts) {
    Statement& find = session_.kept("SELECT id, common FROM series WHERE study = $1 AND uid = $2");
    if (find.run(place.study, record.series)) {
        place.series = find.integer(0);
        place.common = find.text(1);
        return find.reset();
    }
    Statement& elsewhere = session_.kept("SELECT 1 FROM series WHERE uid = $1 LIMIT 1");
    if (elsewhere.run(record.series)) conflicts |= INDEX_SERIES_ELSEWHERE;
    elsewhere.reset();
    const Bytes& said = record.attributes[numberOf(Level::series)];
    place.common = record.attributes[numberOf(Level::image)];
    Statement& add = session_.kept(
        "INSERT INTO series (study, uid, modality, date, performed, attributes, common) "
        "VALUES ($1, $2, $3, $4, $5, $6, $7) RETURNING id");
    add.reset();
    add.bind(1, place.study);
    add.bind(2, record.series);
    add.bindForm(3, formOf(record.modality));
    add.bindForm(4, dateForm(valueOf(said, T_0008_0021_seriesDate)));
    add.bindForm(5, dateForm(valueOf(said, T_0040_0244_performedProcedureStepStartDate)));
    add.bindBytes(6, said);
    add.bindBytes(7, place.common);
    (void)add.step();
    place.series = add.integer(0);
    add.reset();
    addWords(Level::series, said, place.series);
    addModality(record, place.study);
    ++patients_[place.patient].series;
    ++studies_[place.study].series;
}

void Rows::addModality(const Record& record, std::int64_t study) {
    if (record.modality.empty()) return;
    Statement& find = session_.kept("SELECT modalities FROM study WHERE id = $1");
    const std::string known = find.run(study) ? std::string(find.text(0)) : "";
    find.reset();
    if (isAmong(known, record.modality)) return;
    (void)session_.kept("UPDATE study SET modalities = $1 WHERE id = $2")
        .run(with(known, record.modality), study);
    (void)session_.kept("INSERT INTO word (kind, form, id) VALUES ($1, $2, $3) ON CONFLICT DO NOTHING")
        .run(kModality, formOf(record.modality), study);
}

void Rows::addClass(const Record& record, Place& place) {
    if (isAmong(place.classes, record.sopClass)) return;
    Statement& find = session_.kept("SELECT classes FROM study WHERE id = $1");
    place.classes = find.run(place.study) ? std::string(find.text(0)) : "";
    find.reset();
    if (isAmong(place.classes, record.sopClass)) return;
    place.classes = with(place.classes, record.sopClass);
    (void)session_.kept("UPDATE study SET classes = $1 WHERE id = $2").run(place.classes, place.study);
}

Rows::Place& Rows::placeOf(const Record& record, unsigned int& conflicts) {
    const std::string key =
        record.series + '\n' + record.study + '\n' + record.patientId + '\n' + record.issuer;
    const auto known = places_.find(key);
    if (known != places_.end()) return known->second;
    Place place;
    place.patient = patientOf(record, conflicts);
    findStudy(record, place, conflicts);
    findSeries(record, place, conflicts);
    return places_[key] = std::move(place);
}

std::int64_t Rows::addAttributes(std::string_view own, const Place& place) {
    const Bytes bytes = difference(place.common, own);
    if (bytes.empty()) return 0;
    Statement& add = session_.kept("INSERT INTO instance_attributes (data) VALUES ($1) RETURNING id");
    add.reset();
    add.bindBytes(1, bytes);
    (void)add.step();
    const std::int64_t id = add.integer(0);
    add.reset();
    return id;
}

void Rows::addInstance(const Record& record, Place& place, std::int64_t copy) {
    const std::int64_t attributes = addAttributes(record.attributes[numberOf(Level::image)], place);
    (void)session_
        .kept(
            "INSERT INTO instance (study, series, uid, copy, class, syntax, size, path, attributes) "
            "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9)")
        .run(place.study, place.series, record.instance, copy, terms_.number(record.sopClass),
             terms_.number(record.xferSyn), record.size, shortPath(record.path, record.instance), attributes);
    (void)session_.kept("INSERT INTO uid (uid, study, series) VALUES ($1, $2, $3) ON CONFLICT DO NOTHING")
        .run(record.instance, place.study, place.series);
    addClass(record, place);
    count(place, {0, 0, 1, static_cast<std::int64_t>(record.size)});
}

void Rows::replaceInstance(const Record& record, const Place& place, std::int64_t size,
                           std::int64_t attributes) {
    if (attributes != 0) (void)session_.kept("DELETE FROM instance_attributes WHERE id = $1").run(attributes);
    (void)session_
        .kept(
            "UPDATE instance SET class = $1, syntax = $2, size = $3, path = $4, attributes = $5 "
            "WHERE study = $6 AND series = $7 AND uid = $8 AND copy = 0")
        .run(terms_.number(record.sopClass), terms_.number(record.xferSyn), record.size,
             shortPath(record.path, record.instance),
             addAttributes(record.attributes[numberOf(Level::image)], place), place.study, place.series,
             record.instance);
    count(place, {0, 0, 0, static_cast<std::int64_t>(record.size) - size});
}

void Rows::store(const Record& record, INDEX_DUPLICATE duplicate, DcIndexStored& stored) {
    stored = {};
    Place& place = placeOf(record, stored.conflicts);
    Statement& find = session_.kept(
        "SELECT copy, path, size, attributes FROM instance WHERE study = $1 AND series = $2 AND uid = $3 "
        "ORDER BY copy");
    if (!find.run(place.study, place.series, record.instance)) {
        Statement& elsewhere = session_.kept("SELECT 1 FROM uid WHERE uid = $1 LIMIT 1");
        if (elsewhere.run(record.instance)) stored.conflicts |= INDEX_INSTANCE_ELSEWHERE;
        elsewhere.reset();
        return addInstance(record, place, 0);
    }
    copyText(stored.other, wholePath(find.text(1), record.instance));
    const std::int64_t size = find.integer(2);
    const std::int64_t attributes = find.integer(3);
    std::int64_t last = find.integer(0);
    bool isThere = false;
    do {
        last = find.integer(0);
        isThere = isThere || wholePath(find.text(1), record.instance) == record.path;
    } while (find.step());
    find.reset();
    if (duplicate == INDEX_REPLACE) {
        stored.what = INDEX_STORED_REPLACED;
        if (record.path == stored.other) stored.other[0] = '\0';
        return replaceInstance(record, place, size, attributes);
    }
    stored.what = duplicate == INDEX_KEEP || isThere ? INDEX_STORED_KEPT : INDEX_STORED_BOTH;
    if (stored.what == INDEX_STORED_BOTH) addInstance(record, place, last + 1);
}

}  // namespace orvkit::index
