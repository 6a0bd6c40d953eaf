// Answers "which element has this tag" for large data sets.
#ifndef ORVKIT_DATASET_ELEM_INDEX_H
#define ORVKIT_DATASET_ELEM_INDEX_H

#include <map>

#include "orvkit/elem.h"

namespace orvkit {

struct ElemIndex {
    std::map<unsigned int, DcElem*> byTag;
};

}  // namespace orvkit

#endif
