#include "media/any_file.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "media/meta_info.h"

namespace orvkit {

namespace {

constexpr std::uint64_t kMostZeros = std::uint64_t{1} << 20;
constexpr int kElementsLookedAt = 16;  // elements
constexpr std::uint64_t kLookedInto = 0x10000;
constexpr unsigned int kMostMetaValue = 4096;  // bytes of a value in an implicit meta group
constexpr int kEvidence = 2;                   // an element that is known, or two that may be
constexpr int kProof = 8;

std::uint64_t zerosFrom(ByteSource& source, std::uint64_t from, std::uint64_t most) {
    std::uint64_t n = 0;
    while (n < most) {
        const auto bytes = source.at(from + n, 1);
        if (bytes.empty()) break;
        const auto nonZero = std::find_if(bytes.begin(), bytes.end(), [](unsigned char b) { return b != 0; });
        n += static_cast<std::uint64_t>(nonZero - bytes.begin());
        if (nonZero != bytes.end()) break;
    }
    return std::min(n, most);
}

bool hasLetters(ByteSource& source, std::uint64_t at) {
    const auto b = source.at(at, 2);
    return b.size() >= 2 && DcDict::vrOfCode(static_cast<char>(b[0]), static_cast<char>(b[1])) != 0;
}

bool holds(ByteSource& source, std::uint64_t at, const char* text, std::size_t n) {
    const auto b = source.at(at, n);
    return b.size() >= n && std::memcmp(b.data(), text, n) == 0;
}

// How much the elements from there on look like a data set: known ones count twice.
int evidence(ByteSource& source, std::uint64_t begin, Mode mode) {
    Walker walker(source, begin, std::min(source.size(), begin + kLookedInto), mode, true);
    WalkHeader h;
    unsigned int last = 0;
    int seen = 0;
    for (int i = 0; i < kElementsLookedAt && walker.peek(h) == WalkStep::element; ++i) {
        if (h.tag <= last || h.tag >> 16 < 4) break;
        const bool known = Dict.facts(h.tag).known;
        if (mode.explicitVr && !hasLetters(source, h.offset + 4)) break;
        if (!mode.explicitVr && !known && h.length > source.size() - h.valueOffset) break;
        seen += known ? 2 : 1;
        last = h.tag;
        if (h.tag >= kTagPixelData || !walker.skip(h)) break;  // pixels are not read to be passed
    }
    return seen;
}

// Meta information or a data set.
std::optional<Located> contentAt(ByteSource& source, std::uint64_t begin) {
    const auto b = source.at(begin, kShortHeader);
    if (b.size() < kShortHeader) return std::nullopt;
    if (loadAt<std::uint16_t>(b.data(), ByteOrder::little) == 2) {
        if (hasLetters(source, begin + 4)) return Located{true, begin, Mode::explicitLittle()};
        const auto length = loadAt<std::uint32_t>(b.data() + 4, ByteOrder::little);
        const bool known = Dict.facts(loadTag(b.data(), ByteOrder::little)).known;
        if (known && length <= kMostMetaValue) return Located{true, begin, Mode::implicitLittle()};
    }
    if (syntaxByLooks(source, begin, UID_NONE) != UID_NONE) return Located{false, begin, {}};
    return std::nullopt;
}

}  // namespace

std::optional<Located> locate(ByteSource& source, DcDirFound& found) {
    constexpr std::size_t magic = 4;
    std::uint64_t begin = 0;
    if (holds(source, kPreambleSize, "DICM", magic)) {
        found.preamble = true;
        begin = kMetaOffset;
    } else if (holds(source, 0, "DICM", magic)) {
        begin = magic;
    }
    if (const auto located = contentAt(source, begin)) return located;
    const std::uint64_t zeros = zerosFrom(source, begin, kMostZeros);
    if (zeros == 0) return std::nullopt;
    if (holds(source, begin + zeros, "DICM", magic)) {
        found.zerosBefore = zeros;
        return contentAt(source, begin + zeros + magic);
    }
    // The first byte that is not zero may be the second one of a group in big endian.
    for (const std::uint64_t skipped : {zeros, zeros - 1}) {
        if (const auto located = contentAt(source, begin + skipped)) {
            found.zerosBefore = skipped;
            return located;
        }
    }
    return std::nullopt;
}

bool explicitMeta(ByteSource& source, std::uint64_t begin, std::uint64_t& end,
                  std::vector<unsigned char>& bytes) {
    const HeaderRules rules{.onlyCommandsDiffer = true};
    Header h;
    for (end = begin;; end += h.size + std::uint64_t{h.length}) {
        const auto ahead = source.at(end, kLongHeader);
        if (!readHeader(ahead, Mode::implicitLittle(), rules, h) || h.tag >> 16 != 2) return !source.failed();
        if (h.length > 0xFFFF) return false;
        const auto whole = source.at(end, h.size + std::size_t{h.length});
        if (whole.size() < h.size + std::size_t{h.length}) return false;
        unsigned char header[kLongHeader];
        ByteWriter writer(header, ByteOrder::little);
        writeHeader(writer, Mode::explicitLittle(), h.tag, h.vr, h.length);
        bytes.insert(bytes.end(), header, header + writer.offset());
        bytes.insert(bytes.end(), whole.begin() + h.size, whole.begin() + h.size + h.length);
    }
}

DICT_UID syntaxByLooks(ByteSource& source, std::uint64_t begin, DICT_UID named) {
    DICT_UID best = UID_NONE;
    int most = kEvidence - 1;
    for (const DICT_UID syntax :
         {named, DICT_UID{UID_LITTLE_ENDIAN_EXPLICIT}, DICT_UID{UID_LITTLE_ENDIAN_IMPLICIT},
          DICT_UID{UID_BIG_ENDIAN_EXPLICIT}}) {  // letters are the better proof
        if (syntax == UID_NONE || most >= kProof) continue;
        const Mode mode = modeAsItLies(syntax, source.at(begin, kShortHeader));
        const int seen = evidence(source, begin, mode);
        if (seen <= most) continue;
        most = seen;
        best = syntax;
    }
    return best;
}

bool onlyZerosFrom(ByteSource& source, std::uint64_t offset) {
    const std::uint64_t rest = source.size() - std::min(offset, source.size());
    return zerosFrom(source, offset, rest) == rest;
}

std::uint64_t endBeforeZeros(ByteSource& source, std::uint64_t begin, DICT_UID xferSyn) {
    const Mode mode = modeAsItLies(xferSyn, source.at(begin, kShortHeader));
    Walker walker(source, begin, source.size(), mode, true);
    WalkHeader h;
    WalkStep step;
    while ((step = walker.peek(h)) == WalkStep::element) {
        if (h.tag == 0 && onlyZerosFrom(source, h.offset)) return h.offset;
        if (!walker.skip(h)) return source.size();
    }
    // Fewer zeros than a header has bytes.
    const bool padded = step == WalkStep::end && onlyZerosFrom(source, walker.position());
    return padded ? walker.position() : source.size();
}

}  // namespace orvkit
