// Every codec that this build has, both ways: what is lossless comes back bit for bit, what a codec cannot
// hold it refuses by name, and no frame is taken for another.
#include <gtest/gtest.h>

#include <string>

#include "image/synthetic.h"

namespace {

using namespace synthetic;

std::vector<DcImageCodec> codecs() {
    std::size_t count = 0;
    const DcImageCodec* first = imageCodecs(count);
    return {first, first + count};
}

std::string told(const DcImagePixels& p) {
    return std::to_string(p.columns) + "x" + std::to_string(p.rows) + "x" + std::to_string(p.samples) +
           (p.planar ? " by plane" : "") + (p.isSigned ? " signed " : " unsigned ") +
           std::to_string(p.bitsStored) + " of " + std::to_string(p.bitsAllocated);
}

// Through the codec and back.
Frame through(const DcImageCodec& codec, const DcImagePixels& pixels, const Frame& frame) {
    const Made packed = encoded(codec.uid, pixels, frame);
    EXPECT_EQ(packed.code, RESULT_OK) << packed.told.text;
    EXPECT_EQ(packed.told.lossy, !codec.lossless);
    const Made back = decoded(codec.uid, pixels, packed.bytes);
    EXPECT_EQ(back.code, RESULT_OK) << back.told.text;
    return back.bytes;
}

bool holds(const DcImageCodec& codec, const DcImagePixels& p) {
    if (codec.bytes) return true;
    return p.bitsAllocated <= 16 && p.bitsStored >= codec.minBits && p.bitsStored <= codec.maxBits &&
           (!p.isSigned || codec.isSigned) && (p.samples == 1 || (p.samples == 3 && codec.colour));
}

// Bits, signs, colours, planes and sizes.
std::vector<DcImagePixels> kinds() {
    constexpr unsigned int sizes[][2] = {{1, 1}, {37, 23}, {1, 60}, {60, 1}};
    std::vector<DcImagePixels> all;
    for (unsigned int bits = 1; bits <= 16; ++bits) {
        for (const bool isSigned : {false, true}) {
            for (const auto& size : sizes) {
                all.push_back(described(size[0], size[1], bits, isSigned));
                for (const bool planar : {false, true}) {
                    all.push_back(described(size[0], size[1], bits, isSigned, 3, planar));
                }
            }
        }
    }
    all.push_back(described(31, 9, 12, false, 4));
    DcImagePixels wide = described(31, 9, 31, true);
    wide.bitsAllocated = 32;
    all.push_back(wide);
    DcImagePixels narrow = described(40, 30, 6, true);
    narrow.bitsAllocated = 16;
    all.push_back(narrow);
    DcImagePixels palette = described(40, 30, 8);
    palette.photometric = DcPhotometric::paletteColor;
    all.push_back(palette);
    return all;
}

TEST(Codecs, LosslessOnesGiveBackEveryBitAndRefuseWhatTheyCannotHold) {
    for (const DcImageCodec& codec : codecs()) {
        if (!codec.encodes || !codec.lossless) continue;
        unsigned int whole = 0;
        for (const DcImagePixels& pixels : kinds()) {
            SCOPED_TRACE(std::string(codec.name) + ": " + told(pixels));
            const Frame frame = frameOf(pixels);
            if (holds(codec, pixels)) {
                ASSERT_EQ(through(codec, pixels, frame), frame);
                ++whole;
                continue;
            }
            const Made none = encoded(codec.name, pixels, frame, {}, {1, 2, 3});
            EXPECT_EQ(none.code, IMAGE_CANNOT_HOLD);
            EXPECT_EQ(std::string(none.told.text).find(std::string(codec.label) + ": cannot hold "), 0u)
                << none.told.text;
            EXPECT_EQ(none.bytes.size(), 3u);
        }
        EXPECT_GE(whole, 10u) << codec.name;
    }
}

TEST(Codecs, OneThatIsLeftOutSaysSoByName) {
    for (const DcImageCodec& codec : codecs()) {
        if (codec.decodes) continue;
        DcImageResult result;
        EXPECT_EQ(imageCheckFrame(codec.uid, described(4, 4, 8), "", 0, &result), IMAGE_NO_CODEC);
        EXPECT_EQ(std::string(result.text),
                  std::string(codec.label) + ": this build is without " + codec.library);
    }
    DcImageResult result;
    EXPECT_EQ(imageCheckFrame("1.2.3", described(4, 4, 8), "", 0, &result), IMAGE_NO_CODEC);
    EXPECT_STREQ(result.text, "no codec for 1.2.3");
    EXPECT_EQ(imageFindCodec(nullptr), nullptr);
    EXPECT_EQ(imageFindCodec(""), nullptr);
}

// A stream of 64 x 48, 12 bits, against data sets that say otherwise.
TEST(Codecs, FramesOfAnotherSizeAreRefusedBeforeAnythingIsMade) {
    const DcImagePixels pixels = described(64, 48, 12);
    const Frame frame = frameOf(pixels);
    for (const DcImageCodec& codec : codecs()) {
        if (!codec.encodes || !holds(codec, pixels)) continue;
        SCOPED_TRACE(codec.name);
        const auto [code, stream, told] = encoded(codec.name, pixels, frame);
        ASSERT_EQ(code, RESULT_OK);
        DcImageResult result;
        Frame room(frame.size());
        EXPECT_EQ(
            imageDecodeFrame(codec.uid, pixels, stream.data(), stream.size(), room.data(), room.size() - 1),
            IMAGE_ROOM);
        DcImagePixels other = pixels;
        other.rows = other.columns = 65535;
        const int checked = imageCheckFrame(codec.uid, other, stream.data(), 100, &result);
        EXPECT_TRUE(checked == IMAGE_DIFFERS || checked == IMAGE_STREAM) << result.text;
        for (std::size_t size = 0; size < stream.size(); size += 1 + stream.size() / 60) {
            EXPECT_NE(imageDecodeFrame(codec.uid, other, stream.data(), size, room.data(), room.size()),
                      RESULT_OK);
        }
        if (codec.bytes) continue;
        other = pixels;
        other.samples = 3;
        EXPECT_EQ(imageCheckFrame(codec.uid, other, stream.data(), stream.size(), &result), IMAGE_DIFFERS);
        EXPECT_NE(
            std::string(result.text).find("the codestream is 64 x 48, the data set says 64 x 48 with 3"),
            std::string::npos)
            << result.text;
        other = pixels;
        other.bitsAllocated = other.bitsStored = 8;
        other.highBit = 7;
        EXPECT_EQ(imageCheckFrame(codec.uid, other, stream.data(), stream.size()), IMAGE_DIFFERS);
    }
}

TEST(Codecs, DescriptionsOutOfTheLimitsAreRefused) {
    const auto with = [](auto change) {
        DcImagePixels pixels = described(4, 4, 12);
        change(pixels);
        return pixels;
    };
    const DcImagePixels wrong[] = {
        with([](auto& p) { p.rows = 0; }),           with([](auto& p) { p.columns = 65536; }),
        with([](auto& p) { p.samples = 0; }),        with([](auto& p) { p.samples = 5; }),
        with([](auto& p) { p.bitsAllocated = 12; }), with([](auto& p) { p.bitsStored = 17; }),
        with([](auto& p) { p.highBit = 10; }),       with([](auto& p) { p.highBit = 16; })};
    for (const DcImagePixels& pixels : wrong) {
        EXPECT_EQ(imageCheckPixels(pixels), IMAGE_PIXELS);
        EXPECT_EQ(imageFrameBytes(pixels), 0u);
        std::vector<unsigned char> stream;
        EXPECT_EQ(imageEncodeFrame("rle", pixels, "", 0, {}, stream), IMAGE_PIXELS);
        EXPECT_EQ(imageCheckFrame("1.2.840.10008.1.2.5", pixels, "", 0), IMAGE_PIXELS);
    }
}

TEST(Codecs, WhatIsOutsideTheBitsStoredIsRefusedOrDropped) {
    const DcImageCodec* codec = imageFindCodec("jpegls");
    if (!codec->encodes) GTEST_SKIP() << codec->library;
    DcImagePixels pixels = described(16, 16, 12);
    Frame overlaid = frameOf(pixels), plain = overlaid;
    for (std::size_t i = 1; i < overlaid.size(); i += 2) overlaid[i] |= 0x80;
    Made stream = encoded("jpegls", pixels, overlaid);
    EXPECT_EQ(stream.code, IMAGE_CANNOT_HOLD);
    EXPECT_STREQ(stream.told.text, "JPEG-LS: cannot hold what is outside the bits stored");
    DcImageOptions drop;
    drop.dropUnusedBits = true;
    stream = encoded("jpegls", pixels, overlaid, drop);
    ASSERT_EQ(stream.code, RESULT_OK);
    const Made back = decoded(codec->uid, pixels, stream.bytes);
    EXPECT_EQ(back.code, RESULT_OK);
    EXPECT_EQ(back.bytes, plain);
    // Values at the upper end go to the lower one, and the result says so.
    pixels.highBit = 15;
    for (std::size_t i = 0; i < plain.size(); i += 2) {
        plain[i + 1] = static_cast<unsigned char>(plain[i + 1] << 4 | plain[i] >> 4);
        plain[i] = static_cast<unsigned char>(plain[i] << 4);
    }
    stream = encoded("jpegls", pixels, plain);
    ASSERT_EQ(stream.code, RESULT_OK);
    EXPECT_EQ(stream.told.pixels.highBit, 11u);
    const Made low = decoded(codec->uid, pixels, stream.bytes);
    EXPECT_EQ(low.code, RESULT_OK);
    EXPECT_EQ(low.bytes, back.bytes);
    EXPECT_EQ(low.told.pixels.highBit, 11u);
}

}  // namespace
