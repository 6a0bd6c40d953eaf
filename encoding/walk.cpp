#include "encoding/walk.h"

#include <algorithm>

namespace orvkit {

namespace {

constexpr std::size_t kSearchBuffer = 16384;

}  // namespace

Walker::Walker(ByteSource& source, std::uint64_t start, std::uint64_t end, Mode mode, bool lenient) noexcept
    : source_(source), pos_(start), end_(std::min(end, source.size())), mode_(mode), lenient_(lenient) {}

std::span<const unsigned char> Walker::bytes(std::uint64_t offset, std::size_t n) {
    if (offset >= end_) return {};
    const auto left = static_cast<std::size_t>(std::min<std::uint64_t>(end_ - offset, n));
    const auto b = source_.at(offset, left);
    return b.first(std::min(left, b.size()));
}

bool Walker::fail(WalkFault fault, std::uint64_t offset, unsigned int length, unsigned int tag) noexcept {
    fault_ = source_.failed() ? WalkFault::readError : fault;
    faultOffset_ = offset;
    faultLength_ = length;
    faultTag_ = tag;
    return false;
}

WalkStep Walker::peek(WalkHeader& h) {
    const auto b = bytes(pos_, kLongHeader);
    if (b.size() < kLongHeader && source_.failed()) {
        fail(WalkFault::readError, pos_);
        return WalkStep::failed;
    }
    if (!readHeader(b, mode_, {}, h)) return WalkStep::end;
    h.offset = pos_;
    h.valueOffset = pos_ + h.size;
    return WalkStep::element;
}

bool Walker::skip(const WalkHeader& h) {
    pos_ = h.valueOffset;
    ++work_;
    if (h.length != kLengthUndefined) return pass(0, h.length);
    nesting_.cut(0);
    retry_ = false;
    if (h.tag == kTagItem) {
        nesting_.enterItem(h.mode);
        return walkLevels();
    }
    const WalkFault fault = nesting_.enter(h);
    return fault == WalkFault::none ? walkLevels() : fail(fault, h.valueOffset, h.length);
}

// Moves over a header and a value that is all there; otherwise it stays.
bool Walker::pass(unsigned int size, unsigned int length) {
    const std::uint64_t valueOffset = pos_ + size;
    if (length > end_ - std::min(valueOffset, end_)) {
        return fail(WalkFault::lengthPastEnd, valueOffset, length);
    }
    pos_ = valueOffset + length;
    return true;
}

// Walks until nothing is open.
bool Walker::walkLevels() {
    while (!nesting_.empty()) {
        if (!step() && !fallBack()) return false;
        if (retry_ && nesting_.depth() <= retryDepth_) retry_ = false;
    }
    return true;
}

bool Walker::step() {
    Header h;
    const std::size_t depth = nesting_.depth();
    const Nesting::Step s = nesting_.step(bytes(pos_, kLongHeader), h);
    if (source_.failed()) return fail(WalkFault::readError, pos_);
    if (s.fault != WalkFault::none) return fail(s.fault, pos_ + s.size, s.length, s.tag);
    if (s.search) {
        const ByteOrder order = nesting_.mode().order;
        nesting_.cut(nesting_.depth() - 1);
        return search(pos_, order);
    }
    if (s.guess && lenient_ && !retry_) {
        retry_ = true;
        retryDepth_ = nesting_.depth() - 1;
        retryAt_ = pos_;
        retryOrder_ = nesting_.mode().order;
        retryWork_ = work();
    }
    // Elements and items are work, delimitations are not.
    if (s.size != 0 && nesting_.depth() >= depth) ++work_;
    return pass(s.size, s.length);
}

// The value was taken for an implicit sequence and is none: its delimiter is searched instead. What such
// attempts cost is bounded by the size of the source.
bool Walker::fallBack() {
    if (!retry_ || fault_ == WalkFault::readError || fault_ == WalkFault::tooDeep) return false;
    wasted_ += work() - retryWork_;
    if (wasted_ > source_.size() / 8 + 64) return false;
    retry_ = false;
    fault_ = WalkFault::none;
    nesting_.cut(retryDepth_);
    return search(retryAt_, retryOrder_);
}

// Moves behind the next Sequence Delimitation.
bool Walker::search(std::uint64_t from, ByteOrder order) {
    std::uint64_t at = from;
    while (true) {
        const auto b = bytes(at, kSearchBuffer);
        if (b.size() < kDelimitationSize) break;
        const std::size_t hit = findSequenceDelimitation(b, order);
        if (hit != kNotFound) {
            pos_ = at + hit + kDelimitationSize;
            work_ += (pos_ - from) / 8;
            return true;
        }
        at += b.size() - (kDelimitationSize - 1);
    }
    return fail(WalkFault::terminatorMissing, from);
}

}  // namespace orvkit
