// Raw scanning: where elements stand and end in encoded bytes.
#include "orvkit/scan.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "support/capture_log.h"
#include "support/dataset.h"

namespace {

constexpr unsigned int kRows = 0x00280010;
constexpr unsigned int kSequence = 0x00081140;
constexpr unsigned int kPrivate = 0x00091010;
constexpr unsigned int kPixels = 0x7FE00010;

// Bytes in a block of exactly their size, so that a sanitizer sees every read beyond.
class Exact {
  public:
    Exact(const unsigned char* bytes, std::size_t size) : bytes_(new unsigned char[size]), size_(size) {
        std::copy_n(bytes, size, bytes_.get());
    }
    Exact(const Stream& s, std::size_t size) : Exact(s.bytes().data(), size) {}
    explicit Exact(const Stream& s) : Exact(s, s.bytes().size()) {}
    unsigned char* data() const { return bytes_.get(); }
    unsigned int size() const { return static_cast<unsigned int>(size_); }

  private:
    std::unique_ptr<unsigned char[]> bytes_;
    std::size_t size_;
};

struct TempFile {
    FILE* file = std::tmpfile();
    explicit TempFile(const std::vector<unsigned char>& bytes) {
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fflush(file);
        std::rewind(file);
    }
    ~TempFile() { std::fclose(file); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    int handle() const { return fileno(file); }
};

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

// Where one wanted tag is in an explicit stream.
int parseField(FILE* file, unsigned int tag, DcPfField_& field, DcPfFileInfo_& info) {
    field.tag = tag;
    info.xferSyn = kExplicit;
    return libParseFields(file, &field, &info, 1);
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
        const Exact s(rich(xferSyn));
        const unsigned int shortHeader = 8;
        const unsigned int longHeader = xferSyn == kImplicit ? 8 : 12;

        DcElemOffsetInfo rows = infoOf(kRows);
        ASSERT_EQ(utilGetElemOffsetInfo(s.data(), s.size(), xferSyn, rows), RESULT_OK);
        EXPECT_EQ(rows.valueOffset, rows.offset + shortHeader);
        EXPECT_EQ(rows.valueLen, 2u);
        EXPECT_EQ(rows.endOffset, rows.valueOffset + 2);
        EXPECT_EQ(std::string(s.data() + rows.valueOffset, s.data() + rows.endOffset), "xy");

        DcElemOffsetInfo pixels = infoOf(kPixels);
        ASSERT_EQ(utilGetElemOffsetInfo(s.data(), s.size(), xferSyn, pixels), RESULT_OK);
        EXPECT_EQ(pixels.offset, rows.endOffset);
        EXPECT_EQ(pixels.valueOffset, pixels.offset + longHeader);
        EXPECT_EQ(pixels.valueLen, 0xFFFFFFFFu);
        EXPECT_EQ(pixels.endOffset, pixels.valueOffset + 8 + 14 + 16 + 8);

        unsigned int offset = 1;
        EXPECT_EQ(utilGetElemOffset(s.data(), s.size(), xferSyn, 0xFFFCFFFC, offset), RESULT_OK);
        EXPECT_EQ(offset, pixels.endOffset);
        EXPECT_EQ(utilGetElemOffset(s.data(), s.size(), xferSyn, 0x00280011, offset), ELEM_NOT_FOUND);
        EXPECT_EQ(offset, 0u);
    }
}

TEST(GetElemOffset, ReadsHeadersAsDecodingDoes) {
    // Each stream ends with Rows, which takes 10 bytes.
    std::vector<std::pair<Stream, DICT_UID>> streams;
    // Groups with a syntax of their own, in a big endian stream.
    Stream& groups = streams.emplace_back(Stream(kBig), kBig).first;
    groups.add(Stream(kImplicit).elem(0x00000100, "", "ab")).add(Stream().elem(0x00020010, "UI", "1.2\0"));
    groups.add(Stream().header(0x00041220, "SQ", Stream::undefined).endSequence());
    // Letters that are no VR: of a later edition, with the long header; and on a known tag, with that of its
    // VR.
    Stream& letters = streams.emplace_back(Stream(), kExplicit).first;
    letters.tag(kPrivate).raw("ZZ").u16(0).u32(4).raw("abcd").tag(0x00080060).raw("??").u16(2).raw("CT");
    // Values of undefined length that hold no items end at the delimiter.
    for (const char* vr : {"UN", "OW", "UT"}) {
        Stream& value = streams.emplace_back(Stream(), kExplicit).first;
        value.header(kPrivate, vr, Stream::undefined)
            .raw("no items\xFE\xFF\xDD\xE0")
            .raw("in here")
            .endSequence();
    }
    for (auto& [s, xferSyn] : streams) {
        s.elem(kRows, "US", "ab");
        unsigned int offset = 0;
        ASSERT_EQ(utilGetElemOffset(s.data(), s.size(), xferSyn, kRows, offset), RESULT_OK);
        EXPECT_EQ(offset, s.size() - 10);
    }
    // The end of the first element, and the delimitation of an item.
    Stream s(kBig);
    s.header(kSequence, "SQ", Stream::undefined).item(Stream::undefined).elem(kRows, "US", "ab").endItem();
    s.endSequence().elem(kRows, "US", "cd").endItem();
    DcElemOffsetInfo info = infoOf(SCAN_ELEM_END);
    ASSERT_EQ(utilGetElemOffsetInfo(s.data(), s.size(), kBig, info), RESULT_OK);
    EXPECT_EQ(info.endOffset, 12u + 8 + 10 + 8 + 8);
    info = infoOf(0xFFFEE00D);
    ASSERT_EQ(utilGetElemOffsetInfo(s.data(), s.size(), kBig, info), RESULT_OK);
    EXPECT_EQ(info.offset, 46u + 10);
}

TEST(GetElemOffset, TellsWhatIsWrongOnceAndWithItsCode) {
    const auto sequence = [] { return Stream().header(kSequence, "SQ", Stream::undefined); };
    const struct {
        Stream stream;
        int code;
        const char* text;
    } cases[] = {
        {Stream().header(0x00080005, "CS", 10).raw("short"), UTIL_LENGTH_FIELD,
         "Value length field 10(0xa) exceeds buffer length 5(0x5)"},
        {Stream().header(kPrivate, "OB", 0xFFFFFFFE).raw("x"), UTIL_LENGTH_FIELD,
         "Value length field -2(0xfffffffe) exceeds buffer length 1(0x1)"},
        {sequence().item(9).raw("1234"), UTIL_LENGTH_FIELD,
         "Value length field 9(0x9) exceeds buffer length 4(0x4)"},
        {sequence().raw("no item "), UTIL_MALFORMED,
         "Invalid tag 0x6f6e6920, expecting Sequence Item at offset 0xc"},
        {sequence().item(Stream::undefined).elem(kPrivate, "US", "ab"), UTIL_LENGTH_FIELD,
         "Missing sequence or item delimiter at offset 0x1e"},
        {sequence().item(0), UTIL_LENGTH_FIELD, "Missing sequence or item delimiter at offset 0x14"},
        {Stream().header(kPixels, "OB", Stream::undefined).item(0), UTIL_NO_TERMINATOR,
         "Missing OB/OW terminator, value at offset 0x14"},
        {Stream().header(kPixels, "OW", Stream::undefined).raw("no items, no end"), UTIL_NO_TERMINATOR,
         "Missing OB/OW terminator, value at offset 0xc"},
    };
    for (const auto& c : cases) {
        const Exact s(c.stream);
        CaptureLog log;
        unsigned int offset = 1;
        EXPECT_EQ(utilGetElemOffset(s.data(), s.size(), kExplicit, kRows, offset), c.code) << c.text;
        EXPECT_EQ(offset, 0u);
        EXPECT_EQ(log.take(), (LogLines{{LOG_ERROR, "utilGetElemOffset", c.text}}));
    }
    CaptureLog log;
    unsigned int offset = 1;
    unsigned char byte = 0;
    EXPECT_EQ(utilGetElemOffset(nullptr, 1, kExplicit, kRows, offset), UTIL_NULL_ARGUMENT);
    log.expect(LOG_ERROR, "utilGetElemOffset", "Null argument passed");
    EXPECT_EQ(utilGetElemOffset(&byte, 1, UID_CT_IMAGE_STORAGE, kRows, offset), ELEM_XFER_SYNTAX);
}

// Cut anywhere, a stream gives the same answers about what stands in front of the cut, and codes otherwise.
TEST(GetElemOffset, AnswersRightlyOnEveryTruncation) {
    CaptureLog log;
    for (const DICT_UID xferSyn : kSyntaxes) {
        const Stream whole = rich(xferSyn);
        for (const unsigned int tag : {kRows, kPixels}) {
            DcElemOffsetInfo full = infoOf(tag);
            ASSERT_EQ(utilGetElemOffsetInfo(Exact(whole).data(), whole.size(), xferSyn, full), RESULT_OK);
            for (unsigned int cut = 0; cut < whole.size(); ++cut) {
                const Exact part(whole, cut);
                DcElemOffsetInfo info = infoOf(tag);
                const int result = utilGetElemOffsetInfo(part.data(), part.size(), xferSyn, info);
                if (cut >= full.endOffset) {
                    EXPECT_EQ(result, RESULT_OK) << cut;
                    EXPECT_EQ(info.endOffset, full.endOffset) << cut;
                } else {
                    EXPECT_NE(result, RESULT_OK) << cut;
                    EXPECT_EQ(info.endOffset, 0u) << cut;
                }
            }
        }
    }
}

TEST(RawWalk, AMillionLevelsAreRefusedAndAThousandAreNot) {
    for (const int levels : {1000, 1024, 1025, 1000000}) {
        Stream s;
        for (int i = 0; i < levels; ++i) s.header(kSequence, "SQ", Stream::undefined).item(Stream::undefined);
        for (int i = 0; i < levels; ++i) s.endItem().endSequence();
        s.elem(kRows, "US", "ab");
        CaptureLog log;
        unsigned int offset = 0;
        const int result = utilGetElemOffset(s.data(), s.size(), kExplicit, kRows, offset);
        EXPECT_EQ(result, levels <= 1024 ? RESULT_OK : UTIL_LENGTH_FIELD) << levels;
        EXPECT_EQ(log.lines().size(), levels <= 1024 ? 0u : 1u);
    }
}

// Inputs on which a careless walk needs time that grows with the square of their size. Each walk here takes
// some milliseconds; the bound leaves room for slow machines and sanitizers.
TEST(RawWalk, TakesLinearTimeOnAwkwardInput) {
    constexpr int n = 300000;
    std::vector<Stream> inputs;
    Stream& items = inputs.emplace_back().header(kSequence, "SQ", Stream::undefined);
    for (int i = 0; i < n; ++i) items.item(0);
    Stream& undefinedItems = inputs.emplace_back().header(kSequence, "SQ", Stream::undefined);
    for (int i = 0; i < n; ++i) undefinedItems.item(Stream::undefined).endItem();
    // Values that look like sequences, are walked far and then prove to be none.
    Stream& pretenders = inputs.emplace_back();
    for (int i = 0; i < n; ++i) {
        pretenders.header(kPrivate, "UN", Stream::undefined).item(Stream::undefined).endSequence();
    }
    Stream& almost = inputs.emplace_back().header(kPixels, "OB", Stream::undefined);
    almost.raw(std::string(n * 8, '\xFE'));

    for (Stream& s : inputs) {
        CaptureLog log;
        const auto start = std::chrono::steady_clock::now();
        unsigned int offset = 0;
        EXPECT_NE(utilGetElemOffset(s.data(), s.size(), kExplicit, kRows, offset), RESULT_OK);
        DcPfField_ field;
        DcPfFileInfo_ info;
        (void)parseField(TempFile(s.bytes()).file, kRows, field, info);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    }
}

// ---- lengths of values ----------------------------------------------------------------------------------

namespace {

struct Lengths {
    int result;
    unsigned int length;
    int extra;
    friend bool operator==(const Lengths&, const Lengths&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Lengths& l) {
        return out << l.result << ": " << l.length << " + " << l.extra;
    }
};

enum Form { ox, sq, item };
const char* const kReporters[] = {"utilGetOxValLen", "utilGetSqValLen", "utilGetSqItemValLen"};

Lengths measured(Form form, unsigned char* p, std::size_t size, DICT_UID xferSyn, int whole = 0) {
    const auto left = static_cast<unsigned int>(size);
    Lengths l{0, 1, 1};
    l.result = form == ox   ? utilGetOxValLen(p, left, xferSyn, l.length, l.extra, whole)
               : form == sq ? utilGetSqValLen(p, left, xferSyn, l.length, l.extra, 1)
                            : utilGetSqItemValLen(p, left, xferSyn, l.length, l.extra);
    return l;
}
Lengths measured(Form form, const Exact& s, DICT_UID xferSyn, std::size_t from = 0) {
    return measured(form, s.data() + from, s.size() - from, xferSyn);
}

}  // namespace

TEST(ValueLengths, DefinedLengthsAreCheckedAgainstWhatRemains) {
    const Lengths refused{UTIL_LENGTH_FIELD, 0, 0};
    for (const Form form : {ox, sq, item}) {
        CaptureLog log;
        for (const DICT_UID xferSyn : kSyntaxes) {
            const Exact s(Stream(xferSyn).u32(8).raw("12345678"));
            EXPECT_EQ(measured(form, s, xferSyn), (Lengths{RESULT_OK, 8, 0}));
            // The four bytes of the length field count as room.
            EXPECT_EQ(measured(form, Exact(s.data(), 8), xferSyn), (Lengths{RESULT_OK, 8, 0}));
            EXPECT_EQ(measured(form, Exact(s.data(), 7), xferSyn), refused);
            log.expect(LOG_ERROR, kReporters[form], "Value length field 8(0x8) exceeds buffer length 7(0x7)");
            for (unsigned int cut = 0; cut < 4; ++cut) {
                EXPECT_EQ(measured(form, Exact(s.data(), cut), xferSyn), refused);
            }
            log.clear();
        }
        EXPECT_EQ(measured(form, nullptr, 8, kExplicit), refused);
        log.expect(LOG_NOTICE, kReporters[form], "Null argument passed");
        EXPECT_EQ(measured(form, Exact(Stream().u32(0)), UID_VERIFICATION), refused);
    }
}

TEST(ValueLengths, OtherBytesEndAtTheFirstDelimiterOrWithTheBuffer) {
    for (const DICT_UID xferSyn : {kExplicit, kBig}) {
        Stream s(xferSyn);
        s.u32(Stream::undefined).raw("abc").endSequence().raw("rest");
        EXPECT_EQ(measured(ox, Exact(s), xferSyn), (Lengths{RESULT_OK, 3, 8}));
    }
    const Exact open(Stream().u32(Stream::undefined).raw("abcdefghijkl"));
    CaptureLog log;
    EXPECT_EQ(measured(ox, open.data(), open.size(), kExplicit, 1), (Lengths{RESULT_OK, 12, 8}));
    log.expect(LOG_VALIDATION, "utilGetOxValLen",
               "Sequence delimiter not found, assuming full buffer as Pixel Data");
    EXPECT_EQ(measured(ox, open, kExplicit), (Lengths{UTIL_LENGTH_FIELD, 0, 0}));
    log.expect(LOG_ERROR, "utilGetOxValLen", "Data error, Sequence delimiter not found");
}

TEST(ValueLengths, SequencesAndItemsAreWalked) {
    for (const DICT_UID xferSyn : kSyntaxes) {
        SCOPED_TRACE(xferSyn);
        Stream nested(xferSyn);
        nested.header(kSequence, "SQ", Stream::undefined).item(Stream::undefined).endItem().endSequence();
        Stream s(xferSyn);
        s.header(kSequence, "SQ", Stream::undefined);
        const unsigned int lengthAt = s.size() - 4;
        s.item(Stream::undefined).add(nested).elem(kRows, "US", "ab").endItem().endSequence().raw("behind");
        const unsigned int content = nested.size() + 10;
        EXPECT_EQ(measured(sq, Exact(s), xferSyn, lengthAt), (Lengths{RESULT_OK, 8 + content + 8, 8}));
        EXPECT_EQ(measured(item, Exact(s), xferSyn, lengthAt + 8), (Lengths{RESULT_OK, content, 8}));

        // Cut short of the delimiter there is no length.
        CaptureLog log;
        for (unsigned int cut = lengthAt + 12; cut < s.size() - 6; ++cut) {
            const Lengths l = measured(sq, Exact(s, cut), xferSyn, lengthAt);
            EXPECT_TRUE(l.length == 0 && l.result != RESULT_OK) << cut;
        }
    }
    CaptureLog log;
    const Exact open(Stream().u32(Stream::undefined).elem(kRows, "US", "ab"));
    EXPECT_EQ(measured(item, open, kExplicit), (Lengths{UTIL_LENGTH_FIELD, 0, 0}));
    log.expect(LOG_ERROR, "utilGetSqItemValLen", "Data error, Item delimiter not found");
    const Exact noItem(Stream().header(kSequence, "SQ", Stream::undefined).raw("no item "));
    EXPECT_EQ(measured(sq, noItem, kExplicit, 8), (Lengths{UTIL_MALFORMED, 0, 0}));
    EXPECT_EQ(log.take().size(), 1u);
}

// That the handle forms give the same answers is a matter of the fuzz target.
TEST(ValueLengths, TheHandleFormsReadWithoutMovingTheHandle) {
    Stream s;
    s.raw("before")
        .header(kSequence, "SQ", Stream::undefined)
        .item(Stream::undefined)
        .endItem()
        .endSequence();
    const TempFile file(s.bytes());
    Lengths l{0, 1, 1};
    l.result = utilGetSqValLen(file.handle(), 14, 28, kExplicit, l.length, l.extra, 0);
    EXPECT_EQ(l, (Lengths{RESULT_OK, 16, 8}));
    l.result = utilGetSqItemValLen(file.handle(), 22, 20, kExplicit, l.length, l.extra);
    EXPECT_EQ(l, (Lengths{RESULT_OK, 0, 8}));
    EXPECT_EQ(std::ftell(file.file), 0);
    CaptureLog log;
    EXPECT_EQ(utilGetSqItemValLen(98765, 0, 100, kExplicit, l.length, l.extra), UTIL_READ);
    log.expect(LOG_ERROR, "utilGetSqItemValLen", "Read error");
    EXPECT_EQ(utilGetSqValLen(-1, 0, 100, kExplicit, l.length, l.extra, 0), UTIL_LENGTH_FIELD);
}

// ---- fields of a file -----------------------------------------------------------------------------------

TEST(ParseFields, FindsWantedElementsFromThePositionOn) {
    for (const DICT_UID xferSyn : kSyntaxes) {
        Stream s(xferSyn);
        s.raw("before");
        const Stream body = rich(xferSyn);
        s.add(body);
        const TempFile file(s.bytes());
        std::fseek(file.file, 6, SEEK_SET);
        DcPfField_ fields[3];
        fields[0].tag = kPixels;
        fields[1].tag = 0x00280011;
        fields[2].tag = kRows;
        DcPfFileInfo_ info;
        info.xferSyn = xferSyn;
        ASSERT_EQ(libParseFields(file.file, fields, &info, 3), RESULT_OK);
        EXPECT_EQ(std::ftell(file.file), 6);
        EXPECT_EQ(info.start, 6);
        EXPECT_EQ(info.fileSize, s.size());
        EXPECT_EQ(fields[1].found, 0);
        DcElemOffsetInfo rows = infoOf(kRows);
        ASSERT_EQ(utilGetElemOffsetInfo(Exact(body).data(), body.size(), xferSyn, rows), RESULT_OK);
        EXPECT_EQ(fields[2].found, 1);
        EXPECT_EQ(fields[2].offset, rows.offset + 6);
        EXPECT_EQ(fields[2].valueOffset, rows.valueOffset + 6);
        EXPECT_EQ(fields[2].valueLen, 2u);
        EXPECT_EQ(fields[2].vr, VR_US);
        EXPECT_EQ(fields[0].found, 1);
        EXPECT_EQ(fields[0].valueLen, 0xFFFFFFFFu);
    }
}

TEST(ParseFields, StopsBehindTheLargestWantedTag) {
    const TempFile file(Stream().elem(kRows, "US", "ab").header(kPixels, "OB", 1000000).raw("cut").bytes());
    DcPfField_ field;
    DcPfFileInfo_ info;
    EXPECT_EQ(parseField(file.file, 0x00280011, field, info), RESULT_OK);
    EXPECT_EQ(field.found, 0);
    EXPECT_EQ(info.end, 10);
    CaptureLog log;
    EXPECT_EQ(parseField(file.file, 0xFFFCFFFC, field, info), UTIL_LENGTH_FIELD);
    log.expect(LOG_ERROR, "libParseFields",
               "Value length field 1000000(0xf4240) exceeds buffer length 3(0x3)");
    EXPECT_EQ(libParseFields(nullptr, &field, &info, 1), UTIL_NULL_ARGUMENT);
    log.expect(LOG_ERROR, "libParseFields", "Null argument passed");
    EXPECT_EQ(libParseFields(file.file, nullptr, &info, 1), UTIL_NULL_ARGUMENT);
    EXPECT_EQ(libParseFields(file.file, &field, nullptr, 1), UTIL_NULL_ARGUMENT);
    info.xferSyn = UID_CT_IMAGE_STORAGE;
    EXPECT_EQ(libParseFields(file.file, &field, &info, 1), ELEM_XFER_SYNTAX);
}

TEST(ParseFields, StepsOverWhatOnlyLooksLikeAnImplicitSequence) {
    // UN of undefined length holds implicit items; some writers leave the content explicit.
    Stream s;
    s.header(kPrivate, "UN", Stream::undefined).item(Stream::undefined).elem(kRows, "US", "ab").endItem();
    s.endSequence().elem(kRows, "US", "cd");
    DcPfField_ field;
    DcPfFileInfo_ info;
    EXPECT_EQ(parseField(TempFile(s.bytes()).file, kRows, field, info), RESULT_OK);
    EXPECT_EQ(field.offset, s.size() - 10);
}

// Larger than the read buffer, with values in between that are jumped over.
TEST(ParseFields, CrossesItsReadBufferAnywhere) {
    for (const std::size_t gap : {100u, 16380u, 16384u, 16390u, 100000u}) {
        Stream s;
        for (unsigned int i = 0; i < 20; ++i) s.elem(kPrivate + i, "OB", std::string(gap + i % 3 * 2, 'x'));
        s.header(kSequence + 0x100000, "SQ", Stream::undefined);
        for (int i = 0; i < 3000; ++i) s.item(Stream::undefined).endItem();
        s.endSequence().elem(kPixels, "OW", "1234");
        DcPfField_ field;
        DcPfFileInfo_ info;
        EXPECT_EQ(parseField(TempFile(s.bytes()).file, kPixels, field, info), RESULT_OK);
        EXPECT_EQ(field.valueOffset, s.size() - 4) << gap;
    }
}
