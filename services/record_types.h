// Which directory record describes a file, and which attributes of the file go into it (PS3.3 F.5).
#ifndef ORVKIT_SERVICES_RECORD_TYPES_H
#define ORVKIT_SERVICES_RECORD_TYPES_H

#include <span>
#include <string_view>

#include "foundation/identity.h"
#include "orvkit/dirrec.h"

namespace services {

// What becomes of a key that a file does not hold, or holds without a value.
enum class Need : unsigned char {
    required,  // the file has no place in a file set
    made,      // the record must have a value, which the maker of the file set may choose
    empty,     // stands in the record without a value
    given,     // is not in the record
};

struct RecordKey {
    unsigned int tag;
    Need need;
};

// The keys of a record type in ascending order of tags; none for types whose records describe no files.
std::span<const RecordKey> keysOf(DIR_REC type);

// The record that describes an instance of a SOP class. One of a class that came after the table is an image
// when it has rows of pixels, otherwise PRIVATE.
DIR_REC recordTypeOf(std::string_view sopClassUid, bool hasRows);

// Whether records of the type belong to no patient, and stand in the root directory.
bool standsAlone(DIR_REC type);

// What a PRIVATE record of ours is: an instance of a class that no record type is meant for.
inline constexpr char privateInstanceUid[] = ORVKIT_UID_ROOT ".9.2";

}  // namespace services

#endif
