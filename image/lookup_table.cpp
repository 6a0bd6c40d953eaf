#include "image/lookup_table.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "foundation/bytes.h"
#include "image/attributes.h"

namespace orvkit::render {
namespace {

constexpr std::size_t kMostEntries = 65536;

// Numbers of 8 or 16 bits, one after the other; zero past the end.
class Numbers {
  public:
    Numbers(const std::vector<unsigned char>& bytes, bool words) : bytes_(bytes), unit_(words ? 2 : 1) {}

    std::size_t unit() const { return unit_; }  // bytes of one
    std::size_t count() const { return bytes_.size() / unit_; }
    std::uint16_t at(std::size_t i) const {
        if (i >= count()) return 0;
        return unit_ == 1 ? bytes_[i] : loadAt<std::uint16_t>(bytes_.data() + 2 * i, ByteOrder::little);
    }

  private:
    const std::vector<unsigned char>& bytes_;
    std::size_t unit_;
};

// Builds a table from segments (PS3.3 C.7.9.2).
class Segments {
  public:
    Segments(const Numbers& numbers, std::size_t most) : numbers_(numbers), most_(most) {}

    std::vector<std::uint16_t> expand() {
        std::size_t at = 0;
        while (at < numbers_.count() && entries_.size() < most_ && isGood_) at = segment(at, true);
        return std::move(entries_);
    }

  private:
    enum Opcode : std::uint16_t { kDiscrete, kLinear, kIndirect };

    // The segment at that number; where the next one begins. Each adds an entry at least, or is a fault: what
    // refers to nothing again and again ends here.
    std::size_t segment(std::size_t at, bool mayRefer) {
        const std::uint16_t opcode = numbers_.at(at);
        const std::size_t length = numbers_.at(at + 1);
        at += 2;
        isGood_ = length > 0 && at < numbers_.count();
        if (!isGood_) return at;
        if (opcode == kDiscrete && length <= numbers_.count() - at) {
            for (std::size_t i = 0; i < length; ++i) put(numbers_.at(at + i));
            return at + length;
        }
        if (opcode == kLinear && !entries_.empty()) {
            line(length, numbers_.at(at));
            return at + 1;
        }
        if (opcode == kIndirect && mayRefer) {
            return refer(length, at);
        }
        isGood_ = false;
        return at;
    }

    void put(double value) {
        if (entries_.size() < most_) entries_.push_back(static_cast<std::uint16_t>(std::lround(value)));
    }
    void line(std::size_t length, double to) {
        const double from = entries_.back();
        const auto count = static_cast<double>(length);
        for (std::size_t i = 1; i <= length; ++i) put(from + (to - from) * static_cast<double>(i) / count);
    }
    // Segments from an offset on, which counts bytes in 32 bits; they refer to no others themselves.
    std::size_t refer(std::size_t count, std::size_t at) {
        const std::size_t unit = numbers_.unit();
        std::size_t offset = 0;
        for (std::size_t i = 0; i < 4 / unit; ++i) offset |= std::size_t{numbers_.at(at + i)} << 8 * unit * i;
        std::size_t there = offset / unit;
        for (; count > 0 && isGood_ && entries_.size() < most_; --count) there = segment(there, false);
        return at + 4 / unit;
    }

    const Numbers& numbers_;
    std::size_t most_;
    std::vector<std::uint16_t> entries_;
    bool isGood_ = true;
};

}  // namespace

std::uint16_t LookupTable::at(double value) const {
    const double last = static_cast<double>(entries.size() - 1);
    return entries[static_cast<std::size_t>(std::clamp(std::floor(value + 0.5) - first, 0.0, last))];
}

LookupTable readTable(DcElemList& list, const TableTags& tags, bool isSigned) {
    const auto count = integerOf(list, tags.descriptor, 0);
    const auto first = integerOf(list, tags.descriptor, 1);
    const auto bits = integerOf(list, tags.descriptor, 2);
    LookupTable table;
    if (!count || !first || !bits || *bits < 1 || *bits > 16) return table;
    // The descriptor has one VR for three numbers: two of them are never negative.
    const std::size_t announced = static_cast<std::uint16_t>(*count);
    const std::size_t wanted = announced == 0 ? kMostEntries : announced;
    table.first = isSigned || *first < 0 ? static_cast<std::int16_t>(*first) : *first;
    table.bits = static_cast<unsigned int>(*bits);
    const std::vector<unsigned char> bytes = bytesOf(list, tags.data);
    if (!bytes.empty()) {
        // Entries of 8 bits stand two in a word, or one in each (PS3.3 C.7.6.3.1.6).
        const Numbers numbers(bytes, table.bits > 8 || bytes.size() >= 2 * wanted);
        table.entries.reserve(std::min(wanted, numbers.count()));
        for (std::size_t i = 0; i < std::min(wanted, numbers.count()); ++i) {
            table.entries.push_back(numbers.at(i));
        }
    } else if (tags.segmented != 0) {
        const std::vector<unsigned char> segments = bytesOf(list, tags.segmented);
        table.entries = Segments(Numbers(segments, table.bits > 8), wanted).expand();
    }
    const auto most = static_cast<std::uint16_t>(table.most());
    for (std::uint16_t& entry : table.entries) entry = std::min(entry, most);
    return table;
}

}  // namespace orvkit::render
