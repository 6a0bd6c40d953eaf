// Files beyond 4 GByte: what is in them is made of holes, so that they are made at once and take no room.

#include "media/frame_streams.h"
#include "orvkit/scan.h"
#include "platform/file.h"
#include "support/allocation_meter.h"
#include "support/system.h"

namespace {

constexpr unsigned int kHole = 0x1E000000;
constexpr unsigned int kHoles = 9;
constexpr std::uint64_t kLast = std::uint64_t{kHoles} * (kHole + 8);  // the item of the last frame
const std::string kText = "the last frame !";
constexpr std::uint64_t kPixels = 8 + kLast + 8 + 16;  // bytes of the value
constexpr unsigned int kPadding = 0xFFFCFFFC;          // an element behind it

// Ten frames, of which the last one begins beyond 4 GByte. Gives where their value begins.
std::uint64_t makeLarge(const std::string& path, bool tabled) {
    Stream data = head({.frames = "10"});
    std::vector<std::uint64_t> offsets, lengths(kHoles, kHole);
    for (unsigned int i = 0; i <= kHoles; ++i) offsets.push_back(i * std::uint64_t{kHole + 8});
    lengths.push_back(kText.size() - 1);
    if (tabled) {
        data.elem(DcTag::ExtendedOffsetTable, "OV", table(offsets, 8));
        data.elem(DcTag::ExtendedOffsetTableLengths, "OV", table(lengths, 8));
    }
    data.header(0x7FE00010, "OB", Stream::undefined).item(0);
    const Stream front = part10(metaGroup("1.2.840.10008.1.2.4.90"), data);
    writeWhole(path, front.text());
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    const auto put = [&](std::uint64_t at, const Stream& s) {
        file.seekp(static_cast<std::streamoff>(front.size() + at));
        file << s.text();
    };
    for (unsigned int i = 0; i < kHoles; ++i) put(offsets[i], Stream().item(kHole));
    put(kLast, Stream()
                   .item(static_cast<unsigned int>(kText.size()))
                   .raw(kText)
                   .endSequence()
                   .elem(kPadding, "OB", "pads"));
    return front.size() - 8;
}

class LargeFile : public testing::Test {
  protected:
    void SetUp() override {
        if (!keepsHoles(temp_ / "holes")) GTEST_SKIP() << "the file system keeps no holes";
    }
    std::string encapsulated(bool tabled) {
        pixelsAt_ = makeLarge(temp_ / "large", tabled);
        return temp_ / "large";
    }
    // Of 2^32 - 2 bytes.
    std::string native() {
        Stream data = head({.frames = "65538", .rows = 65535, .columns = 1});
        const Stream front = part10(kExplicit, data.header(0x7FE00010, "OB", 0xFFFFFFFE));
        const std::string path = makeFile(temp_, "large", front.bytes());
        pixelsAt_ = front.size();
        std::filesystem::resize_file(path, std::uint64_t{front.size()} + 0xFFFFFFFE);
        return path;
    }

    const CurrentEdition edition_;
    const TempDir temp_;
    std::uint64_t pixelsAt_ = 0;
};

class LargeFrames : public LargeFile, public testing::WithParamInterface<bool> {};

TEST_P(LargeFrames, FramesBeyondFourGBytesAreFoundAndTheHeaderCostsWhatItHolds) {
    const std::string path = encapsulated(GetParam());
    const CaptureLog log;
    DcDirMetaInfo meta;
    DcElemList around, upTo;
    DcDirAround how;
    const AllocationMeter meter;
    ASSERT_EQ(dirReadAroundPixels(path.c_str(), meta, around, how), RESULT_OK);
    DcFrames file, list;
    ASSERT_EQ(file.open(path.c_str()), RESULT_OK);
    ASSERT_EQ(list.open(around), RESULT_OK);
    for (const DcFrames* frames : {&file, &list}) {
        DcFrame found;
        DcFrameRun run;
        ASSERT_EQ(frames->find(10, found, &run, 1), RESULT_OK);
        EXPECT_EQ(run.offset, pixelsAt_ + 8 + kLast + 8);
        EXPECT_EQ(frames->foundBy(), GetParam() ? FRAMES_BY_EXTENDED_TABLE : FRAMES_BY_PASS);
        char text[16] = {};
        unsigned long long size = 0;
        ASSERT_EQ(frames->read(10, text, sizeof text, size), RESULT_OK);
        EXPECT_EQ(std::string(text, static_cast<std::size_t>(size)), kText.substr(0, GetParam() ? 15 : 16));
        ASSERT_EQ(frames->find(9, found), RESULT_OK);
        EXPECT_EQ(found.length, kHole);
    }
    EXPECT_LT(meter.peak(), 1u << 20);

    DcBuf place;
    ASSERT_EQ(elemAt(around, 0x7FE00010)->getValue(place), RESULT_OK);
    EXPECT_EQ(place.getOffset64(), pixelsAt_);
    EXPECT_EQ(place.getLen64(), kPixels);
    EXPECT_EQ(place.getLen(), 0xFFFFFFFF);
    EXPECT_EQ(rawBytes(around, kPadding), "pads");

    int offset32 = 0, length32 = 0;
    EXPECT_EQ(dirReadNonPixelElem(path.c_str(), meta, upTo, &offset32, &length32), DIR_FILE_SIZE);
    long long offset64 = 0;
    unsigned long long length64 = 0;
    EXPECT_EQ(dirReadNonPixelElem64(path.c_str(), meta, upTo, offset64, length64), RESULT_OK);
    EXPECT_EQ(offset64, static_cast<long long>(pixelsAt_));
    EXPECT_EQ(length64, kPixels);
}

TEST_P(LargeFrames, WhatStandsBeyondFourGBytesIsScannedAndCopied) {
    const std::string path = encapsulated(GetParam());
    const std::uint64_t at = pixelsAt_ + 8 + kLast + 8;
    DcDirMetaInfo meta;
    unsigned int begin = 0;
    ASSERT_EQ(dirReadFileMetaInfo(path.c_str(), meta, begin), RESULT_OK);
    std::FILE* const file = orvkit::platform::openStream(path.c_str(), "rb");
    std::fseek(file, static_cast<int>(begin), SEEK_SET);
    DcPfField_ padding;
    padding.tag = kPadding;
    DcPfFileInfo_ info;
    info.xferSyn = meta.transferSyntax;
    EXPECT_EQ(libParseFields(file, &padding, &info, 1), RESULT_OK);
    std::fclose(file);
    EXPECT_EQ(padding.offset, static_cast<long long>(at + kText.size() + 8));

    DcBuf place(path.c_str(), 0, 0, kExplicit);
    ASSERT_EQ(place.setPlace64(at, kText.size()), RESULT_OK);
    EXPECT_EQ(place.getOffset(), -1);
    EXPECT_EQ(place.setPlace64(1ull << 47, 2), ELEM_VALUE_REFUSED);
    EXPECT_EQ(place.setPlace64(2, 1ull << 48), ELEM_VALUE_REFUSED);
    DcElemList dataset;
    auto* const pixels = new DcElem(0x7FE00010, nullptr, 0u, UID_NONE, VR_OB, 0);
    ASSERT_EQ(pixels->addValue(&place), RESULT_OK);
    dataset.add(pixels);
    DcDirMetaInfo record = metaFor(kExplicit);
    ASSERT_EQ(dirWriteFile((temp_ / "copy").c_str(), record, dataset), RESULT_OK);
    EXPECT_TRUE(readWhole(temp_ / "copy").ends_with(kText));
    // A native value cannot be as long as that.
    DcElemList tooLong;
    DcBuf all(path.c_str(), 0, 0, kExplicit);
    ASSERT_EQ(all.setPlace64(pixelsAt_, 0xFFFFFFFF), RESULT_OK);
    auto* const whole = new DcElem(0x7FE00010, nullptr, 0u, UID_NONE, VR_OB, 0);
    ASSERT_EQ(whole->addValue(&all), RESULT_OK);
    tooLong.add(whole);
    const CaptureLog log;
    EXPECT_EQ(dirWriteFile((temp_ / "long").c_str(), record, tooLong), ELEM_VALUE_REFUSED);
}

// Without and with an Extended Offset Table.
INSTANTIATE_TEST_SUITE_P(Tables, LargeFrames, testing::Bool());

TEST_F(LargeFile, NativePixelsMayHaveAllThatALengthCanSay) {
    const std::string path = native();
    DcFrames frames;
    ASSERT_EQ(frames.open(path.c_str()), RESULT_OK);
    DcFrame found;
    DcFrameRun run;
    EXPECT_EQ(frames.count(), 65537u);
    EXPECT_EQ(frames.find(65536, found, &run, 1), RESULT_OK);
    EXPECT_EQ(run.offset, pixelsAt_ + 65535ull * 65535);
    EXPECT_EQ(frames.find(65537, found, &run, 1), FRAMES_CUT);
    EXPECT_EQ(run.length, 65534u);
    DcDirMetaInfo meta;
    DcElemList dataset;
    int offset = 0, length = 0;
    const CaptureLog log;
    const AllocationMeter meter;
    EXPECT_EQ(dirReadNonPixelElem(path.c_str(), meta, dataset, &offset, &length), RESULT_OK);
    EXPECT_EQ(static_cast<unsigned int>(length), 0xFFFFFFFE);
    EXPECT_EQ(offset, static_cast<int>(pixelsAt_));
    EXPECT_EQ(dirReadFile(path.c_str(), meta, dataset), DIR_FILE_SIZE);
    EXPECT_LT(meter.peak(), 1u << 20);
}

}  // namespace
