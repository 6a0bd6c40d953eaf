#include "index/schema.h"

#include <iterator>
#include <string>

#include "index/trouble.h"
#include "orvkit/result.h"

namespace orvkit::index {
namespace {

// Columns of forms (forms.h) are null where there is no value, and their indexes pass nulls over. Instances
// and UIDs are keyed by what they are divided by where there are several servers: all unique keys begin with
// it.
constexpr char kFirst[] = R"(
CREATE TABLE orvkit_index (version {number} NOT NULL);
INSERT INTO orvkit_index VALUES (1);
{mark}

-- `apart` is the study of a patient without an ID, else empty.
CREATE TABLE patient (
    id {row id}, pid {text} NOT NULL, issuer {text} NOT NULL, apart {text} NOT NULL,
    id_form {text}, name_a {text}, name_i {text}, name_p {text}, birth {text},
    studies {number} NOT NULL DEFAULT 0, series {number} NOT NULL DEFAULT 0, instances {number} NOT NULL DEFAULT 0,
    attributes {bytes} NOT NULL, UNIQUE (pid, issuer, apart)){with room};
CREATE INDEX patient_id_form ON patient (id_form) WHERE id_form IS NOT NULL;
CREATE INDEX patient_name_a ON patient (name_a) WHERE name_a IS NOT NULL;
CREATE INDEX patient_name_i ON patient (name_i) WHERE name_i IS NOT NULL;
CREATE INDEX patient_name_p ON patient (name_p) WHERE name_p IS NOT NULL;
CREATE INDEX patient_birth ON patient (birth) WHERE birth IS NOT NULL;

CREATE TABLE study (
    id {row id}, patient {number} NOT NULL, uid {text} NOT NULL,
    date {text}, accession {text}, study_id {text}, description {text},
    modalities {text} NOT NULL DEFAULT '', classes {text} NOT NULL DEFAULT '',
    series {number} NOT NULL DEFAULT 0, instances {number} NOT NULL DEFAULT 0, bytes {number} NOT NULL DEFAULT 0,
    attributes {bytes} NOT NULL, UNIQUE (uid, patient)){with room};
CREATE INDEX study_patient ON study (patient);
CREATE INDEX study_date ON study (date) WHERE date IS NOT NULL;
CREATE INDEX study_accession ON study (accession) WHERE accession IS NOT NULL;
CREATE INDEX study_study_id ON study (study_id) WHERE study_id IS NOT NULL;
CREATE INDEX study_description ON study (description) WHERE description IS NOT NULL;

-- `common` is what the first instance of the series said; those behind it tell what they say otherwise.
CREATE TABLE series (
    id {row id}, study {number} NOT NULL, uid {text} NOT NULL,
    modality {text}, date {text}, performed {text},
    instances {number} NOT NULL DEFAULT 0, bytes {number} NOT NULL DEFAULT 0,
    attributes {bytes} NOT NULL, common {bytes} NOT NULL, UNIQUE (study, uid)){with room};
CREATE INDEX series_uid ON series (uid);
CREATE INDEX series_modality ON series (modality) WHERE modality IS NOT NULL;
CREATE INDEX series_date ON series (date) WHERE date IS NOT NULL;
CREATE INDEX series_performed ON series (performed) WHERE performed IS NOT NULL;

-- `path` has a byte 1 in the place of the instance's UID. Files of one instance count in `copy`.
CREATE TABLE instance (
    study {number} NOT NULL, series {number} NOT NULL, uid {text} NOT NULL, copy {number} NOT NULL,
    class {number} NOT NULL, syntax {number} NOT NULL, size {number} NOT NULL, path {text} NOT NULL,
    attributes {number} NOT NULL, PRIMARY KEY (study, series, uid, copy)){by study};
CREATE TABLE instance_attributes (id {row id}, data {bytes} NOT NULL);
CREATE TABLE uid (
    uid {text} NOT NULL, study {number} NOT NULL, series {number} NOT NULL, PRIMARY KEY (uid, study, series)){by uid};
{parts}

-- Forms of which a row may have several.
CREATE TABLE word (
    kind {number} NOT NULL, form {text} NOT NULL, id {number} NOT NULL, PRIMARY KEY (kind, form, id)){by key};

-- UIDs that many instances have.
CREATE TABLE term (id {row id}, uid {text} NOT NULL UNIQUE);

CREATE TABLE grave (
    id {lasting id}, made {number} NOT NULL, instances {number} NOT NULL, bytes {number} NOT NULL);
CREATE TABLE grave_instance (
    grave {number} NOT NULL, study {text} NOT NULL, series {text} NOT NULL, uid {text} NOT NULL, path {text} NOT NULL,
    class {number} NOT NULL, syntax {number} NOT NULL, size {number} NOT NULL,
    PRIMARY KEY (grave, study, series, uid, path)){by key};
)";

// The attributes of an instance beside those of its series are in its own row; what all rows have takes
// little room.
constexpr char kSecondVersion[] = R"(
{no writers}
CREATE TABLE new_instance (
    study INTEGER NOT NULL, series INTEGER NOT NULL, size {number} NOT NULL,
    class INTEGER NOT NULL, syntax INTEGER NOT NULL, copy INTEGER NOT NULL,
    uid {text} NOT NULL, path {text} NOT NULL, attributes {bytes} NOT NULL,
    PRIMARY KEY (study, series, uid, copy)){by study};
{new parts}
INSERT INTO new_instance (study, series, size, class, syntax, copy, uid, path, attributes)
    SELECT i.study, i.series, i.size, i.class, i.syntax, i.copy, {packed uid}, i.path, COALESCE(a.data, {no bytes})
    FROM instance i LEFT JOIN instance_attributes a ON a.id = i.attributes ORDER BY i.study, i.series, i.uid, i.copy;
{packed uids}
DROP TABLE instance;
DROP TABLE instance_attributes;
ALTER TABLE new_instance RENAME TO instance;
{old names}
)";

// Each brings an index of the version that is its place, from 0, to the next one.
constexpr const char* kSteps[] = {kFirst, kSecondVersion};
static_assert(std::size(kSteps) == INDEX_VERSION_CURRENT);

bool isThere(Session& session) {
    const auto statement = session.prepare("{is there}");
    return statement->step() && statement->integer(0) == 1;
}

int versionOf(Session& session, const char* sql) {
    const auto statement = session.prepare(sql);
    if (!statement->step()) fail(INDEX_DAMAGED, "the index does not tell its version");
    return static_cast<int>(statement->integer(0));
}

// All of them or none; and what another program has done meanwhile is not done again.
void takeSteps(Session& session, std::span<const char* const> steps) {
    Transaction transaction(session, true);
    int version = isThere(session) ? versionOf(session, "SELECT version FROM orvkit_index{locked}") : 0;
    for (; version < static_cast<int>(steps.size()); ++version) {
        session.execute(steps[static_cast<std::size_t>(version)]);
        session.execute("UPDATE orvkit_index SET version = " + std::to_string(version + 1) + ";");
    }
    transaction.commit();
}

void makeTables(Session& session, std::span<const char* const> steps) {
    try {
        takeSteps(session, steps);
    } catch (const Trouble&) {
        // Two that make the same tables at once: one of them cannot.
        if (!isThere(session)) throw;
    }
}

}  // namespace

int schemaVersion(Session& session) {
    return versionOf(session, "SELECT version FROM orvkit_index");
}

std::span<const char* const> schemaSteps() {
    return kSteps;
}

void settleSchema(Session& session, INDEX_OPEN how) {
    settleSchema(session, how, kSteps);
}

void settleSchema(Session& session, INDEX_OPEN how, std::span<const char* const> steps) {
    if (!isThere(session)) {
        if (how != INDEX_CREATE) fail(INDEX_ABSENT, "there is no index");
        makeTables(session, steps);
    }
    const int known = static_cast<int>(steps.size());
    const int version = schemaVersion(session);
    const std::string told = "the index is of version " + std::to_string(version);
    if (version > known)
        fail(INDEX_VERSION, told + ", and this program knows those up to " + std::to_string(known));
    if (version < 1) fail(INDEX_DAMAGED, "the index says that its version is " + std::to_string(version));
    if (version == known) return;
    if (how == INDEX_READ)
        fail(INDEX_VERSION, told + ", and becomes one of version " + std::to_string(known) +
                                " when it is opened for writing");
    takeSteps(session, steps);
}

}  // namespace orvkit::index
