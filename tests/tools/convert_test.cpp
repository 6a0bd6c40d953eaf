// orvkit convert: no value is lost on the way, and OUT appears whole or not at all.
#include <csignal>
#include <tuple>

#include "orvkit/sequence.h"
#include "tests/media/sample_files.h"
#include "tests/tools/command.h"

namespace tools_test {
namespace {

class ConvertTest : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        if (IsSkipped()) return;
        must("orvkit phantom p --size 48 --images 1 --series 1 && mv p/SE000001/IM000001 in && rm -r p");
    }

    void make(const char* name, DcElemList& list, DICT_UID syntax) const {
        writeFile(dir / name, list, syntax);
    }

    // A refusal: status 1, a message that holds `why`, OUT as it was, nothing left behind.
    void expectRefused(const std::string& in, const char* to, const char* why) {
        std::ofstream(dir / "kept") << "as it was";
        const auto before = names();
        const Outcome outcome = sh("orvkit convert " + in + " kept --to " + to);
        EXPECT_EQ(outcome.status, 1);
        EXPECT_TRUE(holds(outcome.err, why));
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(contentOf(dir / "kept"), "as it was");
        EXPECT_EQ(names(), before);
    }
};

TEST_F(ConvertTest, EverySyntaxLeadsToEveryOtherAndBackToTheSameBytes) {
    must(
        "cp in a; for to in implicit big implicit lzw implicit explicit big explicit lzw lzw big big lzw "
        "explicit explicit; do orvkit convert a b --to $to && mv b a || exit 1; done; cmp in a");
}

TEST_F(ConvertTest, FramesGoThroughEveryCodecOfOurOwnAndComeBackAsTheyWere) {
    must(
        "orvkit convert in a --to explicit && for to in uncompressed-frames rle jpeg-lossless "
        "jpeg-process14; do orvkit convert in b --to $to --jobs 2 && orvkit convert b c --to explicit && "
        "cmp a c || exit 1; orvkit convert c big --to big && orvkit convert big d --to $to && cmp b d || "
        "exit 1; done");
    must("orvkit convert in packed --to rle");
    std::string bytes = contentOf(dir / "packed");
    const std::size_t header = bytes.find(std::string("\2\0\0\0\x40\0\0\0", 8));
    ASSERT_NE(header, std::string::npos);
    bytes[header] = 3;
    std::ofstream(dir / "damaged", std::ios::binary) << bytes;
    expectRefused("damaged", "explicit", "frame 1: RLE: the codestream has 3 segments, 2 were expected");
}

TEST_F(ConvertTest, PixelsThatShareBytesOrColoursArePackedToo) {
    // Three frames of 5 x 3 pixels of one bit: 45 bits in six bytes.
    const auto image = [&](const char* name, unsigned int rows, unsigned int columns, unsigned int samples,
                           unsigned int bits, const char* photometric, const char* frames,
                           std::string pixels) {
        DcElemList list;
        const std::pair<unsigned int, unsigned int> words[] = {
            {0x00280002, samples}, {0x00280006, 0},    {0x00280010, rows},     {0x00280011, columns},
            {0x00280100, bits},    {0x00280101, bits}, {0x00280102, bits - 1}, {0x00280103, 0}};
        for (const auto& [tag, value] : words) list + new DcElem(tag, static_cast<unsigned short>(value));
        list + new DcElem(0x00280004u, photometric) + new DcElem(0x00280008u, frames);
        list + new DcElem(0x7FE00010u, pixels.data(), static_cast<unsigned int>(pixels.size()),
                          UID_LITTLE_ENDIAN_EXPLICIT, VR_OB, 0);
        make(name, list, UID_LITTLE_ENDIAN_EXPLICIT);
    };
    image("bits", 5, 3, 1, 1, "MONOCHROME2", "3", "\xA5\x3C\x96\x0F\x71\x1A");
    image("halved", 1, 4, 3, 8, "YBR_FULL_422", "1", "abCDefGH");
    must(
        "orvkit convert bits a --to explicit && orvkit convert bits b --to uncompressed-frames && orvkit "
        "convert b c --to explicit && cmp a c && orvkit convert halved d --to rle && orvkit convert d e "
        "--to explicit");
    EXPECT_NE(contentOf(dir / "e").find("aCDbCDeGHfGH"), std::string::npos);
    EXPECT_NE(contentOf(dir / "e").find("YBR_FULL\x28"), std::string::npos);
}

TEST_F(ConvertTest, AfterALossItIsAnotherInstanceThatTellsOfIt) {
    const Outcome outcome = sh("orvkit convert in out --to jpegls-near --near 3");
    if (outcome.status == 2) GTEST_SKIP() << "without CharLS: " << outcome.err;
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    DcDirMetaInfo before, after;
    DcElemList plain, lossy;
    ASSERT_EQ(dirReadFile((dir / "in").c_str(), before, plain), 0);
    ASSERT_EQ(dirReadFile((dir / "out").c_str(), after, lossy), 0);
    EXPECT_STRNE(after.sopInstanceUid, before.sopInstanceUid);
    const std::tuple<unsigned int, int, const char*> wanted[] = {{0x00080018, 0, after.sopInstanceUid},
                                                                 {0x00080008, 0, "DERIVED"},
                                                                 {0x00282110, 0, "01"},
                                                                 {0x00282114, 0, "ISO_14495_1"},
                                                                 {0x00282112, 0, nullptr},
                                                                 {0x00082111, 0, "Lossy compression"}};
    for (const auto& [tag, index, text] : wanted) {
        char value[128] = "";
        EXPECT_EQ(lossy.getValue(tag, value, sizeof value - 1, index), 0) << std::hex << tag;
        if (text != nullptr) {
            EXPECT_STREQ(value, text);
        }
    }
    DcElemSq* source = nullptr;
    ASSERT_EQ(lossy.getElem(0x00082112u, &source), 0);
    char derived[65] = "";
    EXPECT_EQ(source->first()->getElemList().getValue(0x00081155u, derived, sizeof derived - 1), 0);
    EXPECT_STREQ(derived, before.sopInstanceUid);
}

TEST_F(ConvertTest, DamagedPackedPixelsAreRefused) {
    must("orvkit convert in packed --to lzw");
    const std::string packed = contentOf(dir / "packed");
    const std::size_t at = packed.find("\x1F\x9D");
    ASSERT_NE(at, std::string::npos);
    const std::pair<std::size_t, char> damages[] = {{0, 'x'}, {2, '\xFF'}, {4, 'x'}};  // magic, width, length
    for (const auto& [offset, byte] : damages) {
        std::string bytes = packed;
        bytes[at + offset] = byte;
        std::ofstream(dir / "damaged", std::ios::binary) << bytes;
        expectRefused("damaged", "explicit", "LZW pixel data is damaged");
    }
}

TEST_F(ConvertTest, SignedWordsOfAnImplicitStreamAreCalledSigned) {
    DcElemList list;
    const unsigned short isSigned = 1;
    const short padding = -2000;
    list.add(new DcElem(T_0028_0103_pixelRepresentation, isSigned));
    list.add(new DcElem(T_0028_0120_pixelPaddingValue, padding));
    make("signed", list, UID_LITTLE_ENDIAN_IMPLICIT);
    must("orvkit convert signed out --to explicit");
    EXPECT_TRUE(holds(contentOf(dir / "out"), std::string("\x28\0\x20\x01SS\x02\0\x30\xf8", 10)));
}

TEST_F(ConvertTest, OutMayBeInOrALinkAndKeepsItsRights) {
    const Outcome outcome = must(
        "cp in same; chmod 640 same; ln -s same link; orvkit convert link link --to implicit && orvkit "
        "convert same plain --to explicit && cmp in plain && stat -c %a same && test -L link");
    EXPECT_EQ(outcome.out, "640\n");
}

TEST_F(ConvertTest, RefusalsNameTheReasonAndWriteNothing) {
    expectRefused("nowhere", "big", "No such file");
    expectRefused("/dev/null", "big", "not a regular file");
    expectRefused("kept", "big", "not a DICOM Part 10 file");

    // Cut anywhere: in the meta information, in the data set, in the pixels.
    const auto size = static_cast<std::size_t>(fs::file_size(dir / "in"));
    for (const std::size_t length : {std::size_t{140}, std::size_t{600}, size - 5000, size - 1}) {
        fs::copy_file(dir / "in", dir / "cut", fs::copy_options::overwrite_existing);
        fs::resize_file(dir / "cut", length);
        for (const char* to : {"implicit", "big", "lzw"}) expectRefused("cut", to, "cut: ");
    }

    std::string twice = contentOf(dir / "in");
    twice.replace(twice.find(std::string("\x10\0\x20\0LO", 6)), 6, std::string("\x10\0\x10\0LO", 6));
    std::ofstream(dir / "twice", std::ios::binary) << twice;
    for (const char* to : {"implicit", "big", "lzw"}) expectRefused("twice", to, "an element twice");

    DcElemList jpeg;
    unsigned char fragments[] = {0xFE, 0xFF, 0x00, 0xE0, 0, 0, 0, 0,    0xFE,
                                 0xFF, 0x00, 0xE0, 2,    0, 0, 0, 0xFF, 0xD8};
    jpeg.add(new DcElem(T_7fe0_0010_pixelData, fragments, sizeof fragments,
                        UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION, VR_OB, 0));
    make("jpeg", jpeg, UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION);
    for (const char* to : {"implicit", "explicit", "big", "lzw"})
        expectRefused("jpeg", to, "frame 1: JPEG: the pixels' description makes no sense");
}

TEST_F(ConvertTest, AFullDiskLeavesNothing) {
    // A limit of 4 kB for every file that is written.
    must("echo kept >out; (trap '' XFSZ; ulimit -f 4; orvkit convert in out --to big); test $? = 1");
    EXPECT_EQ(names(), (std::vector<std::string>{"in", "out"}));
    EXPECT_EQ(contentOf(dir / "out"), "kept\n");
    EXPECT_EQ(sh("orvkit convert in /dev/full --to big").status, 1);
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_EQ(sh("orvkit convert in nowhere/out --to big").status, 1);
}

// The image with many pixels, which are a hole in the file and cost nothing to make.
class LargeFileTest : public ConvertTest {
  protected:
    void make(std::uintmax_t pixelBytes) const {
        std::string head = contentOf(dir / "in");
        head.resize(head.size() - 48 * 48 * 2);
        for (unsigned int i = 0; i < 4; ++i)
            head[head.size() - 4 + i] = static_cast<char>(pixelBytes >> 8 * i);
        std::ofstream(dir / "large", std::ios::binary) << head;
        fs::resize_file(dir / "large", head.size() + pixelBytes);
    }
};

TEST_F(ConvertTest, HeadersAndCharacterSetsAreMadeAnew) {
    if (samplesDirectory() == nullptr) GTEST_SKIP() << "no samples";
    const Outcome outcome =
        sh("shown() { orvkit dump --json $1 | grep -v '7FE00010\\|00080005'; }\n"
           "for f in " +
           samplePath("nometa") +
           "/*_no_*.dcm; do orvkit convert --force $f a --to explicit --meta-from-dataset || continue\n"
           "shown a >b; shown $f | cmp - b && echo same; done\n"
           "for f in " +
           samplePath("charset") +
           "/chr_*.dcm; do orvkit convert --utf8 $f a && echo converted\n"
           "shown a >b; shown $f | cmp - b && echo equal; done\n");
    const auto count = [&outcome](const std::string& line) {
        std::size_t n = 0;
        for (std::size_t at = 0; (at = outcome.out.find(line, at)) != std::string::npos; at += line.size())
            ++n;
        return n;
    };
    EXPECT_EQ(count("same\n"), 5u) << outcome.out << outcome.err;
    EXPECT_EQ(count("converted\n"), 9u) << outcome.out << outcome.err;
    EXPECT_EQ(count("equal\n"), 9u) << outcome.out << outcome.err;
    // A text that its character set does not have: named, and nothing is written.
    const Outcome lost =
        sh("orvkit phantom p --size 16 --series 1 --images 1 >/dev/null; LC_ALL=C sed 's/ISO_IR 100/ISO_IR 6 "
           " /;s/Phantom/Ph\xE4ntom/' p/*/* >x\n"
           "orvkit convert --utf8 x y; test -e y && echo written");
    EXPECT_TRUE(holds(lost.err, "(0010,0010): 1 byte is no character of 'ISO_IR 6")) << lost.err;
    EXPECT_FALSE(holds(lost.out, "written"));
    // What looks like ASCII and is not.
    const Outcome overline =
        sh("sed 's/ISO_IR 100/ISO_IR 13 /;s/Phantom/Pha~tom/' p/*/* >x; orvkit convert --utf8 x y\n"
           "for f in x y; do orvkit dump --tag PatientName $f | grep -c 'Pha\u203Etom'; done");
    EXPECT_EQ(overline.out, "1\n1\n") << overline.err;
}

TEST_F(LargeFileTest, PixelsAreNeverHeld) {
    make(40 << 20);
    for (const std::string to : {"implicit", "big", "lzw"}) {
        const Outcome outcome = must("orvkit convert large out --to " + to +
                                     " && orvkit convert out back --to explicit && cmp large back");
#if !defined(__SANITIZE_ADDRESS__) && !defined(ORVKIT_SANITIZED)
        EXPECT_LT(outcome.residentKb, 16 << 10) << to;
#endif
    }
}

TEST_F(LargeFileTest, AnInterruptedConversionLeavesNothing) {
    make(300 << 20);
    // The signal comes as soon as there is a temporary file, which has no name where the system makes such
    // ones; a conversion that was faster has finished.
    const Outcome outcome = sh("'" ORVKIT_COMMAND
                               "' convert large out --to implicit & until ls -l /proc/$!/fd | grep -qE "
                               "'deleted|[.]part' || test -e out; do :; done; kill -TERM $!; wait $!");
    EXPECT_TRUE(outcome.status == 128 + SIGTERM || outcome.status == 0) << outcome.status << outcome.err;
    std::vector<std::string> expected = {"in", "large"};
    if (fs::exists(dir / "out")) {
        EXPECT_GT(fs::file_size(dir / "out"), 300 << 20);
        expected.emplace_back("out");
    }
    EXPECT_EQ(names(), expected);
}

}  // namespace
TEST_F(ConvertTest, ADirectoryBecomesAnotherWithTheSameNames) {
    must("orvkit phantom study --size 16 --images 3 --series 2; echo text > study/notes.txt");
    must("orvkit convert study out --to big --jobs 3");
    EXPECT_EQ(names("out"), (std::vector<std::string>{"SE000001", "SE000002"}));
    EXPECT_EQ(names("out/SE000002"), (std::vector<std::string>{"IM000001", "IM000002", "IM000003"}));
    must(
        "orvkit convert out/SE000001/IM000002 back.dcm --to explicit && orvkit convert "
        "study/SE000001/IM000002 same.dcm --to explicit && cmp back.dcm same.dcm");
    for (const std::string to : {"lzw", "rle"}) {  // by way of temporary files
        if (to == "rle" && sh("orvkit convert --to rle study/SE000001/IM000001 one").status != 0) continue;
        must("orvkit convert study packed --to " + to);
        EXPECT_EQ(names("packed/SE000002").size(), 3u);
        EXPECT_EQ(names("packed"), names("out")) << "nothing else stays";
        fs::remove_all(dir / "packed");
    }
    // One that cannot be read ends the run, or is passed over and told.
    must("head -c 600 out/SE000001/IM000001 > study/SE000001/AA");
    for (const auto& [options, count] : {std::pair("", 0u), std::pair(" --keep-going", 3u)}) {
        const auto run = sh("rm -rf out; orvkit convert study out --to implicit" + std::string(options));
        EXPECT_EQ(run.status, 1);
        EXPECT_TRUE(holds(run.err, "study/SE000001/AA: "));
        EXPECT_EQ(std::filesystem::exists(dir / "out/SE000002") ? names("out/SE000002").size() : 0u, count);
    }
    EXPECT_EQ(sh("orvkit convert study back.dcm --to big").status, 2);
}

}  // namespace tools_test
