// Lookup tables of the data set: modality, VOI and palette (PS3.3 C.11.1.1, C.11.2.1.1, C.7.6.3.1.5).
#ifndef ORVKIT_IMAGE_LOOKUP_TABLE_H
#define ORVKIT_IMAGE_LOOKUP_TABLE_H

#include <cstdint>
#include <vector>

#include "orvkit/elemlist.h"

namespace orvkit::render {

struct LookupTable {
    int first = 0;  // the value that the first entry is for
    unsigned int bits = 16;
    std::vector<std::uint16_t> entries;  // none: there is no table

    bool empty() const { return entries.empty(); }
    // Values in front of the table have its first entry, those behind it its last.
    std::uint16_t at(double value) const;
    double most() const { return static_cast<double>((1u << bits) - 1); }
};

// Which elements hold a table. `segmented` may be 0.
struct TableTags {
    unsigned int descriptor;
    unsigned int data;
    unsigned int segmented = 0;  // PS3.3 C.7.9.2
};

// An empty table where there is none that can be used. With `isSigned` the first value is a signed number
// whatever the VR of the descriptor, which is one for both.
LookupTable readTable(DcElemList& list, const TableTags& tags, bool isSigned);

}  // namespace orvkit::render

#endif
