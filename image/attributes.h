// What a data set says about one frame.
#ifndef ORVKIT_IMAGE_ATTRIBUTES_H
#define ORVKIT_IMAGE_ATTRIBUTES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "orvkit/elemlist.h"
#include "orvkit/sequence.h"

namespace orvkit::render {

std::optional<double> realOf(DcElemList& list, unsigned int tag, int index = 0);
std::optional<int> integerOf(DcElemList& list, unsigned int tag, int index = 0);
std::string codeOf(DcElemList& list, unsigned int tag);
// The bytes of all values, little endian; empty without the element or memory for them.
std::vector<unsigned char> bytesOf(DcElemList& list, unsigned int tag);
// The item of a sequence, counted from 0; null where there is none.
DcElemList* itemOf(DcElemList& list, unsigned int sequenceTag, unsigned int index = 0);

// Where to look for attributes of a frame that stand in functional groups of enhanced objects
// (PS3.3 C.7.6.16): its own group, the shared ones, then the data set.
class FrameGroups {
  public:
    // `frame` counts from 1.
    FrameGroups(DcElemList& dataset, unsigned int frame);
    // The item of the functional group of that sequence, or the data set itself where no such group is.
    DcElemList& find(unsigned int groupTag) const;

  private:
    DcElemList& dataset_;
    DcElemList* own_;
    DcElemList* shared_;
};

}  // namespace orvkit::render

#endif
