// The tables of an index, and which version of them is there.
#ifndef ORVKIT_INDEX_SCHEMA_H
#define ORVKIT_INDEX_SCHEMA_H

#include <string>

#include "index/session.h"

namespace orvkit::index {

// As SQLite has them. Instances and UIDs are keyed by what they are divided by where there are several
// servers: all unique keys begin with it.
std::string sqliteTables();

// Makes the tables where there are none, and may be, and looks which version there is. Trouble:
// INDEX_VERSION, INDEX_ABSENT, INDEX_DAMAGED.
void settleSchema(Engine& engine, Session& session, INDEX_OPEN how);
int schemaVersion(Session& session);

}  // namespace orvkit::index

#endif
