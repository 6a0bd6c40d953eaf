// Frames by number: native and encapsulated, from memory and from a file whose pixels stay there.

#include "media/frame_streams.h"

namespace {

using Words = std::vector<std::string>;

struct Encapsulated {
    const char* name;
    const char* told;
    Words fragments;
    std::vector<std::uint64_t> basic, extended, lengths;
    Words frames;  // what is expected; "!" and a code's name for a frame that is not given
    FRAMES_BY by;
    bool refused = false;
    int cutBehind = 0;  // bytes that the file lacks
};

Stream pixels(const Encapsulated& c) {
    Stream s = head({.frames = c.told});
    if (!c.extended.empty()) s.elem(DcTag::ExtendedOffsetTable, "OV", table(c.extended, 8));
    if (!c.lengths.empty()) s.elem(DcTag::ExtendedOffsetTableLengths, "OV", table(c.lengths, 8));
    s.header(0x7FE00010, "OB", Stream::undefined);
    s.item(static_cast<unsigned int>(4 * c.basic.size())).raw(table(c.basic, 4));
    for (const std::string& f : c.fragments) s.item(static_cast<unsigned int>(f.size())).raw(f);
    return s.endSequence();
}

std::string codeName(int result) {
    switch (result) {
        case FRAMES_CUT:
            return "!cut";
        case FRAMES_NOT_APART:
            return "!apart";
        case FRAMES_NUMBER:
            return "!number";
        default:
            return "!" + std::to_string(result);
    }
}

// The frame as read() gives it, which is what its runs hold.
std::string frameOf(const DcFrames& frames, unsigned int n) {
    DcFrame found;
    std::vector<DcFrameRun> runs;
    int result = frames.find(n, found);
    runs.resize(found.runs);
    EXPECT_EQ(frames.find(n, found, runs.data(), found.runs), result);
    std::string bytes(static_cast<std::size_t>(found.length), '?');
    unsigned long long length = 0;
    EXPECT_EQ(frames.read(n, bytes.data(), bytes.size(), length), result);
    if (result != RESULT_OK && result != FRAMES_CUT) return codeName(result);
    EXPECT_EQ(length, found.length);
    if (!bytes.empty()) {
        EXPECT_EQ(frames.read(n, bytes.data(), bytes.size() - 1, length), FRAMES_ROOM);
        EXPECT_EQ(frames.read(n, nullptr, bytes.size(), length), DIR_NULL_ARGUMENT);
    }
    unsigned long long inRuns = 0;
    for (const DcFrameRun& run : runs) {
        EXPECT_NE(run.data == nullptr, run.handle == -1);
        if (run.data != nullptr && found.firstBit == 0) {
            EXPECT_EQ(
                bytes.substr(static_cast<std::size_t>(inRuns), static_cast<std::size_t>(run.length)),
                std::string(reinterpret_cast<const char*>(run.data), static_cast<std::size_t>(run.length)));
        }
        inRuns += run.length;
    }
    EXPECT_GE(inRuns, length);
    return result == FRAMES_CUT ? "!cut" + bytes : bytes;
}

Words framesOf(const DcFrames& frames, unsigned int most) {
    Words all;
    for (unsigned int i = 1; i <= std::min(frames.count(), most); ++i) all.push_back(frameOf(frames, i));
    return all;
}

const std::string kJ = "\xFF\xD8\xFF\xE0";
const std::vector<std::uint64_t> kNone;

// Fragments "aaaa", "bb" and so on stand at 0, 12, 22 ...
// clang-format off
const Encapsulated kEncapsulated[] = {
    {"an empty table and a fragment each", "3", {"aaaa", "bb", "cc"}, kNone, kNone, kNone,
     {"aaaa", "bb", "cc"}, FRAMES_BY_PASS},
    {"one frame in many fragments", "1", {"aaaa", "", "cc"}, kNone, kNone, kNone, {"aaaacc"}, FRAMES_BY_PASS},
    {"no number of frames", "", {"aaaa", "bb"}, kNone, kNone, kNone, {"aaaabb"}, FRAMES_BY_PASS},
    {"a basic table", "2", {"aaaa", "bb", "cc"}, {0, 22}, kNone, kNone,
     {"aaaabb", "cc"}, FRAMES_BY_BASIC_TABLE},
    {"a basic table of one frame", "1", {"aaaa", "bb"}, {0}, kNone, kNone, {"aaaabb"}, FRAMES_BY_BASIC_TABLE},
    {"an extended table that knows the padding", "2", {"aaaa", "bb"}, kNone, {0, 12}, {3, 2},
     {"aaa", "bb"}, FRAMES_BY_EXTENDED_TABLE},
    {"an extended table alone", "2", {"aaaa", "bb"}, kNone, {0, 12}, kNone,
     {"aaaa", "bb"}, FRAMES_BY_EXTENDED_TABLE},
    {"lengths that are not those", "2", {"aaaa", "bb"}, kNone, {0, 12}, {9, 2},
     {"aaaa", "bb"}, FRAMES_BY_EXTENDED_TABLE, true},
    {"lengths of fewer frames", "2", {"aaaa", "bb"}, kNone, {0, 12}, {4},
     {"aaaa", "bb"}, FRAMES_BY_EXTENDED_TABLE, true},
    {"entries between the items", "3", {"aaaa", "bb", "cc"}, {0, 14, 22}, kNone, kNone,
     {"aaaa", "bb", "cc"}, FRAMES_BY_PASS, true},
    {"the second of two tables is right", "2", {"aaaa", "bb", "cc"}, {0, 22}, {0, 13}, {6, 2},
     {"aaaabb", "cc"}, FRAMES_BY_BASIC_TABLE, true},
    {"neither of two tables is", "2", {"aaaa", "bb"}, {0, 11}, {0, 13}, kNone,
     {"aaaa", "bb"}, FRAMES_BY_PASS, true},
    {"entries that do not ascend, as behind 4 GiB", "3", {"aaaa", "bb", "cc"}, {0, 12, 0}, kNone, kNone,
     {"aaaa", "bb", "cc"}, FRAMES_BY_PASS, true},
    {"too few entries", "3", {"aaaa", "bb", "cc"}, {0, 12}, kNone, kNone,
     {"aaaa", "bb", "cc"}, FRAMES_BY_PASS, true},
    {"entries far away", "2", {"aaaa", "bb"}, kNone, {0, ~0ull - 20}, kNone,
     {"aaaa", "bb"}, FRAMES_BY_PASS, true},
    {"no table, several fragments, and looks that tell", "2", {kJ + "aa", "bb", kJ}, kNone, kNone, kNone,
     {kJ + "aabb", kJ}, FRAMES_BY_PASS},
    {"no table, and nothing that tells", "2", {"aaaa", "bb", "cc"}, kNone, kNone, kNone,
     {"!apart", "!apart"}, FRAMES_BY_PASS},
    {"video", "200", {"aaaabbbbccccdddd"}, kNone, kNone, kNone,
     {"!apart", "!apart", "!apart", "!apart"}, FRAMES_BY_PASS},
    {"very many fragments of one frame", "2", Words(40, "ab"), {0, 380}, kNone, kNone,
     {std::string(76, '#'), "abab"}, FRAMES_BY_PASS},
    {"without its delimitation", "2", {"aaaa", "bb"}, {0, 12}, kNone, kNone,
     {"aaaa", "bb"}, FRAMES_BY_PASS, false, 8},
    {"cut in the last frame", "2", {"aaaa", "bbbb"}, {0, 12}, kNone, kNone,
     {"aaaa", "!cutbb"}, FRAMES_BY_PASS, false, 10},
    {"cut in front of a frame", "3", {"aaaa", "bb", "cc"}, {0, 12, 22}, kNone, kNone,
     {"aaaa", "bb", "!cut"}, FRAMES_BY_PASS, false, 18},
};
// clang-format on

}  // namespace

TEST(Frames, EncapsulatedOnesAreFoundByWhateverTellsThem) {
    const CurrentEdition edition;
    const TempDir temp;
    for (const Encapsulated& c : kEncapsulated) {
        SCOPED_TRACE(c.name);
        const CaptureLog log;
        auto bytes = part10(metaGroup("1.2.840.10008.1.2.4.90"), pixels(c)).bytes();
        bytes.resize(bytes.size() - static_cast<std::size_t>(c.cutBehind));
        const std::string path = makeFile(temp, "file", bytes);
        Words expected = c.frames;
        for (std::string& e : expected) {
            if (e.find('#') == std::string::npos) continue;
            for (std::size_t i = 0; i < e.size(); ++i) e[i] = "ab"[i % 2];
        }
        DcFrames frames;
        ASSERT_EQ(frames.open(path.c_str()), RESULT_OK);
        EXPECT_EQ(framesOf(frames, 4), expected);
        EXPECT_EQ(frames.foundBy(), c.by);
        EXPECT_EQ(frames.tablesRefused(), c.refused ? 1 : 0);
        EXPECT_EQ(frameOf(frames, frames.count() + 1), "!number");
        EXPECT_EQ(frameOf(frames, 0), "!number");
        if (c.cutBehind != 0) continue;
        DcDirMetaInfo meta;
        DcElemList whole, around;
        DcDirAround how;
        ASSERT_EQ(dirReadFile(path.c_str(), meta, whole), RESULT_OK);
        ASSERT_EQ(dirReadAroundPixels(path.c_str(), meta, around, how), RESULT_OK);
        for (const DcElemList* list : {&whole, &around}) {
            ASSERT_EQ(frames.open(*list), RESULT_OK);
            EXPECT_EQ(framesOf(frames, 4), expected);
            EXPECT_EQ(frames.tablesRefused(), c.refused ? 1 : 0);
        }
    }
}

TEST(Frames, NativeOnesAreFoundByTheirLayout) {
    const struct {
        const char* name;
        Layout layout;
        std::string value;
        Words frames;
        unsigned int tag = 0x7FE00010;
        const char* vr = "OB";
    } cases[] = {
        {"three frames", {"3"}, "aaaabbbbcccc", {"aaaa", "bbbb", "cccc"}},
        {"no number of frames", {""}, "aaaabbbb", {"aaaa"}},
        {"the last is cut", {"3"}, "aaaabbbbcc", {"aaaa", "bbbb", "!cutcc"}},
        {"fewer than are told", {"2147483647"}, "aaaabbbb", {"aaaa", "bbbb"}},
        {"one that is cut", {"1", 65535, 65535}, "aaaa", {"!cutaaaa"}},
        {"words", {"2", 1, 2, 1, 16}, "aaaabbbb", {"aaaa", "bbbb"}, 0x7FE00010, "OW"},
        {"colours", {"2", 1, 2, 3, 8, "RGB"}, "aaaaaabbbbbb", {"aaaaaa", "bbbbbb"}},
        {"shared colours", {"2", 1, 2, 3, 8, "YBR_FULL_422"}, "aaaabbbb", {"aaaa", "bbbb"}},
        {"shared by four", {"2", 2, 2, 3, 8, "YBR_PARTIAL_420"}, "aaaaaabbbbbb", {"aaaaaa", "bbbbbb"}},
        {"floats", {"2", 1, 1, 1, 32}, "aaaabbbb", {"aaaa", "bbbb"}, 0x7FE00008, "OF"},
        {"doubles, whose bits are not said",
         {"2", 1, 1, 1, 0},
         "aaaaaaaabbbbbbbb",
         {"aaaaaaaa", "bbbbbbbb"},
         0x7FE00009,
         "OD"},
        // 9 bits a frame: 101010101, 000000000, 111111111 and the beginning of another.
        {"single bits",
         {"4", 3, 3, 1, 1},
         "\x55\x01\xFC\x07",
         {"\x55\x01", std::string(2, '\0'), "\xFF\x01", "!cut" + std::string(1, '\0')}},
        {"whole bytes of single bits", {"2", 4, 4, 1, 1}, "aabb", {"aa", "bb"}}};
    const CurrentEdition edition;
    const TempDir temp;
    const CaptureLog log;
    for (const auto& c : cases) {
        for (const DICT_UID xferSyn : kSyntaxes) {
            SCOPED_TRACE(std::string(c.name) + " " + uidOf(xferSyn));
            Stream data = head(c.layout, xferSyn);
            data.elem(c.tag, c.vr, c.value);
            const std::string path = makeFile(temp, "file", part10(xferSyn, data).bytes());
            DcFrames file, list;
            const int result = file.open(path.c_str());
            if (xferSyn == kBig && c.layout.rows == 3) {
                EXPECT_EQ(result, FRAMES_LAYOUT);
                continue;
            }
            ASSERT_EQ(result, RESULT_OK);
            EXPECT_EQ(framesOf(file, 5), c.frames);
            EXPECT_EQ(file.count(), c.frames.size());
            EXPECT_EQ(file.tag(), c.tag);
            EXPECT_EQ(file.foundBy(), FRAMES_BY_LAYOUT);
            DcDirMetaInfo meta;
            DcElemList dataset;
            ASSERT_EQ(dirReadFile(path.c_str(), meta, dataset), RESULT_OK);
            ASSERT_EQ(list.open(dataset), RESULT_OK);
            EXPECT_EQ(framesOf(list, 5), c.frames);
            EXPECT_EQ(list.layout().frames, file.layout().frames);
        }
    }
}

TEST(Frames, FragmentsEndWhereATableSaysOnlyWhereItProvesRight) {
    enum class Harm { none, fragment, last, table, end };
    const CurrentEdition edition;
    const TempDir temp;
    const CaptureLog log;
    for (const Harm harm : {Harm::none, Harm::fragment, Harm::last, Harm::table, Harm::end}) {
        SCOPED_TRACE(static_cast<int>(harm));
        Encapsulated many{"", "600", Words(600, "abc "), kNone, kNone, {}, {}, FRAMES_BY_PASS};
        many.lengths.assign(600, 3);
        for (std::uint64_t i = 0; i < 600; ++i) many.extended.push_back(12 * i);
        if (harm == Harm::table) many.extended[300] += 2;
        auto bytes = part10(metaGroup("1.2.840.10008.1.2.4.90"), pixels(many)).bytes();
        const std::size_t end = bytes.size() - 8;  // of the fragments
        if (harm == Harm::fragment) bytes[end - 12 * 299] = 'x';
        if (harm == Harm::last) bytes[end - 12] = 'x';
        if (harm == Harm::end) bytes[end] = 'x';
        const std::string path = makeFile(temp, "file", bytes);
        for (const int byTable : {0, 1}) {
            DcDirMetaInfo meta;
            DcElemList dataset;
            DcDirAround around;
            around.byTable = byTable;
            (void)dirReadAroundPixels(path.c_str(), meta, dataset, around);
            DcBuf place;
            ASSERT_EQ(elemAt(dataset, 0x7FE00010)->getValue(place), RESULT_OK);
            // Of a damaged value all that is left of the file is taken.
            const bool whole =
                harm == Harm::none || harm == Harm::table || (byTable != 0 && harm == Harm::fragment);
            EXPECT_EQ(place.getLen64(), 8 + 600 * 12 + (whole ? 0u : 8u)) << byTable;
        }
    }
}
