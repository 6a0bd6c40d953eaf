// Single elements to bytes and back.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataset/elem_access.h"
#include "orvkit/elem.h"
#include "orvkit/result.h"
#include "orvkit/util.h"
#include "support/capture_log.h"
#include "support/stream.h"

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
    EXPECT_EQ(framed(rows, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{0x00, 0x28, 0x00, 0x10, 'U', 'S', 0, 2, 0x12, 0x34}));
    EXPECT_EQ(framed(rows, UID_LITTLE_ENDIAN_IMPLICIT), (Bytes{0x28, 0, 0x10, 0, 2, 0, 0, 0, 0x34, 0x12}));
    EXPECT_EQ(framed(rows, UID_JPEG_BASELINE), (Bytes{0x28, 0, 0x10, 0, 'U', 'S', 2, 0, 0x34, 0x12}));

    DcElem maker(0x00080070u, "ABC");
    EXPECT_EQ(framed(maker, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{8, 0, 0x70, 0, 'L', 'O', 4, 0, 'A', 'B', 'C', ' '}));
    DcElem uid(0x00080018u, "1.2.3");
    EXPECT_EQ(framed(uid, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{8, 0, 0x18, 0, 'U', 'I', 6, 0, '1', '.', '2', '.', '3', 0}));
    DcElem types(0x00080008u, "A\\BC\\D");
    EXPECT_EQ(framed(types, UID_LITTLE_ENDIAN_EXPLICIT),
              (Bytes{8, 0, 8, 0, 'C', 'S', 6, 0, 'A', '\\', 'B', 'C', '\\', 'D'}));
    DcElem empty(0x00080070u, nullptr, 0u, UID_NONE, VR_IM, 0);
    EXPECT_EQ(framed(empty, UID_LITTLE_ENDIAN_EXPLICIT), (Bytes{8, 0, 0x70, 0, 'L', 'O', 0, 0}));
    DcElem meta(0x00020010u, "1.2");
    EXPECT_EQ(framed(meta, UID_BIG_ENDIAN_EXPLICIT),
              (Bytes{2, 0, 0x10, 0, 'U', 'I', 4, 0, '1', '.', '2', 0}));
}

TEST(Frame, BinaryValuesRoundTripInBothByteOrders) {
    struct Case {
        DICT_VR vr;
        std::string little;
        std::string big;
    };
    const Case cases[] = {
        {VR_US, std::string("\x34\x12\x78\x56", 4), std::string("\x12\x34\x56\x78", 4)},
        {VR_SL, std::string("\x04\x03\x02\x01", 4), std::string("\x01\x02\x03\x04", 4)},
        {VR_FL, std::string("\x00\x00\x80\x3F", 4), std::string("\x3F\x80\x00\x00", 4)},
        {VR_FD, std::string("\x08\x07\x06\x05\x04\x03\x02\x01", 8),
         std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8)},
        {VR_AT, std::string("\x10\x00\x20\x00\xE0\x7F\x10\x00", 8),
         std::string("\x00\x10\x00\x20\x7F\xE0\x00\x10", 8)},
    };
    for (const Case& c : cases) {
        std::string big = c.big;
        std::string little = c.little;
        DcElem fromBig(0x00091001u, nullptr, 0u, UID_NONE, c.vr, 0);
        DcElem fromLittle(0x00091001u, nullptr, 0u, UID_NONE, c.vr, 0);
        EXPECT_EQ(
            fromBig.parseVal(big.data(), static_cast<unsigned int>(big.size()), UID_BIG_ENDIAN_EXPLICIT),
            RESULT_OK);
        EXPECT_EQ(big, c.big) << "the caller's bytes are only read";
        EXPECT_EQ(fromLittle.parseVal(little.data(), static_cast<unsigned int>(little.size()),
                                      UID_LITTLE_ENDIAN_EXPLICIT),
                  RESULT_OK);
        for (DcElem* e : {&fromBig, &fromLittle}) {
            const Bytes asLittle = framed(*e, UID_LITTLE_ENDIAN_EXPLICIT);
            const Bytes asBig = framed(*e, UID_BIG_ENDIAN_EXPLICIT);
            EXPECT_EQ(std::string(asLittle.begin() + 8, asLittle.end()), c.little) << c.vr;
            EXPECT_EQ(std::string(asBig.begin() + 8, asBig.end()), c.big) << c.vr;
        }
    }
    DcElem at = parsed(0x00091001, VR_AT, std::string("\x10\x00\x20\x00", 4), UID_LITTLE_ENDIAN_EXPLICIT);
    unsigned int tag = 0;
    EXPECT_EQ(at.getValue(tag, 0), RESULT_OK);
    EXPECT_EQ(tag, 0x00100020u);
}

TEST(Frame, ARawElementKeepsTheSyntaxItCameIn) {
    DcElem e = parsed(0x00280010, VR_US, "\x12\x34", UID_BIG_ENDIAN_EXPLICIT);
    EXPECT_EQ(framed(e, UID_LITTLE_ENDIAN_EXPLICIT), framed(e, UID_BIG_ENDIAN_EXPLICIT));
    EXPECT_EQ(framed(e, UID_LITTLE_ENDIAN_IMPLICIT)[8], 0x34);
}

TEST(Frame, ParsingKeepsTheLastValuesOfALimitedElement) {
    DcElem e = parsed(0x00189089, VR_IM, std::string(24, '\0') + std::string(24, '\x3F'),  // FD, 3
                      UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(e.getValueCount(), 3);
    double first = 0;
    EXPECT_EQ(e.getValue(first, 0), RESULT_OK);
    EXPECT_NE(first, 0.0);
    DcElem odd = parsed(0x00280010, VR_US, "ABC", UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(odd.getValueCount(), 1);
}

TEST(Frame, LengthsThatDoNotFitAreRefusedInExplicitOnly) {
    CaptureLog log;
    elemListSetValueExceptionLevel(0);
    DcElem whole(0x00104000u, std::string(70000, 'x').c_str());
    elemListSetValueExceptionLevel(-1);
    log.clear();
    (void)framed(whole, UID_LITTLE_ENDIAN_EXPLICIT, ELEM_VALUE_REFUSED);
    EXPECT_TRUE(
        log.tookOnly(LOG_ERROR, "DcElem::frameValueLen",
                     "Element (0010,4000) - Value Length 0x11170 is too large for Explicit Transfer Syntax"));
    EXPECT_EQ(framed(whole, UID_LITTLE_ENDIAN_IMPLICIT).size(), 70008u);
}

TEST(Frame, RefusalsHaveTheirTexts) {
    CaptureLog log;
    unsigned int used = 9;
    DcElem rows(0x00280010u, 5);
    EXPECT_EQ(rows.frame(nullptr, used, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(used, 0u);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::frame", "Element (0028,0010) - Null buffer passed"));
    unsigned char buf[64];
    DcElem retired(0x00280010u, nullptr, 0u, UID_NONE, VR_RT, 0);
    log.clear();
    EXPECT_EQ(retired.frame(buf, used, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VR_SIZE);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::frame", "Element (0028,0010) - Invalid VR 'RT'"));
    DcElem sq(0x00081140u, nullptr, 0u, UID_NONE, VR_SQ, 0);
    log.clear();
    EXPECT_EQ(sq.frame(buf, used, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_VR_SIZE);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::frame",
                             "Element (0008,1140) - should be created as SQ, not element"));
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    EXPECT_EQ(pixels.frame(buf, used, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_EMPTY_VALUE);
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
    addRaw(pixels, "ab", UID_LITTLE_ENDIAN_EXPLICIT);
    ASSERT_EQ(pixels.addValue("/dev/null", 0, 4u, UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    CaptureLog log;
    EXPECT_EQ(framed(pixels, UID_LITTLE_ENDIAN_EXPLICIT).size(), 12u);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "DcElem::frameValueOX",
                             "Element (7fe0,0010) - mixed memory/disk buffers, not processed"));
}

TEST(ChangeXferSyn, GoesToLzwAndBack) {
    std::string image(100000, '\0');
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i / 200 % 7);
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, image, UID_LITTLE_ENDIAN_EXPLICIT);
    ASSERT_EQ(pixels.changeXferSyn(UID_ORVKIT5_LZW), RESULT_OK);
    EXPECT_EQ(pixels.getXferSyn(), UID_ORVKIT5_LZW);
    EXPECT_LT(orvkit::ElemAccess::rawLength(pixels), image.size() / 10);
    ASSERT_EQ(pixels.changeXferSyn(UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    DcBuf buf;
    ASSERT_EQ(pixels.getValue(buf, 0), RESULT_OK);
    EXPECT_EQ(std::string(static_cast<char*>(buf.getBuf()), buf.getLen()), image);
}

TEST(ChangeXferSyn, RefusalsLeaveTheElementAsItWas) {
    CaptureLog log;
    std::string noise(5000, '\0');
    unsigned int state = 1;
    for (char& c : noise) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, noise, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(pixels.changeXferSyn(UID_ORVKIT5_LZW), ELEM_LZW_OUTPUT);
    EXPECT_TRUE(log.tookOnly(LOG_ERROR, "putCode", "Insufficient buffer size"));
    DcBuf buf;
    ASSERT_EQ(pixels.getValue(buf, 0), RESULT_OK);
    EXPECT_EQ(std::string(static_cast<char*>(buf.getBuf()), buf.getLen()), noise);
    EXPECT_EQ(pixels.changeXferSyn(UID_JPEG_BASELINE), ELEM_XFER_SYNTAX);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::changeXferSyn", "This change is not supported"));
    DcElem onDisk(0x7FE00010u, "/dev/null", 0, 4u, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(onDisk.changeXferSyn(UID_ORVKIT5_LZW), ELEM_XFER_SYNTAX);
    EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, "DcElem::changeXferSyn", "Only memory buffers can be changed"));
}

TEST(ChangeXferSyn, AClaimedLengthIsNotBelieved) {
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, std::string("\x1F\x9D\x90\0\xFF\xFF\xFF\xFF\x41\0", 10), UID_ORVKIT5_LZW);
    ASSERT_EQ(pixels.changeXferSyn(UID_LITTLE_ENDIAN_EXPLICIT), RESULT_OK);
    DcBuf buf;
    ASSERT_EQ(pixels.getValue(buf, 0), RESULT_OK);
    EXPECT_EQ(std::string(static_cast<char*>(buf.getBuf()), buf.getLen()), "A");
}
