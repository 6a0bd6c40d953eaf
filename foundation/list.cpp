#include "orvkit/list.h"

#include <cstdio>
#include <memory>
#include <utility>

#include "foundation/fail.h"
#include "platform/file.h"

using namespace orvkit;

// ---- nodes ----------------------------------------------------------------------------------------------

DcNode& DcNode::operator=(const DcNode& other) noexcept {
    // Links that come from elsewhere: from here on only a walk tells which nodes the list holds.
    if (list_ != nullptr && this != &other) list_->shared_ = 1;
    previous_ = other.previous_;
    next_ = other.next_;
    info_ = other.info_;
    return *this;
}

DcNode::~DcNode() = default;

// ---- copies and destruction -----------------------------------------------------------------------------

DcList::DcList(const DcList& other) noexcept
    : compare_(other.compare_),
      first_(other.first_),
      last_(other.last_),
      cursor_(other.cursor_),
      version_(other.version_),
      count_(other.count_),
      shared_(1) {
    other.shared_ = 1;
}

DcList& DcList::operator=(const DcList& other) noexcept {
    if (this == &other) return *this;
    compare_ = other.compare_;
    first_ = other.first_;
    last_ = other.last_;
    cursor_ = other.cursor_;
    count_ = other.count_;
    shared_ = other.shared_ = 1;
    touch();
    return *this;
}

DcList::~DcList() {
    destroyAllNodes();
}

void DcList::destroyAllNodes() {
    while (first_ != nullptr) {
        DcNode* const node = first_;
        unlink(node);
        delete node;
    }
    last_ = nullptr;
    cursor_ = nullptr;
}

// ---- membership -----------------------------------------------------------------------------------------

// A node knows the list that linked it, but the nodes of a copied list are in two: those are looked for.
bool DcList::holds(const DcNode* node) const noexcept {
    if (node == nullptr) return false;
    if (!isShared()) return node->list_ == this;
    for (const DcNode* n = first_; n != nullptr; n = n->next_) {
        if (n == node) return true;
    }
    return false;
}

int DcList::index(const DcNode* node) const noexcept {
    if (node == nullptr || (!isShared() && node->list_ != this)) return -1;
    int position = 0;
    for (const DcNode* n = first_; n != nullptr; n = n->next_, ++position) {
        if (n == node) return position;
    }
    return -1;
}

int DcList::count() const noexcept {
    if (!isShared()) return static_cast<int>(count_);
    int nodes = 0;
    for (const DcNode* n = first_; n != nullptr; n = n->next_) ++nodes;
    return nodes;
}

void DcList::setCursor(DcNode* node) noexcept {
    if (holds(node)) cursor_ = node;
}

// ---- linking --------------------------------------------------------------------------------------------

void DcList::linkBefore(DcNode* position, DcNode* node) noexcept {
    DcNode* const before = position != nullptr ? position->previous_ : last_;
    node->previous_ = before;
    node->next_ = position;
    node->list_ = this;
    (before != nullptr ? before->next_ : first_) = node;
    (position != nullptr ? position->previous_ : last_) = node;
    ++count_;
    touch();
}

void DcList::unlink(DcNode* node) noexcept {
    (node->previous_ != nullptr ? node->previous_->next_ : first_) = node->next_;
    (node->next_ != nullptr ? node->next_->previous_ : last_) = node->previous_;
    node->previous_ = nullptr;
    node->next_ = nullptr;
    node->list_ = nullptr;
    --count_;
    touch();
}

// The node in front of which a new one belongs; null: at the end.
DcNode* DcList::placeFor(DcNode* node) const {
    if (first_ == nullptr || compare_ == nullptr) return nullptr;
    // A key equal to the last node's goes behind it, one equal to the first node's in front of it: kept for
    // callers that rely on it.
    if (compare_(last_, node) <= 0) return nullptr;
    if (compare_(first_, node) >= 0) return first_;

    DcNode* low = first_;
    DcNode* high = last_;
    for (;;) {
        // The forward pointer steps first; of two nodes in the middle the upper one is met.
        DcNode* mid = low;
        for (DcNode* back = high; mid != back; back = back->previous_) {
            if (mid->next_ != high) mid = mid->next_;
            if (mid == back) break;
        }
        const int r = compare_(mid, node);
        if (r == 0 || (r > 0 && mid == high) || (r < 0 && mid == low)) return mid->next_;
        (r > 0 ? high : low) = mid;
        if (low == high) return high->next_;
    }
}

DcNode* DcList::add(DcNode* node) {
    if (node == nullptr || holds(node)) return node;
    linkBefore(placeFor(node), node);
    return node;
}

DcNode* DcList::add(DcNode* position, DcNode* node) {
    if (node == nullptr) return nullptr;
    if (first_ == nullptr || position == nullptr) {
        linkBefore(nullptr, node);
    } else if (holds(position) && !holds(node)) {
        linkBefore(position, node);
    }
    return node;
}

DcNode* DcList::subtract(DcNode* node) {
    if (!holds(node)) return nullptr;
    DcNode* const following = node->next_;
    unlink(node);
    return following;
}

DcList& DcList::operator+(DcNode* node) {
    add(node);
    return *this;
}

DcList& DcList::operator-(DcNode* node) {
    subtract(node);
    return *this;
}

// ---- order ----------------------------------------------------------------------------------------------

void DcList::sort() {
    sort(compare_);
}

// Takes every node in the old order and adds it again, which settles the order among equal keys.
void DcList::sort(int (*compare)(void*, void*)) {
    if (first_ == nullptr || compare == nullptr) return;
    int (*const own)(void*, void*) = std::exchange(compare_, compare);
    DcNode* node = std::exchange(first_, nullptr);
    last_ = nullptr;
    count_ = 0;
    while (node != nullptr) {
        DcNode* const following = node->next_;
        linkBefore(placeFor(node), node);
        node = following;
    }
    compare_ = own;
}

void DcList::reverse() {
    for (DcNode* node = first_; node != nullptr; node = node->previous_)
        std::swap(node->previous_, node->next_);
    std::swap(first_, last_);
    touch();
}

// ---- printing -------------------------------------------------------------------------------------------

int DcList::printNodeList(const char* fileName, const char* mode) {
    // The reporter's name is that of the data set for every list: kept for those who watch for it.
    static constexpr char reporter[] = "DcElemList::printNodeList";
    if (fileName == nullptr || mode == nullptr) {
        return failNull(LIST_PRINT, reporter);
    }
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(platform::openStream(fileName, mode),
                                                               &std::fclose);
    if (!file) {
        return fail(LIST_PRINT, LOG_VALIDATION, reporter, "Error opening file %s in mode %s", fileName, mode);
    }
    std::fprintf(file.get(), "%p\n", static_cast<const void*>(this));
    for (const DcNode* node = first_; node != nullptr; node = node->next_) {
        std::fprintf(file.get(), "  %p\n", static_cast<const void*>(node));
    }
    return RESULT_OK;
}
