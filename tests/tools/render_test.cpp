// `orvkit render` as a process: what it writes, where, and what it says of what cannot be shown.
#include "support/stream.h"
#include "tools/command.h"

namespace {

using tools_test::contentOf;
using tools_test::holds;

class RenderCommand : public tools_test::CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        if (dir.empty()) return;
        must("orvkit phantom study --size 32 --images 3 --series 2 --seed 7");
    }
    // A format whose library this build is without.
    static bool isLeftOut(const tools_test::Outcome& run) {
        return run.status == 2 && holds(run.err, " was left out of this build: it needs lib");
    }
};

TEST_F(RenderCommand, WritesTheFormatThatTheNameAsksFor) {
    const std::pair<const char*, std::string> formats[] = {
        {"a.png", "\x89PNG"},          {"a.JPG", "\xFF\xD8\xFF"}, {"a.tif", "II*"},
        {"a.pgm", "P5\n32 32\n255\n"}, {"b.pnm", "P5\n"},
    };
    for (const auto& [name, front] : formats) {
        const auto run = sh("orvkit render study/SE000001/IM000002 -o " + std::string(name));
        if (isLeftOut(run)) continue;
        EXPECT_EQ(run.status, 0) << name << run.err;
        EXPECT_EQ(run.out + run.err, "");
        EXPECT_EQ(contentOf(dir / name).substr(0, front.size()), front) << name;
    }
    must("orvkit render study/SE000001/IM000002 -o c.pgm --size 64x10 --bits 16 --window 40,80");
    EXPECT_EQ(contentOf(dir / "c.pgm").substr(0, 15), "P5\n10 10\n65535\n");
}

TEST_F(RenderCommand, WritesAPictureForEachFileOfADirectoryByItsName) {
    must("echo text > study/notes.txt; orvkit render study -o out --format pnm --jobs 3");
    EXPECT_EQ(names("out"), (std::vector<std::string>{"SE000001", "SE000002"}));
    EXPECT_EQ(names("out/SE000002"),
              (std::vector<std::string>{"IM000001.pnm", "IM000002.pnm", "IM000003.pnm"}));
    const auto clash = sh("orvkit render study/SE00000?/IM000001 -o flat --format pnm");
    EXPECT_EQ(clash.status, 1);
    EXPECT_TRUE(holds(clash.err, "another file is flat/IM000001.pnm already"));
}

TEST_F(RenderCommand, MakesOneSheetOfAStudy) {
    must("orvkit render study --sheet --tile 40 -o sheet.pgm");
    const std::string sheet = contentOf(dir / "sheet.pgm");
    // Two tiles and three gaps; a title, a tile, a gap and three lines.
    EXPECT_EQ(sheet.substr(0, 14), "P5\n104 108\n255");
    // The same on any number of threads.
    must("orvkit render study --sheet --tile 40 --jobs 4 -o again.pgm; cmp sheet.pgm again.pgm");
    EXPECT_EQ(sh("orvkit render study --sheet -o no-picture").status, 2);
}

TEST_F(RenderCommand, DrawsInTheTerminal) {
    const auto blocks = must("orvkit render study/SE000001/IM000002 --terminal --size 4");
    EXPECT_EQ(std::count(blocks.out.begin(), blocks.out.end(), '\n'), 2);
    EXPECT_TRUE(holds(blocks.out, "\033[38;2;"));
    const auto sixel = sh("orvkit render study/SE000001/IM000002 --sixel --size 12");
    EXPECT_EQ(sixel.out.substr(0, 14), "\033Pq\"1;1;12;12#");
    EXPECT_TRUE(holds(sixel.out, "\033\\"));
}

// Of an image of two frames the second is no codestream any more, or both claim to be as large as can be.
TEST_F(RenderCommand, EachCodecNamesTheDamagedFrameDeliversTheOtherAndTakesNoMemoryForClaims) {
    const std::tuple<const char*, std::vector<const char*>, unsigned int> kinds[] = {
        {"RLE", {"rle"}, 12},
        {"JPEG", {"jpeg"}, 8},
        {"JPEG", {"jpeg-extended", "jpeg-process14", "jpeg-lossless"}, 12},
        {"JPEG-LS", {"jpegls", "jpegls-near"}, 12},
        {"JPEG 2000", {"j2k", "j2k-lossy"}, 12},
        {"HTJ2K", {"htj2k", "htj2k-rpcl", "htj2k-lossy"}, 12},
        {"JPEG XL", {"jxl", "jxl-lossy"}, 12},
        {"Deflated", {"deflated-frames"}, 12}};
    for (const auto& [label, codecs, bits] : kinds) {
        for (const char* const name : codecs) {
            SCOPED_TRACE(name);
            Stream s;
            s.raw(std::string(128, '\0') + "DICM").ui(0x00020002, "1.2.840.10008.5.1.4.1.1.7");
            s.ui(0x00020003, "1.2.3").ui(0x00020010, "1.2.840.10008.1.2.1");
            s.ui(0x00080016, "1.2.840.10008.5.1.4.1.1.7").ui(0x00080018, "1.2.3").us(0x00280002, 1);
            s.elem(0x00280004, "CS", "MONOCHROME2 ").elem(0x00280008, "IS", "2 ").us(0x00280010, 23);
            s.us(0x00280011, 29)
                .us(0x00280100, bits == 8 ? 8 : 16)
                .us(0x00280101, bits)
                .us(0x00280102, bits - 1);
            std::string pixels(2 * 23 * 29 * (bits == 8 ? 1 : 2), '\0');
            for (std::size_t i = 0; i < pixels.size(); ++i)
                pixels[i] = static_cast<char>(bits == 8 || i % 2 == 0 ? i * i / 7 : i % 16);
            s.us(0x00280103, 0).elem(0x7FE00010, bits == 8 ? "OB" : "OW", pixels);
            std::ofstream(dir / "whole", std::ios::binary) << s.text();
            const auto run = sh("rm -rf out*; orvkit convert whole packed --to " + std::string(name));
            if (run.status == 2) continue;  // left out
            ASSERT_EQ(run.status, 0) << run.err;
            const std::string packed = contentOf(dir / "packed");
            const auto change = [&](std::string bytes) {
                std::ofstream(dir / "packed", std::ios::binary) << bytes;
            };
            std::string damaged = packed;
            const std::size_t item = damaged.rfind(std::string("\xFE\xFF\x00\xE0", 4)) + 8;
            std::fill(damaged.begin() + static_cast<std::ptrdiff_t>(item), damaged.end() - 8, '\0');
            change(damaged);
            const std::string words = std::string("packed: frame 2: ") + label + ": ";
            const auto shown = sh(
                "orvkit render packed whole --all --keep-going -o out --format pnm; s=$?; ls out; exit $s");
            EXPECT_EQ(shown.status, 1);
            EXPECT_TRUE(holds(shown.err, words));
            EXPECT_EQ(shown.out, "packed-0001.pnm\nwhole-0001.pnm\nwhole-0002.pnm\n");
            const auto back =
                sh("orvkit convert packed nothing --to explicit; s=$?; test -e nothing || exit $s");
            EXPECT_EQ(back.status, 1);
            EXPECT_TRUE(holds(back.err, std::string("frame 2: ") + label + ": ")) << back.err;
            std::string claims = packed;
            for (const auto& [from, most] : {std::pair("\x17\0\x1D", 3),
                                             {"\x1D\0\0\0\x17", 5},
                                             {"\x10\0US\2\0\x17", 7},
                                             {"\x11\0US\2\0\x1D", 7}}) {
                const std::string sides(from, static_cast<std::size_t>(most));
                for (std::size_t at = 0; (at = claims.find(sides, at)) != std::string::npos; ++at) {
                    if (most < 6) claims[at - 1] = claims[at + sides.size() - 2] = '\xFF';
                    claims[at] = most < 6 ? '\xFF' : claims[at];
                    claims[at + sides.size() - 1] = '\xFF';
                    if (most > 6) claims[at + sides.size()] = '\xFF';
                }
            }
            change(claims);
            const auto claimed = sh("orvkit render packed --frame 1 -o out.pnm");
            EXPECT_EQ(claimed.status, 1);
            EXPECT_TRUE(holds(claimed.err, std::string("packed: frame 1: ") + label + ": ")) << claimed.err;
#if !defined(__SANITIZE_ADDRESS__) && !defined(ORVKIT_SANITIZED)
            EXPECT_LT(claimed.residentKb, 32 << 10);
#endif
        }
    }
}

// A file of an image with two frames of 2 x 2 pixels.
std::string imageOf(const char* syntax, const Stream& pixels) {
    Stream s;
    s.raw(std::string(128, '\0') + "DICM").ui(0x00020010, syntax).us(0x00280002, 1);
    s.elem(0x00280004, "CS", "MONOCHROME2 ").elem(0x00280008, "IS", "2 ").us(0x00280010, 2).us(0x00280011, 2);
    s.us(0x00280100, 8).us(0x00280101, 8).us(0x00280102, 7).us(0x00280103, 0);
    return s.add(pixels).text();
}

TEST_F(RenderCommand, WhatCannotBeShownIsToldByFileFrameAndCodecAndTheRestDeliveredOnDemand) {
    Stream rle, cut;
    rle.header(0x7FE00010, "OB", Stream::undefined).item(0);
    rle.item(70).u32(1).u32(64).raw(std::string(56, '\0')).raw({"\3abcd\0", 6});
    rle.item(4).raw("nope").endSequence();
    cut.elem(0x7FE00010, "OB", "abcdef");
    std::ofstream(dir / "rle", std::ios::binary) << imageOf("1.2.840.10008.1.2.5", rle);
    std::ofstream(dir / "cut", std::ios::binary) << imageOf("1.2.840.10008.1.2.1", cut);
    std::ofstream(dir / "none", std::ios::binary) << imageOf("1.2.840.10008.1.2.1", Stream());
    const struct {
        const char* arguments;
        int status;
        const char* words;
        std::vector<std::string> written;
    } cases[] = {
        {"rle --all -o out.pgm", 1, "orvkit: rle: frame 2: RLE: ", {"out-0001.pgm"}},
        {"rle --frame 2 -o out.pgm", 1, "orvkit: rle: frame 2: RLE: ", {}},
        {"cut --frame 1 -o out.pgm", 0, "", {"out.pgm"}},
        {"cut --all -o out.pgm",
         1,
         "orvkit: cut: frame 2: the pixel data ends before the frame does",
         {"out-0001.pgm"}},
        {"cut --frame 2 -o out.pgm",
         1,
         "orvkit: cut: frame 2: the pixel data ends before the frame does",
         {}},
        {"cut --frame 3 -o out.pgm", 1, "orvkit: cut: frame 3: there is no such frame", {}},
        {"none -o out.pgm", 1, "orvkit: none: no pixel data", {}},
        {"absent -o out.pgm", 1, "orvkit: absent: cannot be ", {}},
        {"rle cut --all -o out --format pnm --keep-going --jobs 1",
         1,
         "rle: frame 2: ",
         {"out/cut-0001.pnm", "out/rle-0001.pnm"}},
        {"cut --window 3 -o out.pgm", 1, "cut: frame 1: the image has no such window or VOI LUT", {}},
        {"cut", 2, "--output is missing", {}},
        {"cut rle -o out.pgm", 2, "several pictures need a directory", {}},
        {"cut -o out.jpg --bits 16", 2, "JPEG holds 8 bits", {}},
        {"cut -o out.pgm --window 5,0", 2, "not a window: 5,0", {}},
        {"cut -o out.pgm --size 0x4", 2, "not a size", {}}};
    for (const auto& one : cases) {
        const auto run = sh("rm -rf out*; orvkit render " + std::string(one.arguments) +
                            "; s=$?; find out* -type f 2>/dev/null | sort; exit $s");
        EXPECT_EQ(run.status, one.status) << one.arguments;
        EXPECT_TRUE(isLeftOut(run) || holds(run.err, one.words)) << one.arguments;
        std::string listed;
        for (const std::string& name : one.written) listed += name + "\n";
        EXPECT_EQ(run.out, listed) << one.arguments;
    }
}

}  // namespace
