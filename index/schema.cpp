#include "index/schema.h"

#include "index/trouble.h"
#include "orvkit/result.h"

namespace orvkit::index {
namespace {

bool hasTables(Session& session) {
    const auto statement = session.prepare("SELECT COUNT(*) FROM sqlite_schema WHERE name = 'orvkit_index'");
    return statement->step() && statement->integer(0) == 1;
}

}  // namespace

std::string sqliteTables() {
    // Columns of forms (forms.h) are null where there is no value, and their indexes pass nulls over.
    return R"(
CREATE TABLE orvkit_index (version INTEGER NOT NULL);
INSERT INTO orvkit_index VALUES (1);

-- `apart` is the study of a patient without an ID, else empty.
CREATE TABLE patient (
    id INTEGER PRIMARY KEY, pid TEXT NOT NULL, issuer TEXT NOT NULL, apart TEXT NOT NULL,
    id_form TEXT, name_a TEXT, name_i TEXT, name_p TEXT, birth TEXT,
    studies INTEGER NOT NULL DEFAULT 0, series INTEGER NOT NULL DEFAULT 0, instances INTEGER NOT NULL DEFAULT 0,
    attributes BLOB NOT NULL, UNIQUE (pid, issuer, apart));
CREATE INDEX patient_id_form ON patient (id_form) WHERE id_form IS NOT NULL;
CREATE INDEX patient_name_a ON patient (name_a) WHERE name_a IS NOT NULL;
CREATE INDEX patient_name_i ON patient (name_i) WHERE name_i IS NOT NULL;
CREATE INDEX patient_name_p ON patient (name_p) WHERE name_p IS NOT NULL;
CREATE INDEX patient_birth ON patient (birth) WHERE birth IS NOT NULL;

CREATE TABLE study (
    id INTEGER PRIMARY KEY, patient INTEGER NOT NULL, uid TEXT NOT NULL,
    date TEXT, accession TEXT, study_id TEXT, description TEXT,
    modalities TEXT NOT NULL DEFAULT '', classes TEXT NOT NULL DEFAULT '',
    series INTEGER NOT NULL DEFAULT 0, instances INTEGER NOT NULL DEFAULT 0, bytes INTEGER NOT NULL DEFAULT 0,
    attributes BLOB NOT NULL, UNIQUE (uid, patient));
CREATE INDEX study_patient ON study (patient);
CREATE INDEX study_date ON study (date) WHERE date IS NOT NULL;
CREATE INDEX study_accession ON study (accession) WHERE accession IS NOT NULL;
CREATE INDEX study_study_id ON study (study_id) WHERE study_id IS NOT NULL;
CREATE INDEX study_description ON study (description) WHERE description IS NOT NULL;

-- `common` is what the first instance of the series said; those behind it tell what they say otherwise.
CREATE TABLE series (
    id INTEGER PRIMARY KEY, study INTEGER NOT NULL, uid TEXT NOT NULL,
    modality TEXT, date TEXT, performed TEXT,
    instances INTEGER NOT NULL DEFAULT 0, bytes INTEGER NOT NULL DEFAULT 0,
    attributes BLOB NOT NULL, common BLOB NOT NULL, UNIQUE (study, uid));
CREATE INDEX series_uid ON series (uid);
CREATE INDEX series_modality ON series (modality) WHERE modality IS NOT NULL;
CREATE INDEX series_date ON series (date) WHERE date IS NOT NULL;
CREATE INDEX series_performed ON series (performed) WHERE performed IS NOT NULL;

-- `path` has a byte 1 in the place of the instance's UID. Files of one instance count in `copy`.
CREATE TABLE instance (
    study INTEGER NOT NULL, series INTEGER NOT NULL, uid TEXT NOT NULL, copy INTEGER NOT NULL,
    class INTEGER NOT NULL, syntax INTEGER NOT NULL, size INTEGER NOT NULL, path TEXT NOT NULL,
    attributes INTEGER NOT NULL, PRIMARY KEY (study, series, uid, copy)) WITHOUT ROWID;
CREATE TABLE instance_attributes (id INTEGER PRIMARY KEY, data BLOB NOT NULL);
CREATE TABLE uid (
    uid TEXT NOT NULL, study INTEGER NOT NULL, series INTEGER NOT NULL, PRIMARY KEY (uid, study, series)
) WITHOUT ROWID;

-- Forms of which a row may have several.
CREATE TABLE word (
    kind INTEGER NOT NULL, form TEXT NOT NULL, id INTEGER NOT NULL, PRIMARY KEY (kind, form, id)
) WITHOUT ROWID;

-- UIDs that many instances have.
CREATE TABLE term (id INTEGER PRIMARY KEY, uid TEXT NOT NULL UNIQUE);

CREATE TABLE grave (
    id INTEGER PRIMARY KEY AUTOINCREMENT, made INTEGER NOT NULL, instances INTEGER NOT NULL, bytes INTEGER NOT NULL);
CREATE TABLE grave_instance (
    grave INTEGER NOT NULL, study TEXT NOT NULL, series TEXT NOT NULL, uid TEXT NOT NULL, path TEXT NOT NULL,
    class INTEGER NOT NULL, syntax INTEGER NOT NULL, size INTEGER NOT NULL,
    PRIMARY KEY (grave, study, series, uid, path)) WITHOUT ROWID;
)";
}

int schemaVersion(Session& session) {
    const auto statement = session.prepare("SELECT version FROM orvkit_index");
    if (!statement->step()) fail(INDEX_DAMAGED, "the index does not tell its version");
    return static_cast<int>(statement->integer(0));
}

void settleSchema(Engine& engine, Session& session, INDEX_OPEN how) {
    if (!hasTables(session)) {
        if (how != INDEX_CREATE) fail(INDEX_ABSENT, "there is no index");
        Transaction transaction(session, true);
        if (!hasTables(session)) session.execute(engine.tables());
        transaction.commit();
    }
    const int version = schemaVersion(session);
    if (version > INDEX_VERSION_CURRENT) {
        fail(INDEX_VERSION, "the index is of version " + std::to_string(version) +
                                ", and this program knows those up to " +
                                std::to_string(INDEX_VERSION_CURRENT));
    }
    if (version < 1) fail(INDEX_DAMAGED, "the index says that its version is " + std::to_string(version));
}

}  // namespace orvkit::index
