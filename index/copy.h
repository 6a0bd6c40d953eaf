// An index from another one.
#ifndef ORVKIT_INDEX_COPY_H
#define ORVKIT_INDEX_COPY_H

#include <functional>
#include <vector>

#include "index/record.h"
#include "index/session.h"
#include "index/terms.h"

namespace orvkit::index {

// All that an index knows of its instances, as it was when they were stored, some hundred at a time; until
// `take` gives false: then so does this.
bool eachRecord(Session& session, Terms& terms, const std::function<bool(std::vector<Record>&)>& take);

}  // namespace orvkit::index

#endif
