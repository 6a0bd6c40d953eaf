// Walking over encoded data elements without building any: the one place that all scanning of raw streams
// goes through. Iterative, linear in the bytes for every input, and no length is believed that the source
// does not hold.
#ifndef ORVKIT_DATASET_RAW_WALKER_H
#define ORVKIT_DATASET_RAW_WALKER_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <vector>

#include "foundation/bytes.h"
#include "orvkit/dict.h"
#include "orvkit/uids.h"

namespace orvkit {

inline constexpr unsigned int kTagItem = 0xFFFEE000;
inline constexpr unsigned int kTagItemDelimitation = 0xFFFEE00D;
inline constexpr unsigned int kTagSequenceDelimitation = 0xFFFEE0DD;
inline constexpr unsigned int kLengthUndefined = 0xFFFFFFFF;
inline constexpr std::size_t kDelimitationSize = 8;

// Bytes that are looked at through a window, which moves as it must.
class ByteSource {
  public:
    ByteSource() = default;
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;
    virtual ~ByteSource() = default;

    std::uint64_t size() const noexcept { return size_; }
    // A read went wrong: what at() gave since then may be too short.
    bool failed() const noexcept { return failed_; }
    // How often the window had to move.
    std::uint64_t moves() const noexcept { return moves_; }
    // The bytes from `offset` on: at least `n` of them, fewer only where the source ends or a read failed.
    // Valid until the next call.
    std::span<const unsigned char> at(std::uint64_t offset, std::size_t n) {
        if (!holds(offset, n)) {
            ++moves_;
            load(offset, n);
        }
        if (offset < windowAt_ || offset - windowAt_ >= window_.size()) return {};
        return window_.subspan(static_cast<std::size_t>(offset - windowAt_));
    }

  protected:
    bool holds(std::uint64_t offset, std::size_t n) const noexcept {
        return offset >= windowAt_ && offset - windowAt_ <= window_.size() &&
               window_.size() - (offset - windowAt_) >= n;
    }
    // Moves the window to where it holds `n` bytes from `offset`, as far as they exist.
    virtual void load(std::uint64_t offset, std::size_t n) = 0;

    std::span<const unsigned char> window_;
    std::uint64_t windowAt_ = 0;
    std::uint64_t size_ = 0;
    std::uint64_t moves_ = 0;
    bool failed_ = false;
};

// Bytes in memory, which must stay as long as the source.
class SpanSource final : public ByteSource {
  public:
    explicit SpanSource(std::span<const unsigned char> bytes, std::uint64_t offset = 0) noexcept {
        window_ = bytes;
        windowAt_ = offset;
        size_ = offset + bytes.size();
    }

  private:
    void load(std::uint64_t, std::size_t) override {}
};

// The bytes of a file, through a buffer of 16384 bytes.
class FileSource : public ByteSource {
  protected:
    // Reads up to `room` bytes into `into`; gives their number, or -1.
    virtual std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) = 0;

  private:
    void load(std::uint64_t offset, std::size_t n) override;

    std::vector<unsigned char> buffer_;
};

// A regular file behind a low-level handle, whose own position is not used.
class HandleSource final : public FileSource {
  public:
    explicit HandleSource(int handle) noexcept;

  private:
    std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) override;

    int handle_;
};

// A stream that can be positioned; it is left where it stood.
class StreamSource final : public FileSource {
  public:
    explicit StreamSource(FILE* file) noexcept;
    ~StreamSource() override;
    std::uint64_t start() const noexcept { return start_ < 0 ? 0 : static_cast<std::uint64_t>(start_); }

  private:
    std::int64_t readAt(std::uint64_t offset, unsigned char* into, std::size_t room) override;

    FILE* file_;
    long start_;
};

// How the headers of a stream are encoded.
struct RawMode {
    bool explicitVr = true;
    ByteOrder order = ByteOrder::little;

    static constexpr RawMode implicitLittle() noexcept { return {false, ByteOrder::little}; }
    static constexpr RawMode explicitLittle() noexcept { return {true, ByteOrder::little}; }
    // Every syntax other than implicit little and explicit big endian is read as explicit little endian.
    static constexpr RawMode of(DICT_UID xferSyn) noexcept {
        if (xferSyn == UID_LITTLE_ENDIAN_IMPLICIT) return implicitLittle();
        return {true, xferSyn == UID_BIG_ENDIAN_EXPLICIT ? ByteOrder::big : ByteOrder::little};
    }
};

struct RawHeader {
    unsigned int tag = 0;
    DICT_VR vr = VR_UNKNOWN;
    unsigned int length = 0;        // as it stands; kLengthUndefined
    std::uint64_t offset = 0;       // of the tag
    std::uint64_t valueOffset = 0;  // of the value's first byte
    RawMode mode;                   // of this element: that of the stream but for groups 0000, 0002 and 0004
};

enum class RawFault {
    none,
    lengthPastEnd,
    delimiterMissing,   // of a sequence or an item
    terminatorMissing,  // of fragments or another value of undefined length
    itemExpected,
    tooDeep,
    readError,
};

enum class RawStep { element, end, failed };

class RawWalker {
  public:
    // Walks [start, end) of the source; offsets are the source's. `lenient`: a value of undefined length that
    // was taken for an implicit sequence and proves to be none ends at the next Sequence Delimitation, as it
    // does in decoding.
    RawWalker(ByteSource& source, std::uint64_t start, std::uint64_t end, RawMode mode,
              bool lenient = false) noexcept;

    std::uint64_t position() const noexcept { return pos_; }
    void setPosition(std::uint64_t position) noexcept { pos_ = position; }

    // The header at the position, which stays. `end` where no header fits any more.
    RawStep peek(RawHeader& header);
    // Moves behind the value of that header, delimiters included. false: see fault().
    bool skip(const RawHeader& header);

    RawFault fault() const noexcept { return fault_; }
    std::uint64_t faultOffset() const noexcept { return faultOffset_; }
    int faultResult() const noexcept;
    // Logs the fault under that name and gives its result code.
    int report(const char* reporter) const;

  private:
    // An open sequence or item. They take turns: the level at the bottom is a sequence.
    struct Level {
        RawMode mode;
        bool fragments;  // an encapsulated value: its items hold bytes, not elements
    };

    bool fail(RawFault fault, std::uint64_t offset, unsigned int length = 0, unsigned int tag = 0) noexcept;
    RawStep peekAs(RawHeader& header, RawMode mode);
    bool skipDefined(std::uint64_t valueOffset, unsigned int length);
    bool enter(const RawHeader& header);
    bool walkLevels(std::size_t stop);
    bool stepInSequence();
    bool stepInItem();
    bool push(Level level);
    bool fallBack();
    bool search(std::uint64_t from, ByteOrder order);
    std::span<const unsigned char> bytes(std::uint64_t offset, std::size_t n);

    ByteSource& source_;
    std::uint64_t pos_;
    std::uint64_t end_;
    RawMode mode_;
    bool lenient_;
    std::vector<Level> levels_;

    // Where to search for a delimiter when the outermost sequence in implicit encoding proves to be none.
    bool retry_ = false;
    ByteOrder retryOrder_ = ByteOrder::little;
    std::size_t retryLevel_ = 0;
    std::uint64_t retryAt_ = 0;
    // Headers looked at (a searched byte counts an eighth, a read 32), and those looked at in vain: bounded,
    // so that the walk stays linear.
    std::uint64_t work() const noexcept { return work_ + 32 * source_.moves(); }
    std::uint64_t work_ = 0;
    std::uint64_t retryWork_ = 0;
    std::uint64_t wasted_ = 0;

    RawFault fault_ = RawFault::none;
    std::uint64_t faultOffset_ = 0;
    unsigned int faultLength_ = 0;
    unsigned int faultTag_ = 0;
};

// "Value length field ... exceeds buffer length ...", at LOG_ERROR; 17418.
int reportLengthPastEnd(const char* reporter, unsigned int length, std::uint64_t remaining);

// Where the 8 bytes of a Sequence Delimitation begin in `bytes`, or npos.
inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);
std::size_t findSequenceDelimitation(std::span<const unsigned char> bytes, ByteOrder order) noexcept;

}  // namespace orvkit

#endif
