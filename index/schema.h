// The tables of an index, and which version of them is there.
#ifndef ORVKIT_INDEX_SCHEMA_H
#define ORVKIT_INDEX_SCHEMA_H

#include <span>

#include "index/session.h"

namespace orvkit::index {

// Makes the tables where there are none, and may be, brings an index of an earlier version to this one where
// it may be written, and looks which version there is. Trouble: INDEX_VERSION, INDEX_ABSENT, INDEX_DAMAGED.
void settleSchema(Session& session, INDEX_OPEN how);
// The same by other steps, of which there are as many as versions: the first makes the tables and the row of
// orvkit_index, each one behind it brings an index to the next version.
void settleSchema(Session& session, INDEX_OPEN how, std::span<const char* const> steps);
int schemaVersion(Session& session);
std::span<const char* const> schemaSteps();

}  // namespace orvkit::index

#endif
