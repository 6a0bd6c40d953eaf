// Reading Part 10 files: whole, from memory, and up to Pixel Data.

#include "media/leaves.h"
#include "media/part10.h"
#include "support/allocation_meter.h"
#include "support/system.h"

namespace {

constexpr unsigned int kPixelElem = 0x7FE00010;

Stream image(DICT_UID xferSyn, const std::string& pixels) {
    Stream s(xferSyn);
    s.elem(0x00080018, "UI", evenUid("1.2.840.77")).elem(0x00100010, "PN", "Doe^Jane");
    s.header(0x00081140, "SQ", Stream::undefined).item(Stream::undefined);
    s.elem(kPixelElem, "OB", "icon").endItem().endSequence();
    return s.elem(kPixelElem, "OW", pixels);
}

struct Read {
    int result = -1;
    DcDirMetaInfo meta;
    DcElemList dataset;
    int offset = -2, length = -2;

    Read() = default;
    explicit Read(const std::string& path) { result = dirReadFile(path.c_str(), meta, dataset); }
    // Up to Pixel Data.
    Read(const std::string& path, bool) {
        result = dirReadNonPixelElem(path.c_str(), meta, dataset, &offset, &length);
    }
    bool has(unsigned int tag) { return dataset.getElem(tag, static_cast<DcElem**>(nullptr)) == RESULT_OK; }
};

// A file of these bytes, read.
Read readBack(const Stream& s, bool header = false) {
    const TempDir temp;
    const std::string path = makeFile(temp, "file", s.bytes());
    return header ? Read(path, true) : Read(path);
}

}  // namespace

TEST(ReadFile, TakesClassAndInstanceFromTheDataSetWhereItHasThem) {
    Stream dataset;
    dataset.elem(0x00080016, "UI", uidOf(UID_MR_IMAGE_STORAGE)).elem(0x00080018, "UI", evenUid("9.8.7"));
    const Read both = readBack(part10(kExplicit, dataset));
    EXPECT_EQ(both.result, RESULT_OK);
    EXPECT_EQ(both.meta.sopClassUid, UID_MR_IMAGE_STORAGE);
    EXPECT_STREQ(both.meta.sopInstanceUid, "9.8.7");
    // A file may end with its meta information.
    const Read none = readBack(part10(kExplicit));
    EXPECT_EQ(none.result, RESULT_OK);
    EXPECT_EQ(none.dataset.first(), nullptr);
    EXPECT_EQ(none.meta.sopClassUid, UID_CT_IMAGE_STORAGE);
    EXPECT_STREQ(none.meta.sopInstanceUid, "1.2.3");
}

TEST(ReadFile, ReadsFilesOfEverySizeAlikeFromDiskAndFromMemory) {
    const TempDir temp;
    for (const DICT_UID xferSyn : kSyntaxes) {
        // Around the sizes at which another read is needed.
        for (const std::size_t pixels : {0u, 2u, 32000u, 32768u - 300u, 33000u, 100000u, 3000000u}) {
            const Stream s = part10(xferSyn, image(xferSyn, std::string(pixels, 'x')));
            Read file(makeFile(temp, "file", s.bytes()));
            EXPECT_EQ(file.result, RESULT_OK);
            DcDirMetaInfo meta;
            DcElemList dataset;
            auto bytes = s.bytes();
            EXPECT_EQ(dirReadFile(bytes.data(), s.size(), meta, dataset), RESULT_OK);
            EXPECT_TRUE(leavesOf(file.dataset, kExplicit) == leavesOf(dataset, kExplicit));
            EXPECT_EQ(leavesOf(dataset, kExplicit).back().value, std::string(pixels, 'x'));
            EXPECT_STREQ(file.meta.sopInstanceUid, "1.2.840.77");
        }
    }
}

TEST(ReadFile, TransferSyntaxesThatAreNotRegisteredAreReadByTheirLooks) {
    const ExceptionLevel any(0);
    CaptureLog log;
    for (const DICT_UID looks : kSyntaxes) {
        // Longer than a UID is: told as far as one goes.
        const std::string uid = "1." + std::string(looks == kBig ? 68 : 62, '2');
        Read file = readBack(part10(metaGroup(uid), image(looks, "pixels")));
        EXPECT_EQ(file.result, RESULT_OK);
        EXPECT_EQ(file.meta.transferSyntax, UID_NONE);
        EXPECT_TRUE(file.has(kPixelElem));
        std::string told;
        for (const LogLine& line : log.take()) told += line.text + '\n';
        EXPECT_NE(told.find("'" + uid.substr(0, 64) + "'"), std::string::npos) << told;
        EXPECT_NE(told.find(std::string("read as ") + Dict.findUid(looks)->uid), std::string::npos) << told;
    }
}

TEST(ReadFile, TheSizeLimitCountsTheDataSet) {
    const Stream data = image(kExplicit, std::string(5000, 'x'));
    const Stream file = part10(kExplicit, data);
    const CaptureLog log;
    {
        const FileSizeLimit limit(static_cast<int>(data.size()));
        EXPECT_EQ(readBack(file).result, RESULT_OK);
        EXPECT_EQ(dirSetMaxFileSize(0), DIR_FILE_SIZE);
        EXPECT_EQ(readBack(file).result, RESULT_OK) << "a refused limit changes nothing";
        EXPECT_EQ(dirSetMaxFileSize(1), RESULT_OK);
    }
    const FileSizeLimit limit(static_cast<int>(data.size()) - 1);
    EXPECT_EQ(readBack(file).result, DIR_FILE_SIZE);
    EXPECT_EQ(readBack(file, true).result, RESULT_OK) << "pixels do not count where they are not read";
}

TEST(ReadFile, WhatIsNoReadableRegularFileIsRefusedAtOnce) {
    const TempDir temp;
    CaptureLog log;
    for (const std::string& path : {temp / "absent", temp / ".", std::string(nullDevice)}) {
        EXPECT_EQ(Read(path).result, DIR_STAT) << path;
        EXPECT_EQ(Read(path, true).result, DIR_STAT) << path;
        EXPECT_EQ(log.take().size(), 2u) << path;
    }
}

// ---- up to Pixel Data -----------------------------------------------------------------------------------

TEST(ReadNonPixel, WithoutPixelDataThereIsNoPlace) {
    Read none = readBack(part10(kExplicit, Stream().elem(0x00100010, "PN", "Doe^Jane")), true);
    EXPECT_EQ(none.result, RESULT_OK);
    EXPECT_EQ(none.offset, -1);
    EXPECT_EQ(none.length, 0);
    EXPECT_TRUE(none.has(0x00100010));
}

TEST(ReadNonPixel, WhatIsCutIsToldAndTheHeaderIsThere) {
    const Stream name = Stream().elem(0x00100010, "PN", "Doe^Jane");
    const struct {
        Stream data;
        DICT_UID xferSyn;
        int result, length;
        const char* text;
    } cases[] = {{Stream(name).header(kPixelElem, "OW", 1000).raw("only this"), kExplicit, ELEM_VALUE_REFUSED,
                  9, "valueLen (0x000003e8) exceeds the remaining buffer len (0x00000009) at offset 0xfa"},
                 {Stream(name).header(kPixelElem, "OB", Stream::undefined).item(0).item(100).raw("few"),
                  UID_JPEG_BASELINE, RESULT_OK, 8 + 8 + 3,
                  "Sequence delimiter not found, assuming full buffer as Pixel Data"},
                 {Stream(name).header(0x00104000, "LT", 500).raw("few"), kExplicit, ELEM_VALUE_REFUSED, 0,
                  "valueLen (0x000001f4) exceeds the remaining buffer len (0x00000003) at offset 0x18"}};
    for (const auto& c : cases) {
        const CaptureLog log;
        Read file = readBack(part10(c.xferSyn, c.data), true);
        EXPECT_EQ(file.result, c.result);
        EXPECT_EQ(file.length, c.length);
        EXPECT_EQ(file.offset == -1, c.length == 0);
        EXPECT_TRUE(file.has(0x00100010));
        EXPECT_TRUE(log.lines().size() == 1 && log.lines()[0].text == c.text) << c.text;
    }
}

TEST(ReadAroundPixels, PixelsStayAndWhatIsBehindThemIsRead) {
    const TempDir temp;
    for (const DICT_UID xferSyn : {kImplicit, kExplicit, kBig, UID_JPEG_BASELINE}) {
        const bool fragments = xferSyn == UID_JPEG_BASELINE;
        for (const unsigned int bytes : {100u, 33000u, 3000000u}) {
            Stream data(xferSyn);
            data.elem(0x00100010, "PN", "Doe^Jane");
            data.header(kPixelElem, "OW", fragments ? Stream::undefined : bytes);
            const unsigned int start = data.size();
            if (fragments) data.item(0);
            for (unsigned int i = 0; fragments && i < 1000; ++i) data.item(2).raw("xx");
            if (fragments) data.item(bytes);
            data.raw(std::string(bytes, 'x'));
            const unsigned int length = data.size() - start;
            if (fragments) data.endSequence();
            data.elem(0xE0290010, "LO", "behind");
            Stream whole = part10(xferSyn, data);
            const std::string path = makeFile(temp, "file", whole.bytes());
            Read front(path, true);
            EXPECT_EQ(front.result, RESULT_OK);
            EXPECT_EQ(front.length, static_cast<int>(length));
            EXPECT_EQ(front.offset, static_cast<int>(whole.size() - data.size() + start));
            EXPECT_TRUE(front.has(0x00100010) && !front.has(kPixelElem));
            for (const bool memory : {false, true}) {
                Read file;
                DcElemList group;
                DcDirAround around;
                around.meta = &group;
                EXPECT_EQ(
                    memory ? dirReadAroundPixels(whole.data(), whole.size(), file.meta, file.dataset, around)
                           : dirReadAroundPixels(path.c_str(), file.meta, file.dataset, around),
                    RESULT_OK);
                EXPECT_EQ(around.xferSyn, xferSyn);
                EXPECT_NE(group.first(), nullptr);
                DcBuf place;
                ASSERT_EQ(file.dataset.getValue(kPixelElem, place), RESULT_OK);
                EXPECT_EQ(place.getType(), BUF_FILE);
                EXPECT_EQ(place.getLen(), length);
                EXPECT_EQ(place.getOffset(), static_cast<int>(whole.size() - data.size() + start));
                EXPECT_EQ(place.getXferSyn(), xferSyn);
                EXPECT_EQ(place.getFileName() == nullptr, memory);
                EXPECT_TRUE(file.has(0xE0290010));
            }
        }
    }
}

TEST(ReadAroundPixels, FaultsAreToldWithTheirPlaceInTheFile) {
    const Stream front = Stream().elem(0x00100010, "PN", "Doe^Jane");
    const Stream pixels = Stream(front).elem(kPixelElem, "OW", std::string(40000, 'x'));
    struct Told {
        DcDirAround around;
        unsigned int tag = 0;
        unsigned long long offset = 0;  // in the file
    };
    const CaptureLog log;
    const struct {
        Stream data;
        int result;
        unsigned int tag, at;
    } cases[] = {
        {Stream(pixels).header(0xFFFCFFFC, "OB", 500).raw("few"), ELEM_VALUE_REFUSED, 0xFFFCFFFC,
         pixels.size()},
        {Stream(front).header(kPixelElem, "OW", 1000).raw("few"), ELEM_VALUE_REFUSED, kPixelElem,
         front.size()},
        {Stream(front).header(kPixelElem, "OW", Stream::undefined).item(0).endSequence(), RESULT_OK, 0, 0}};
    for (const auto& c : cases) {
        const TempDir temp;
        const std::string path = makeFile(temp, "file", part10(kExplicit, c.data).bytes());
        Read file;
        Told told;
        (void)elemListRegisterFaultCB(&told, [](void* context, const DcElemFault& fault) {
            auto& t = *static_cast<Told*>(context);
            t.tag = fault.path[fault.pathLength - 1];
            t.offset = t.around.streamOffset + fault.offset;
        });
        EXPECT_EQ(dirReadAroundPixels(path.c_str(), file.meta, file.dataset, told.around), c.result);
        (void)elemListRegisterFaultCB(nullptr, nullptr);
        EXPECT_EQ(told.tag, c.tag);
        EXPECT_EQ(told.offset, c.tag != 0 ? part10(kExplicit).size() + c.at : 0);
        DcBuf place;
        EXPECT_EQ(file.dataset.getValue(kPixelElem, place), RESULT_OK);
        // Fragments in a syntax that has none are marked.
        EXPECT_EQ(place.getXferSyn(), c.tag == 0 ? UID_NONE : kExplicit);
    }
}
