// Elements whose raw values stand in files.
#ifndef ORVKIT_DATASET_DISK_ELEMS_H
#define ORVKIT_DATASET_DISK_ELEMS_H

#include <vector>

#include "dataset/elem_access.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"

namespace orvkit {

// Calls visit(element, whether it stands in a sequence) for each of them, in order and on every level, until
// one does not give RESULT_OK; gives that result.
template <typename Visit>
int visitDiskElems(DcElemList& list, Visit visit) {
    std::vector<DcElem*> open{list.first()};  // the next element of each level
    while (!open.empty()) {
        DcElem* const e = open.back();
        if (e == nullptr) {
            open.pop_back();
            continue;
        }
        open.back() = e->next();
        if (ElemAccess::isSequence(*e)) {
            for (auto* item = static_cast<DcElemSq*>(e)->first(); item != nullptr; item = item->next()) {
                open.push_back(item->getElemList().first());
            }
        } else if (ElemAccess::isOnDisk(*e)) {
            if (const int result = visit(*e, open.size() > 1); result != RESULT_OK) return result;
        }
    }
    return RESULT_OK;
}

}  // namespace orvkit

#endif
