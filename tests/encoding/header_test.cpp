// The one element header, swept over kinds of VR, syntaxes and directions against streams that are built by
// hand.
#include "encoding/header.h"

#include <gtest/gtest.h>

#include "tests/support/stream.h"

namespace orvkit {
namespace {

constexpr DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT,
                                 UID_LITTLE_ENDIAN_EXPLICIT,
                                 UID_BIG_ENDIAN_EXPLICIT,
                                 UID_DEFLATED_LITTLE_ENDIAN_EXPLICIT,
                                 UID_ORVKIT5_LZW,
                                 DICT_UID{9999}};

constexpr unsigned int kPrivateTag = 0x00111010;  // no dictionary knows it
constexpr unsigned int kName = 0x00100010;        // PN
constexpr unsigned int kPixels = kTagPixelData;   // OX

std::vector<unsigned char> written(DICT_UID syntax, unsigned int tag, DICT_VR vr, unsigned int length) {
    std::vector<unsigned char> room(kLongHeader, 0xA5);
    const Mode mode = Mode::of(syntax);
    ByteWriter w(room, mode.order);
    writeHeader(w, mode, tag, vr, length);
    EXPECT_FALSE(w.failed());
    room.resize(w.offset());
    return room;
}

TEST(Header, EveryKindOfVrIsWrittenAndReadAsItStandsInEverySyntax) {
    // PS3.5 Tables 7.1-1 and 7.1-2; what stands for a choice of VRs is written as one of them.
    constexpr struct {
        DICT_VR vr;
        const char* letters;
        bool wide;
    } vrs[] = {{VR_AE, "AE", false}, {VR_OB, "OB", true},  {VR_OF, "OF", true},     {VR_SQ, "SQ", true},
               {VR_UI, "UI", false}, {VR_UN, "UN", true},  {VR_UT, "UT", true},     {VR_OX, "OB", true},
               {VR_XL, "UL", false}, {VR_XS, "US", false}, {VR_UNKNOWN, "UN", true}};
    for (const DICT_UID syntax : syntaxes) {
        const Mode mode = Mode::of(syntax);
        EXPECT_EQ(mode.explicitVr, syntax != UID_LITTLE_ENDIAN_IMPLICIT);
        EXPECT_EQ(mode.order == ByteOrder::big, syntax == UID_BIG_ENDIAN_EXPLICIT);
        for (const auto& row : vrs) {
            for (const unsigned int length : {0u, 2u, 0xFFFEu, 0x10000u, kLengthUndefined}) {
                SCOPED_TRACE(std::to_string(syntax) + ' ' + row.letters + ' ' + std::to_string(length));
                const bool fits = length <= 0xFFFF || row.wide || !mode.explicitVr;
                EXPECT_EQ(lengthFits(mode, row.vr, length), fits);
                if (!fits) continue;
                const Stream stream = Stream(syntax).header(kPrivateTag, row.letters, length);
                EXPECT_EQ(written(syntax, kPrivateTag, row.vr, length), stream.bytes());

                Header h;
                ASSERT_TRUE(readHeader(stream.bytes(), mode, {}, h));
                EXPECT_EQ(h.tag, kPrivateTag);
                EXPECT_EQ(h.length, length);
                EXPECT_EQ(h.size, stream.size());
                EXPECT_EQ(DcDict::vrName(h.vr), mode.explicitVr ? std::string(row.letters) : "UN");
                const std::span bytes(stream.bytes());
                for (std::size_t n = 0; n < bytes.size(); ++n)
                    EXPECT_FALSE(readHeader(bytes.first(n), mode, {}, h)) << n;
            }
        }
    }
}

TEST(Header, CommandsMetaInformationAndDirectoriesHaveAModeOfTheirOwn) {
    const auto read = [](const Stream& s, DICT_UID stream, HeaderRules rules) {
        Header h;
        EXPECT_TRUE(readHeader(s.bytes(), Mode::of(stream), rules, h));
        return h;
    };
    for (const DICT_UID syntax : syntaxes) {
        for (const unsigned int group : {0x0000u, 0x0002u, 0x0004u}) {
            const DICT_UID own = group == 0 ? UID_LITTLE_ENDIAN_IMPLICIT : UID_LITTLE_ENDIAN_EXPLICIT;
            EXPECT_EQ(syntaxOfGroup(group, syntax), own);
            const Header h = read(Stream(own).header(group << 16 | 0x10, "UI", 8), syntax, {});
            EXPECT_EQ(h.tag, group << 16 | 0x10);
            EXPECT_EQ(h.length, 8u);
            EXPECT_EQ(h.mode, Mode::of(own));
        }
        EXPECT_EQ(syntaxOfGroup(0x0008, syntax), syntax);
        const Header meta =
            read(Stream(syntax).header(0x00020010, "UI", 8), syntax, {.onlyCommandsDiffer = true});
        EXPECT_EQ(meta.tag, 0x00020010u);
        EXPECT_EQ(meta.mode, Mode::of(syntax));
    }
    for (const bool implicit : {false, true}) {
        const DICT_UID own = implicit ? UID_LITTLE_ENDIAN_IMPLICIT : UID_LITTLE_ENDIAN_EXPLICIT;
        readImplicitDirectories(implicit);
        const auto front = Stream(own).header(0x00041200, "UL", 4).bytes();
        ASSERT_EQ(front.size(), 8u);
        EXPECT_EQ(modeAsItLies(UID_LITTLE_ENDIAN_IMPLICIT, front).everyGroup, implicit);
    }
    readImplicitDirectories(false);
    // The group is looked at as little endian in big endian streams too.
    const Header h =
        read(Stream(UID_BIG_ENDIAN_EXPLICIT).raw({"\2\0\20\0UI\10\0", 8}), UID_BIG_ENDIAN_EXPLICIT, {});
    EXPECT_EQ(h.tag, 0x00020010u);
    EXPECT_EQ(h.length, 8u);
}

TEST(Header, ItemsAndDelimitationsHaveNoLetters) {
    for (const DICT_UID syntax : syntaxes) {
        const Mode mode = Mode::of(syntax);
        for (const unsigned int tag : {kTagItem, kTagItemDelimitation, kTagSequenceDelimitation}) {
            const Stream s = Stream(syntax).tag(tag).u32(0x41424142).u32(7);
            Header h;
            ASSERT_TRUE(readHeader(s.bytes(), mode, {}, h));
            EXPECT_TRUE(h.tag == tag && h.vr == VR_SI && h.length == 0x41424142 && h.size == kShortHeader);
            // Where elements belong they are read as elements: in an explicit stream a letter was the length.
            ASSERT_TRUE(readHeader(s.bytes(), mode, {.itemsAreElements = true}, h));
            EXPECT_EQ(h.length, mode.explicitVr ? 0x4142u : 0x41424142u);
        }
        const Stream item = Stream(syntax).item(0x12345678);
        std::vector<unsigned char> room(kShortHeader);
        ByteWriter w(room, mode.order);
        writeItem(w, 0x12345678);
        EXPECT_EQ(room, item.bytes());
        EXPECT_TRUE(beginsWithItem(item.bytes(), mode.order));
        EXPECT_TRUE(beginsWithItem(Stream(syntax).endSequence().bytes(), mode.order));
        EXPECT_FALSE(isDelimitation(Stream(syntax).tag(kTagItemDelimitation).u32(1).bytes(), mode.order,
                                    kTagItemDelimitation));
    }
}

TEST(Header, LettersOfNoVrAreReadByTheDictionaryOrAsOfALaterEdition) {
    using From = Header::VrFrom;
    constexpr struct {
        unsigned int tag;
        const char* letters;
        bool openVr;
        DICT_VR vr;
        From from;
        std::size_t size;
    } cases[] = {{kName, "ZZ", false, VR_PN, From::dictionary, kShortHeader},
                 {kPixels, "ZZ", false, VR_OX, From::dictionary, kLongHeader},
                 {kPrivateTag, "ZZ", false, VR_UN, From::nowhere, kLongHeader},
                 {kPrivateTag, "\xFF\0", false, VR_UN, From::nowhere, kLongHeader},
                 {kName, "ZZ", true, VR_UNKNOWN, From::nowhere, kLongHeader},
                 {kName, "OX", false, VR_OX, From::letters, kShortHeader},
                 {kName, "OX", true, VR_OX, From::letters, kLongHeader},
                 {kName, "SH", true, VR_SH, From::letters, kShortHeader}};
    for (const DICT_UID syntax : {UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT}) {
        for (const auto& c : cases) {
            SCOPED_TRACE(std::string(c.letters) + ' ' + std::to_string(c.tag));
            const Stream s = Stream(syntax).tag(c.tag).raw({c.letters, 2}).u16(0x10).u32(0x20);
            Header h;
            ASSERT_TRUE(readHeader(s.bytes(), Mode::of(syntax), {.openVr = c.openVr}, h));
            EXPECT_EQ(h.vr, c.vr);
            EXPECT_EQ(h.from, c.from);
            EXPECT_EQ(h.size, c.size);
            EXPECT_EQ(h.length, c.size == kShortHeader ? 0x10u : 0x20u);
        }
    }
}

}  // namespace
}  // namespace orvkit
