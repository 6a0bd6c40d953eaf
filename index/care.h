// What an index says of itself.
#ifndef ORVKIT_INDEX_CARE_H
#define ORVKIT_INDEX_CARE_H

#include <functional>
#include <string>

#include "index/session.h"

namespace orvkit::index {

DcIndexStats statsOf(Session& session);
// `fault` is called for each fault, until it gives false: then so does this.
bool verify(Session& session, const std::function<bool(const std::string&)>& fault);

}  // namespace orvkit::index

#endif
