// A computed head: ellipsoids of bone, brain and fluid after Shepp and Logan, in Hounsfield units.
#ifndef ORVKIT_SERVICES_HEAD_PHANTOM_H
#define ORVKIT_SERVICES_HEAD_PHANTOM_H

#include <cstdint>
#include <vector>

namespace services {

struct SliceRequest {
    unsigned int size = 256;  // rows and columns
    double z = 0;             // -1 at the neck to 1 at the top, 0 in the middle of the head
    double noise = 0;         // standard deviation in HU
    std::uint64_t noiseSeed = 0;
};

// One axial slice, row by row, as HU + 1024 in 0 to 4095. The same request gives the same pixels.
std::vector<std::uint16_t> headSlice(const SliceRequest& request);

}  // namespace services

#endif
