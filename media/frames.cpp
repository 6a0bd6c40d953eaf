// The frames of pixel data, by number.
#include "orvkit/frames.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

#include "dataset/elemlist_access.h"
#include "encoding/header.h"
#include "foundation/fail.h"
#include "media/fragment_frames.h"
#include "media/part10_reader.h"
#include "media/stored_value.h"
#include "orvkit/keywords.h"

using namespace orvkit;

namespace {

constexpr const char* kFramesReporter = "DcFrames::open";
constexpr unsigned int kMostBits = 64;  // of a sample
constexpr std::size_t kPiece = 65536;

struct PixelTag {
    unsigned int tag;
    unsigned int bits;  // that a sample has where the data set does not say
};
constexpr PixelTag kPixelTags[] = {
    {DcTag::FloatPixelData, 32}, {DcTag::DoubleFloatPixelData, 64}, {kTagPixelData, 0}};

constexpr unsigned int kLayoutTags[] = {DcTag::SamplesPerPixel, DcTag::PhotometricInterpretation,
                                        DcTag::NumberOfFrames,  DcTag::Rows,
                                        DcTag::Columns,         DcTag::BitsAllocated};

const PixelTag* pixelTag(unsigned int tag) {
    const auto* const found = std::ranges::find(kPixelTags, tag, &PixelTag::tag);
    return found != std::end(kPixelTags) ? found : nullptr;
}

DcFrameLayout layoutOf(const DcElemList& dataset) {
    DcFrameLayout layout;
    const auto number = [&](unsigned int tag, unsigned int missing) {
        unsigned short value = 0;
        const bool told = ElemListAccess::firstValue(dataset, tag, value) == RESULT_OK;
        return told ? unsigned{value} : missing;
    };
    int frames = 1;
    const bool told = ElemListAccess::firstValue(dataset, DcTag::NumberOfFrames, frames) == RESULT_OK;
    layout.frames = told && frames > 0 ? static_cast<unsigned int>(frames) : 1;
    layout.rows = number(DcTag::Rows, 0);
    layout.columns = number(DcTag::Columns, 0);
    layout.samplesPerPixel = number(DcTag::SamplesPerPixel, 1);
    layout.bitsAllocated = number(DcTag::BitsAllocated, 0);
    (void)ElemListAccess::firstValue(dataset, DcTag::PhotometricInterpretation, layout.photometric,
                                     static_cast<int>(sizeof layout.photometric - 1));
    return layout;
}

// A raw value of defined length is not encapsulated, whatever the stream is; fragments in a stream that knows
// none are in no syntax.
DICT_UID syntaxOfPixels(DICT_UID stream, bool encapsulated) {
    if (isUncompressed(stream) != encapsulated) return stream;
    return encapsulated ? UID_NONE : UID_LITTLE_ENDIAN_EXPLICIT;
}

// Two pixels of these share their colour (PS3.3 C.7.6.3.1.2); of YBR_PARTIAL_420 four do.
std::uint64_t frameBits(const DcFrameLayout& layout) {
    if (layout.bitsAllocated == 0 || layout.bitsAllocated > kMostBits) return 0;
    if (layout.rows > 0xFFFF || layout.columns > 0xFFFF || layout.samplesPerPixel > 0xFFFF) return 0;
    const std::uint64_t pixels = std::uint64_t{layout.rows} * layout.columns;
    std::uint64_t samples = pixels * layout.samplesPerPixel;
    if (layout.samplesPerPixel == 3) {
        const std::string_view photometric = layout.photometric;
        if (photometric == "YBR_FULL_422" || photometric == "YBR_PARTIAL_422") samples = pixels * 2;
        if (photometric == "YBR_PARTIAL_420") samples = (pixels * 3 + 1) / 2;
    }
    return samples * layout.bitsAllocated;
}

// Moves bits that begin inside of a byte to the beginning of one: the low bits of a byte come first.
void shiftInto(std::span<const unsigned char> from, unsigned int first, unsigned char* to,
               std::size_t length) {
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned int next = i + 1 < from.size() ? from[i + 1] : 0;
        to[i] = static_cast<unsigned char>((from[i] | next << 8) >> first);
    }
}

}  // namespace

// ---- what is open -----------------------------------------------------------------------------------------

namespace orvkit {

struct OpenFrames {
    DcFrameLayout layout;
    DICT_UID xferSyn = UID_NONE;
    unsigned int tag = 0;
    unsigned int count = 0;
    std::uint64_t bits = 0;  // of a native frame
    DcElemList dataset;      // that of a file that had to be unpacked
    StoredValue value;
    StoredValue offsets;                      // (7FE0,0001)
    StoredValue lengths;                      // (7FE0,0002)
    std::optional<FragmentFrames> fragments;  // of encapsulated pixels

    int openFile(const char* path);
    int openDataset(const DcElemList& list, const DcFrameLayout& said);
    int locate(ByteSource& source, const Part10& p, const SharedFile& file, DICT_UID stream);
    int settle(bool encapsulated, bool endsDelimited);

    struct Place {
        std::uint64_t firstByte = 0;
        std::uint64_t bytes = 0;  // from that one on, as far as they are there
        unsigned int firstBit = 0;
        std::uint64_t bits = 0;  // of the frame that are there
        bool cut = false;
    };
    Place placeOf(unsigned int frame) const;
    int find(unsigned int frame, std::vector<FragmentFrames::Part>& parts, DcFrame& found);
    int readBits(const Place& place, unsigned char* to) const;
};

// With value, layout, tag and syntax known.
int OpenFrames::settle(bool encapsulated, bool endsDelimited) {
    if (value.size() == 0)
        return fail(FRAMES_NO_PIXELS, LOG_VALIDATION, kFramesReporter, "The pixel data is empty");
    if (encapsulated) {
        const std::uint64_t most = std::max<std::uint64_t>(value.size() / kShortHeader, 1);
        count = static_cast<unsigned int>(std::min<std::uint64_t>(layout.frames, most));
        fragments.emplace(value, offsets, lengths, count, endsDelimited);
        return RESULT_OK;
    }
    if (layout.bitsAllocated == 0) layout.bitsAllocated = pixelTag(tag)->bits;
    bits = frameBits(layout);
    const bool fractions = bits % 8 != 0 && syntaxRow(xferSyn).order == ByteOrder::big;
    if (bits == 0 || fractions) {
        return fail(FRAMES_LAYOUT, LOG_VALIDATION, kFramesReporter,
                    "%u rows, %u columns, %u samples of %u bits make no frame", layout.rows, layout.columns,
                    layout.samplesPerPixel, layout.bitsAllocated);
    }
    const std::uint64_t held = value.size() * 8;
    const std::uint64_t most = held / bits + (held % bits != 0 ? 1 : 0);
    count = static_cast<unsigned int>(std::min<std::uint64_t>(layout.frames, most));
    return RESULT_OK;
}

int OpenFrames::openDataset(const DcElemList& list, const DcFrameLayout& said) {
    const DcElem* pixels = nullptr;
    for (const PixelTag& candidate : kPixelTags) {
        const DcElem* const e = pixels == nullptr ? ElemListAccess::find(list, candidate.tag) : nullptr;
        if (e == nullptr || ElemAccess::firstBuf(*e) == nullptr) continue;
        pixels = e;
        tag = candidate.tag;
    }
    if (pixels == nullptr)
        return fail(FRAMES_NO_PIXELS, LOG_VALIDATION, kFramesReporter, "There is no pixel data");
    layout = said;
    xferSyn = ElemAccess::firstBuf(*pixels)->getXferSyn();
    const Pixels kind = syntaxRow(xferSyn).pixels;
    if (kind == Pixels::packed) {
        return fail(ELEM_XFER_SYNTAX, LOG_VALIDATION, kFramesReporter, "The pixel data is packed as a whole");
    }
    const auto addAll = [](StoredValue& to, const DcElem* e) {
        int result = RESULT_OK;
        for (const DcBuf* b = e != nullptr ? ElemAccess::firstBuf(*e) : nullptr;
             b != nullptr && result == RESULT_OK; b = b->next())
            result = to.add(*b, kFramesReporter);
        return result;
    };
    int result = addAll(value, pixels);
    if (result == RESULT_OK) result = addAll(offsets, ElemListAccess::find(list, DcTag::ExtendedOffsetTable));
    if (result == RESULT_OK)
        result = addAll(lengths, ElemListAccess::find(list, DcTag::ExtendedOffsetTableLengths));
    return result == RESULT_OK ? settle(kind == Pixels::encapsulated, false) : result;
}

// Walks over the elements of a file up to its pixels, and takes those that tell of frames.
int OpenFrames::locate(ByteSource& source, const Part10& p, const SharedFile& file, DICT_UID stream) {
    DcElemList said;
    Walker walker(source, p.end, source.size(), p.mode, true);
    WalkHeader h;
    while (walker.peek(h) == WalkStep::element) {
        if (pixelTag(h.tag) != nullptr && isRawVr(h.vr)) {
            const bool encapsulated = h.length == kLengthUndefined;
            tag = h.tag;
            layout = layoutOf(said);
            xferSyn = syntaxOfPixels(stream, encapsulated);
            if (syntaxRow(stream).pixels == Pixels::packed) {
                return fail(ELEM_XFER_SYNTAX, LOG_VALIDATION, kFramesReporter,
                            "The pixel data is packed as a whole");
            }
            value.add(file, h.valueOffset, encapsulated ? source.size() : h.length);
            return settle(encapsulated, true);
        }
        if (h.tag == DcTag::ExtendedOffsetTable) offsets.add(file, h.valueOffset, h.length);
        if (h.tag == DcTag::ExtendedOffsetTableLengths) lengths.add(file, h.valueOffset, h.length);
        constexpr unsigned int most = 4096;  // of a value that is read
        if (h.length <= most && std::ranges::find(kLayoutTags, h.tag) != std::end(kLayoutTags)) {
            const std::size_t size = h.size + std::size_t{h.length};
            const auto bytes = source.at(h.offset, size);
            auto length = static_cast<unsigned int>(std::min(size, bytes.size()));
            orvkit::needMemory(said.parse(const_cast<unsigned char*>(bytes.data()), length, stream));
        }
        if (!walker.skip(h)) break;
    }
    if (source.failed())
        return fail(DIR_READ_WRITE, LOG_ERROR, kFramesReporter, "Error reading file '%s'", p.name());
    return fail(FRAMES_NO_PIXELS, LOG_VALIDATION, kFramesReporter, "File '%s', there is no pixel data",
                p.name());
}

int OpenFrames::openFile(const char* path) {
    FilePrefix prefix;
    DcDirMetaInfo meta;
    DcDirFound found;
    Part10 p{prefix, path, meta};
    p.found = &found;
    int result = beginFile(prefix, p, kFramesReporter, FilePrefix::kWithHeader);
    DICT_UID stream = UID_NONE;
    if (result == RESULT_OK) result = settleSyntax(p, kFramesReporter, stream);
    if (result != RESULT_OK) return result;
    if (p.codec != nullptr) {
        DcDirAround around;
        result = dirReadAroundPixels(path, meta, dataset, around);
        const int opened = openDataset(dataset, layoutOf(dataset));
        return opened == RESULT_OK || result == RESULT_OK ? opened : result;
    }
    const auto file = std::make_shared<const platform::FileHandle>(prefix.takeHandle());
    HandleSource source(file->get());
    return locate(source, p, file, stream);
}

// ---- finding and reading ----------------------------------------------------------------------------------

OpenFrames::Place OpenFrames::placeOf(unsigned int frame) const {
    const std::uint64_t begin = (frame - 1) * bits;
    const std::uint64_t held = value.size() * 8;
    Place place;
    place.firstByte = begin / 8;
    place.firstBit = static_cast<unsigned int>(begin % 8);
    place.bits = begin < held ? std::min(bits, held - begin) : 0;
    place.cut = place.bits < bits;
    place.bytes = (place.firstBit + place.bits + 7) / 8;
    return place;
}

int OpenFrames::find(unsigned int frame, std::vector<FragmentFrames::Part>& parts, DcFrame& found) {
    found = {};
    if (frame == 0 || frame > count) return FRAMES_NUMBER;
    int result = RESULT_OK;
    if (fragments) {
        result = fragments->find(frame - 1, parts);
        for (const auto& part : parts) found.length += part.length;
        return result;
    }
    const Place place = placeOf(frame);
    parts.push_back({place.firstByte, place.bytes});
    found.firstBit = place.firstBit;
    found.length = (place.bits + 7) / 8;
    return place.cut ? FRAMES_CUT : int{RESULT_OK};
}

int OpenFrames::readBits(const Place& place, unsigned char* to) const {
    std::array<unsigned char, kPiece + 1> piece;
    std::uint64_t length = (place.bits + 7) / 8;
    for (std::uint64_t at = 0; at < length;) {
        const auto n = static_cast<std::size_t>(std::min<std::uint64_t>(length - at, kPiece));
        // One more, whose bits come to stand in the last of them.
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(n + 1, place.bytes - at));
        const auto bytes = std::span(piece).first(wanted);
        if (value.copy(place.firstByte + at, bytes) != static_cast<std::int64_t>(wanted))
            return DIR_READ_WRITE;
        shiftInto(bytes, place.firstBit, to + at, n);
        at += n;
    }
    if (place.bits % 8 != 0) to[length - 1] &= static_cast<unsigned char>((1u << place.bits % 8) - 1);
    return RESULT_OK;
}

}  // namespace orvkit

DcFrames::DcFrames() noexcept : own_(nullptr) {}
DcFrames::DcFrames(DcFrames&& other) noexcept : own_(std::exchange(other.own_, nullptr)) {}
DcFrames& DcFrames::operator=(DcFrames&& other) noexcept {
    std::swap(own_, other.own_);
    return *this;
}
DcFrames::~DcFrames() {
    delete own_;
}

void DcFrames::close() noexcept {
    delete std::exchange(own_, nullptr);
}

int DcFrames::open(const char* path) noexcept try {
    close();
    auto own = std::make_unique<OpenFrames>();
    const int result = own->openFile(path);
    if (result == RESULT_OK) own_ = own.release();
    return result;
} catch (const std::bad_alloc&) {
    return failMemory(kFramesReporter);
}

int DcFrames::open(const DcElemList& dataset) noexcept try {
    return open(dataset, layoutOf(dataset));
} catch (const std::bad_alloc&) {
    return failMemory(kFramesReporter);
}

int DcFrames::open(const DcElemList& dataset, const DcFrameLayout& layout) noexcept try {
    close();
    auto own = std::make_unique<OpenFrames>();
    const int result = own->openDataset(dataset, layout);
    if (result == RESULT_OK) own_ = own.release();
    return result;
} catch (const std::bad_alloc&) {
    return failMemory(kFramesReporter);
}

unsigned int DcFrames::count() const noexcept {
    return own_ != nullptr ? own_->count : 0;
}
const DcFrameLayout& DcFrames::layout() const noexcept {
    static const DcFrameLayout none;
    return own_ != nullptr ? own_->layout : none;
}
DICT_UID DcFrames::xferSyn() const noexcept {
    return own_ != nullptr ? own_->xferSyn : DICT_UID{UID_NONE};
}
unsigned int DcFrames::tag() const noexcept {
    return own_ != nullptr ? own_->tag : 0;
}
FRAMES_BY DcFrames::foundBy() const noexcept {
    if (own_ == nullptr) return FRAMES_BY_NONE;
    return own_->fragments ? own_->fragments->by() : FRAMES_BY_LAYOUT;
}
int DcFrames::tablesRefused() const noexcept {
    return own_ != nullptr && own_->fragments && own_->fragments->refused() ? 1 : 0;
}

int DcFrames::find(unsigned int frame, DcFrame& found, DcFrameRun* runs, unsigned int room) const noexcept
    try {
    found = {};
    if (own_ == nullptr) return FRAMES_NUMBER;
    std::vector<FragmentFrames::Part> parts;
    const int result = own_->find(frame, parts, found);
    for (const auto& part : parts) {
        own_->value.eachRun(part.at, part.length, [&](const DcFrameRun& run) {
            if (runs != nullptr && found.runs < room) runs[found.runs] = run;
            ++found.runs;
        });
    }
    return result;
} catch (const std::bad_alloc&) {
    return failMemory("DcFrames::find");
}

int DcFrames::read(unsigned int frame, void* buffer, unsigned long long room,
                   unsigned long long& length) const noexcept try {
    length = 0;
    if (own_ == nullptr) return FRAMES_NUMBER;
    DcFrame found;
    std::vector<FragmentFrames::Part> parts;
    const int result = own_->find(frame, parts, found);
    length = found.length;
    if (result != RESULT_OK && result != FRAMES_CUT) return result;
    if (length > room) return FRAMES_ROOM;
    if (length == 0) return result;
    if (buffer == nullptr) return failNull(DIR_NULL_ARGUMENT, "DcFrames::read");
    auto* to = static_cast<unsigned char*>(buffer);
    bool good = true;
    if (!own_->fragments && own_->bits % 8 != 0) {
        good = own_->readBits(own_->placeOf(frame), to) == RESULT_OK;
    } else {
        for (const auto& part : parts) {
            const auto n = static_cast<std::size_t>(part.length);
            good = good && own_->value.copy(part.at, {to, n}) == static_cast<std::int64_t>(n);
            to += n;
        }
    }
    return good ? result : fail(DIR_READ_WRITE, LOG_ERROR, "DcFrames::read", "Error in reading pixel data");
} catch (const std::bad_alloc&) {
    return failMemory("DcFrames::read");
}
