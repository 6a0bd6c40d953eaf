// Files of pictures, read back by the libraries of their formats.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "orvkit/render.h"
#include "orvkit/result.h"

namespace {

DcPicture pictureOf(unsigned int width, unsigned int height, unsigned int samples, unsigned int bits) {
    DcPicture picture;
    EXPECT_EQ(picture.make(width, height, samples, bits), RESULT_OK);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int i = 0; i < picture.rowBytes(); ++i) {
            picture.row(y)[i] = static_cast<unsigned char>(y * 3 + i * 2 + i % samples);
        }
    }
    return picture;
}

std::string written(const DcPicture& picture, PICTURE_FORMAT format) {
    std::string bytes;
    DcRenderFault fault;
    const auto sink = [](void* to, const unsigned char* from, unsigned long long length) {
        static_cast<std::string*>(to)->append(reinterpret_cast<const char*>(from),
                                              static_cast<std::size_t>(length));
        return true;
    };
    EXPECT_EQ(pictureWrite(picture, format, 90, sink, &bytes, &fault), RESULT_OK) << fault.text;
    return bytes;
}

std::string sampleBytes(const DcPicture& picture) {
    std::string all;
    for (unsigned int y = 0; y < picture.height(); ++y) {
        all.append(reinterpret_cast<const char*>(picture.row(y)),
                   static_cast<std::size_t>(picture.rowBytes()));
    }
    return all;
}

std::string swapped(std::string bytes) {
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
    return bytes;
}

// Of the formats whose libraries are there, those that lose nothing.
std::vector<PICTURE_FORMAT> exactFormats() {
    std::vector<PICTURE_FORMAT> there;
    for (const PICTURE_FORMAT format : {PICTURE_PNG, PICTURE_TIFF, PICTURE_PNM}) {
        if (pictureFormat(static_cast<unsigned int>(format))->isThere) there.push_back(format);
    }
    return there;
}

int readBack(const std::string& bytes, DcPicture& picture, DcPictureFound& found, unsigned int page = 1) {
    DcRenderFault fault;
    const int result = pictureRead(bytes.data(), bytes.size(), page, picture, found, &fault);
    EXPECT_EQ(result == RESULT_OK, fault.text[0] == '\0') << result << " " << fault.text;
    return result;
}

TEST(Picture, EveryFormatKeepsEverySampleThatItHolds) {
    for (const unsigned int samples : {1u, 3u}) {
        for (const unsigned int bits : {8u, 16u}) {
            for (const unsigned int width : {1u, 37u, 300u}) {
                const DcPicture picture = pictureOf(width, 41, samples, bits);
                const std::string header = (samples == 1 ? "P5\n" : "P6\n") + std::to_string(width) +
                                           " 41\n" + (bits == 8 ? "255\n" : "65535\n");
                EXPECT_EQ(written(picture, PICTURE_PNM),
                          header + (bits == 8 ? sampleBytes(picture) : swapped(sampleBytes(picture))));
                for (const PICTURE_FORMAT format : exactFormats()) {
                    DcPicture back;
                    DcPictureFound found;
                    ASSERT_EQ(readBack(written(picture, format), back, found), RESULT_OK);
                    EXPECT_EQ(sampleBytes(back), sampleBytes(picture)) << format;
                    EXPECT_EQ(std::tuple(found.format, found.bits, found.pages, found.alpha),
                              std::tuple(format, bits, 1u, 0));
                }
            }
        }
    }
}

#if ORVKIT_WITH_PNG && ORVKIT_WITH_TIFF
TEST(Picture, ProfilesGoWhereTheFormatHasAPlace) {
    DcPicture picture = pictureOf(8, 8, 3, 8);
    std::string profile(132, '\0');
    profile[3] = static_cast<char>(profile.size());
    profile.replace(12, 12, "mntrRGB XYZ ");
    profile.replace(36, 4, "acsp");
    const std::string white("\0\0\xF6\xD6\0\1\0\0\0\0\xD3\x2D", 12);
    profile.replace(68, 12, white);
    ASSERT_EQ(picture.setProfile(reinterpret_cast<const unsigned char*>(profile.data()), 132), RESULT_OK);
    EXPECT_NE(written(picture, PICTURE_PNG).find("iCCPICC profile"), std::string::npos);
    EXPECT_NE(written(picture, PICTURE_JPEG).find("ICC_PROFILE"), std::string::npos);
    DcPicture back;
    DcPictureFound found;
    ASSERT_EQ(readBack(written(picture, PICTURE_TIFF), back, found), RESULT_OK);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(back.profile()), back.profileLength()), profile);
}

#endif

TEST(Picture, FilesThatAreCutOrLieAreRefusedWithAWord) {
    DcPicture back;
    DcPictureFound found;
    for (const PICTURE_FORMAT format : exactFormats()) {
        const std::string whole = written(pictureOf(31, 17, 3, 16), format);
        // The last bytes of a PNG are no pixels, and a TIFF may have its directory in front of them.
        for (std::size_t length = 0; length + 16 < whole.size(); ++length) {
            const int result = readBack(whole.substr(0, length), back, found);
            EXPECT_NE(result, RESULT_OK) << format << " of " << length;
        }
        EXPECT_EQ(readBack(whole, back, found, 2), IMAGE_OPTION);
    }
    EXPECT_EQ(readBack("P5 65535 65535 65535\n", back, found), IMAGE_STREAM);
    EXPECT_EQ(readBack("P6 1 1 0\n", back, found), IMAGE_STREAM);
    EXPECT_EQ(readBack("P5 65536 1 255\n", back, found), IMAGE_CANNOT_HOLD);
    EXPECT_EQ(readBack("GIF89a", back, found), IMAGE_NO_CODEC);
#if ORVKIT_WITH_PNG
    std::string lie = written(pictureOf(9, 9, 1, 8), PICTURE_PNG);
    lie.replace(16, 17,
                std::string("\0\0\xFF\xFF\0\0\xFF\xFF\x8\0\0\0\0\x93\x6E\x86\x8C", 17));  // and its sum
    EXPECT_EQ(readBack(lie, back, found), IMAGE_STREAM);
#endif
}

TEST(Picture, FormatsAreKnownByNameAndExtension) {
    for (unsigned int i = 0; const DcPictureFormat* const format = pictureFormat(i); ++i) {
        EXPECT_EQ(format->format, static_cast<PICTURE_FORMAT>(i)) << "a row each, in order";
        EXPECT_TRUE(format->isThere || *format->library != '\0') << format->name;
    }
    const std::pair<const char*, const char*> names[] = {
        {"a.png", "PNG"},   {"b/C.JPG", "JPEG"},     {"x.jpeg", "JPEG"},   {"x.tif", "TIFF"},
        {"x.y.ppm", "PNM"}, {"png", nullptr},        {"a.png/b", nullptr}, {"x.", nullptr},
        {"x.jp", nullptr},  {"x.jpg jpeg", nullptr}, {nullptr, nullptr}};
    for (const auto& [file, name] : names) {
        const DcPictureFormat* const format = pictureFormatOf(file);
        EXPECT_STREQ(format == nullptr ? nullptr : format->name, name) << (file == nullptr ? "null" : file);
    }
}

TEST(Picture, ASinkThatRefusesEndsTheWritingWhereverItDoes) {
    const DcPicture picture = pictureOf(300, 200, 3, 8);
    const auto sink = [](void* left, const unsigned char*, unsigned long long) {
        return (*static_cast<int*>(left))-- > 0;
    };
    for (const auto format : {PICTURE_PNG, PICTURE_JPEG, PICTURE_TIFF, PICTURE_PNM}) {
        if (!pictureFormat(static_cast<unsigned int>(format))->isThere) continue;
        int calls = 0, left = 0, result = DIR_READ_WRITE;
        for (; result == DIR_READ_WRITE && calls < 1000; ++calls) {
            left = calls;
            result = pictureWrite(picture, format, 90, sink, &left, nullptr);
        }
        EXPECT_EQ(result, RESULT_OK);
        EXPECT_EQ(left, 0);
    }
    int left = 1;
    DcRenderFault fault;
    if (!pictureFormat(static_cast<unsigned int>(PICTURE_JPEG))->isThere) return;
    EXPECT_EQ(pictureWrite(pictureOf(3, 3, 1, 16), PICTURE_JPEG, 90, sink, &left, &fault), IMAGE_CANNOT_HOLD);
    EXPECT_STREQ(fault.text, "JPEG cannot hold such a picture");
    EXPECT_EQ(pictureWrite(DcPicture(), PICTURE_PNG, 90, sink, &left, nullptr), IMAGE_CANNOT_HOLD);
    EXPECT_EQ(pictureWrite(picture, PICTURE_UNKNOWN, 90, sink, &left, nullptr), IMAGE_OPTION);
    EXPECT_EQ(pictureWrite(picture, PICTURE_JPEG, 0, sink, &left, nullptr), IMAGE_OPTION);
    // A side beyond what JPEG counts to: the library's words.
    EXPECT_EQ(pictureWrite(pictureOf(65535, 1, 1, 8), PICTURE_JPEG, 90, sink, &left, &fault), IMAGE_CODEC);
    EXPECT_EQ(std::string(fault.text).substr(0, 6), "JPEG: ");
}

}  // namespace
