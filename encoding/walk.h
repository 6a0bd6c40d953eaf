// Walking over encoded data elements without building any: the one place that all scanning of raw streams
// goes through. Iterative, linear in the bytes for every input, and no length is believed that the source
// does not hold.
#ifndef ORVKIT_ENCODING_WALK_H
#define ORVKIT_ENCODING_WALK_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "encoding/header.h"
#include "encoding/source.h"

namespace orvkit {

// Sequences are not walked into deeper than this.
inline constexpr std::size_t kMostNesting = 1024;

struct WalkHeader : Header {
    std::uint64_t offset = 0;       // of the tag
    std::uint64_t valueOffset = 0;  // of the value's first byte
};

enum class WalkFault {
    none,
    lengthPastEnd,
    delimiterMissing,   // of a sequence or an item
    terminatorMissing,  // of fragments or another value of undefined length
    itemExpected,
    tooDeep,
    readError,
};

// The values of undefined length that are open around a position, and the items in them. It is shown the
// bytes that lie ahead, tells how far to go, and knows nothing of where they come from.
class Nesting {
  public:
    struct Step {
        std::uint8_t size = 0;    // bytes to pass: a header or a delimitation ...
        unsigned int length = 0;  // ... and a value
        WalkFault fault = WalkFault::none;
        unsigned int tag = 0;  // where an item was expected
        bool search = false;   // the value is no list of items: it ends behind the next Sequence Delimitation
        bool guess = false;    // it was taken for a sequence in implicit encoding, and may be none
    };

    bool empty() const noexcept { return levels_.empty(); }
    std::size_t depth() const noexcept { return levels_.size(); }
    void cut(std::size_t depth) { levels_.resize(depth); }
    // How the innermost open value is encoded, and whether elements stand there.
    Mode mode() const noexcept { return levels_.back().mode; }
    bool inItem() const noexcept { return levels_.back().inside == Inside::item; }
    // Whether every open value is surely what it was taken for.
    bool certain() const noexcept;

    // Opens the value of an element, or an item outside of any sequence.
    WalkFault enter(const Header& h);
    void enterItem(Mode mode);
    // `ahead` holds a whole header, fewer bytes only where there are no more. `h` receives an element's.
    Step step(std::span<const unsigned char> ahead, Header& h);

  private:
    enum class Inside : unsigned char { undecided, sequence, fragments, item };
    struct Level {
        Mode mode;
        Inside inside;
        bool bytes;    // by its VR the value holds bytes: its items are fragments
        bool certain;  // as much as its VR says
        DICT_VR vr;
    };

    WalkFault push(const Level& level);
    Step decide(std::span<const unsigned char> ahead);
    Step stepInItem(std::span<const unsigned char> ahead, Header& h);
    Step stepBetweenItems(std::span<const unsigned char> ahead);

    std::vector<Level> levels_;
};

enum class WalkStep { element, end, failed };

// The walk over a source.
class Walker {
  public:
    // Walks [start, end) of the source; offsets are the source's. `lenient`: a value of undefined length that
    // was taken for an implicit sequence and proves to be none ends at the next Sequence Delimitation, as it
    // does in decoding.
    Walker(ByteSource& source, std::uint64_t start, std::uint64_t end, Mode mode,
           bool lenient = false) noexcept;

    std::uint64_t position() const noexcept { return pos_; }
    void setPosition(std::uint64_t position) noexcept { pos_ = position; }

    // The header at the position, which stays. `end` where no header fits any more.
    [[nodiscard]] WalkStep peek(WalkHeader& header);
    // Moves behind the value of that header, delimiters included. false: see fault().
    [[nodiscard]] bool skip(const WalkHeader& header);

    WalkFault fault() const noexcept { return fault_; }
    std::uint64_t faultOffset() const noexcept { return faultOffset_; }
    unsigned int faultLength() const noexcept { return faultLength_; }
    unsigned int faultTag() const noexcept { return faultTag_; }
    // What the source holds from the fault on.
    std::uint64_t leftAtFault() const noexcept { return faultOffset_ < end_ ? end_ - faultOffset_ : 0; }

  private:
    bool fail(WalkFault fault, std::uint64_t offset, unsigned int length = 0, unsigned int tag = 0) noexcept;
    [[nodiscard]] bool pass(unsigned int size, unsigned int length);
    [[nodiscard]] bool walkLevels();
    [[nodiscard]] bool step();
    [[nodiscard]] bool fallBack();
    bool search(std::uint64_t from, ByteOrder order);
    std::span<const unsigned char> bytes(std::uint64_t offset, std::size_t n);

    ByteSource& source_;
    std::uint64_t pos_;
    std::uint64_t end_;
    Mode mode_;
    bool lenient_;
    Nesting nesting_;

    // Where to search for a delimiter when the outermost sequence in implicit encoding proves to be none.
    bool retry_ = false;
    ByteOrder retryOrder_ = ByteOrder::little;
    std::size_t retryDepth_ = 0;
    std::uint64_t retryAt_ = 0;
    // Headers looked at (a searched byte counts an eighth, a read 32), and those looked at in vain: bounded,
    // so that the walk stays linear.
    std::uint64_t work() const noexcept { return work_ + 32 * source_.moves(); }
    std::uint64_t work_ = 0;
    std::uint64_t retryWork_ = 0;
    std::uint64_t wasted_ = 0;

    WalkFault fault_ = WalkFault::none;
    std::uint64_t faultOffset_ = 0;
    unsigned int faultLength_ = 0;
    unsigned int faultTag_ = 0;
};

// The walk over bytes that are pushed, piece by piece, and that nobody keeps. Lengths cannot be held against
// an end that is not known yet.
class PushWalk {
  public:
    explicit PushWalk(Mode mode) noexcept : mode_(mode) {}

    // Takes bytes from the front of `data`, at least one and never more than one value's; gives their number.
    std::size_t take(std::span<const unsigned char> data);
    // Whether those bytes completed the header of an element, however deep it stands; its value comes next.
    bool met() const noexcept { return met_; }
    const WalkHeader& header() const noexcept { return header_; }
    // Bytes of a value of defined length that are still to come, and what they belong to: an element or an
    // item.
    std::uint64_t left() const noexcept { return left_; }
    unsigned int passing() const noexcept { return passing_; }
    // Bytes of a header that has begun.
    std::span<const unsigned char> begun() const noexcept { return {head_, headSize_}; }
    const Nesting& nesting() const noexcept { return nesting_; }
    // A value of undefined length proved to be no list of items: where it ends is searched.
    bool searching() const noexcept { return searching_; }
    // After a fault nothing more is met.
    WalkFault fault() const noexcept { return fault_; }

  private:
    std::size_t search(std::span<const unsigned char> data);
    void headComplete();
    void open();
    void step(std::span<const unsigned char> head);

    Mode mode_;
    Nesting nesting_;
    WalkHeader header_;
    bool met_ = false;
    bool searching_ = false;
    WalkFault fault_ = WalkFault::none;
    unsigned char head_[kLongHeader] = {};
    std::size_t headSize_ = 0;
    std::size_t wanted_ = kShortHeader;
    std::uint64_t position_ = 0;
    std::uint64_t left_ = 0;
    unsigned int passing_ = 0;
    std::uint64_t last8_ = 0;  // while searching
};

}  // namespace orvkit

#endif
