// Raw scanning: where elements stand and end in encoded bytes.
#include "orvkit/scan.h"

#include <ctime>

#include "support/dataset.h"

namespace {

constexpr unsigned int kRows = 0x00280010;
constexpr unsigned int kSequence = 0x00081140;
constexpr unsigned int kPrivate = 0x00091010;
constexpr unsigned int kPixels = 0x7FE00010;

// A data set with everything that has to be stepped over in front of its last two elements: Rows, which also
// occurs inside, and Pixel Data in fragments.
Stream rich(DICT_UID xferSyn) {
    Stream inner(xferSyn);
    inner.header(kSequence, "SQ", Stream::undefined)
        .item(Stream::undefined)
        .elem(kRows, "US", "ab")
        .endItem();
    inner.item(8).raw("12345678").endSequence();
    Stream s(xferSyn);
    s.elem(0x00080005, "CS", "ISO_IR 100").header(kSequence, "SQ", Stream::undefined);
    s.item(Stream::undefined).add(inner).endItem().item(inner.size()).add(inner).endSequence();
    s.header(0x00081199, "SQ", inner.size() + 8).item(inner.size()).add(inner);
    s.header(0x00091001, "UN", Stream::undefined);
    Stream un(kImplicit);  // whatever the stream's syntax
    un.item(Stream::undefined).elem(kRows, "", "un").endItem().endSequence();
    s.add(un);
    s.elem(kRows, "US", "xy");
    s.header(kPixels, "OB", Stream::undefined).item(0).item(6).raw("pixels");
    // Inside of a fragment a delimiter is no delimiter.
    s.item(8).raw(std::string_view("\xFE\xFF\xDD\xE0\0\0\0\0", 8)).endSequence();
    return s.elem(0xFFFCFFFC, "OB", "pad!");
}

// Where a wanted tag is in a file, from a position on.
int parseField(const Stream& s, unsigned int tag, DcPfField_& field, DcPfFileInfo_& info,
               DICT_UID xferSyn = kExplicit, long from = 0) {
    field.tag = tag;
    info.xferSyn = xferSyn;
    FILE* const file = std::tmpfile();
    std::fwrite(s.bytes().data(), 1, s.size(), file);
    std::fseek(file, from, SEEK_SET);
    const int result = libParseFields(file, &field, &info, 1);
    EXPECT_EQ(std::ftell(file), from);
    std::fclose(file);
    return result;
}

DcElemOffsetInfo infoOf(unsigned int tag) {
    DcElemOffsetInfo info;
    info.tag = tag;
    return info;
}

}  // namespace

TEST(GetElemOffset, FindsElementsAtTheTopLevelInEverySyntax) {
    for (const DICT_UID xferSyn : {kImplicit, kExplicit, kBig, UID_JPEG_BASELINE}) {
        SCOPED_TRACE(xferSyn);
        Stream s = rich(xferSyn);
        const unsigned int longHeader = xferSyn == kImplicit ? 8 : 12;

        DcElemOffsetInfo rows = infoOf(kRows);
        ASSERT_EQ(utilGetElemOffsetInfo(s.data(), s.size(), xferSyn, rows), RESULT_OK);
        EXPECT_EQ(rows.valueLen, 2u);
        EXPECT_EQ(std::string(s.data() + rows.valueOffset, s.data() + rows.endOffset), "xy");

        DcElemOffsetInfo pixels = infoOf(kPixels);
        ASSERT_EQ(utilGetElemOffsetInfo(s.data(), s.size(), xferSyn, pixels), RESULT_OK);
        EXPECT_EQ(pixels.offset, rows.endOffset);
        EXPECT_EQ(pixels.valueOffset, pixels.offset + longHeader);
        EXPECT_EQ(pixels.valueLen, 0xFFFFFFFFu);
        EXPECT_EQ(pixels.endOffset, pixels.valueOffset + 8 + 14 + 16 + 8);

        unsigned int offset = 1;
        EXPECT_EQ(utilGetElemOffset(s.data(), s.size(), xferSyn, 0x00280011, offset), ELEM_NOT_FOUND);
        EXPECT_EQ(offset, 0u);
        // The end of a value that is searched, where the search looks at more bytes by one.
        Stream searched = Stream(xferSyn).header(kPrivate, "OB", Stream::undefined);
        searched.raw(std::string(16384 - 7, 'x')).endSequence();
        EXPECT_EQ(utilGetElemOffset(searched.data(), searched.size(), xferSyn, kRows, offset),
                  ELEM_NOT_FOUND);
        DcPfField_ field;
        DcPfFileInfo_ info;
        ASSERT_EQ(parseField(Stream().raw("before").add(s), kRows, field, info, xferSyn, 6), RESULT_OK);
        EXPECT_TRUE(field.found == 1 && field.vr == VR_US);
        EXPECT_EQ(field.offset, rows.offset + 6);
        EXPECT_EQ(field.valueOffset, rows.valueOffset + 6);
    }
}

TEST(GetElemOffset, TellsWhatIsWrongOnceAndWithItsCode) {
    const auto sequence = [] { return Stream().header(kSequence, "SQ", Stream::undefined); };
    const struct {
        Stream stream;
        int code;
        const char* text;
    } cases[] = {{Stream().header(kPrivate, "OB", 0xFFFFFFFE).raw("x"), UTIL_LENGTH_FIELD,
                  "Value length field -2(0xfffffffe) exceeds buffer length 1(0x1)"},
                 {sequence().raw("no item "), UTIL_MALFORMED,
                  "Invalid tag 0x6f6e6920, expecting Sequence Item at offset 0xc"},
                 {sequence().item(Stream::undefined).elem(kPrivate, "US", "ab"), UTIL_LENGTH_FIELD,
                  "Missing sequence or item delimiter at offset 0x1e"},
                 {Stream().header(kPixels, "OB", Stream::undefined).item(0), UTIL_NO_TERMINATOR,
                  "Missing OB/OW terminator, value at offset 0x14"}};
    for (const auto& c : cases) {
        Stream s = c.stream;
        CaptureLog log;
        unsigned int offset = 1;
        EXPECT_EQ(utilGetElemOffset(s.data(), s.size(), kExplicit, kRows, offset), c.code) << c.text;
        EXPECT_EQ(offset, 0u);
        EXPECT_EQ(log.take(), (LogLines{{LOG_ERROR, "utilGetElemOffset", c.text}}));
    }
}

// In an item that stands alone 1,023 sequences have room, and one more while it holds nothing.
TEST(GetElemOffset, WalksItemsThatStandAloneToTheirDepth) {
    for (const int pairs : {1023, 1024}) {
        Stream s = Stream().item(Stream::undefined);
        for (int i = 0; i < pairs; ++i) s.header(kSequence, "SQ", Stream::undefined).item(Stream::undefined);
        if (pairs == 1023) s.header(kSequence, "SQ", Stream::undefined).endSequence();
        for (int i = 0; i < pairs; ++i) s.endItem().endSequence();
        s.endItem().elem(kRows, "US", "xy");
        const CaptureLog quiet;
        unsigned int offset = 0;
        EXPECT_EQ(utilGetElemOffset(s.data(), s.size(), kExplicit, kRows, offset),
                  pairs == 1023 ? RESULT_OK : UTIL_LENGTH_FIELD);
    }
}

// Values that look like sequences, are walked far and then prove to be none. A careless walk needs time that
// grows with the square of their number; this one takes some milliseconds, and the bound leaves room for slow
// machines and sanitizers.
TEST(RawWalk, TakesLinearTimeOnAwkwardInput) {
    Stream s;
    for (int i = 0; i < 300000; ++i)
        s.header(kPrivate, "UN", Stream::undefined).item(Stream::undefined).endSequence();
    CaptureLog log;
    const std::clock_t start = std::clock();  // processor time: the machine may be busy
    unsigned int offset = 0;
    EXPECT_NE(utilGetElemOffset(s.data(), s.size(), kExplicit, kRows, offset), RESULT_OK);
    DcPfField_ field;
    DcPfFileInfo_ info;
    (void)parseField(s, kRows, field, info);
    EXPECT_LT(std::clock() - start, 20 * CLOCKS_PER_SEC);
}

// What walks in vain cost is added up, and bounded by the size: two that go to the end of a long stream are
// one too many.
TEST(RawWalk, WhatIsWalkedInVainIsAddedUp) {
    const struct {
        int before, behind, result;
    } rows[] = {{0, 20, RESULT_OK}, {100, 20, RESULT_OK}, {0, 300, UTIL_LENGTH_FIELD}};
    for (const auto& row : rows) {
        Stream s(kImplicit);
        for (int i = 0; i < row.before; ++i) s.elem(kPrivate, "UN", "");
        for (int i = 0; i < 2; ++i)
            s.header(kPrivate, "UN", Stream::undefined).item(Stream::undefined).endSequence();
        for (int i = 0; i < row.behind; ++i) s.elem(kPrivate, "UN", "");
        CaptureLog log;
        DcPfField_ field;
        DcPfFileInfo_ info;
        EXPECT_EQ(parseField(s, kRows, field, info, kImplicit), row.result) << row.before;
    }
}

// That the handle forms give the same answers is a matter of the fuzz target.
TEST(ValueLengths, AreDefinedOrUpToTheDelimiter) {
    CaptureLog log;
    unsigned int length = 1;
    int extra = 1;
    const auto gives = [&](int code, unsigned int expected, int expectedExtra) {
        return code == RESULT_OK && length == expected && extra == expectedExtra;
    };
    for (const DICT_UID x : kSyntaxes) {
        SCOPED_TRACE(x);
        Stream s(x), sq(x);
        s.u32(8).raw("12345678");
        // The four bytes of the length field count as room.
        EXPECT_TRUE(gives(utilGetOxValLen(s.data(), 8, x, length, extra, 0), 8, 0));
        EXPECT_EQ(utilGetOxValLen(s.data(), 7, x, length, extra, 0), UTIL_LENGTH_FIELD);
        EXPECT_TRUE(length == 0 && extra == 0);
        length = 1;
        EXPECT_TRUE(gives(utilGetOxValLen(Stream(x).u32(0).data(), 4, x, length, extra, 0), 0, 0));
        // What stands in front of the length is looked at.
        const unsigned int at = sq.header(kSequence, "SQ", Stream::undefined).size() - 4;
        sq.item(Stream::undefined).elem(kRows, "US", "ab").endItem().endSequence().raw("behind");
        const unsigned int left = sq.size() - at;
        EXPECT_TRUE(gives(utilGetSqValLen(sq.data() + at, left, x, length, extra, 1), 8 + 10 + 8, 8));
        unsigned char* const item = sq.data() + at + 8;
        EXPECT_TRUE(gives(utilGetSqItemValLen(item, left - 8, x, length, extra), 10, 8));
        EXPECT_EQ(utilGetSqItemValLen(item, 14, x, length, extra), UTIL_LENGTH_FIELD);
        if (x == kBig) continue;
        // A delimitation with a length ends nothing.
        Stream odd(x);
        odd.u32(Stream::undefined).add(Stream(kImplicit).header(0xFFFEE00D, "", 4)).raw("more");
        odd.elem(kRows, "US", "ab").endItem();
        EXPECT_TRUE(gives(utilGetSqItemValLen(odd.data(), odd.size(), x, length, extra), 12 + 10, 8));
    }
    Stream s;
    s.u32(Stream::undefined).raw("abcdefghijkl");
    log.clear();
    EXPECT_TRUE(gives(utilGetOxValLen(s.data(), s.size(), kExplicit, length, extra, 1), 12, 8));
    log.expect(LOG_VALIDATION, "utilGetOxValLen",
               "Sequence delimiter not found, assuming full buffer as Pixel Data");
    EXPECT_EQ(utilGetOxValLen(s.data(), s.size(), kExplicit, length, extra, 0), UTIL_LENGTH_FIELD);
    s.endSequence().raw("rest");
    EXPECT_TRUE(gives(utilGetOxValLen(s.data(), s.size(), kExplicit, length, extra, 0), 12, 8));
    EXPECT_EQ(utilGetSqItemValLen(98765, 0, 100, kExplicit, length, extra), UTIL_READ);
}

// ---- fields of a file -----------------------------------------------------------------------------------

TEST(ParseFields, StopsBehindTheLargestWantedTag) {
    const Stream s = Stream().elem(kRows, "US", "ab").header(kPixels, "OB", 1000000).raw("cut");
    DcPfField_ field;
    DcPfFileInfo_ info;
    EXPECT_EQ(parseField(s, 0x00280011, field, info), RESULT_OK);
    EXPECT_EQ(field.found, 0);
    EXPECT_EQ(info.end, 10);
    CaptureLog log;
    EXPECT_EQ(parseField(s, 0xFFFCFFFC, field, info), UTIL_LENGTH_FIELD);
    log.expect(LOG_ERROR, "libParseFields",
               "Value length field 1000000(0xf4240) exceeds buffer length 3(0x3)");
}
