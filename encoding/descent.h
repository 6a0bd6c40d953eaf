// The walk that goes into every sequence, whatever its length, over bytes that are all there. It tells a
// listener what it meets and what is wrong, is lenient where nothing is lost by going on, and takes time
// linear in the bytes: nesting is held in a stack of its own, and what is read again after a failure is
// bounded.
#ifndef ORVKIT_ENCODING_DESCENT_H
#define ORVKIT_ENCODING_DESCENT_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_set>
#include <vector>

#include "encoding/walk.h"

namespace orvkit {

inline constexpr unsigned int kNoTag = 0xFFFFFFFF;

// What is wrong, and where.
struct DescentFault {
    enum class Kind : unsigned char {
        // The walk goes on:
        leftOver,        // behind the last element
        itemEndMissing,  // an item's delimitation
        sequenceEndMissing,
        valueEndMissing,  // the delimitation of another value of undefined length
        // What is around it fails:
        outOfOrder,
        lengthPastEnd,
        itemExpected,
        failedBefore,  // a sequence, which has been told
        tooDeep,       // ends the walk
        wasteful,      // ends the walk: too much was read in vain
    };
    Kind kind;
    unsigned int tag;           // of the element, or what stands there
    std::size_t at;             // where that begins
    std::size_t valueAt = 0;    // where its value would
    std::size_t left = 0;       // bytes that there are for the value, ...
    unsigned int length = 0;    // ... and how many it claims
    unsigned int previous = 0;  // the tag that `tag` must not follow
};

// After a failure the walk goes on behind a sequence around it.
enum class AfterFailure : unsigned char {
    // The innermost one is a value of bytes after all: it is taken as one of UN.
    takesBytes,
    // The innermost one of defined length, which keeps what it has.
    skipsKnownLength,
};

// A listener has, inlined:
//   void substituted(const WalkHeader&)    the letters are of no VR: the dictionary told
//   void value(const WalkHeader&, std::span<const unsigned char>)
//   void sequence(unsigned int tag)        it begins; then item() for each, endSequence() or dropSequence()
//   void fault(const DescentFault&)
template <typename Listener>
class Descent {
  public:
    Descent(std::span<const unsigned char> bytes, Mode mode, AfterFailure after, Listener& listener)
        : bytes_(bytes),
          listener_(listener),
          after_(after),
          content_{bytes.size(), kNoTag, mode, false},
          mayWaste_(kWasteFree + kWasteFactor * bytes.size()) {}

    // To the end; false when it had to stop before that, at the position.
    [[nodiscard]] bool run();
    std::size_t position() const noexcept { return pos_; }
    // Tags of the open sequences, each with the number of its item, counted from 1.
    std::vector<unsigned int> path() const;

  private:
    using Fault = DescentFault::Kind;

    // What reading in vain may cost, in bytes read again, before the walk gives up.
    static constexpr std::uint64_t kWasteFactor = 16;
    static constexpr std::uint64_t kWasteFree = std::uint64_t{16} << 20;
    // Where elements belong, whatever stands there is read as one.
    static constexpr HeaderRules kRules{.itemsAreElements = true};

    // Elements being read: the stream's own, or those of an item.
    struct Content {
        std::size_t end;       // the bytes reach no further
        unsigned int lastTag;  // kNoTag before the first
        Mode mode;
        bool undefined;  // an item that ends with its delimitation
    };
    // A sequence whose items are being read, and the content it stands in.
    struct Level {
        unsigned int tag;
        std::size_t valueAt;
        std::size_t end;
        Mode mode;
        bool undefined;
        unsigned int item;  // number of the item being read, from 1
        Content outer;
    };
    enum class Step : unsigned char { next, contentEnds, failed };

    std::size_t left() const noexcept { return content_.end - pos_; }
    std::span<const unsigned char> ahead() const noexcept { return bytes_.subspan(pos_, left()); }

    Step fail(const DescentFault& fault) {
        listener_.fault(fault);
        return Step::failed;
    }
    Step stepContent();
    Step stepSequence();
    Step readHead(WalkHeader& h);
    Step readValue(const WalkHeader& h);
    Step openSequence(const WalkHeader& h);
    void closeSequence();
    [[nodiscard]] bool recover();
    [[nodiscard]] bool takeAsBytes();
    std::size_t measureUndefined(const WalkHeader& h);

    std::span<const unsigned char> bytes_;
    Listener& listener_;
    AfterFailure after_;
    Content content_;
    std::vector<Level> levels_;
    bool inItems_ = false;  // between the items of the innermost sequence
    bool givenUp_ = false;
    std::size_t pos_ = 0;

    // Sequences that failed once, by where they begin and how far they might reach: they are not tried again
    // when the bytes around them are read anew.
    struct Tried {
        std::size_t at;
        std::size_t end;
        bool operator==(const Tried&) const = default;
    };
    struct TriedHash {
        std::size_t operator()(const Tried& t) const noexcept {
            return static_cast<std::size_t>(t.at * 0x9E3779B97F4A7C15ull ^ t.end);
        }
    };
    std::unordered_set<Tried, TriedHash> failed_;
    std::uint64_t wasted_ = 0;  // bytes read in vain
    std::uint64_t mayWaste_;
};

template <typename Listener>
bool Descent<Listener>::run() {
    for (;;) {
        switch (inItems_ ? stepSequence() : stepContent()) {
            case Step::next:
                break;
            case Step::contentEnds:
                if (levels_.empty()) {
                    if (pos_ < bytes_.size()) listener_.fault({Fault::leftOver, 0, pos_});
                    return true;
                }
                if (!content_.undefined) pos_ = content_.end;
                inItems_ = true;
                break;
            case Step::failed:
                if (!recover()) return false;
                break;
        }
    }
}

template <typename Listener>
std::vector<unsigned int> Descent<Listener>::path() const {
    std::vector<unsigned int> path;
    path.reserve(levels_.size() * 2 + 1);
    for (const Level& level : levels_) {
        path.push_back(level.tag);
        path.push_back(level.item);
    }
    return path;
}

// ---- elements

template <typename Listener>
auto Descent<Listener>::stepContent() -> Step {
    if (left() < kShortHeader) {
        if (content_.undefined) {
            listener_.fault({Fault::itemEndMissing, kTagItemDelimitation, pos_});
        }
        return Step::contentEnds;
    }
    if (!levels_.empty() && isDelimitation(ahead(), content_.mode.order, kTagItemDelimitation)) {
        pos_ += kShortHeader;
        return Step::contentEnds;
    }
    WalkHeader h;
    const Step step = readHead(h);
    return step == Step::next ? readValue(h) : step;
}

template <typename Listener>
auto Descent<Listener>::readHead(WalkHeader& h) -> Step {
    h.offset = pos_;
    const bool whole = readHeader(ahead(), content_.mode, kRules, h);
    const unsigned int last = content_.lastTag;
    if (last != kNoTag && last >= h.tag && (h.tag == 0 || !Dict.facts(h.tag).known)) {
        return fail({.kind = Fault::outOfOrder, .tag = h.tag, .at = pos_, .previous = last});
    }
    content_.lastTag = h.tag;
    if (h.mode.explicitVr && h.from == Header::VrFrom::dictionary) listener_.substituted(h);
    if (!whole) return Step::contentEnds;
    if (!h.mode.explicitVr && h.from == Header::VrFrom::nowhere) {
        const bool item = left() > kLongHeader &&
                          loadTag(bytes_.data() + pos_ + kShortHeader, ByteOrder::little) == kTagItem;
        h.vr = item ? VR_SQ : VR_UN;
    }
    pos_ += h.size;
    h.valueOffset = pos_;
    return Step::next;
}

template <typename Listener>
auto Descent<Listener>::readValue(const WalkHeader& h) -> Step {
    const auto at = static_cast<std::size_t>(h.offset);
    if (h.length != kLengthUndefined && h.length > left()) {
        return fail({Fault::lengthPastEnd, h.tag, at, pos_, left(), h.length});
    }
    if (h.vr == VR_SQ) return openSequence(h);
    std::size_t length = h.length;
    std::size_t advance = h.length;
    if (h.length == kLengthUndefined) {
        advance = measureUndefined(h);
        length = advance < kDelimitationSize ? 0 : advance - kDelimitationSize;
    }
    listener_.value(h, bytes_.subspan(pos_, length));
    pos_ += advance;
    return Step::next;
}

// The length of a value up to and with its Sequence Delimitation. The search is naive on purpose: it does not
// step over items. Only the value of an UN element is first walked as what it is, a sequence in implicit
// encoding (PS3.5 6.2.2).
template <typename Listener>
std::size_t Descent<Listener>::measureUndefined(const WalkHeader& h) {
    if (h.vr == VR_UN && wasted_ <= mayWaste_) {
        SpanSource source(bytes_);
        Walker walker(source, h.offset, content_.end, h.mode);
        WalkHeader raw;
        // The walker has items and delimitations for what they are, where an element was read here.
        const bool same = walker.peek(raw) == WalkStep::element && raw.valueOffset == pos_ &&
                          raw.length == kLengthUndefined;
        if (same && walker.skip(raw)) return static_cast<std::size_t>(walker.position()) - pos_;
        if (walker.fault() == WalkFault::terminatorMissing) {
            wasted_ += left();  // it was searched for to the end
        } else if (walker.faultOffset() > pos_) {
            wasted_ += walker.faultOffset() - pos_;
        }
    }
    const std::size_t found = findSequenceDelimitation(ahead(), h.mode.order);
    if (found != kNotFound) return found + kDelimitationSize;
    listener_.fault({Fault::valueEndMissing, h.tag, static_cast<std::size_t>(h.offset)});
    return left() < kDelimitationSize ? left() : left() - (kDelimitationSize - 1);
}

// ---- sequences

template <typename Listener>
auto Descent<Listener>::openSequence(const WalkHeader& h) -> Step {
    if (levels_.size() >= kMostNesting) {
        givenUp_ = true;
        return fail({Fault::tooDeep, h.tag, static_cast<std::size_t>(h.offset), pos_});
    }
    listener_.sequence(h.tag);
    const bool undefined = h.length == kLengthUndefined;
    const std::size_t end = undefined ? content_.end : pos_ + h.length;
    levels_.push_back({h.tag, pos_, end, h.mode, undefined, 0, content_});
    content_.end = end;
    content_.mode = h.mode;
    inItems_ = true;
    return failed_.contains({pos_, end}) ? fail({Fault::failedBefore, h.tag, pos_}) : Step::next;
}

// Between two items, or before the first or behind the last.
template <typename Listener>
auto Descent<Listener>::stepSequence() -> Step {
    Level& level = levels_.back();
    content_.end = level.end;
    const ItemHeader h = readItemHeader(ahead(), level.mode.order);
    switch (h.kind) {
        case ItemHeader::Kind::none:
            if (level.undefined) listener_.fault({Fault::sequenceEndMissing, level.tag, level.valueAt});
            closeSequence();
            return Step::next;
        case ItemHeader::Kind::end:
            pos_ += kShortHeader;
            closeSequence();
            return Step::next;
        case ItemHeader::Kind::other:
            return fail({Fault::itemExpected, h.tag, pos_});
        default:
            break;
    }
    const bool undefined = h.length == kLengthUndefined;
    if (!undefined && h.length > left() - kShortHeader) {
        return fail(
            {Fault::lengthPastEnd, h.tag, pos_, pos_ + kShortHeader, left() - kShortHeader, h.length});
    }
    pos_ += kShortHeader;
    listener_.item();
    ++level.item;
    content_ = {undefined ? level.end : pos_ + h.length, kNoTag, level.mode, undefined};
    inItems_ = false;
    return Step::next;
}

template <typename Listener>
void Descent<Listener>::closeSequence() {
    const Level& level = levels_.back();
    if (!level.undefined) pos_ = level.end;
    content_ = level.outer;
    levels_.pop_back();
    inItems_ = false;
    listener_.endSequence();
}

template <typename Listener>
bool Descent<Listener>::recover() {
    if (givenUp_) return false;
    if (after_ == AfterFailure::takesBytes) return !levels_.empty() && takeAsBytes();
    while (!levels_.empty() && levels_.back().undefined) closeSequence();
    if (levels_.empty()) return false;
    closeSequence();
    return true;
}

template <typename Listener>
bool Descent<Listener>::takeAsBytes() {
    const Level level = levels_.back();
    levels_.pop_back();
    failed_.insert({level.valueAt, level.end});
    wasted_ += pos_ - level.valueAt;
    if (wasted_ > mayWaste_) {
        listener_.fault({Fault::wasteful, level.tag, level.valueAt, pos_});
        givenUp_ = true;
        return false;
    }
    content_ = level.outer;
    inItems_ = false;
    pos_ = level.valueAt;
    WalkHeader h;
    h.tag = level.tag;
    h.vr = VR_UN;
    h.mode = level.mode;
    h.offset = level.valueAt - (level.mode.explicitVr ? kLongHeader : kShortHeader);
    h.valueOffset = level.valueAt;
    h.length = level.undefined ? kLengthUndefined : static_cast<unsigned int>(level.end - level.valueAt);
    listener_.dropSequence();
    (void)readValue(h);  // the length was checked when the sequence was opened
    return true;
}

}  // namespace orvkit

#endif
