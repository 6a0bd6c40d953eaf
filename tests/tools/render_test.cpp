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
        ASSERT_EQ(sh("orvkit phantom study --size 32 --images 3 --series 2 --seed 7").status, 0);
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
    EXPECT_EQ(
        sh("orvkit render study/SE000001/IM000002 -o c.pgm --size 64x10 --bits 16 --window 40,80").status, 0);
    EXPECT_EQ(contentOf(dir / "c.pgm").substr(0, 15), "P5\n10 10\n65535\n");
}

TEST_F(RenderCommand, WritesAPictureForEachFileOfADirectoryByItsName) {
    ASSERT_EQ(sh("echo text > study/notes.txt; orvkit render study -o out --format pnm --jobs 3").status, 0);
    EXPECT_EQ(names("out"), (std::vector<std::string>{"SE000001", "SE000002"}));
    EXPECT_EQ(names("out/SE000002"),
              (std::vector<std::string>{"IM000001.pnm", "IM000002.pnm", "IM000003.pnm"}));
    const auto clash = sh("orvkit render study/SE00000?/IM000001 -o flat --format pnm");
    EXPECT_EQ(clash.status, 1);
    EXPECT_TRUE(holds(clash.err, "another file is flat/IM000001.pnm already"));
}

TEST_F(RenderCommand, MakesOneSheetOfAStudy) {
    const auto run = sh("orvkit render study --sheet --tile 40 -o sheet.pgm");
    EXPECT_EQ(run.status, 0) << run.err;
    const std::string sheet = contentOf(dir / "sheet.pgm");
    // Two tiles and three gaps; a title, a tile, a gap and three lines.
    EXPECT_EQ(sheet.substr(0, 14), "P5\n104 108\n255");
    // The same on any number of threads.
    EXPECT_EQ(
        sh("orvkit render study --sheet --tile 40 --jobs 4 -o again.pgm; cmp sheet.pgm again.pgm").status, 0);
    EXPECT_EQ(sh("orvkit render study --sheet -o no-picture").status, 2);
}

TEST_F(RenderCommand, DrawsInTheTerminal) {
    const auto blocks = sh("orvkit render study/SE000001/IM000002 --terminal --size 4");
    EXPECT_EQ(blocks.status, 0);
    EXPECT_EQ(std::count(blocks.out.begin(), blocks.out.end(), '\n'), 2);
    EXPECT_TRUE(holds(blocks.out, "\033[38;2;"));
    const auto sixel = sh("orvkit render study/SE000001/IM000002 --sixel --size 12");
    EXPECT_EQ(sixel.out.substr(0, 14), "\033Pq\"1;1;12;12#");
    EXPECT_TRUE(holds(sixel.out, "\033\\"));
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
        {"cut -o out.pgm --size 0x4", 2, "not a size", {}},
    };
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
