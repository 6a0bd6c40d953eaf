#include <algorithm>

#include "encoding/walk.h"

namespace orvkit {

bool Nesting::certain() const noexcept {
    return std::ranges::all_of(levels_, &Level::certain);
}

WalkFault Nesting::push(const Level& level) {
    if (levels_.size() >= 2 * kMostNesting) return WalkFault::tooDeep;
    levels_.push_back(level);
    return WalkFault::none;
}

WalkFault Nesting::enter(const Header& h) {
    if (isItemTag(h.tag)) return WalkFault::lengthPastEnd;
    const Kind kind = vrRowOfAny(h.vr).kind;
    const bool pixels = h.tag == kTagPixelData;
    // One more than the limit: a value that is searched for its end opens no level.
    levels_.push_back({h.mode, Inside::undecided, pixels || kind == Kind::bytes || kind == Kind::longText,
                       pixels || h.vr == VR_SQ, h.vr});
    return WalkFault::none;
}

void Nesting::enterItem(Mode mode) {
    levels_.push_back({mode, Inside::item, false, true, VR_SI});
}

Nesting::Step Nesting::step(std::span<const unsigned char> ahead, Header& h) {
    switch (levels_.back().inside) {
        case Inside::undecided:
            return decide(ahead);
        case Inside::item:
            return stepInItem(ahead, h);
        default:
            return stepBetweenItems(ahead);
    }
}

// At the first byte of a value.
Nesting::Step Nesting::decide(std::span<const unsigned char> ahead) {
    Level& level = levels_.back();
    const bool items = beginsWithItem(ahead, level.mode.order);
    const WalkFault fault = levels_.size() > 2 * kMostNesting ? WalkFault::tooDeep : WalkFault::none;
    if (level.bytes) {
        level.inside = Inside::fragments;
        return items ? Step{.fault = fault} : Step{.search = true};
    }
    level.inside = Inside::sequence;
    const bool guess = level.vr != VR_SQ || !level.mode.explicitVr;
    if (level.vr != VR_SQ) {
        // UN of undefined length is a sequence in implicit encoding, whatever the stream's (PS3.5 6.2.2).
        if (beginsWithItem(ahead, ByteOrder::little)) {
            level.mode = Mode::implicitLittle();
        } else if (!items) {
            return {.search = true};
        }
    }
    return {.fault = fault, .guess = guess};
}

Nesting::Step Nesting::stepInItem(std::span<const unsigned char> ahead, Header& h) {
    const Mode mode = levels_.back().mode;
    if (isDelimitation(ahead, mode.order, kTagItemDelimitation)) {
        levels_.pop_back();
        return {.size = kDelimitationSize};
    }
    if (!readHeader(ahead, mode, {}, h)) return {.fault = WalkFault::delimiterMissing};
    if (h.length != kLengthUndefined) return {.size = h.size, .length = h.length};
    const WalkFault fault = enter(h);
    return {.size = h.size, .length = fault == WalkFault::none ? 0 : h.length, .fault = fault};
}

Nesting::Step Nesting::stepBetweenItems(std::span<const unsigned char> ahead) {
    const Level& level = levels_.back();
    const bool fragments = level.inside == Inside::fragments;
    const ItemHeader h = readItemHeader(ahead, level.mode.order);
    switch (h.kind) {
        case ItemHeader::Kind::none:
            return {.fault = fragments ? WalkFault::terminatorMissing : WalkFault::delimiterMissing};
        case ItemHeader::Kind::end:
            levels_.pop_back();
            return {.size = kDelimitationSize};
        case ItemHeader::Kind::other:
            return {.fault = WalkFault::itemExpected, .tag = h.tag};
        default:
            break;
    }
    if (h.length != kLengthUndefined) return {.size = kShortHeader, .length = h.length};
    if (fragments) return {.size = kShortHeader, .length = h.length, .fault = WalkFault::lengthPastEnd};
    return {.size = kShortHeader, .fault = push({level.mode, Inside::item, false, level.certain, VR_SI})};
}

}  // namespace orvkit
