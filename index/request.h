// The identifier of a request, taken apart (PS3.4 C.4.1.1.3, C.4.2.1.4).
#ifndef ORVKIT_INDEX_REQUEST_H
#define ORVKIT_INDEX_REQUEST_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "index/levels.h"
#include "index/match.h"
#include "orvkit/index.h"

namespace orvkit::index {

struct Request {
    Level level = Level::study;
    std::string charset;         // (0008,0005)
    std::vector<Key> keys;       // those that are known at the level, in tag order
    std::vector<Key> narrowing;  // the same, by which the search may go: with those that became pairs
    std::vector<DateTimeKey> pairs;
    std::optional<std::int64_t> offset;  // from UTC, for times that have no zone of their own
    std::vector<unsigned int> unsupported;

    const Key* key(unsigned int tag) const;
};

// Trouble: INDEX_KEYS.
Request makeRequest(INDEX_ROOT root, unsigned int how, DcElemList& identifier);
// The same with unique keys alone, for what is to be retrieved.
Request makeSelection(INDEX_ROOT root, unsigned int how, DcElemList& identifier);

}  // namespace orvkit::index

#endif
