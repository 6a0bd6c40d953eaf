// Where a value ends that nobody reads.
#ifndef ORVKIT_MEDIA_MEASURE_H
#define ORVKIT_MEDIA_MEASURE_H

#include <cstdint>
#include <optional>

#include "encoding/walk.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"

namespace orvkit {

struct Measured {
    int result = RESULT_OK;
    bool sound = true;         // its end is where it should be
    std::uint64_t length = 0;  // without a delimitation
    std::uint64_t behind = 0;  // where what follows begins
};

// By its length, or by the headers of its items, each of which is stepped over.
Measured measureValue(ByteSource& source, const WalkHeader& h, const char* reporter);

// Fragments, by the Extended Offset Table and its lengths in front of them: the table must have no gap, items
// must begin where some entries of it say, the last one among them, and the value must end behind that.
// Nothing where any of this is not so.
std::optional<Measured> measureByTable(ByteSource& source, const WalkHeader& h, const DcElemList& dataset);

}  // namespace orvkit

#endif
