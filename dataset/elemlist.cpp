// Membership and order of data sets.
//
// Tags ascend strictly unless a caller has re-labelled elements, re-sorted the list or linked elements
// through DcList: `orderedVersion_` tells for which version of the list the order is certain. While it is,
// look-ups start where the last one ended, and a large data set gets an index when a look-up has far to go.
#include "orvkit/elemlist.h"

#include <memory>
#include <new>

#include "dataset/elem_access.h"
#include "dataset/elem_index.h"
#include "dataset/elemlist_access.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "foundation/tag.h"
#include "orvkit/result.h"
#include "orvkit/sequence.h"

using namespace orvkit;

namespace {

constexpr int kWalk = 64;  // nodes looked at before an index is worth its memory

int acceptAll(void*, unsigned int, DICT_VR, char*, char**) {
    return 0;
}

// Null without memory: look-ups then walk.
ElemIndex* makeIndex(const DcElemList& list) {
    try {
        auto index = std::make_unique<ElemIndex>();
        for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
            index->insert(ElemAccess::tag(*e), e);
        }
        return index.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

DcElem* linearSearch(const DcElemList& list, unsigned int tag) {
    for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
        if (ElemAccess::tag(*e) == tag) return e;
    }
    return nullptr;
}

}  // namespace

DcElemList::DcElemList(void* buf, unsigned int length, DICT_UID xferSyn)
    : DcList(&DcElemList::compFunc),
      pending_(nullptr),
      lastTag_(0xFFFFFFFF),
      decodingFlag_(0),
      exceptionContext_(nullptr),
      exceptionCB_(nullptr),
      index_(nullptr),
      recent_(nullptr),
      orderedVersion_(version()) {
    setValueExceptionLevel(valueExceptionLevel());
    if (parse(buf, length, xferSyn) != ELEM_NO_MEMORY) return;
    delete index_;
    delete pending_;
    throw std::bad_alloc();
}

DcElemList::~DcElemList() {
    delete index_;
    delete pending_;
}

int DcElemList::compFunc(void* a, void* b) {
    const unsigned int left = ElemAccess::tag(*static_cast<DcElem*>(static_cast<DcNode*>(a)));
    const unsigned int right = ElemAccess::tag(*static_cast<DcElem*>(static_cast<DcNode*>(b)));
    return left > right ? 1 : left < right ? -1 : 0;
}

// ---- order and look-up ---------------------------------------------------------------------------------

// Whether tags ascend strictly, so that hints and index may be used.
bool ElemListAccess::ordered(const DcElemList& list) {
    if (list.isShared()) return false;
    if (list.orderedVersion_ == list.version()) return true;
    delete list.index_;
    list.index_ = nullptr;
    list.recent_ = nullptr;
    const DcElem* before = list.first();
    if (before != nullptr) {
        for (const DcElem* e = before->next(); e != nullptr; before = e, e = e->next()) {
            if (ElemAccess::tag(*e) <= ElemAccess::tag(*before)) return false;
        }
    }
    list.orderedVersion_ = list.version();
    return true;
}

// The first element whose tag is not below `tag`, or null; only for an ordered list.
DcElem* ElemListAccess::lowerBound(const DcElemList& list, unsigned int tag) {
    DcElem* last = list.last();
    if (last == nullptr || ElemAccess::tag(*last) < tag) return nullptr;
    DcElem* e =
        list.recent_ != nullptr && ElemAccess::tag(*list.recent_) <= tag ? list.recent_ : list.first();
    for (int steps = 0; list.index_ == nullptr && steps < kWalk; ++steps, e = e->next()) {
        if (ElemAccess::tag(*e) >= tag) return list.recent_ = e;
    }
    // One step on is the usual way through a data set, index or not.
    for (int steps = 0; steps < 2 && e != nullptr; ++steps, e = e->next()) {
        if (ElemAccess::tag(*e) == tag) return list.recent_ = e;
    }
    if (list.index_ == nullptr) list.index_ = makeIndex(list);
    if (list.index_ != nullptr) return list.recent_ = list.index_->atOrAfter(tag);
    for (e = list.first(); ElemAccess::tag(*e) < tag;) e = e->next();
    return list.recent_ = e;
}

DcElem* ElemListAccess::find(const DcElemList& list, unsigned int tag) {
    if (!ordered(list)) return linearSearch(list, tag);
    DcElem* e = lowerBound(list, tag);
    return e != nullptr && ElemAccess::tag(*e) == tag ? e : nullptr;
}

DcElem* DcElemList::first() const {
    return static_cast<DcElem*>(DcList::first());
}
DcElem* DcElemList::last() const {
    return static_cast<DcElem*>(DcList::last());
}

int DcElemList::getElem(unsigned int tag, DcElem** out) const {
    DcElem* found = ElemListAccess::find(*this, tag);
    if (out != nullptr) *out = found;
    return found != nullptr ? RESULT_OK : ELEM_NOT_FOUND;
}

int DcElemList::getElem(unsigned short group, unsigned short element, DcElem** out) const {
    return getElem(tagOf(group, element), out);
}

int DcElemList::getElem(unsigned int tag, DcElemSq** out) const {
    if (out == nullptr) {
        return failNull(ELEM_NULL_ARGUMENT, "DcElemList::getElem", LOG_ERROR);
    }
    *out = nullptr;
    DcElem* found = ElemListAccess::find(*this, tag);
    if (found == nullptr) return ELEM_NOT_FOUND;
    if (!ElemAccess::isSequence(*found)) {
        return fail(ELEM_NOT_SEQUENCE, LOG_ERROR, "DcElemList::getElem", "Element 0x%08x is not a Sequence",
                    tag);
    }
    *out = static_cast<DcElemSq*>(found);
    return RESULT_OK;
}

int DcElemList::getElem(unsigned short group, unsigned short element, DcElemSq** out) const {
    return getElem(tagOf(group, element), out);
}

int DcElemList::index(DcElem* element) const {
    return DcList::index(element);
}
int DcElemList::index(unsigned int tag) const {
    return DcList::index(ElemListAccess::find(*this, tag));
}
int DcElemList::index(unsigned short group, unsigned short element) const {
    return index(tagOf(group, element));
}

// ---- adding and taking out -----------------------------------------------------------------------------

DcElem* DcElemList::add(DcElem* e) {
    if (e == nullptr) return nullptr;
    const unsigned int tag = ElemAccess::tag(*e);
    const bool ordered = ElemListAccess::ordered(*this);
    DcElem* before = ordered ? ElemListAccess::lowerBound(*this, tag) : linearSearch(*this, tag);
    if (before != nullptr && ElemAccess::tag(*before) == tag) {
        if (before == e) return e;
        DcElem* const old = before;
        before = old->next();
        logReport(LOG_VALIDATION, "DcElemList::add",
                  "Element (%04x,%04x) added again, previous instance deleted", tag >> 16, tag & 0xFFFF);
        subtract(old);
        delete old;
    }
    e->registerValueExceptionCB(exceptionContext_, exceptionCB_);
    if (!ordered) {
        DcList::add(e);
        return e;
    }
    linkBefore(before, e);
    orderedVersion_ = version();
    if (index_ == nullptr) return e;
    try {
        index_->insert(tag, e);
    } catch (const std::bad_alloc&) {
        delete index_;
        index_ = nullptr;
    }
    return e;
}

DcElemList* DcElemList::add(DcElemList* other) {
    if (other == nullptr) {
        logReport(LOG_VALIDATION, "DcCmd::add", "Null argument passed for element list");
        return nullptr;
    }
    if (other == this) return other;
    while (DcElem* e = other->first()) {
        other->subtract(e);
        add(e);
    }
    delete other;
    return other;  // only good as a test for null
}

DcElemList& DcElemList::operator+(DcElem* element) {
    add(element);
    return *this;
}

DcElemList& DcElemList::operator+(DcElemList* other) {
    add(other);
    return *this;
}

DcElem* DcElemList::subtract(DcElem* e) {
    const bool certain = orderedVersion_ == version();
    const unsigned int tag = e != nullptr ? ElemAccess::tag(*e) : 0;
    const bool member = e != nullptr && holds(e);
    auto* next = static_cast<DcElem*>(DcList::subtract(e));
    if (member && certain) {
        orderedVersion_ = version();
        if (index_ != nullptr) index_->erase(tag);
        recent_ = next;
    }
    return next;
}

DcElemList& DcElemList::operator-(DcElem* element) {
    subtract(element);
    return *this;
}

int DcElemList::moveElem(DcElemList* dest) {
    if (dest == nullptr) {
        return failNull(ELEM_NULL_ARGUMENT, "DcElemList::moveElem");
    }
    if (dest == this) return RESULT_OK;
    while (DcElem* e = first()) {
        subtract(e);
        dest->add(e);
    }
    return RESULT_OK;
}

int DcElemList::moveElem(DcElemList* dest, unsigned int tag) {
    DcElem* e = ElemListAccess::find(*this, tag);
    if (e == nullptr) return ELEM_NOT_FOUND;
    if (dest == nullptr) return ELEM_NULL_ARGUMENT;
    subtract(e);
    dest->add(e);
    return RESULT_OK;
}

int DcElemList::moveElem(DcElemList* dest, unsigned short group, unsigned short element) {
    return moveElem(dest, tagOf(group, element));
}

// ---- the whole list ------------------------------------------------------------------------------------

int DcElemList::getValueCount(unsigned int tag) const {
    DcElem* e = ElemListAccess::find(*this, tag);
    return e != nullptr ? e->getValueCount() : -1;
}

int DcElemList::resetValueCounter() {
    for (DcElem* e = first(); e != nullptr; e = e->next()) e->resetValueCounter();
    return RESULT_OK;
}

namespace {

template <typename Excluded, typename Pass>
unsigned int sumSizes(const DcElemList& list, Excluded excluded, Pass pass) {
    unsigned long long total = 0;
    for (DcElem* e = list.first(); e != nullptr; e = e->next()) {
        if (excluded(ElemAccess::tag(*e))) continue;
        unsigned int size = 0;
        e->getBufSize(size, pass);
        total += size;
    }
    return total > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<unsigned int>(total);
}

}  // namespace

int DcElemList::getBufSize(unsigned int& size, unsigned int* excluded) const {
    size = sumSizes(
        *this,
        [excluded](unsigned int tag) {
            if (excluded == nullptr) return false;
            for (const unsigned int* t = excluded; *t != TAG_LIST_END; ++t) {
                if (*t == tag) return true;
            }
            return false;
        },
        excluded);
    return RESULT_OK;
}

int DcElemList::getBufSize(unsigned int& size, unsigned int excludedTag) const {
    size = sumSizes(
        *this, [excludedTag](unsigned int tag) { return tag == excludedTag && tag != TAG_LIST_END; },
        excludedTag);
    return RESULT_OK;
}

// ---- queued buffers and settings -----------------------------------------------------------------------

DcBuf* DcElemList::add(DcBuf* buffer) {
    if (pending_ == nullptr) pending_ = new DcBufList();
    return static_cast<DcBuf*>(pending_->add(buffer));
}

DcBuf* DcElemList::subtract(DcBuf* buffer) {
    return pending_ == nullptr ? nullptr : static_cast<DcBuf*>(pending_->subtract(buffer));
}

DcElemList& DcElemList::operator+(DcBuf* buffer) {
    add(buffer);
    return *this;
}

DcElemList& DcElemList::operator-(DcBuf* buffer) {
    subtract(buffer);
    return *this;
}

int DcElemList::setDecodingFlag(int flag) {
    decodingFlag_ = flag;
    return RESULT_OK;
}

int DcElemList::getDecodingFlag() const {
    return decodingFlag_;
}

int DcElemList::setValueExceptionLevel(int level) {
    exceptionContext_ = nullptr;
    exceptionCB_ = level == 0 ? &acceptAll : nullptr;
    return RESULT_OK;
}

int DcElemList::registerValueExceptionCB(void* context, DcElemValueExceptionCB callback) {
    exceptionContext_ = context;
    exceptionCB_ = callback;
    return RESULT_OK;
}
