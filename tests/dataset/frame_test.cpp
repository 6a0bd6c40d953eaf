// Single elements to bytes and back.
#include <gtest/gtest.h>

#include "support/capture_log.h"
#include "support/dataset.h"
#include "support/elem_values.h"
#include "support/system.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes framed(DcElem& e, DICT_UID xferSyn, int expected = RESULT_OK) {
    unsigned int size = 0;
    (void)e.getBufSize(size, nullptr);
    Bytes out(size);
    unsigned int used = 0;
    EXPECT_EQ(e.frame(out.data(), used, xferSyn), expected);
    out.resize(used);
    return out;
}

DcElem parsed(unsigned int tag, DICT_VR vr, std::string value, DICT_UID xferSyn) {
    return DcElem(tag, value.data(), static_cast<unsigned int>(value.size()), xferSyn, vr, 0);
}

void addRaw(DcElem& e, const std::string& bytes, DICT_UID xferSyn) {
    ASSERT_EQ(e.addValue(bytes.data(), static_cast<unsigned int>(bytes.size()), xferSyn), RESULT_OK);
}

}  // namespace

TEST(Frame, LayoutOfEachSyntax) {
    DcElem rows(0x00280010u, static_cast<unsigned short>(0x1234));
    EXPECT_EQ(framed(rows, kBig), (Bytes{0x00, 0x28, 0x00, 0x10, 'U', 'S', 0, 2, 0x12, 0x34}));
    EXPECT_EQ(framed(rows, kImplicit), (Bytes{0x28, 0, 0x10, 0, 2, 0, 0, 0, 0x34, 0x12}));
    EXPECT_EQ(framed(rows, UID_JPEG_BASELINE), (Bytes{0x28, 0, 0x10, 0, 'U', 'S', 2, 0, 0x34, 0x12}));

    DcElem maker(0x00080070u, "ABC");
    EXPECT_EQ(framed(maker, kExplicit), (Bytes{8, 0, 0x70, 0, 'L', 'O', 4, 0, 'A', 'B', 'C', ' '}));
    DcElem types(0x00080008u, "A\\BC\\D");
    EXPECT_EQ(framed(types, kExplicit), (Bytes{8, 0, 8, 0, 'C', 'S', 6, 0, 'A', '\\', 'B', 'C', '\\', 'D'}));
    DcElem meta(0x00020010u, "1.2");
    EXPECT_EQ(framed(meta, kBig), (Bytes{2, 0, 0x10, 0, 'U', 'I', 4, 0, '1', '.', '2', 0}));
}

TEST(Frame, BinaryValuesRoundTripInBothByteOrders) {
    const struct {
        DICT_VR vr;
        char little[9];
        char big[9];
    } cases[] = {{VR_US, "byteswap", "ybetwspa"},
                 {VR_SL, "byteswap", "etybpaws"},
                 {VR_FD, "byteswap", "pawsetyb"},
                 {VR_AT, "byteswap", "ybetwspa"}};
    for (const auto& c : cases) {
        std::string bytes = c.big;
        DcElem fromBig(0x00091001u, nullptr, 0u, UID_NONE, c.vr, 0);
        EXPECT_EQ(fromBig.parseVal(bytes.data(), 8, kBig), RESULT_OK);
        EXPECT_EQ(bytes, c.big) << "the caller's bytes are only read";
        bytes = c.little;
        DcElem fromLittle(0x00091001u, nullptr, 0u, UID_NONE, c.vr, 0);
        EXPECT_EQ(fromLittle.parseVal(bytes.data(), 8, kExplicit), RESULT_OK);
        for (DcElem* e : {&fromBig, &fromLittle}) {
            const Bytes asLittle = framed(*e, kExplicit);
            const Bytes asBig = framed(*e, kBig);
            EXPECT_EQ(std::string(asLittle.begin() + 8, asLittle.end()), c.little) << c.vr;
            EXPECT_EQ(std::string(asBig.begin() + 8, asBig.end()), c.big) << c.vr;
        }
    }
}

TEST(Frame, ParsingKeepsTheLastValuesOfALimitedElement) {
    DcElem e = parsed(0x00189089, VR_IM, std::string(24, '\0') + std::string(24, '\x3F'),  // FD, 3
                      kExplicit);
    EXPECT_EQ(e.getValueCount(), 3);
    double first = 0;
    EXPECT_EQ(e.getValue(first, 0), RESULT_OK);
    EXPECT_NE(first, 0.0);
}

TEST(Frame, LengthsThatDoNotFitAreRefusedInExplicitOnly) {
    CaptureLog log;
    const ExceptionLevel any(0);
    DcElem whole(0x00104000u, std::string(70000, 'x').c_str());
    (void)framed(whole, kExplicit, ELEM_VALUE_REFUSED);
    log.expect(LOG_ERROR, "DcElem::frameValueLen",
               "Element (0010,4000) - Value Length 0x11170 is too large for Explicit Transfer Syntax");
    EXPECT_EQ(framed(whole, kImplicit).size(), 70008u);
}

TEST(Frame, RefusalsHaveTheirTexts) {
    CaptureLog log;
    unsigned int used = 9;
    DcElem rows(0x00280010u, 5);
    EXPECT_EQ(rows.frame(nullptr, used, kExplicit), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(used, 0u);
    log.expect(LOG_VALIDATION, "DcElem::frame", "Element (0028,0010) - Null buffer passed");
    unsigned char buf[64];
    DcElem sq(0x00081140u, nullptr, 0u, UID_NONE, VR_SQ, 0);
    log.clear();
    EXPECT_EQ(sq.frame(buf, used, kExplicit), ELEM_VR_SIZE);
    log.expect(LOG_VALIDATION, "DcElem::frame", "Element (0008,1140) - should be created as SQ, not element");
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    EXPECT_EQ(pixels.frame(buf, used, kExplicit), ELEM_EMPTY_VALUE);
    EXPECT_EQ(used, 12u);
}

TEST(Frame, EncapsulatedPixelDataEndsWithItsDelimiter) {
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OB, 0);
    addRaw(pixels, "ab", UID_JPEG_BASELINE);
    addRaw(pixels, "cd", UID_JPEG_BASELINE);
    EXPECT_EQ(framed(pixels, UID_JPEG_BASELINE),
              (Bytes{0xE0, 0x7F, 0x10, 0,   'O',  'B',  0,    0,    0xFF, 0xFF, 0xFF, 0xFF,
                     'a',  'b',  'c',  'd', 0xFE, 0xFF, 0xDD, 0xE0, 0,    0,    0,    0}));
}

TEST(Frame, MixedBuffersAreNotProcessed) {
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, "ab", kExplicit);
    ASSERT_EQ(pixels.addValue(nullDevice, 0, 4u, kExplicit), RESULT_OK);
    CaptureLog log;
    EXPECT_EQ(framed(pixels, kExplicit).size(), 12u);
    log.expect(LOG_ERROR, "DcElem::frameValueOX",
               "Element (7fe0,0010) - mixed memory/disk buffers, not processed");
}

TEST(ChangeXferSyn, GoesToLzwAndBack) {
    std::string image(100000, '\0');
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i / 200 % 7);
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, image, kExplicit);
    ASSERT_EQ(pixels.changeXferSyn(UID_ORVKIT5_LZW), RESULT_OK);
    EXPECT_EQ(pixels.getXferSyn(), UID_ORVKIT5_LZW);
    EXPECT_LT(orvkit::ElemAccess::rawLength(pixels), image.size() / 10);
    ASSERT_EQ(pixels.changeXferSyn(kExplicit), RESULT_OK);
    EXPECT_EQ(rawBytes(pixels), image);
}

TEST(ChangeXferSyn, RefusalsLeaveTheElementAsItWas) {
    CaptureLog log;
    std::string noise(5000, '\0');
    unsigned int state = 1;
    for (char& c : noise) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, noise, kExplicit);
    EXPECT_EQ(pixels.changeXferSyn(UID_ORVKIT5_LZW), ELEM_LZW_OUTPUT);
    log.expect(LOG_ERROR, "putCode", "Insufficient buffer size");
    EXPECT_EQ(rawBytes(pixels), noise);
    DcElem onDisk(0x7FE00010u, nullDevice, 0, 4u, kExplicit);
    EXPECT_EQ(onDisk.changeXferSyn(UID_ORVKIT5_LZW), ELEM_XFER_SYNTAX);
    log.expect(LOG_VALIDATION, "DcElem::changeXferSyn", "Only memory buffers can be changed");
}
