// Elements that leave a data set for a while.
#ifndef ORVKIT_DATASET_ELEM_ASIDE_H
#define ORVKIT_DATASET_ELEM_ASIDE_H

#include "dataset/elemlist_access.h"

namespace orvkit {

// They come back, each with the callback it had, whatever happens in between.
class Aside {
  public:
    explicit Aside(DcElemList& owner) : owner_(owner) {}
    Aside(const Aside&) = delete;
    Aside& operator=(const Aside&) = delete;
    ~Aside() {
        // From the back, so that those of the front go to the front at once.
        while (DcElem* const e = list_.last()) ElemListAccess::move(e, list_, owner_);
    }
    void take(DcElem* e) { ElemListAccess::move(e, owner_, list_); }
    DcElemList& list() { return list_; }
    bool empty() const { return list_.first() == nullptr; }

  private:
    DcElemList& owner_;
    DcElemList list_;
};

}  // namespace orvkit

#endif
