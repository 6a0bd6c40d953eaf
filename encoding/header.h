// The header of one encoded element, both ways: tag, value representation and length (PS3.5 7.1), items and
// delimitations included (PS3.5 7.5). Where streams are read differently on purpose, the difference is a rule
// with a name.
#ifndef ORVKIT_ENCODING_HEADER_H
#define ORVKIT_ENCODING_HEADER_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "dictionary/syntax_table.h"
#include "dictionary/vr_table.h"
#include "foundation/bytes.h"
#include "orvkit/dict.h"
#include "orvkit/edition.h"

namespace orvkit {

inline constexpr unsigned int kTagItem = 0xFFFEE000;
inline constexpr unsigned int kTagItemDelimitation = 0xFFFEE00D;
inline constexpr unsigned int kTagSequenceDelimitation = 0xFFFEE0DD;
inline constexpr unsigned int kTagPixelData = 0x7FE00010;
inline constexpr unsigned int kLengthUndefined = 0xFFFFFFFF;
inline constexpr std::size_t kShortHeader = 8;  // also of items and delimitations
inline constexpr std::size_t kLongHeader = 12;
inline constexpr std::size_t kDelimitationSize = kShortHeader;

// How headers are encoded.
struct Mode {
    bool explicitVr = true;
    ByteOrder order = ByteOrder::little;
    bool everyGroup = false;  // the meta and directory groups, too: see modeAsItLies

    static constexpr Mode implicitLittle() noexcept { return {false, ByteOrder::little}; }
    static constexpr Mode explicitLittle() noexcept { return {true, ByteOrder::little}; }
    static constexpr Mode of(DICT_UID syntax) noexcept {
        return {syntaxRow(syntax).explicitVr, syntaxRow(syntax).order};
    }
    bool operator==(const Mode&) const = default;
};

// The command group is always implicit, the meta and directory groups are always explicit little endian
// (PS3.7 6.3.1, PS3.10 7.1, PS3.3 F.1); every other group is as its stream is.
constexpr DICT_UID syntaxOfGroup(unsigned int group, DICT_UID stream) noexcept {
    if (group == 0x0000) return UID_LITTLE_ENDIAN_IMPLICIT;
    return group == 0x0002 || group == 0x0004 ? UID_LITTLE_ENDIAN_EXPLICIT : stream;
}
constexpr Mode modeOfGroup(unsigned int group, Mode stream) noexcept {
    if (group == 0x0000) return Mode::implicitLittle();
    const bool own = (group == 0x0002 || group == 0x0004) && !stream.everyGroup;
    return own ? Mode::explicitLittle() : stream;
}

// Group and element are numbers of their own.
inline unsigned int loadTag(const unsigned char* p, ByteOrder order) noexcept {
    const auto both = loadAt<std::uint32_t>(p, order);
    return order == ByteOrder::big ? both : std::rotl(both, 16);
}
inline void storeTag(unsigned char* p, unsigned int tag, ByteOrder order) noexcept {
    storeAt<std::uint32_t>(p, order == ByteOrder::big ? tag : std::rotl(tag, 16), order);
}

// ---- reading ----------------------------------------------------------------------------------------------

struct Header {
    enum class VrFrom : unsigned char { letters, dictionary, nowhere };

    unsigned int tag = 0;
    DICT_VR vr = VR_UNKNOWN;  // UN from nowhere, SI for items and delimitations
    unsigned int length = 0;  // as it stands; kLengthUndefined
    std::uint8_t size = 0;    // bytes of the header
    Mode mode;                // of this element
    VrFrom from = VrFrom::nowhere;
    std::uint16_t letters = 0;  // of a VR that came after today's, which is taken as UN (lettersOf); else 0

    // The VR by the dictionary.
    void answer(const DcDictFacts& facts) noexcept {
        vr = facts.vr;
        from = facts.known ? VrFrom::dictionary : VrFrom::nowhere;
    }
};

// Two capitals as one number, never 0.
constexpr std::uint16_t lettersOf(unsigned char first, unsigned char second) noexcept {
    const auto capital = [](unsigned char c) { return c >= 'A' && c <= 'Z'; };
    if (!capital(first) || !capital(second)) return 0;
    return static_cast<std::uint16_t>(1 + (first - 'A') * 26 + (second - 'A'));
}
inline void spellLetters(std::uint16_t letters, char* code) noexcept {
    code[0] = static_cast<char>('A' + (letters - 1) / 26);
    code[1] = static_cast<char>('A' + (letters - 1) % 26);
}

struct HeaderRules {
    // Items and delimitations are read as any other element is: where elements belong there are none.
    bool itemsAreElements = false;
    // Only the command group has a mode of its own; the others with one are as their stream is.
    bool onlyCommandsDiffer = false;
    // Letters of no VR leave it open (VR_UNKNOWN), and the header is as long as that VR is written with.
    // Otherwise a known tag has its own VR then; for any other, letters of a later edition of the standard
    // come with the long header of UN (PS3.5 7.1.2).
    bool openVr = false;
};

constexpr bool isItemTag(unsigned int tag) noexcept {
    return tag == kTagItem || tag == kTagItemDelimitation || tag == kTagSequenceDelimitation;
}

// In today's edition values that are too long for the header of their VR are UN in a stream, and come back by
// the dictionary (PS3.5 6.2.2).
DICT_VR vrOfLongUnknown(unsigned int tag) noexcept;

// The VR of an element whose letters are those of none.
void nameVr(const unsigned char* header, HeaderRules rules, Header& h) noexcept;

// Some writers put a DICOMDIR, records and all, in implicit VR. Where applications have that read
// (dirSetImplicitDirectory), a stream in implicit VR whose first element is one of the directory group and
// has no letters of a VR is so in every group.
void readImplicitDirectories(bool on) noexcept;
Mode modeAsItLies(DICT_UID syntax, std::span<const unsigned char> front) noexcept;

// Reads the header at the front of `b`. The little endian reading of the group decides about the groups with
// a mode of their own, in big endian streams too: kept for callers that rely on it. False where no whole
// header is left; tag, mode and VR are set as far as 8 bytes tell them.
[[nodiscard]] inline bool readHeader(std::span<const unsigned char> b, Mode stream, HeaderRules rules,
                                     Header& h) noexcept {
    if (b.size() < kShortHeader) return false;
    const unsigned char* const p = b.data();
    const unsigned int group = loadAt<std::uint16_t>(p, ByteOrder::little);
    h.mode = group == 0 || !rules.onlyCommandsDiffer ? modeOfGroup(group, stream) : stream;
    h.tag = loadTag(p, h.mode.order);
    h.size = kShortHeader;
    h.letters = 0;
    const bool item = !rules.itemsAreElements && isItemTag(h.tag);
    if (item || !h.mode.explicitVr) {
        h.length = loadAt<std::uint32_t>(p + 4, h.mode.order);
        item ? h.answer({VR_SI, 1, true}) : h.answer(Dict.facts(h.tag));
        return true;
    }
    h.vr = vrOfLetters(p[4], p[5]);
    h.from = Header::VrFrom::letters;
    if (h.vr == 0) nameVr(p, rules, h);
    const bool asWritten = h.from != Header::VrFrom::letters || rules.openVr;
    if (vrRowOfAny(asWritten ? vrRowOfAny(h.vr).written : h.vr).head != Head::wide) {
        h.length = loadAt<std::uint16_t>(p + 6, h.mode.order);
        return true;
    }
    h.size = kLongHeader;
    if (b.size() < kLongHeader) return false;
    h.length = loadAt<std::uint32_t>(p + 8, h.mode.order);
    const bool isLong = h.length > 0xFFFF && h.length != kLengthUndefined;
    if (isLong && h.vr == VR_UN && h.letters == 0) h.vr = vrOfLongUnknown(h.tag);
    return true;
}

// A delimitation is its tag and a length of zero.
inline bool isDelimitation(std::span<const unsigned char> b, ByteOrder order, unsigned int tag) noexcept {
    return b.size() >= kDelimitationSize && loadTag(b.data(), order) == tag &&
           loadAt<std::uint32_t>(b.data() + 4, order) == 0;
}

// What stands between the items of a value, and before the first of them.
struct ItemHeader {
    enum class Kind : unsigned char { item, end, other, none };  // end: the delimitation; none: too few bytes
    Kind kind = Kind::none;
    unsigned int tag = 0;
    unsigned int length = 0;
};

inline ItemHeader readItemHeader(std::span<const unsigned char> b, ByteOrder order) noexcept {
    if (b.size() < kShortHeader) return {};
    const unsigned int tag = loadTag(b.data(), order);
    const auto length = loadAt<std::uint32_t>(b.data() + 4, order);
    const bool end = tag == kTagSequenceDelimitation && length == 0;
    return {tag == kTagItem ? ItemHeader::Kind::item
            : end           ? ItemHeader::Kind::end
                            : ItemHeader::Kind::other,
            tag, length};
}

// Whether a value of undefined length begins as a list of items does.
inline bool beginsWithItem(std::span<const unsigned char> b, ByteOrder order) noexcept {
    return b.size() >= kDelimitationSize &&
           (loadTag(b.data(), order) == kTagItem || isDelimitation(b, order, kTagSequenceDelimitation));
}

// Where the 8 bytes of a Sequence Delimitation begin in `bytes`, or kNotFound.
inline constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);
std::size_t findSequenceDelimitation(std::span<const unsigned char> bytes, ByteOrder order) noexcept;

// ---- writing ----------------------------------------------------------------------------------------------
// The writer has the byte order of the mode.

constexpr bool hasLongLength(Mode mode, DICT_VR vr) noexcept {
    return !mode.explicitVr || vrRowOfAny(vrRowOfAny(vr).written).head != Head::word;
}

// An element whose length does not fit its field must not be written.
constexpr bool lengthFits(Mode mode, DICT_VR vr, unsigned int length) noexcept {
    return length <= 0xFFFF || hasLongLength(mode, vr);
}

// Items have no letters in any stream. `letters`: those that stand for the VR, if not its own.
inline void writeHeader(ByteWriter& w, Mode mode, unsigned int tag, DICT_VR vr, unsigned int length,
                        std::uint16_t letters = 0) noexcept {
    const VrRow& written = vrRowOfAny(vrRowOfAny(vr).written);
    const bool lettered = mode.explicitVr && tag != kTagItem, wide = lettered && written.head == Head::wide;
    const bool isLong = !mode.explicitVr || written.head != Head::word;
    unsigned char* p = w.take(4u + (lettered ? 2 : 0) + (wide ? 2 : 0) + (isLong ? 4 : 2));
    if (p == nullptr) return;
    storeTag(p, tag, mode.order);
    p += 4;
    if (lettered) {
        std::memcpy(p, written.letters, 2);
        if (letters != 0) spellLetters(letters, reinterpret_cast<char*>(p));
        p += 2;
    }
    if (wide) {
        p[0] = p[1] = 0;
        p += 2;
    }
    if (isLong) {
        storeAt<std::uint32_t>(p, length, mode.order);
    } else {
        storeAt(p, static_cast<std::uint16_t>(length), mode.order);
    }
}

inline void writeItem(ByteWriter& w, unsigned int length) noexcept {
    unsigned char* const p = w.take(kShortHeader);
    if (p == nullptr) return;
    storeTag(p, kTagItem, w.order());
    storeAt<std::uint32_t>(p + 4, length, w.order());
}

// The end of Pixel Data of undefined length: little endian always, as the syntaxes are that have it.
inline constexpr unsigned char kPixelDataEnd[kDelimitationSize] = {0xFE, 0xFF, 0xDD, 0xE0, 0, 0, 0, 0};

}  // namespace orvkit

#endif
