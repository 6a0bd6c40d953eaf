// Access to the links of nodes, for chains that need no list around them.
#ifndef ORVKIT_FOUNDATION_NODE_LINKS_H
#define ORVKIT_FOUNDATION_NODE_LINKS_H

#include "orvkit/list.h"

namespace orvkit {

struct NodeLinks {
    static DcNode*& next(DcNode& node) noexcept { return node.next_; }
    static DcNode*& previous(DcNode& node) noexcept { return node.previous_; }
    // Tells a list that its order may have changed.
    static void touch(DcList& list) noexcept { list.touch(); }
};

}  // namespace orvkit

#endif
