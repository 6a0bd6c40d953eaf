// Writing Part 10 files, to disk and to memory.

#include "media/part10.h"
#include "orvkit/util.h"
#include "platform/file.h"
#include "support/dataset.h"

namespace {

constexpr unsigned int kPixelTag = 0x7FE00010;

int written(const std::string& path, DICT_UID xferSyn, DcElemList& dataset) {
    DcDirMetaInfo meta = metaFor(xferSyn);
    return dirWriteFile(path.c_str(), meta, dataset);
}

std::vector<unsigned char> pattern(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return bytes;
}

// A data set that can be written as it is, with elements behind its pixels.
void fill(DcElemList& dataset, DcElem* pixels) {
    dataset.add(new DcElem(0x00000002, UID_VERIFICATION));  // command elements never reach a file
    dataset.add(new DcElem(0x00020016, "OTHER"));
    dataset.add(new DcElem(0x00080016, UID_CT_IMAGE_STORAGE));
    dataset.add(new DcElem(0x00080018, "9.8.7"));
    dataset.add(new DcElem(0x00280100, static_cast<unsigned short>(16)));
    if (pixels != nullptr) dataset.add(pixels);
    dataset.add(new DcElem(0xFFFCFFFC, nullptr, 0, UID_NONE, VR_OB, 0));
}

std::string pixelsOf(const std::string& path) {
    DcDirMetaInfo meta;
    DcElemList dataset;
    EXPECT_EQ(dirReadFile(path.c_str(), meta, dataset), RESULT_OK);
    return rawBytes(dataset, kPixelTag);
}

}  // namespace

TEST(WriteFile, WritesPreambleMetaGroupAndDataSet) {
    const TempDir temp;
    DcDirMetaInfo meta = metaFor(kBig);
    meta.preamble[3] = 'x';
    std::strcpy(meta.sourceAeTitle, "SOURCE");
    meta.privateInfo = static_cast<unsigned char*>(std::memcpy(utilNew(2), "\1\2", 2));
    meta.privateInfoLen = 2;
    DcElemList dataset;
    fill(dataset, nullptr);
    const std::string path = (temp / "out");
    ASSERT_EQ(dirWriteFile(path.c_str(), meta, dataset), RESULT_OK);

    Stream group = metaGroup(uidOf(kBig));
    group.ui(0x00020012, "1.3.6.1.4.1.70707.4.8.10").elem(0x00020013, "SH", "Vantorell orvKIT");
    group.elem(0x00020016, "AE", "SOURCE").elem(0x00020102, "OB", "\1\2");
    Stream expected;
    expected.raw(std::string_view("\0\0\0x", 4)).raw(std::string(124, '\0')).raw("DICM");
    expected.ul(0x00020000, group.size()).add(group);
    Stream data(kBig);
    data.ui(0x00080016, uidOf(UID_CT_IMAGE_STORAGE)).ui(0x00080018, "9.8.7").us(0x00280100, 16);
    expected.add(data.elem(0xFFFCFFFC, "OB", ""));
    EXPECT_EQ(readWhole(path), expected.text());
}

TEST(WriteFile, ADataSetExactlyAtTheSizeLimitIsWritten) {
    const TempDir temp;
    const std::string path = temp / "out";
    CaptureLog log;
    for (const DICT_UID own : kSyntaxes) {
        DcElemList dataset;
        dataset.add(new DcElem(0x00280010, static_cast<unsigned short>(2)));   // 14 by its VR
        dataset.add(new DcElem(0x00280100, static_cast<unsigned short>(16)));  // 14
        dataset.add(raw(kPixelTag, VR_OB, "pixels", own));                     // 18
        {
            const FileSizeLimit limit(45);
            EXPECT_EQ(written(path, kExplicit, dataset), DIR_FILE_SIZE);
            log.expect(LOG_ERROR, "dirWriteFile", "File size exceeds limit of 4.29153e-05 Mbytes");
            EXPECT_FALSE(std::filesystem::exists(path));
        }
        const FileSizeLimit limit(46);
        EXPECT_EQ(written(path, kExplicit, dataset), RESULT_OK) << own;
        EXPECT_EQ(pixelsOf(path), "pixels");
        std::filesystem::remove(path);
    }
}

TEST(WriteFile, CopiesPixelsFromFilesAndHandlesInEveryByteOrder) {
    const TempDir temp;
    const auto bytes = pattern(200001);
    const std::string source = makeFile(temp, "pixels", bytes);
    const auto file = orvkit::platform::openRead(source.c_str());
    const int handle = file.get();
    ASSERT_TRUE(orvkit::platform::seek(handle, 77));
    for (const DICT_UID to : kSyntaxes) {
        for (const bool byHandle : {false, true}) {
            SCOPED_TRACE(testing::Message() << to << (byHandle ? " handle" : " file"));
            // Two pieces make one value, from different places of the source.
            auto* pixels = new DcElem(kPixelTag, nullptr, 0, UID_NONE, VR_OW, 0);
            std::string expected;
            for (const int offset : {100000, 7}) {
                ASSERT_EQ(byHandle ? pixels->addValue(handle, offset, 70000, kExplicit)
                                   : pixels->addValue(source.c_str(), offset, 70000, kExplicit),
                          RESULT_OK);
                expected.append(bytes.begin() + offset, bytes.begin() + offset + 70000);
            }
            if (to == kBig) {
                for (std::size_t i = 0; i < expected.size(); i += 2) std::swap(expected[i], expected[i + 1]);
            }
            DcElemList dataset;
            fill(dataset, pixels);
            ASSERT_EQ(written(temp / "out", to, dataset), RESULT_OK);
            EXPECT_TRUE(pixelsOf(temp / "out") == expected);
        }
    }
    EXPECT_EQ(orvkit::platform::tell(handle), 77);
}

TEST(WriteFile, EncapsulatedPixelsFromDiskAreClosedByADelimiter) {
    const TempDir temp;
    const Stream items = Stream().item(0).item(4).raw("jpeg");
    const std::string source = makeFile(temp, "fragments", items.bytes());
    DcElemList dataset;
    auto* pixels = new DcElem(kPixelTag, nullptr, 0, UID_NONE, VR_OB, 0);
    ASSERT_EQ(pixels->addValue(source.c_str(), 0, items.size(), UID_JPEG_BASELINE), RESULT_OK);
    fill(dataset, pixels);
    ASSERT_EQ(written(temp / "out", UID_JPEG_BASELINE, dataset), RESULT_OK);
    Stream end;
    end.header(kPixelTag, "OB", Stream::undefined).add(items).endSequence().elem(0xFFFCFFFC, "OB", "");
    EXPECT_TRUE(readWhole(temp / "out").ends_with(end.text()));
}

TEST(WriteFile, PixelSourcesThatFailAreTold) {
    const TempDir temp;
    const std::string source = makeFile(temp, "pixels", pattern(1000));
    const std::string gone = temp / "gone";
    const struct {
        const std::string& source;
        int offset;
        unsigned int length;
        int code;
        std::string text;
    } cases[] = {{source, 0, 2000, DIR_READ_WRITE, "Error in reading pixel data"},
                 {source, -1, 2, DIR_READ_WRITE, "lseek error in pixel data file, offset - -1"},
                 {source, 0, 0xFFFFFFFE, DIR_READ_WRITE, "Error in reading pixel data"},
                 {gone, 0, 10, DIR_OPEN, "Error opening pixel data file " + gone}};
    for (const auto& c : cases) {
        writeWhole(gone, "0123456789");
        DcElemList dataset;
        fill(dataset, new DcElem(kPixelTag, c.source.c_str(), c.offset, c.length, kExplicit));
        std::filesystem::remove(gone);
        const int count = dataset.count();
        CaptureLog log;
        EXPECT_EQ(written(temp / "out", kExplicit, dataset), c.code) << c.text;
        log.expect(LOG_ERROR, "dirWriteFile", c.text);
        EXPECT_EQ(dataset.count(), count);
    }
}

TEST(WriteFile, AFileIsNotWrittenOverItsOwnPixels) {
    const TempDir temp;
    const std::string path = makeFile(temp, "pixels", pattern(1000));
    const std::string link = temp / "link";
    std::filesystem::create_hard_link(path, link);
    DcElemList dataset;
    fill(dataset, new DcElem(kPixelTag, path.c_str(), 0, 1000, kExplicit));
    CaptureLog log;
    EXPECT_EQ(written(link, kExplicit, dataset), DIR_OPEN);
    EXPECT_EQ(log.take().size(), 1u);
    EXPECT_EQ(readWhole(path).size(), 1000u);
}

TEST(WriteFile, PixelsBeyondTwoGBytesAreReached) {
    const TempDir temp;
    constexpr std::uint64_t at = 0x80000010;
    const std::string source = makeFile(temp, "sparse", {});
    std::filesystem::resize_file(source, at);
    std::ofstream(source, std::ios::binary | std::ios::app) << "far away";
    DcElemList dataset;
    fill(dataset, new DcElem(kPixelTag, source.c_str(), static_cast<int>(static_cast<unsigned int>(at)), 8,
                             kExplicit));
    ASSERT_EQ(written(temp / "out", kExplicit, dataset), RESULT_OK);
    EXPECT_EQ(pixelsOf(temp / "out"), "far away");
}

TEST(WriteFile, ValuesOnDiskAreRefusedInItems) {
    const TempDir temp;
    const std::string source = makeFile(temp, "table", pattern(512));
    DcElemList dataset;
    auto* icons = new DcElemSq(0x00880200);
    *icons + &(*new DcElemSqItem + new DcElem(kPixelTag, source.c_str(), 0, 512, kExplicit));
    dataset.add(icons);
    CaptureLog log;
    EXPECT_EQ(written(temp / "out", kExplicit, dataset), ELEM_VALUE_REFUSED);
    log.expect(LOG_ERROR, "dirWriteFile",
               "Element (7fe0,0010) - disk based raw buffers cannot be written in a sequence");
}

// ---- in memory ------------------------------------------------------------------------------------------

TEST(WriteMemory, BuildsTheImageOfADataSetWithItsMetaGroup) {
    DcDirMetaInfo meta = metaFor(kBig);
    DcElemList dataset;
    auto bytes = pattern(64);
    fill(dataset, new DcElem(kPixelTag, bytes.data(), 64, kExplicit, VR_OW, 0));
    unsigned int length = 0;
    const CaptureLog log;
    std::vector<unsigned char> image(4096);
    dirFileMetaInfoToElemList(meta, dataset);
    for (const unsigned int needed : {0x00020000u, 0x00020001u, 0x00020002u, 0x00020003u, 0x00020010u}) {
        DcElem* const e = elemAt(dataset, needed);
        dataset.subtract(e);
        EXPECT_EQ(dirWriteFile(image.data(), length, dataset), DIR_META_INFO) << needed;
        dataset.add(e);
    }
    unsigned int size = 0;
    (void)dataset.getBufSize(size, TAG_LIST_END);
    image.resize(size + 132);
    ASSERT_EQ(dirWriteFile(image.data(), length, dataset), RESULT_OK);
    DcElemList reread;
    ASSERT_EQ(dirReadFile(image.data(), length, meta, reread), RESULT_OK);
    EXPECT_EQ(meta.transferSyntax, kBig);
    EXPECT_EQ(reread.first()->getVr(), VR_UI) << "no command elements";
}
