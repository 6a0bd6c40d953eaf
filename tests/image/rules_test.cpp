// What the codestream says and what the data set says: the rule for each, on streams that differ in it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "image/jpeg_header.h"
#include "image/synthetic.h"

namespace {

using namespace synthetic;
using Stream = std::vector<unsigned char>;
using Words = std::vector<int>;

constexpr const char* kJpegLs = "1.2.840.10008.1.2.4.80";
constexpr const char* kJ2k = "1.2.840.10008.1.2.4.90";
constexpr const char* kLossless = "1.2.840.10008.1.2.4.70";
constexpr const char* kBaseline = "1.2.840.10008.1.2.4.50";
constexpr const char* kRle = "1.2.840.10008.1.2.5";

bool has(const char* uid) {
    return imageFindCodec(uid)->encodes;
}

Frame bytesOf(const Words& words, unsigned int bitsAllocated) {
    Frame frame;
    for (const int word : words) {
        for (unsigned int i = 0; i < bitsAllocated; i += 8)
            frame.push_back(static_cast<unsigned char>(word >> i));
    }
    return frame;
}

Stream packed(const char* uid, const DcImagePixels& pixels, const Words& words,
              const DcImageOptions& options = {}) {
    const Made made = encoded(uid, pixels, bytesOf(words, pixels.bitsAllocated), options);
    EXPECT_EQ(made.code, RESULT_OK) << made.told.text;
    return made.bytes;
}

struct Unpacked {
    int code = 0;
    DcImageResult result;
    Words words;
};

Unpacked unpacked(const char* uid, const DcImagePixels& says, const Stream& stream) {
    const auto [code, frame, told] = decoded(uid, says, stream);
    Unpacked found{code, told, {}};
    for (std::size_t i = 0; i < frame.size(); i += says.bitsAllocated / 8) {
        unsigned int word = frame[i];
        if (says.bitsAllocated == 16) word |= frame[i + 1] * 256u;
        const bool negative = says.isSigned && (word >> (says.bitsAllocated - 1)) != 0;
        found.words.push_back(static_cast<int>(word) - (negative ? 1 << says.bitsAllocated : 0));
    }
    return found;
}

DcImagePixels says(unsigned int allocated, unsigned int stored, bool isSigned) {
    DcImagePixels pixels = described(4, 1, stored, isSigned);
    pixels.bitsAllocated = allocated;
    return pixels;
}

TEST(Rules, PrecisionSignAndUnusedBits) {
    struct Case {
        const char* what;
        DcImagePixels packed;
        Words given;
        DcImagePixels says;
        Words wanted;  // empty: refused
    };
    // clang-format off
    const Case cases[] = {
        {"more bits stored than in the stream", says(16, 12, false), {0, 1, 2048, 4095}, says(16, 16, false), {0, 1, 2048, 4095}},
        {"fewer bits stored: what is above is cleared", says(16, 12, false), {0, 1, 1024, 4095}, says(16, 10, false), {0, 1, 0, 1023}},
        {"bytes of a stream in words", says(8, 7, false), {0, 1, 64, 127}, says(16, 12, false), {0, 1, 64, 127}},
        {"words of a stream in bytes", says(16, 12, false), {0, 1, 64, 127}, says(8, 8, false), {}},
        {"signed pixels, and more bits stored than in the stream: its top bit is the sign",
         says(16, 12, false), {0, 1, 2048, 4095}, says(16, 16, true), {0, 1, -2048, -1}},
        {"signed pixels, and fewer bits stored: the sign is where they say",
         says(16, 12, false), {0, 511, 512, 4095}, says(16, 10, true), {0, 511, -512, -1}},
        {"signed pixels of 7 bits", says(8, 7, true), {0, 63, -64, -1}, says(8, 7, true), {0, 63, -64, -1}},
        {"signed pixels in unsigned ones: the bits stay", says(16, 12, true), {0, 2047, -2048, -1}, says(16, 12, false), {0, 2047, 2048, 4095}},
    };
    // clang-format on
    for (const char* uid : {kJpegLs, kJ2k, kLossless}) {
        if (!has(uid)) continue;
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(uid) + ": " + c.what);
            const Unpacked found = unpacked(uid, c.says, packed(uid, c.packed, c.given));
            EXPECT_EQ(found.code, c.wanted.empty() ? IMAGE_DIFFERS : RESULT_OK) << found.result.text;
            EXPECT_EQ(found.result.precision, c.wanted.empty() ? 0 : c.packed.bitsStored);
            if (c.wanted.empty()) continue;
            EXPECT_EQ(found.words, c.wanted);
        }
    }
    // Byte for byte, what is above Bits Stored included.
    const Words overlaid{0, 1, 0x8800, 0xFFFF};
    EXPECT_EQ(unpacked(kRle, says(16, 12, false), packed(kRle, says(16, 12, false), overlaid)).words,
              overlaid);
}

TEST(Rules, ColoursOfJpegAreThoseOfItsMarkersThenOfTheDataSet) {
    namespace jpeg = orvkit::image::jpeg;
    constexpr unsigned int plain[] = {1, 2, 3}, named[] = {'R', 'G', 'B'};
    const struct {
        std::optional<unsigned int> adobe;
        const unsigned int* ids;
        bool jfif;
        bool subsampled;
        DcPhotometric says;
        bool ycc;
    } cases[] = {{0, plain, true, true, DcPhotometric::ybrFull, false},
                 {1, named, false, false, DcPhotometric::rgb, true},
                 {{}, named, true, false, DcPhotometric::ybrFull, false},
                 {{}, plain, true, false, DcPhotometric::rgb, true},
                 {{}, plain, false, true, DcPhotometric::rgb, true},
                 {{}, plain, false, false, DcPhotometric::rgb, false},
                 {{}, plain, false, false, DcPhotometric::ybrFull422, true},
                 {{}, plain, false, false, DcPhotometric::none, true}};
    for (const auto& c : cases) {
        jpeg::Headers headers;
        headers.adobe = c.adobe;
        headers.jfif = c.jfif;
        headers.frame.count = 3;
        for (unsigned int i = 0; i < 3; ++i) headers.frame.components[i].id = c.ids[i];
        if (c.subsampled) headers.frame.components[0].across = 2;
        EXPECT_EQ(jpeg::isYcc(headers, c.says), c.ycc) << &c - cases;
    }
}

// Greys as colours: as YCbCr they come back as they are, as RGB their second and third values are 128.
TEST(Rules, JpegIsDeliveredAsRgbOnceWhateverTheDataSetSays) {
    if (!has(kBaseline)) GTEST_SKIP() << "without libjpeg";
    DcImagePixels pixels = described(16, 16, 8, false, 3);
    Stream stream = packed(kBaseline, pixels, Words(768, 77));
    for (const DcPhotometric photometric : {DcPhotometric::rgb, DcPhotometric::ybrFull422}) {
        pixels.photometric = photometric;
        const Unpacked found = unpacked(kBaseline, pixels, stream);
        EXPECT_EQ(found.words, Words(768, 77));
        EXPECT_EQ(found.result.pixels.photometric, DcPhotometric::rgb);
    }
    constexpr unsigned char kFrame[] = {0xFF, 0xC0}, kScan[] = {0xFF, 0xDA};
    // The same codestream under other names, and without the JFIF marker.
    const auto frame = std::search(stream.begin(), stream.end(), kFrame, kFrame + 2);
    ASSERT_NE(frame, stream.end());
    const auto scan = std::search(stream.begin(), stream.end(), kScan, kScan + 2);
    for (int i = 0; i < 3; ++i) {
        frame[10 + 3 * i] = scan[5 + 2 * i] = static_cast<unsigned char>("RGB"[i]);
    }
    stream.erase(stream.begin() + 2, stream.begin() + 20);
    Unpacked found = unpacked(kBaseline, pixels, stream);
    EXPECT_EQ(Words(found.words.begin(), found.words.begin() + 3), (Words{77, 128, 128}));
    // Signed pixels are nothing for this codec, nor places in a palette.
    DcImagePixels other = described(2, 2, 8);
    other.photometric = DcPhotometric::paletteColor;
    EXPECT_EQ(encoded(kBaseline, other, Frame(4)).code, IMAGE_CANNOT_HOLD);
}

TEST(Rules, ColoursOfJpeg2000AreThoseOfItsTransformation) {
    if (!has(kJ2k)) GTEST_SKIP() << "without OpenJPEG";
    DcImagePixels pixels = described(2, 2, 8, false, 3);
    const Words colours{1, 2, 3, 40, 50, 60, 255, 0, 128, 9, 8, 7};
    const Stream mixed = packed(kJ2k, pixels, colours);
    pixels.photometric = DcPhotometric::ybrFull;
    const Stream straight = packed(kJ2k, pixels, colours);
    const struct {
        const Stream& stream;
        DcPhotometric says;
        DcPhotometric found;
    } cases[] = {{mixed, DcPhotometric::ybrRct, DcPhotometric::rgb},
                 {mixed, DcPhotometric::rgb, DcPhotometric::rgb},
                 {straight, DcPhotometric::ybrFull, DcPhotometric::ybrFull},
                 {straight, DcPhotometric::ybrRct, DcPhotometric::rgb}};
    for (const auto& c : cases) {
        pixels.photometric = c.says;
        const Unpacked found = unpacked(kJ2k, pixels, c.stream);
        EXPECT_EQ(found.words, colours);
        EXPECT_EQ(found.result.pixels.photometric, c.found) << imagePhotometricText(c.says);
    }
}

TEST(Rules, EveryPredictorOfJpegLosslessGivesBackEveryBit) {
    DcImageOptions options;
    for (options.predictor = 1; options.predictor <= 7; ++options.predictor) {
        for (const unsigned int bits : {2u, 8u, 12u, 16u}) {
            const DcImagePixels pixels = described(33, 17, bits, bits == 16, bits == 8 ? 3 : 1);
            const Frame frame = frameOf(pixels);
            const Made packed = encoded("jpeg-process14", pixels, frame, options);
            ASSERT_EQ(packed.code, RESULT_OK);
            EXPECT_EQ(decoded(kLossless, pixels, packed.bytes).bytes, frame)
                << options.predictor << ", " << bits;
        }
    }
    EXPECT_EQ(encoded("jpeg-process14", described(1, 1, 8), {'a'}, options).code, IMAGE_OPTION);
}

// A scan of slopes: what is lost stays within bounds, and the ratio that was asked for is kept.
TEST(Rules, LossStaysWithinBounds) {
    DcImageOptions options;
    options.ratio = 4;
    options.nearLossless = 3;
    const struct {
        const char* name;
        int most;
        bool ratio;
        unsigned int bits = 8;
        unsigned int samples = 1;
    } cases[] = {{"jpeg", 12, false},
                 {"jpegls-near", 3, false},
                 {"j2k-lossy", 12, true},
                 {"htj2k-lossy", 16, true},
                 {"jxl-lossy", 16, false},
                 {"jpeg-extended", 12, false, 12},
                 {"jpeg-extended", 24, false, 12, 3}};
    for (const auto& c : cases) {
        if (!has(c.name)) continue;
        const DcImagePixels pixels = described(126, 93, c.bits, false, c.samples);
        const int base = c.bits == 8 ? 0 : 3600;
        Words words;
        for (int i = 0; i < 126 * 93; ++i) {
            for (unsigned int s = 0; s < c.samples; ++s)
                words.push_back(base + 40 + (i % 126 + (i / 126) / 2) / (1 + static_cast<int>(s)) +
                                (i * 7919 % 5));
        }
        const Stream stream = packed(c.name, pixels, words, options);
        const Unpacked found = unpacked(imageFindCodec(c.name)->uid, pixels, stream);
        ASSERT_EQ(found.code, RESULT_OK) << c.name << ": " << found.result.text;
        EXPECT_TRUE(found.result.lossy) << c.name;
        int most = 0;
        for (std::size_t i = 0; i < words.size(); ++i)
            most = std::max(most, std::abs(words[i] - found.words[i]));
        EXPECT_LE(most, c.most) << c.name;
        EXPECT_GT(most, 0) << c.name;
        EXPECT_LE(stream.size(), words.size() / (c.ratio ? 4 : 1) + words.size() / 100) << c.name;
    }
}

TEST(Rules, JpegIsRepackedAsJpegXlAndComesBackAsItWas) {
    if (!has("jpeg") || !imageFindCodec("jxl-jpeg")->decodes) GTEST_SKIP() << "without libjpeg or libjxl";
    const DcImagePixels pixels = described(40, 30, 8, false, 3);
    const Frame frame = frameOf(pixels);
    const Stream jpeg = encoded("jpeg", pixels, frame).bytes;
    Stream xl, back;
    ASSERT_EQ(imageRepackJpeg(jpeg.data(), jpeg.size(), true, xl), RESULT_OK);
    ASSERT_EQ(imageRepackJpeg(xl.data(), xl.size(), false, back), RESULT_OK);
    EXPECT_EQ(back, jpeg);
    const char* uid = imageFindCodec("jxl-jpeg")->uid;
    EXPECT_EQ(unpacked(uid, pixels, xl).code, RESULT_OK);
    EXPECT_EQ(imageRepackJpeg(jpeg.data(), jpeg.size() / 2, true, back), IMAGE_STREAM);
    EXPECT_EQ(encoded(uid, pixels, frame).code, IMAGE_CANNOT_HOLD);
    EXPECT_EQ(back, jpeg);
}

// PS3.5 8.2.14: progression by resolution, a thumbnail of at most 64 a side, and the lengths of all
// tile-parts.
TEST(Rules, Htj2kOfTheRpclSyntaxTellsItsTileParts) {
    if (!has("htj2k-rpcl")) GTEST_SKIP() << "without OpenJPH";
    const DcImagePixels pixels = described(300, 200, 12);
    const Frame frame = frameOf(pixels);
    Stream stream;
    ASSERT_EQ(imageEncodeFrame("htj2k-rpcl", pixels, frame.data(), frame.size(), {}, stream), RESULT_OK);
    const auto find = [&](unsigned char marker) {
        const unsigned char both[] = {0xFF, marker};
        return std::search(stream.begin(), stream.end(), both, both + 2) - stream.begin();
    };
    const auto lengths = static_cast<std::size_t>(find(0x55)), tile = static_cast<std::size_t>(find(0x90));
    const auto style = static_cast<std::size_t>(find(0x52));
    ASSERT_LT(lengths, tile);
    EXPECT_EQ(Stream(stream.begin() + static_cast<std::ptrdiff_t>(lengths) + 6,
                     stream.begin() + static_cast<std::ptrdiff_t>(lengths) + 10),
              Stream(stream.begin() + static_cast<std::ptrdiff_t>(tile) + 6,
                     stream.begin() + static_cast<std::ptrdiff_t>(tile) + 10));
    EXPECT_EQ(stream[style + 5], 2);  // RPCL
    EXPECT_EQ(stream[style + 9], 3);  // 300 to 38
}

}  // namespace
