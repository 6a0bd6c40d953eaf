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

// Of the row that is added.
std::int64_t idOf(Statement& add) {
    if (!add.step()) fail(INDEX_BUSY, "another server has stored the same", Remedy::again);
    const std::int64_t id = add.integer(0);
    add.reset();
    return id;
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
    contents_.clear();
    patients_.clear();
    studies_.clear();
    series_.clear();
    terms_.forget();
}

// Patients first, then studies, then series, each by its number: whoever changes several rows that others may
// change takes them in this order, and nobody waits for somebody who waits for him.
void Rows::settle() {
    for (const auto& [id, added] : patients_) {
        session_
            .kept(
                "{one row}UPDATE patient SET studies = studies + $1, series = series + $2, "
                "instances = instances + $3 WHERE id = $4{or trouble}")
            .change(1, added.studies, added.series, added.instances, id);
    }
    for (const auto& [id, added] : studies_) {
        auto& [before, now] = contents_[id];
        session_
            .kept(
                "{one row}UPDATE study SET series = series + $1, instances = instances + $2, bytes = bytes + "
                "$3, "
                "modalities = $4, classes = $5 WHERE id = $6 AND modalities = $7 AND classes = $8{or "
                "trouble}")
            .change(1, added.series, added.instances, added.bytes, now.modalities, now.classes, id,
                    before.modalities, before.classes);
        before = now;
    }
    for (const auto& [id, added] : series_) {
        session_
            .kept(
                "{one row}UPDATE series SET instances = instances + $1, bytes = bytes + $2 "
                "WHERE id = $3{or trouble}")
            .change(1, added.instances, added.bytes, id);
    }
    patients_.clear();
    studies_.clear();
    series_.clear();
    if (places_.size() <= kMostPlaces) return;
    places_.clear();
    contents_.clear();
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
    for (const Word& word : wordsOf(level, attributes)) {
        add.change(Statement::kAnyRows, word.kind, word.form, row);
    }
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
        "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9) ON CONFLICT DO NOTHING RETURNING id");
    add.reset();
    add.bind(1, record.patientId);
    add.bind(2, record.issuer);
    add.bind(3, record.apart);
    add.bindForm(4, formOf(record.patientId));
    const NameGroups groups = nameGroups(valueOf(said, T_0010_0010_patientsName));
    for (std::size_t i = 0; i < groups.size(); ++i) add.bindForm(static_cast<int>(5 + i), formOf(groups[i]));
    add.bindForm(8, dateForm(valueOf(said, T_0010_0030_patientsBirthDate)));
    add.bindBytes(9, said);
    const std::int64_t id = idOf(add);
    addWords(Level::patient, said, id);
    return id;
}

void Rows::findStudy(const Record& record, Place& place, unsigned int& conflicts) {
    Statement& find =
        session_.kept("SELECT id, modalities, classes FROM study WHERE uid = $1 AND patient = $2");
    if (find.run(record.study, place.patient)) {
        place.study = find.integer(0);
        const Contents known{std::string(find.text(1)), std::string(find.text(2))};
        (void)contents_.try_emplace(place.study, KnownContents{known, known});
        return find.reset();
    }
    Statement& elsewhere = session_.kept("SELECT 1 FROM study WHERE uid = $1 LIMIT 1");
    if (elsewhere.run(record.study)) conflicts |= INDEX_STUDY_ELSEWHERE;
    elsewhere.reset();
    const Bytes& said = record.attributes[numberOf(Level::study)];
    Statement& add = session_.kept(
        "INSERT INTO study (patient, uid, date, accession, study_id, description, attributes) "
        "VALUES ($1, $2, $3, $4, $5, $6, $7) ON CONFLICT DO NOTHING RETURNING id");
    add.reset();
    add.bind(1, place.patient);
    add.bind(2, record.study);
    add.bindForm(3, dateForm(valueOf(said, T_0008_0020_studyDate)));
    add.bindForm(4, formOf(valueOf(said, T_0008_0050_accessionNumber)));
    add.bindForm(5, formOf(valueOf(said, T_0020_0010_studyId)));
    add.bindForm(6, formOf(valueOf(said, T_0008_1030_studyDescription)));
    add.bindBytes(7, said);
    place.study = idOf(add);
    contents_[place.study] = {};
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
        "VALUES ($1, $2, $3, $4, $5, $6, $7) ON CONFLICT DO NOTHING RETURNING id");
    add.reset();
    add.bind(1, place.study);
    add.bind(2, record.series);
    add.bindForm(3, formOf(record.modality));
    add.bindForm(4, dateForm(valueOf(said, T_0008_0021_seriesDate)));
    add.bindForm(5, dateForm(valueOf(said, T_0040_0244_performedProcedureStepStartDate)));
    add.bindBytes(6, said);
    add.bindBytes(7, place.common);
    place.series = idOf(add);
    addWords(Level::series, said, place.series);
    addModality(record, place.study);
    ++patients_[place.patient].series;
    ++studies_[place.study].series;
}

void Rows::addModality(const Record& record, std::int64_t study) {
    std::string& modalities = contents_[study].now.modalities;
    if (record.modality.empty() || isAmong(modalities, record.modality)) return;
    modalities = with(modalities, record.modality);
    session_.kept("INSERT INTO word (kind, form, id) VALUES ($1, $2, $3) ON CONFLICT DO NOTHING")
        .change(Statement::kAnyRows, kModality, formOf(record.modality), study);
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

void Rows::addInstance(const Record& record, Place& place, std::int64_t copy) {
    Statement& add = session_.kept(
        "INSERT INTO instance (study, series, uid, copy, class, syntax, size, path, attributes) "
        "VALUES ($1, $2, $3, $4, $5, $6, $7, $8, $9)");
    const std::int64_t sopClass = terms_.number(record.sopClass);
    const std::int64_t syntax = terms_.number(record.xferSyn);
    add.reset();
    add.bindFrom(1, place.study, place.series, Uid{record.instance}, copy, sopClass, syntax, record.size,
                 shortPath(record.path, record.instance));
    add.bindBytes(9, difference(place.common, record.attributes[numberOf(Level::image)]));
    add.post(1);
    // One that is there is written again, so that nobody takes it out meanwhile.
    session_
        .kept(
            "INSERT INTO uid (uid, study, series) VALUES ($1, $2, $3) "
            "ON CONFLICT (uid, study, series) DO UPDATE SET study = excluded.study")
        .change(1, Uid{record.instance}, place.study, place.series);
    countNew(record, place);
}

void Rows::countNew(const Record& record, const Place& place) {
    std::string& classes = contents_[place.study].now.classes;
    if (!isAmong(classes, record.sopClass)) classes = with(classes, record.sopClass);
    count(place, {0, 0, 1, static_cast<std::int64_t>(record.size)});
}

void Rows::replaceInstance(const Record& record, const Place& place, const Copies& copies) {
    Statement& replace = session_.kept(
        "UPDATE instance SET class = $1, syntax = $2, size = $3, path = $4, attributes = $5 "
        "WHERE study = $6 AND series = $7 AND uid = $8 AND copy = $9");
    const std::int64_t sopClass = terms_.number(record.sopClass);
    const std::int64_t syntax = terms_.number(record.xferSyn);
    replace.reset();
    replace.bindFrom(1, sopClass, syntax, record.size, shortPath(record.path, record.instance));
    replace.bindBytes(5, difference(place.common, record.attributes[numberOf(Level::image)]));
    replace.bindFrom(6, place.study, place.series, Uid{record.instance}, copies.first);
    replace.post(1);
    count(place, {0, 0, 0, static_cast<std::int64_t>(record.size) - copies.size});
}

// What its series has of an instance, and whether another has it, too.
Rows::Copies Rows::copiesOf(const Record& record, const Place& place) {
    constexpr std::int64_t another = -1;
    Copies copies;
    Statement& find = session_.kept(
        "SELECT copy, path, size FROM instance WHERE study = $1 AND series = $2 AND uid = $3 "
        "UNION ALL SELECT -1, uid, 0 FROM uid WHERE uid = $3 AND (study <> $1 OR series <> $2) ORDER BY "
        "1");
    for (bool more = find.run(place.study, place.series, Uid{record.instance}); more; more = find.step()) {
        if (find.integer(0) == another) {
            copies.elsewhere = true;
            continue;
        }
        copies.add(record, find.integer(0), find.text(1), find.integer(2));
    }
    find.reset();
    return copies;
}

void Rows::Copies::add(const Record& record, std::int64_t copy, std::string_view shortPath,
                       std::int64_t bytes) {
    const std::string whole = wholePath(shortPath, record.instance);
    last = copy;
    isThere = isThere || whole == record.path;
    if (count++ != 0) return;
    first = copy;
    path = whole;
    size = bytes;
}

void Rows::store(std::span<const Arrival> arrivals) {
    if (session_.takesLists()) return storeInLists(arrivals);
    for (const Arrival& arrival : arrivals) storeOne(arrival);
}

void Rows::storeOne(const Arrival& arrival) {
    *arrival.stored = {};
    Place& place = placeOf(*arrival.record, arrival.stored->conflicts);
    storeBeside(copiesOf(*arrival.record, place), {arrival, &place});
}

void Rows::storeBeside(const Copies& copies, const Placed& placed) {
    const auto& [known, duplicate, told] = placed.arrival;
    const Record& record = *known;
    DcIndexStored& stored = *told;
    Place& place = *placed.place;
    if (copies.count == 0) {
        if (copies.elsewhere) stored.conflicts |= INDEX_INSTANCE_ELSEWHERE;
        return addInstance(record, place, 0);
    }
    if (duplicate == INDEX_REPLACE) {
        stored.what = INDEX_STORED_REPLACED;
        if (record.path != copies.path) copyText(stored.other, copies.path);
        return replaceInstance(record, place, copies);
    }
    stored.what = duplicate != INDEX_BOTH || copies.isThere ? INDEX_STORED_KEPT : INDEX_STORED_BOTH;
    copyText(stored.other, copies.isThere ? record.path : copies.path);
    if (stored.what == INDEX_STORED_BOTH) addInstance(record, place, copies.last + 1);
}

}  // namespace orvkit::index
