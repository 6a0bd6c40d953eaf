// Memory follows the bytes that are there, not what a file announces.

#include <functional>

#include "media/dir_tree.h"
#include "orvkit/mediamgr.h"
#include "support/allocation_meter.h"

namespace {

// What reading from memory may hold at most: so many bytes for each byte of input. The input itself is not
// counted. Measured are 17 for elements without a value (8 bytes of a stream each), 18 for empty items and 20
// for sequences of one empty item.
constexpr std::size_t kMemoryFactor = 24;

}  // namespace

// Inputs that announce much, or that become as many objects as their bytes can.
TEST(ReadMemory, FollowsTheBytesThatAreThere) {
    constexpr unsigned int n = 100000;
    Stream elements(kImplicit), items(kImplicit), sequences(kImplicit);
    items.header(0x00081140, "SQ", Stream::undefined);
    for (unsigned int i = 0; i < n; ++i) {
        const unsigned int tag =
            (0x0009 + 2 * (i / 0xE000)) << 16 | (0x1000 + i % 0xE000);  // private, ascending
        elements.elem(tag, "", "");
        items.item(0);
        sequences.header(tag, "", 8).item(0);
    }
    struct {
        const char* what;
        Stream bytes;
    } inputs[] = {{"many elements", part10(kImplicit, elements)},
                  {"many items", part10(kImplicit, items)},
                  {"many sequences", part10(kImplicit, sequences)},
                  {"4 GByte announced", part10(kExplicit, Stream().header(0x7FE00010, "OW", 0xFFFFFFFE))},
                  {"no end announced",
                   part10(UID_JPEG_BASELINE, Stream().header(0x7FE00010, "OB", Stream::undefined))}};
    for (auto& input : inputs) {
        const QuietLog quiet;
        AllocationMeter meter;
        {
            DcDirMetaInfo meta;
            DcElemList dataset;
            (void)dirReadFile(input.bytes.data(), input.bytes.size(), meta, dataset);
        }
        EXPECT_EQ(meter.live(), 0u) << input.what;
        EXPECT_LE(meter.peak(), kMemoryFactor * input.bytes.size() + 4096) << input.what;
    }
}

// Each operation is tried with its first allocation failing, its second, and so on, until it needs no more.
TEST(OutOfMemory, IsACodeAndLosesNothing) {
    const TempDir root;
    Stream small(kExplicit);
    small.ui(0x00080016, "1.2.840.10008.5.1.4.1.1.7").ui(0x00080018, "1.2.3");
    small.header(0x00081140, "SQ", 18).item(10).elem(0x00280010, "US", "\4\5");
    small.elem(0x00100010, "PN", std::string(64, 'A'));
    small.elem(0x7FE00010, "OW", std::string(100, 'p'));
    Stream file = part10(kExplicit, small);
    const std::string folder = root / "", path = root / "A", out = root / "OUT";
    writeWhole(path, std::string(file.data(), file.data() + file.size()));
    DcMediaMgr set(MEDIA_ROLE_UPDATER, nullptr);
    ASSERT_EQ(set.write((root / "").c_str()), RESULT_OK);
    DcDirRec* const image = addImagePath(set);
    ASSERT_EQ(image->setRefFile("A"), RESULT_OK);
    DcDirRec* const other = addImagePath(set);
    std::filesystem::create_directories(root / "D/E");
    writeWhole(root / "D/E/B", std::string(file.data(), file.data() + file.size()));
    DcDirDicomDir again;
    DcDirMetaInfo meta;
    DcElemList whole;
    ASSERT_EQ(dirReadFile(path.c_str(), meta, whole), RESULT_OK);
    unsigned int size = 0;
    ASSERT_EQ(whole.getBufSize(size, static_cast<unsigned int*>(nullptr)), RESULT_OK);
    std::vector<unsigned char> room(size);

    ASSERT_EQ(set.write(nullptr), RESULT_OK);
    const std::filesystem::path directory = root / "DICOMDIR";
    const auto setSize = std::filesystem::file_size(directory);
    int at = 0, length = 0;
    DcElemValueDT created, modified;
    DcElemList group;
    DcDirAround around;
    around.meta = &group;
    // clang-format off
    const struct {
        const char* what;
        bool reads;
        std::function<int(DcDirMetaInfo&, DcElemList&)> work;
    } rows[] = {
        {"read", true, [&](auto& m, auto& l) { return dirReadFile(path.c_str(), m, l); }},
        {"read from memory", true, [&](auto& m, auto& l) { return dirReadFile(file.data(), file.size(), m, l); }},
        {"read without pixels", true,
         [&](auto& m, auto& l) { return dirReadNonPixelElem(path.c_str(), m, l, &at, &length); }},
        {"read around pixels", true,
         [&](auto& m, auto& l) { return dirReadAroundPixels(path.c_str(), m, l, around); }},
        {"read around pixels in memory", true,
         [&](auto& m, auto& l) { return dirReadAroundPixels(file.data(), file.size(), m, l, around); }},
        {"frame", false, [&](auto&, auto&) { return whole.frame(room.data(), size, kExplicit); }},
        {"write", false, [&](auto&, auto&) { return dirWriteFile(out.c_str(), meta, whole); }},
        {"write the set", false, [&](auto&, auto&) {
             const int result = set.write(nullptr);
             EXPECT_TRUE(result != RESULT_OK || std::filesystem::file_size(directory) == setSize);
             return result;
         }},
        {"read the set", false, [&](auto&, auto&) { return again.read(folder.c_str()); }},
        {"M-WRITE", false, [&](auto&, auto&) { return set.mWrite(image, "A", meta, whole); }},
        {"M-READ", true, [&](auto& m, auto& l) { return set.mRead("A", m, l); }},
        {"M-INQUIRE FILE", false, [&](auto&, auto&) { return set.mInquireFile("A", created, modified); }},
        {"refer to a file", false, [&](auto&, auto&) {
             const int result = other->setRefFile("D\\E\\B");
             DcDirRecInfo info;
             if (other->getInfo(info) != RESULT_OK) return ELEM_NO_MEMORY;
             EXPECT_STREQ(info.refFileId, "D\\E\\B");
             return result;
         }},
    };
    // clang-format on
    const QuietLog quiet;
    for (const auto& row : rows) {
        const auto work = [&row] {
            DcDirMetaInfo readMeta;
            DcElemList list;
            const int result = row.work(readMeta, list);
            EXPECT_TRUE(!row.reads || result != RESULT_OK || list.last() != nullptr);
            return result;
        };
        ASSERT_EQ(work(), RESULT_OK) << row.what;
        const std::string before = readWhole(path);
        const AllocationMeter meter;
        for (long n = 1;; ++n) {
            const AllocationFault fault(n);
            int result = -1;
            EXPECT_NO_THROW(result = work()) << row.what << ", allocation " << n;
            if (!fault.met()) {
                EXPECT_EQ(result, RESULT_OK) << row.what;
                break;
            }
            // What only makes work faster may be missing. Where the names of files are converted for the
            // system, a file without one is a file that cannot be opened.
            constexpr bool converts = std::filesystem::path::preferred_separator != '/';
            EXPECT_TRUE(result == ELEM_NO_MEMORY || result == RESULT_OK || (converts && result > 0))
                << row.what << " " << n << ": " << result;
        }
        EXPECT_LE(meter.live(), 4096u) << row.what;
        EXPECT_TRUE(readWhole(path) == before) << row.what;
    }
}

// A constructor has no code to return.
TEST(OutOfMemory, ConstructorsThrowAndLeakNothing) {
    unsigned char bytes[100] = {};
    const auto construct = [&](long n) {
        const AllocationFault fault(n);
        EXPECT_THROW(DcElem(0x7FE00010u, bytes, sizeof bytes, kExplicit, VR_OB, 0), std::bad_alloc) << n;
    };
    construct(1);  // the first line of a log, and the first exception, make what they keep
    const AllocationMeter meter;
    for (long n = 1; n <= 2; ++n) construct(n);
    EXPECT_EQ(meter.live(), 0u);
}
