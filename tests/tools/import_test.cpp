// `orvkit import` and `orvkit extract` as processes: what goes in comes out again.

#include "tools/command.h"

namespace {

using tools_test::contentOf;
using tools_test::holds;
using namespace std::string_literals;

class ImportCommand : public tools_test::CommandTest {
  protected:
    void write(const std::string& name, const std::string& bytes) {
        std::ofstream(dir / name, std::ios::binary) << bytes;
    }
};

std::string big(std::uint64_t value, unsigned int bytes) {
    std::string text;
    while (bytes-- > 0) text += static_cast<char>(value >> (8 * bytes));
    return text;
}
std::string box(const std::string& type, const std::string& content) {
    return big(content.size() + 8, 4) + type + content;
}
std::string zeros(std::size_t count) {
    return std::string(count, '\0');
}

// 50 pictures of 640 x 480 in two seconds, of H.264 with this profile and level.
std::string mp4(unsigned int profile, unsigned int level, const std::string& codec = "avc1") {
    const std::string entry =
        box(codec, zeros(24) + big(640, 2) + big(480, 2) + zeros(50) +
                       box("avcC", big(1, 1) + big(profile, 1) + zeros(1) + big(level, 1)));
    const std::string table =
        box("stbl", box("stsd", zeros(4) + big(1, 4) + entry) + box("stsz", zeros(8) + big(50, 4)));
    const std::string media = box("mdhd", zeros(12) + big(1000, 4) + big(2000, 4) + zeros(4)) +
                              box("minf", box("vmhd", zeros(12)) + table);
    return box("ftyp", "isom") + box("mdat", "pictures!") + box("moov", box("trak", box("mdia", media)));
}

TEST_F(ImportCommand, WhatAnObjectCarriesComesOutAsItWentIn) {
    write("a.pdf", "%PDF-1.4\nodd\n%%EOF\n");
    write("b.xml", "<?xml version=\"1.0\"?>\n<ClinicalDocument/>\n");
    write("c.stl", "solid x\nfacet normal 0 0 1\nendsolid\n");
    write("d.mp4", mp4(100, 41));
    write("e.mpg", "\0\0\1\xB3\x2D\x02\x40\x33 and so on"s);
    const std::string runs[] = {"a.pdf", "b.xml -k HL7InstanceIdentifier=1.2", "c.stl", "d.mp4",
                                "e.mpg -k NumberOfFrames=7"};
    for (const std::string& run : runs) {
        const std::string name = run.substr(0, 5);
        must("orvkit import " + run + " -o " + name + ".dcm -k PatientName=Doe^Jane");
        EXPECT_EQ(sh("orvkit extract " + name + ".dcm -o out." + name).status, 0) << name;
        EXPECT_EQ(contentOf(dir / ("out." + name)), contentOf(dir / name)) << name;
    }
    const auto video = sh("orvkit dump --flat --keywords d.mp4.dcm e.mpg.dcm");
    for (const char* part : {"1.2.840.10008.1.2.4.102", "1.2.840.10008.1.2.4.100", "YBR_PARTIAL_420"})
        EXPECT_TRUE(holds(video.out, part));
    // A directory is searched through, and its names are kept.
    must("mkdir all; mv *.dcm all; orvkit extract all -o every");
    EXPECT_EQ(names("every"),
              (std::vector<std::string>{"a.pdf.pdf", "b.xml.xml", "c.stl.stl", "d.mp4.mp4", "e.mpg.mpg"}));
}

TEST_F(ImportCommand, PicturesKeepTheirSamplesAndJpegItsCodestream) {
    must("orvkit phantom study --size 40 --images 1 --series 1");
    must("orvkit render study/SE000001/IM000001 -o a.pgm --bits 16");
    must(
        "orvkit import a.pgm -o a.dcm --like study/SE000001/IM000001 -k PatientID=0815 -k "
        "'ImageComments=Größe'");
    must("orvkit render a.dcm -o b.pgm --bits 16 --window bits && cmp a.pgm b.pgm");
    const std::string shown = sh("orvkit dump a.dcm").out;
    for (const char* part : {"Phantom^Head", "0815", "Größe", "1.3.6.1.4.1.70707.9.1.1.1", "ISO_IR 192"})
        EXPECT_TRUE(holds(shown, part));
    if (sh("orvkit convert study/SE000001/IM000001 j.dcm --to jpeg-lossless").status != 0) return;
    must("orvkit extract j.dcm -o j.jpg && orvkit import j.jpg -o k.dcm");
    must("orvkit extract k.dcm -o k.jpg && cmp j.jpg k.jpg");
    EXPECT_TRUE(holds(sh("orvkit dump k.dcm").out, "1.2.840.10008.1.2.4.70"));
    // Two frames have two names.
    EXPECT_EQ(sh("orvkit extract k.dcm -o one.jpg --frame 2").status, 1);
}

TEST_F(ImportCommand, WhatCannotBeTakenIsToldAndNothingIsWritten) {
    write("cda.xml", "<ClinicalDocument xmlns=\"urn:hl7-org:v3\"/>");
    write("text.txt", "nothing that is known");
    write("new.mp4", mp4(100, 51));
    write("av1.mp4", mp4(100, 41, "av01"));
    write("cut.mp4", mp4(100, 41).substr(0, 60));
    write("cut.jpg", "\xFF\xD8\xFF\xE0");
    const std::pair<const char*, const char*> runs[] = {
        {"cda.xml", "HL7InstanceIdentifier must be told with -k; nothing was written"},
        {"text.txt", "neither a picture, a document nor a video that is known here"},
        {"new.mp4", "MP4: profile and level of its video have no transfer syntax"},
        {"av1.mp4", "MP4: the codec av01 has no transfer syntax"},
        {"cut.mp4", "MP4: a box is longer than the file"},
        {"cut.jpg", "JPEG: "},
        {"missing.png", "missing.png: No such file or directory"},
        {"cda.xml -k Nonsense=1", "key Nonsense=1: neither a tag nor a name"},
        {"cda.xml -k PixelData=1", "key PixelData=1: not an element that can be set"}};
    for (const auto& [run, told] : runs) {
        const auto made = sh("orvkit import " + std::string(run) + " -o made.dcm");
        EXPECT_EQ(made.status, 1) << run;
        EXPECT_TRUE(holds(made.err, told));
        EXPECT_FALSE(std::filesystem::exists(dir / "made.dcm")) << run;
    }
    must("orvkit import cda.xml -k HL7InstanceIdentifier=1 -o good.dcm");
    EXPECT_TRUE(
        holds(sh("orvkit extract good.dcm text.txt -o out").err, "text.txt: not a DICOM Part 10 file"));
}

}  // namespace
