#include <algorithm>

#include "encoding/walk.h"

namespace orvkit {

std::size_t PushWalk::take(std::span<const unsigned char> data) {
    met_ = false;
    std::size_t taken = data.size();
    if (left_ > 0) {
        taken = static_cast<std::size_t>(std::min<std::uint64_t>(left_, taken));
        left_ -= taken;
        position_ += taken;
    } else if (searching_) {
        taken = search(data);
        position_ += taken;
    } else if (fault_ == WalkFault::none) {
        taken = std::min(wanted_ - headSize_, taken);
        std::copy_n(data.begin(), taken, head_ + headSize_);
        headSize_ += taken;
        position_ += taken;
        if (headSize_ == wanted_) headComplete();
    }
    return taken;
}

// Up to the last byte of the next Sequence Delimitation.
std::size_t PushWalk::search(std::span<const unsigned char> data) {
    const bool big = nesting_.mode().order == ByteOrder::big;
    const std::uint64_t delimitation = big ? 0xFFFEE0DD00000000u : 0xFEFFDDE000000000u;
    for (std::size_t i = 0; i < data.size(); ++i) {
        last8_ = last8_ << 8 | data[i];
        if (last8_ != delimitation) continue;
        searching_ = false;
        nesting_.cut(nesting_.depth() - 1);
        return i + 1;
    }
    return data.size();
}

// 8 bytes of a header are here, or all 12.
void PushWalk::headComplete() {
    const std::span<const unsigned char> head(head_, headSize_);
    const bool atElement = nesting_.empty() || nesting_.inItem();
    const Mode mode = nesting_.empty() ? mode_ : nesting_.mode();
    const bool itemEnds = !nesting_.empty() && isDelimitation(head, mode.order, kTagItemDelimitation);
    if (atElement && !itemEnds) {
        if (!readHeader(head, mode, {}, header_)) {
            wanted_ = kLongHeader;
            return;
        }
        met_ = true;
        header_.valueOffset = position_;
        header_.offset = position_ - header_.size;
    }
    if (nesting_.empty()) {
        open();
    } else {
        step(head);
    }
    headSize_ = 0;
    wanted_ = kShortHeader;
}

// The value of an element outside of everything.
void PushWalk::open() {
    passing_ = header_.tag;
    if (header_.length != kLengthUndefined) {
        left_ = header_.length;
    } else if (header_.tag == kTagItem) {
        nesting_.enterItem(header_.mode);
    } else {
        fault_ = nesting_.enter(header_);
    }
}

void PushWalk::step(std::span<const unsigned char> head) {
    Header h;
    Nesting::Step s = nesting_.step(head, h);
    if (s.search) {
        searching_ = true;
        last8_ = loadAt<std::uint64_t>(head_, ByteOrder::big);
        return;
    }
    // The first bytes of a value are looked at twice: for what it is, and for what they are.
    if (s.size == 0 && s.fault == WalkFault::none) s = nesting_.step(head, h);
    passing_ = met_ ? header_.tag : kTagItem;
    left_ = s.length;
    fault_ = s.fault;
}

}  // namespace orvkit
