#include "dataset/elem_index.h"

#include <algorithm>

using namespace orvkit;

std::size_t ElemIndex::Leaf::position(unsigned int tag) const noexcept {
    const auto end = tags.begin() + static_cast<std::ptrdiff_t>(count);
    return static_cast<std::size_t>(std::lower_bound(tags.begin(), end, tag) - tags.begin());
}

void ElemIndex::Leaf::insert(std::size_t at, unsigned int tag, DcElem* e) noexcept {
    std::copy_backward(tags.data() + at, tags.data() + count, tags.data() + count + 1);
    std::copy_backward(elems.data() + at, elems.data() + count, elems.data() + count + 1);
    tags[at] = tag;
    elems[at] = e;
    ++count;
}

void ElemIndex::Leaf::erase(std::size_t at) noexcept {
    std::copy(tags.data() + at + 1, tags.data() + count, tags.data() + at);
    std::copy(elems.data() + at + 1, elems.data() + count, elems.data() + at);
    --count;
}

// The last leaf that begins at or before the tag, otherwise the first.
std::size_t ElemIndex::leafOf(unsigned int tag) const noexcept {
    const auto behind = std::ranges::upper_bound(firsts_, tag) - firsts_.begin();
    return static_cast<std::size_t>(behind == 0 ? 0 : behind - 1);
}

ElemIndex::Leaf& ElemIndex::addLeaf(std::size_t at, unsigned int first) {
    const auto place = static_cast<std::ptrdiff_t>(at);
    firsts_.insert(firsts_.begin() + place, first);
    return **leaves_.insert(leaves_.begin() + place, std::make_unique<Leaf>());
}

DcElem* ElemIndex::atOrAfter(unsigned int tag) const noexcept {
    if (leaves_.empty()) return nullptr;
    const std::size_t at = leafOf(tag);
    const Leaf& leaf = *leaves_[at];
    const std::size_t position = leaf.position(tag);
    if (position < leaf.count) return leaf.elems[position];
    return at + 1 < leaves_.size() ? leaves_[at + 1]->elems[0] : nullptr;
}

void ElemIndex::insert(unsigned int tag, DcElem* e) {
    if (leaves_.empty()) addLeaf(0, tag);
    std::size_t at = leafOf(tag);
    if (leaves_[at]->count == Leaf::room) {
        Leaf& full = *leaves_[at];
        const bool appended = at + 1 == leaves_.size() && full.tags.back() < tag;
        const std::size_t kept = appended ? Leaf::room : Leaf::room / 2;
        Leaf& other = addLeaf(at + 1, appended ? tag : full.tags[kept]);
        std::copy(full.tags.data() + kept, full.tags.data() + Leaf::room, other.tags.data());
        std::copy(full.elems.data() + kept, full.elems.data() + Leaf::room, other.elems.data());
        other.count = Leaf::room - kept;
        full.count = kept;
        at = leafOf(tag);
    }
    Leaf& leaf = *leaves_[at];
    leaf.insert(leaf.position(tag), tag, e);
}

void ElemIndex::erase(unsigned int tag) noexcept {
    if (leaves_.empty()) return;
    const std::size_t at = leafOf(tag);
    Leaf& leaf = *leaves_[at];
    const std::size_t position = leaf.position(tag);
    if (position == leaf.count || leaf.tags[position] != tag) return;
    leaf.erase(position);
    if (leaf.count > 0) return;
    firsts_.erase(firsts_.begin() + static_cast<std::ptrdiff_t>(at));
    leaves_.erase(leaves_.begin() + static_cast<std::ptrdiff_t>(at));
}
