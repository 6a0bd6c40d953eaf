// Single elements to bytes and back.

#include <random>

#include "support/dataset.h"
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

void addRaw(DcElem& e, const std::string& bytes, DICT_UID xferSyn) {
    ASSERT_EQ(e.addValue(bytes.data(), static_cast<unsigned int>(bytes.size()), xferSyn), RESULT_OK);
}

}  // namespace

TEST(Frame, ValuesArePaddedAndJoined) {
    DcElem maker(0x00080070u, "ABC"), types(0x00080008u, "A\\BC\\D"), meta(0x00020010u, "1.2");
    EXPECT_EQ(framed(maker, kExplicit), (Bytes{8, 0, 0x70, 0, 'L', 'O', 4, 0, 'A', 'B', 'C', ' '}));
    EXPECT_EQ(framed(types, kExplicit), (Bytes{8, 0, 8, 0, 'C', 'S', 6, 0, 'A', '\\', 'B', 'C', '\\', 'D'}));
    EXPECT_EQ(framed(meta, kBig), (Bytes{2, 0, 0x10, 0, 'U', 'I', 4, 0, '1', '.', '2', 0}));
}

TEST(Frame, BinaryValuesRoundTripInBothByteOrders) {
    const std::pair<DICT_VR, std::string> rows[] = {
        {VR_US, "ybetwspa"}, {VR_SL, "etybpaws"}, {VR_FD, "pawsetyb"}, {VR_AT, "ybetwspa"}};
    for (const auto& [vr, inBig] : rows) {
        for (const DICT_UID from : {kExplicit, kBig}) {
            const std::string little = "byteswap";
            std::string bytes = from == kBig ? inBig : little;
            DcElem e(0x00091001u, nullptr, 0u, UID_NONE, vr, 0);
            EXPECT_EQ(e.parseVal(bytes.data(), 8, from), RESULT_OK);
            EXPECT_EQ(bytes, from == kBig ? inBig : little) << "the caller's bytes are only read";
            const Bytes asLittle = framed(e, kExplicit), asBig = framed(e, kBig);
            EXPECT_EQ(std::string(asLittle.begin() + 8, asLittle.end()), little) << vr;
            EXPECT_EQ(std::string(asBig.begin() + 8, asBig.end()), inBig) << vr;
        }
    }
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

TEST(ChangeXferSyn, GoesToLzwAndBackOrLeavesTheElementAsItWas) {
    std::string image(100000, '\0'), noise(5000, '\0');
    for (std::size_t i = 0; i < image.size(); ++i) image[i] = static_cast<char>(i / 200 % 7);
    DcElem pixels(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(pixels, image, kExplicit);
    ASSERT_EQ(pixels.changeXferSyn(UID_ORVKIT5_LZW), RESULT_OK);
    EXPECT_EQ(pixels.getXferSyn(), UID_ORVKIT5_LZW);
    EXPECT_LT(orvkit::ElemAccess::rawLength(pixels), image.size() / 10);
    ASSERT_EQ(pixels.changeXferSyn(kExplicit), RESULT_OK);
    EXPECT_EQ(rawBytes(pixels), image);

    const CaptureLog quiet;
    std::mt19937 random(7);
    for (char& c : noise) c = static_cast<char>(random());
    DcElem noisy(0x7FE00010u, nullptr, 0u, UID_NONE, VR_OW, 0);
    addRaw(noisy, noise, kExplicit);
    EXPECT_EQ(noisy.changeXferSyn(UID_ORVKIT5_LZW), ELEM_LZW_OUTPUT);
    EXPECT_EQ(rawBytes(noisy), noise);
    EXPECT_EQ(DcElem(0x7FE00010u, nullDevice, 0, 4u, kExplicit).changeXferSyn(UID_ORVKIT5_LZW),
              ELEM_XFER_SYNTAX);
}
// Of values that are nowhere: as much as any header tells, and a byte more.
TEST(Frame, IsRefusedBeyondTheLargestLength) {
    for (const unsigned int more : {0u, 1u}) {
        DcBuf value;
        value.setType(BUF_MEMORY);
        value.setLen(0xFFFFFFFFu - (12 + 1 + 8) + more);
        DcElem pixels(0x7FE00010u, nullptr, 0, UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0);
        CaptureLog log;
        ASSERT_EQ(pixels.addValue(&value), RESULT_OK);
        unsigned char header[20];
        unsigned int length = 0;
        const int result = pixels.frame(header, length, UID_LITTLE_ENDIAN_EXPLICIT);
        EXPECT_EQ(result, more == 0 ? RESULT_OK : ELEM_VALUE_REFUSED);
        EXPECT_EQ(log.has(LOG_ERROR, "DcElem::frame",
                          "Element (7fe0,0010) - Value Length 0x100000000 is too large"),
                  more == 1);
    }
}
