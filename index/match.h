// The keys of a request, and whether attributes match them (PS3.4 C.2.2.2).
#ifndef ORVKIT_INDEX_MATCH_H
#define ORVKIT_INDEX_MATCH_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "index/attributes.h"
#include "index/fold.h"
#include "index/forms.h"

namespace orvkit::index {

// A stretch of dates, times or both; either end may be open.
struct Range {
    std::optional<Period> from;
    std::optional<Period> to;
    bool holds(const Period& period) const;
};

struct Key {
    unsigned int tag = 0;
    DICT_VR vr = kAbsent;
    std::vector<std::string> values;  // as they came, in UTF-8; none: universal
    bool empty = false;               // what has no value is asked for
    bool fuzzy = false;
    Fold fold{false, false};
    std::vector<std::string> patterns;  // the values, folded; UIDs in order
    std::vector<Range> ranges;          // of VRs with time
    std::vector<Key> item;              // of a sequence

    bool isUniversal() const { return values.empty() && item.empty() && !empty; }
};

// What the bits of INDEX_RELATIONAL and so on ask for, for the keys among `attributes`, which are in tag
// order.
std::vector<Key> makeKeys(std::string_view attributes, unsigned int how);

// Whether a value matches, which is null for an attribute that is not there.
bool matches(const Key& key, const std::optional<Attribute>& attribute);

// A date and its time as one.
struct DateTimeKey {
    unsigned int date = 0;
    unsigned int time = 0;
    Range range;
};
// `offset` is that of the object from UTC less that of the request, where both are known.
bool matches(const DateTimeKey& key, std::string_view date, std::string_view time, std::int64_t offset);
// Takes those pairs out of `keys` that have both, in ranges of one value each.
std::vector<DateTimeKey> takePairs(std::vector<Key>& keys);

// Whether a text is like a pattern with "*" and "?"; both folded alike.
bool isLike(std::string_view text, std::string_view pattern);
bool hasWildCards(std::string_view pattern);

}  // namespace orvkit::index

#endif
