#include "media/measure.h"

#include <algorithm>
#include <span>

#include "dataset/elemlist_access.h"
#include "foundation/fail.h"
#include "orvkit/keywords.h"

namespace orvkit {
namespace {

// Fewer are stepped over as fast.
constexpr std::size_t kWorthIt = 512;
// Entries that are looked up.
constexpr std::size_t kEntriesLookedAt = 16;

// The numbers of a table in memory.
std::span<const unsigned char> tableBytes(const DcElemList& dataset, unsigned int tag) {
    const DcElem* const e = ElemListAccess::find(dataset, tag);
    const DcBuf* const b = e != nullptr ? ElemAccess::firstBuf(*e) : nullptr;
    if (b == nullptr || b->next() != nullptr || b->getType() != BUF_MEMORY || b->getBuf() == nullptr)
        return {};
    return {static_cast<const unsigned char*>(b->getBuf()), b->getLen()};
}

std::uint64_t entry(std::span<const unsigned char> table, std::size_t index) {
    return loadAt<std::uint64_t>(table.data() + index * 8, ByteOrder::little);
}

bool itemBegins(ByteSource& source, std::uint64_t at, std::uint64_t length) {
    const auto b = source.at(at, kShortHeader);
    return b.size() >= kShortHeader && loadTag(b.data(), ByteOrder::little) == kTagItem &&
           loadAt<std::uint32_t>(b.data() + 4, ByteOrder::little) == length;
}

}  // namespace

// Items are stepped over by their headers.
Measured measureValue(ByteSource& source, const WalkHeader& h, const char* reporter) {
    Measured m;
    const std::uint64_t left = source.size() - std::min(h.valueOffset, source.size());
    if (h.length != kLengthUndefined) {
        m.length = std::min<std::uint64_t>(h.length, left);
        m.behind = h.valueOffset + m.length;
        m.sound = h.length <= left;
        if (m.sound) return m;
        m.result = fail(ELEM_VALUE_REFUSED, LOG_ERROR, reporter,
                        "valueLen (0x%08x) exceeds the remaining buffer len (0x%08x) at offset 0x%x",
                        h.length, static_cast<unsigned int>(left), static_cast<unsigned int>(h.valueOffset));
        return m;
    }
    Walker walker(source, h.offset, source.size(), h.mode);
    if (walker.skip(h)) {
        m.behind = walker.position();
        m.length = m.behind - kDelimitationSize - h.valueOffset;
        return m;
    }
    m.sound = false;
    m.behind = source.size();
    if (source.failed()) {
        m.result = fail(DIR_READ_WRITE, LOG_ERROR, reporter, "Error reading pixel data items");
        return m;
    }
    // As lenient as decoding.
    m.length = left;
    m.result = fail(RESULT_OK, LOG_VALIDATION, reporter,
                    "Sequence delimiter not found, assuming full buffer as Pixel Data");
    return m;
}

std::optional<Measured> measureByTable(ByteSource& source, const WalkHeader& h, const DcElemList& dataset) {
    const auto offsets = tableBytes(dataset, DcTag::ExtendedOffsetTable);
    const auto lengths = tableBytes(dataset, DcTag::ExtendedOffsetTableLengths);
    const std::size_t count = offsets.size() / 8;
    if (h.length != kLengthUndefined || count < kWorthIt || lengths.size() != offsets.size())
        return std::nullopt;
    const auto basic = source.at(h.valueOffset, kShortHeader);
    if (basic.size() < kShortHeader || loadTag(basic.data(), ByteOrder::little) != kTagItem)
        return std::nullopt;
    const std::uint64_t first =
        h.valueOffset + kShortHeader + loadAt<std::uint32_t>(basic.data() + 4, ByteOrder::little);
    std::uint64_t end = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t length = entry(lengths, i);
        if (entry(offsets, i) != end || length >= kLengthUndefined) return std::nullopt;
        end += kShortHeader + length + length % 2;
    }
    for (std::size_t i = 0; i < kEntriesLookedAt; ++i) {
        const std::size_t at = (count - 1) / (kEntriesLookedAt - 1) * i;
        const std::size_t index = i + 1 == kEntriesLookedAt ? count - 1 : at;
        const std::uint64_t length = entry(lengths, index);
        if (!itemBegins(source, first + entry(offsets, index), length + length % 2)) return std::nullopt;
    }
    if (!isDelimitation(source.at(first + end, kDelimitationSize), ByteOrder::little,
                        kTagSequenceDelimitation)) {
        return std::nullopt;
    }
    Measured m;
    m.behind = first + end + kDelimitationSize;
    m.length = m.behind - kDelimitationSize - h.valueOffset;
    return m;
}

}  // namespace orvkit
