#include "dataset/raw_walker.h"

#include <algorithm>
#include <cstring>

#include "foundation/fail.h"
#include "orvkit/elemlist.h"
#include "orvkit/result.h"
#include "platform/file.h"

namespace orvkit {

namespace {

constexpr std::size_t kReadBuffer = 16384;
// After a jump only a header is wanted: the bytes behind it are most likely a fragment to be jumped over too.
constexpr std::size_t kReadAfterJump = 256;
constexpr std::uint64_t kNearby = 4096;
constexpr std::size_t kLongHeader = 12;

bool hasLongHeader(DICT_VR vr) {
    return vr == VR_OB || vr == VR_OF || vr == VR_OW || vr == VR_SQ || vr == VR_UT || vr == VR_UN;
}

bool holdsFragments(const RawHeader& h) {
    return h.tag == 0x7FE00010 || h.vr == VR_OB || h.vr == VR_OW || h.vr == VR_OF || h.vr == VR_OX ||
           h.vr == VR_UT;
}

unsigned int tagAt(const unsigned char* p, ByteOrder order) {
    return (static_cast<unsigned int>(loadAt<std::uint16_t>(p, order)) << 16) |
           loadAt<std::uint16_t>(p + 2, order);
}

bool isDelimitation(std::span<const unsigned char> b, ByteOrder order, unsigned int tag) {
    return b.size() >= kDelimitationSize && tagAt(b.data(), order) == tag &&
           loadAt<std::uint32_t>(b.data() + 4, order) == 0;
}

// Whether a value of undefined length begins as a list of items does.
bool beginsWithItem(std::span<const unsigned char> b, ByteOrder order) {
    return b.size() >= kDelimitationSize &&
           (tagAt(b.data(), order) == kTagItem || isDelimitation(b, order, kTagSequenceDelimitation));
}

// The mode of one element: the command group is always implicit, the meta and directory groups are always
// explicit little endian. The group is looked at as little endian in every stream, as decoding does.
RawMode modeOf(unsigned int littleTag, RawMode stream) {
    if (littleTag < 0x00010000) return RawMode::implicitLittle();
    const unsigned int group = littleTag >> 16;
    return group == 0x0002 || group == 0x0004 ? RawMode::explicitLittle() : stream;
}

}  // namespace

// ---- sources --------------------------------------------------------------------------------------------

void FileSource::load(std::uint64_t offset, std::size_t n) {
    if (failed_ || offset >= size_) return;
    const std::uint64_t windowEnd = windowAt_ + window_.size();
    const bool jump = !window_.empty() && (offset < windowAt_ || offset > windowEnd + kNearby);
    const std::size_t wanted = std::min(std::max(n, jump ? kReadAfterJump : kReadBuffer), kReadBuffer);
    const auto room = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, size_ - offset));
    if (buffer_.empty()) buffer_.resize(kReadBuffer);
    const std::int64_t got = readAt(offset, buffer_.data(), room);
    // A file that has become shorter is as unreadable as a broken one.
    if (got < static_cast<std::int64_t>(std::min(n, room))) failed_ = true;
    window_ = std::span(buffer_).first(got < 0 ? 0 : static_cast<std::size_t>(got));
    windowAt_ = offset;
}

HandleSource::HandleSource(int handle) noexcept : handle_(handle) {
    platform::FileInfo info;
    failed_ = !platform::examine(handle, info) || info.kind != platform::FileKind::regular;
    if (!failed_) size_ = static_cast<std::uint64_t>(info.size);
}

std::int64_t HandleSource::readAt(std::uint64_t offset, unsigned char* into, std::size_t room) {
    return platform::readAt(handle_, into, room, static_cast<std::int64_t>(offset));
}

StreamSource::StreamSource(FILE* file) noexcept : file_(file), start_(std::ftell(file)) {
    long end = -1;
    if (start_ >= 0 && std::fseek(file, 0, SEEK_END) == 0) end = std::ftell(file);
    failed_ = end < 0;
    if (!failed_) size_ = static_cast<std::uint64_t>(end);
}

StreamSource::~StreamSource() {
    if (start_ >= 0) std::fseek(file_, start_, SEEK_SET);
}

std::int64_t StreamSource::readAt(std::uint64_t offset, unsigned char* into, std::size_t room) {
    if (std::fseek(file_, static_cast<long>(offset), SEEK_SET) != 0) return -1;
    return static_cast<std::int64_t>(std::fread(into, 1, room, file_));
}

std::size_t findSequenceDelimitation(std::span<const unsigned char> bytes, ByteOrder order) noexcept {
    const unsigned char first = order == ByteOrder::big ? 0xFF : 0xFE;
    std::size_t at = 0;
    while (bytes.size() - at >= kDelimitationSize) {
        const std::size_t room = bytes.size() - at - (kDelimitationSize - 1);
        const void* hit = std::memchr(bytes.data() + at, first, room);
        if (hit == nullptr) return kNotFound;
        at = static_cast<std::size_t>(static_cast<const unsigned char*>(hit) - bytes.data());
        if (isDelimitation(bytes.subspan(at), order, kTagSequenceDelimitation)) return at;
        ++at;
    }
    return kNotFound;
}

// ---- walking --------------------------------------------------------------------------------------------

RawWalker::RawWalker(ByteSource& source, std::uint64_t start, std::uint64_t end, RawMode mode,
                     bool lenient) noexcept
    : source_(source), pos_(start), end_(std::min(end, source.size())), mode_(mode), lenient_(lenient) {}

std::span<const unsigned char> RawWalker::bytes(std::uint64_t offset, std::size_t n) {
    if (offset >= end_) return {};
    const auto left = static_cast<std::size_t>(std::min<std::uint64_t>(end_ - offset, n));
    const auto b = source_.at(offset, left);
    return b.first(std::min(left, b.size()));
}

bool RawWalker::fail(RawFault fault, std::uint64_t offset, unsigned int length, unsigned int tag) noexcept {
    fault_ = source_.failed() ? RawFault::readError : fault;
    faultOffset_ = offset;
    faultLength_ = length;
    faultTag_ = tag;
    return false;
}

RawStep RawWalker::peek(RawHeader& header) {
    return peekAs(header, mode_);
}

RawStep RawWalker::peekAs(RawHeader& h, RawMode mode) {
    const auto b = bytes(pos_, kLongHeader);
    if (source_.failed()) {
        fail(RawFault::readError, pos_);
        return RawStep::failed;
    }
    if (b.size() < 8) return RawStep::end;
    h.mode = modeOf(tagAt(b.data(), ByteOrder::little), mode);
    h.tag = tagAt(b.data(), h.mode.order);
    h.offset = pos_;
    h.valueOffset = pos_ + 8;
    if (h.tag == kTagItem || h.tag == kTagItemDelimitation || h.tag == kTagSequenceDelimitation) {
        h.vr = VR_SI;
        h.length = loadAt<std::uint32_t>(b.data() + 4, h.mode.order);
        return RawStep::element;
    }
    if (!h.mode.explicitVr) {
        h.vr = Dict.facts(h.tag).vr;
        h.length = loadAt<std::uint32_t>(b.data() + 4, h.mode.order);
        return RawStep::element;
    }
    h.vr = DcDict::vrOfCode(static_cast<char>(b[4]), static_cast<char>(b[5]));
    bool longHeader = hasLongHeader(h.vr);
    if (h.vr == 0) {
        // A known tag has its own VR; for any other, letters of a later edition of the standard come with the
        // long header of UN (PS3.5 7.1.2).
        h.vr = Dict.facts(h.tag).vr;
        longHeader = hasLongHeader(h.vr) || h.vr == VR_OX;
    }
    if (!longHeader) {
        h.length = loadAt<std::uint16_t>(b.data() + 6, h.mode.order);
        return RawStep::element;
    }
    if (b.size() < kLongHeader) return RawStep::end;
    h.length = loadAt<std::uint32_t>(b.data() + 8, h.mode.order);
    h.valueOffset = pos_ + kLongHeader;
    return RawStep::element;
}

bool RawWalker::skip(const RawHeader& header) {
    levels_.clear();
    retry_ = false;
    if (header.length != kLengthUndefined) return skipDefined(header.valueOffset, header.length);
    if (header.tag != kTagItem) return enter(header) && walkLevels(0);
    // An item outside of any sequence: its sequence is assumed around it.
    pos_ = header.valueOffset;
    levels_.push_back({header.mode, false});
    levels_.push_back({header.mode, false});
    return walkLevels(1);
}

bool RawWalker::skipDefined(std::uint64_t valueOffset, unsigned int length) {
    if (length > end_ - std::min(valueOffset, end_)) {
        return fail(RawFault::lengthPastEnd, valueOffset, length);
    }
    pos_ = valueOffset + length;
    ++work_;
    return true;
}

bool RawWalker::push(Level level) {
    if (levels_.size() >= 2 * static_cast<std::size_t>(ELEM_MAX_NESTING))
        return fail(RawFault::tooDeep, pos_);
    levels_.push_back(level);
    return true;
}

// Begins the value of an element of undefined length.
bool RawWalker::enter(const RawHeader& h) {
    ++work_;
    if (h.vr == VR_SI) return fail(RawFault::lengthPastEnd, h.valueOffset, h.length);
    pos_ = h.valueOffset;
    const auto b = bytes(pos_, kDelimitationSize);
    const bool items = beginsWithItem(b, h.mode.order);
    if (holdsFragments(h)) {
        return items ? push({h.mode, true}) : search(pos_, h.mode.order);
    }
    Level level{h.mode, false};
    if (h.vr != VR_SQ) {
        // UN of undefined length is a sequence in implicit encoding, whatever the stream's (PS3.5 6.2.2).
        if (beginsWithItem(b, ByteOrder::little)) {
            level.mode = RawMode::implicitLittle();
        } else if (!items) {
            return search(pos_, h.mode.order);
        }
    }
    if (lenient_ && !retry_ && (h.vr != VR_SQ || !h.mode.explicitVr)) {
        retry_ = true;
        retryLevel_ = levels_.size();
        retryAt_ = pos_;
        retryOrder_ = level.mode.order;
        retryWork_ = work();
    }
    return push(level);
}

// Walks until no more than `stop` levels are open.
bool RawWalker::walkLevels(std::size_t stop) {
    while (levels_.size() > stop) {
        const bool inSequence = levels_.size() % 2 == 1;
        if (!(inSequence ? stepInSequence() : stepInItem()) && !fallBack()) return false;
        if (retry_ && levels_.size() <= retryLevel_) retry_ = false;
    }
    return true;
}

bool RawWalker::stepInSequence() {
    const Level level = levels_.back();
    const auto b = bytes(pos_, kDelimitationSize);
    if (b.size() < kDelimitationSize) {
        return fail(level.fragments ? RawFault::terminatorMissing : RawFault::delimiterMissing, pos_);
    }
    if (isDelimitation(b, level.mode.order, kTagSequenceDelimitation)) {
        pos_ += kDelimitationSize;
        levels_.pop_back();
        return true;
    }
    const unsigned int tag = tagAt(b.data(), level.mode.order);
    if (tag != kTagItem) return fail(RawFault::itemExpected, pos_, 0, tag);
    const auto length = loadAt<std::uint32_t>(b.data() + 4, level.mode.order);
    if (length != kLengthUndefined || level.fragments) return skipDefined(pos_ + 8, length);
    pos_ += 8;
    ++work_;
    return push({level.mode, false});
}

bool RawWalker::stepInItem() {
    const RawMode mode = levels_.back().mode;
    if (isDelimitation(bytes(pos_, kDelimitationSize), mode.order, kTagItemDelimitation)) {
        pos_ += kDelimitationSize;
        levels_.pop_back();
        return true;
    }
    RawHeader h;
    switch (peekAs(h, mode)) {
        case RawStep::failed:
            return false;
        case RawStep::end:
            return fail(RawFault::delimiterMissing, pos_);
        case RawStep::element:
            break;
    }
    return h.length == kLengthUndefined ? enter(h) : skipDefined(h.valueOffset, h.length);
}

// The value was taken for an implicit sequence and is none: its delimiter is searched instead. What such
// attempts cost is bounded by the size of the source.
bool RawWalker::fallBack() {
    if (!retry_ || fault_ == RawFault::readError || fault_ == RawFault::tooDeep) return false;
    wasted_ += work() - retryWork_;
    if (wasted_ > source_.size() / 8 + 64) return false;
    retry_ = false;
    fault_ = RawFault::none;
    levels_.resize(retryLevel_);
    return search(retryAt_, retryOrder_);
}

// Moves behind the next Sequence Delimitation.
bool RawWalker::search(std::uint64_t from, ByteOrder order) {
    std::uint64_t at = from;
    while (true) {
        const auto b = bytes(at, kReadBuffer);
        if (b.size() < kDelimitationSize) break;
        const std::size_t hit = findSequenceDelimitation(b, order);
        if (hit != kNotFound) {
            pos_ = at + hit + kDelimitationSize;
            work_ += (pos_ - from) / 8;
            return true;
        }
        at += b.size() - (kDelimitationSize - 1);
    }
    return fail(RawFault::terminatorMissing, from);
}

// ---- faults ---------------------------------------------------------------------------------------------

int RawWalker::faultResult() const noexcept {
    switch (fault_) {
        case RawFault::none:
            return RESULT_OK;
        case RawFault::terminatorMissing:
            return UTIL_NO_TERMINATOR;
        case RawFault::itemExpected:
            return UTIL_MALFORMED;
        case RawFault::readError:
            return UTIL_READ;
        default:
            return UTIL_LENGTH_FIELD;
    }
}

int RawWalker::report(const char* reporter) const {
    const auto offset = static_cast<unsigned long long>(faultOffset_);
    const std::uint64_t left = end_ - std::min(faultOffset_, end_);
    switch (fault_) {
        case RawFault::none:
            break;
        case RawFault::lengthPastEnd:
            return reportLengthPastEnd(reporter, faultLength_, left);
        case RawFault::delimiterMissing:
            return orvkit::fail(faultResult(), LOG_ERROR, reporter,
                                "Missing sequence or item delimiter at offset 0x%llx", offset);
        case RawFault::terminatorMissing:
            return orvkit::fail(faultResult(), LOG_ERROR, reporter,
                                "Missing OB/OW terminator, value at offset 0x%llx", offset);
        case RawFault::itemExpected:
            return orvkit::fail(faultResult(), LOG_ERROR, reporter,
                                "Invalid tag 0x%08x, expecting Sequence Item at offset 0x%llx", faultTag_,
                                offset);
        case RawFault::tooDeep:
            return orvkit::fail(faultResult(), LOG_ERROR, reporter,
                                "Sequences nested deeper than %d levels at offset 0x%llx", ELEM_MAX_NESTING,
                                offset);
        case RawFault::readError:
            return orvkit::fail(faultResult(), LOG_ERROR, reporter, "Read error at offset 0x%llx", offset);
    }
    return faultResult();
}

int reportLengthPastEnd(const char* reporter, unsigned int length, std::uint64_t remaining) {
    const auto left = static_cast<unsigned int>(std::min<std::uint64_t>(remaining, 0xFFFFFFFF));
    return fail(UTIL_LENGTH_FIELD, LOG_ERROR, reporter,
                "Value length field %d(0x%x) exceeds buffer length %d(0x%x)", static_cast<int>(length),
                length, static_cast<int>(left), left);
}

}  // namespace orvkit
