// UIDs of instances as PostgreSQL keeps them: two characters a byte. A point is 1, digits are 2 to 11, and 0
// is behind the last one, so that they are in the order of the texts.
#ifndef ORVKIT_INDEX_UID_FORM_H
#define ORVKIT_INDEX_UID_FORM_H

#include <string>
#include <string_view>

namespace orvkit::index {

// What is no UID becomes what none is.
std::string packedUid(std::string_view uid);
std::string unpackedUid(std::string_view bytes);

}  // namespace orvkit::index

#endif
