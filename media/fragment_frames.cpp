#include "media/fragment_frames.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "encoding/header.h"
#include "foundation/fail.h"
#include "media/meta_info.h"

namespace orvkit {
namespace {

constexpr const char* kFindReporter = "DcFrames::find";
constexpr std::size_t kEntriesAtOnce = 4096;
// A frame of more fragments than that is not looked up each time by their headers.
constexpr std::size_t kFewFragments = 16;

std::uint64_t loadEntry(const unsigned char* p, unsigned int width) {
    return width == 8 ? loadAt<std::uint64_t>(p, ByteOrder::little)
                      : loadAt<std::uint32_t>(p, ByteOrder::little);
}

// JPEG and JPEG-LS, JPEG 2000, JPEG XL, and the boxes that files of the latter two begin with.
bool looksLikeBeginning(std::span<const unsigned char> b) {
    using namespace std::string_view_literals;
    const std::string_view text(reinterpret_cast<const char*>(b.data()), b.size());
    return std::ranges::any_of(
        std::array{"\xFF\xD8\xFF"sv, "\xFF\x4F\xFF\x51"sv, "\xFF\x0A"sv, "\0\0\0\x0C"sv},
        [&](std::string_view magic) { return text.starts_with(magic); });
}

}  // namespace

FragmentFrames::FragmentFrames(StoredValue& value, const StoredValue& offsets, const StoredValue& lengths,
                               std::uint64_t frames, bool endsDelimited)
    : value_(value),
      frames_(frames),
      endsDelimited_(endsDelimited),
      extended_{&offsets, 0, 8, offsets.size() / 8, offsets.size() != 0},
      lengths_{&lengths, 0, 8, lengths.size() / 8, lengths.size() != 0} {
    const Head head = headAt(0);
    if (head.kind == Head::Kind::item) {
        const std::uint64_t length = std::min(head.length, value_.size() - kShortHeader);
        first_ = kShortHeader + length;
        basic_ = {&value_, kShortHeader, 4, length / 4, length != 0};
    }
    by_ = extended_.usable ? FRAMES_BY_EXTENDED_TABLE
          : basic_.usable  ? FRAMES_BY_BASIC_TABLE
                           : FRAMES_BY_PASS;
}

FRAMES_BY FragmentFrames::by() const {
    const std::lock_guard lock(mutex_);
    return by_;
}

bool FragmentFrames::refused() const {
    const std::lock_guard lock(mutex_);
    return refused_;
}

FragmentFrames::Head FragmentFrames::headAt(std::uint64_t at) const {
    std::array<unsigned char, kShortHeader> b;
    const std::int64_t got = value_.copy(at, b);
    if (got < 0) return {Head::Kind::failed, 0};
    if (got < static_cast<std::int64_t>(b.size())) return {Head::Kind::past, 0};
    const std::uint32_t length = loadAt<std::uint32_t>(b.data() + 4, ByteOrder::little);
    const unsigned int tag = loadTag(b.data(), ByteOrder::little);
    if (tag == kTagSequenceDelimitation) return {Head::Kind::end, 0};
    if (tag != kTagItem || length == kLengthUndefined) return {Head::Kind::other, 0};
    return {Head::Kind::item, length};
}

int FragmentFrames::find(std::uint64_t frame, std::vector<Part>& parts) {
    for (;;) {
        FRAMES_BY by;
        {
            const std::lock_guard lock(mutex_);
            settle();
            by = by_;
            if (by == FRAMES_BY_PASS) {
                if (const int result = pass(); result != RESULT_OK) return result;
            }
        }
        parts.clear();
        if (by == FRAMES_BY_PASS) {
            const int result = byPass(frame, parts);
            return result != RESULT_OK ? result : trim(frame, parts);
        }
        const Answer answer = byTable(table(by), frame, parts);
        if (answer == Answer::right) return trim(frame, parts);
        const std::lock_guard lock(mutex_);
        if (answer == Answer::failed)
            return fail(DIR_READ_WRITE, LOG_ERROR, kFindReporter, "Error reading pixel data items");
        if (by_ != by) continue;
        if (answer == Answer::wrong)
            refuse();
        else
            by_ = FRAMES_BY_PASS;
    }
}

// ---- tables -----------------------------------------------------------------------------------------------

bool FragmentFrames::entry(const Table& table, std::uint64_t index, std::uint64_t& value) {
    std::array<unsigned char, 8> b;
    const auto bytes = std::span(b).first(table.width);
    if (table.in->copy(table.at + index * table.width, bytes) != static_cast<std::int64_t>(table.width))
        return false;
    value = loadEntry(b.data(), table.width);
    return true;
}

// Until see(entry) is false, which is the answer then; also when the table cannot be read.
template <typename See>
bool FragmentFrames::eachEntry(const Table& table, See see) {
    std::vector<unsigned char> b;
    for (std::uint64_t i = 0; i < table.count; i += kEntriesAtOnce) {
        const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(kEntriesAtOnce, table.count - i));
        b.resize(n * table.width);
        if (table.in->copy(table.at + i * table.width, b) != static_cast<std::int64_t>(b.size()))
            return false;
        for (std::size_t k = 0; k < n; ++k) {
            if (!see(loadEntry(b.data() + k * table.width, table.width))) return false;
        }
    }
    return true;
}

// As far as can be told without the fragments. Offsets of 32 bits that have gone beyond them do not ascend.
bool FragmentFrames::isSound(const Table& table) const {
    constexpr std::uint64_t most = std::uint64_t{1} << 62;
    if (!table.usable || table.count != frames_) return false;
    std::uint64_t least = 0;
    return eachEntry(table, [&, isFirst = true](std::uint64_t offset) mutable {
        if (offset < least || offset > most || (isFirst && offset != 0)) return false;
        isFirst = false;
        least = offset + kShortHeader;
        return true;
    });
}

void FragmentFrames::settle() {
    if (settled_) return;
    settled_ = true;
    if (by_ == FRAMES_BY_EXTENDED_TABLE && !isSound(extended_))
        refuse();
    else if (by_ == FRAMES_BY_BASIC_TABLE && !isSound(basic_))
        refuse();
    if (lengths_.usable && lengths_.count != frames_) {
        lengths_.usable = false;
        refused_ = true;
    }
}

// What was used is wrong: on with what there is beside it.
void FragmentFrames::refuse() {
    const bool wasExtended = by_ == FRAMES_BY_EXTENDED_TABLE;
    table(by_).usable = false;
    if (wasExtended) lengths_.usable = false;
    refused_ = true;
    logReport(LOG_NOTICE, kFindReporter, "The %s Offset Table is wrong, frames are found without it",
              wasExtended ? "Extended" : "Basic");
    by_ = FRAMES_BY_PASS;
    if (!wasExtended || !basic_.usable) return;
    by_ = FRAMES_BY_BASIC_TABLE;
    if (!isSound(basic_)) refuse();
}

FragmentFrames::Answer FragmentFrames::byTable(const Table& table, std::uint64_t frame,
                                               std::vector<Part>& parts) const {
    const bool isLast = frame + 1 == frames_;
    std::uint64_t at = 0;
    std::uint64_t end = value_.size();
    if (!entry(table, frame, at) || (!isLast && !entry(table, frame + 1, end))) return Answer::failed;
    at += first_;
    if (!isLast) end += first_;
    while (at < end) {
        const Head head = headAt(at);
        if (head.kind == Head::Kind::failed) return Answer::failed;
        if (isLast && head.kind == Head::Kind::end && !parts.empty()) return Answer::right;
        if (head.kind == Head::Kind::past) return Answer::unsure;
        if (head.kind != Head::Kind::item) return Answer::wrong;
        if (head.length > value_.size() - at - kShortHeader) return Answer::unsure;
        if (parts.size() == kFewFragments) return Answer::unsure;
        parts.push_back({at + kShortHeader, head.length});
        at += kShortHeader + head.length;
    }
    if (isLast && endsDelimited_) return Answer::unsure;
    return at == end && !parts.empty() ? Answer::right : Answer::wrong;
}

// A table of lengths tells where the padding byte of a fragment stands.
int FragmentFrames::trim(std::uint64_t frame, std::vector<Part>& parts) {
    {
        const std::lock_guard lock(mutex_);
        if (!lengths_.usable) return RESULT_OK;
    }
    std::uint64_t length = 0;
    if (parts.size() == 1 && entry(lengths_, frame, length) &&
        (length == parts[0].length || length + 1 == parts[0].length)) {
        parts[0].length = length;
        return RESULT_OK;
    }
    const std::lock_guard lock(mutex_);
    if (lengths_.usable)
        logReport(LOG_NOTICE, kFindReporter,
                  "The Extended Offset Table Lengths are wrong, those of the fragments count");
    lengths_.usable = false;
    refused_ = true;
    return RESULT_OK;
}

// ---- the pass ---------------------------------------------------------------------------------------------

int FragmentFrames::pass() {
    if (passed_) return RESULT_OK;
    bool failed = false;
    bool tooMany = false;
    fragments_.clear();
    walk(failed, tooMany);
    if (failed) return fail(DIR_READ_WRITE, LOG_ERROR, kFindReporter, "Error reading pixel data items");
    if (tooMany) {
        fragments_ = {};
        return fail(DIR_FILE_SIZE, LOG_ERROR, kFindReporter,
                    "The fragments are too many, their places exceed limit of %g Mbytes",
                    megabytes(maxFileSize()));
    }
    group();
    passed_ = true;
    return RESULT_OK;
}

void FragmentFrames::walk(bool& failed, bool& tooMany) {
    constexpr std::size_t magic = 4;
    const std::size_t most = static_cast<std::size_t>(maxFileSize()) / sizeof(Fragment);
    ended_ = cut_ = false;
    for (std::uint64_t at = first_; at < value_.size();) {
        const auto b = value_.at(at, kShortHeader + magic);
        failed = value_.failed();
        if (failed || b.size() < kShortHeader) return;
        const unsigned int tag = loadTag(b.data(), ByteOrder::little);
        const std::uint32_t length = loadAt<std::uint32_t>(b.data() + 4, ByteOrder::little);
        ended_ = tag == kTagSequenceDelimitation;
        if (tag != kTagItem || length == kLengthUndefined) return;
        const std::uint64_t left = value_.size() - at - kShortHeader;
        cut_ = length > left;
        tooMany = fragments_.size() >= most;
        if (tooMany) return;
        const auto held = static_cast<std::uint32_t>(std::min<std::uint64_t>(length, left));
        const auto front =
            b.subspan(kShortHeader).first(std::min<std::size_t>({magic, held, b.size() - kShortHeader}));
        fragments_.push_back({at + kShortHeader, held, looksLikeBeginning(front)});
        at += kShortHeader + std::uint64_t{held};
    }
    ended_ = !endsDelimited_ && !cut_;
}

void FragmentFrames::group() {
    grouping_ = Grouping::none;
    if (fragments_.size() == frames_) {
        grouping_ = Grouping::each;
    } else if (frames_ == 1) {
        grouping_ = Grouping::all;
    } else if (groupByTable(extended_) || groupByTable(basic_) || groupByLooks()) {
        grouping_ = Grouping::listed;
    }
}

// Every frame that the table places begins with a fragment; behind the end of a file that is cut there are
// none.
bool FragmentFrames::groupByTable(const Table& table) {
    if (!isSound(table)) return false;
    groups_.clear();
    std::size_t next = 0;
    const bool all = eachEntry(table, [&](std::uint64_t offset) {
        const std::uint64_t at = first_ + offset + kShortHeader;
        while (next < fragments_.size() && fragments_[next].at < at) ++next;
        if (next == fragments_.size() || fragments_[next].at != at) return false;
        groups_.push_back(next);
        return true;
    });
    return all || (!ended_ && next == fragments_.size() && !groups_.empty());
}

bool FragmentFrames::groupByLooks() {
    groups_.clear();
    for (std::size_t i = 0; i < fragments_.size(); ++i) {
        if (fragments_[i].begins) groups_.push_back(i);
    }
    if (groups_.empty() || groups_.front() != 0) return false;
    return groups_.size() == frames_ ||
           (!ended_ && groups_.size() < frames_ && groups_.size() == fragments_.size());
}

int FragmentFrames::byPass(std::uint64_t frame, std::vector<Part>& parts) const {
    const std::uint64_t groups = grouping_ == Grouping::listed ? groups_.size()
                                 : grouping_ == Grouping::each ? fragments_.size()
                                                               : 1;
    if (grouping_ == Grouping::none) {
        return fail(FRAMES_NOT_APART, LOG_VALIDATION, kFindReporter,
                    "%llu fragments do not tell where %llu frames begin",
                    static_cast<unsigned long long>(fragments_.size()),
                    static_cast<unsigned long long>(frames_));
    }
    if (frame >= groups) return FRAMES_CUT;
    std::size_t from = 0;
    std::size_t to = fragments_.size();
    if (grouping_ == Grouping::each) {
        from = static_cast<std::size_t>(frame);
        to = from + 1;
    } else if (grouping_ == Grouping::listed) {
        from = groups_[static_cast<std::size_t>(frame)];
        if (frame + 1 < groups) to = groups_[static_cast<std::size_t>(frame) + 1];
    }
    for (std::size_t i = from; i < to; ++i) parts.push_back({fragments_[i].at, fragments_[i].length});
    if (to < fragments_.size() || (ended_ && !cut_)) return RESULT_OK;
    // The last one of a file that is cut: whole only where each frame has one fragment, and that is whole.
    const bool oneEach = groups == fragments_.size();
    return cut_ || !oneEach ? FRAMES_CUT : int{RESULT_OK};
}

}  // namespace orvkit
