// Usage, exit statuses, standard output and standard error of the command as a whole; lookup; phantom.
#include "tests/tools/command.h"
#include "orvkit/elemlist.h"
#include "orvkit/file.h"
#include "orvkit/tags.h"

namespace tools_test {
namespace {

TEST_F(CommandTest, ExitStatusTellsUsageFromFailure) {
    const struct {
        const char* script;
        int status;
        bool out;  // something on standard output
        bool err;
    } rows[] = {
        {"orvkit --version", 0, true, false},
        {"orvkit --help", 0, true, false},
        {"orvkit convert --help", 0, true, false},
        {"orvkit", 2, false, true},
        {"orvkit nonsense", 2, false, true},
        {"orvkit lookup --nonsense PN", 2, false, true},
        {"orvkit convert in out", 2, false, true},
        {"orvkit convert in out --to jpeg", 2, false, true},
        {"orvkit phantom p --size 0", 2, false, true},
        {"orvkit convert missing out --to big", 1, false, true},
        {"orvkit lookup 0009,1234", 1, false, true},
    };
    for (const auto& row : rows) {
        const Outcome outcome = sh(row.script);
        EXPECT_EQ(outcome.status, row.status) << row.script << "\n" << outcome.err;
        EXPECT_EQ(!outcome.out.empty(), row.out) << row.script;
        EXPECT_EQ(!outcome.err.empty(), row.err) << row.script;
    }
    EXPECT_TRUE(names().empty());
}

TEST_F(CommandTest, OutputThatCannotBeWrittenIsAFailure) {
    EXPECT_EQ(sh("orvkit lookup patient >/dev/full").status, 1);
    EXPECT_EQ(sh("orvkit lookup patient >&-").status, 1);
    EXPECT_EQ(sh("orvkit --help >/dev/full").status, 1);
}

TEST_F(CommandTest, MessagesNeverLandInAFileOfTheUsers) {
    ASSERT_EQ(sh("orvkit phantom p --size 16 --images 1 --series 1").status, 0);
    ASSERT_EQ(sh("orvkit convert p/SE000001/IM000001 a --to explicit").status, 0);
    ASSERT_EQ(sh("orvkit -v convert p/SE000001/IM000001 b --to explicit <&- >&- 2>&-").status, 0);
    EXPECT_EQ(contentOf(dir / "a"), contentOf(dir / "b"));
}

TEST_F(CommandTest, LookupTakesEverySpelling) {
    const struct {
        const char* query;
        const char* found;
    } rows[] = {
        {"0008,0016", "T_0008_0016_sopClassUid"},
        {"'(0008,0016)'", "T_0008_0016_sopClassUid"},
        {"00080016", "T_0008_0016_sopClassUid"},
        {"0x00080016", "T_0008_0016_sopClassUid"},
        {"8,16", "T_0008_0016_sopClassUid"},
        {"T_0008_0016_sopClassUid", "T_0008_0016_sopClassUid"},
        {"SOPClassUID", "T_0008_0016_sopClassUid"},
        {"PatientName", "T_0010_0010_patientsName"},
        {"patient name", "T_0010_0010_patientsName"},
        {"50xx,0005", "T_50xx_0005_curveDimension"},
        {"5002,0005", "(5002,0005)"},
        {"0010,0000", "UL"},
        {"1.2.840.10008.1.2.2", "Big Endian Explicit"},
        {"ct image", "1.2.840.10008.5.1.4.1.1.2 "},
        {"PN", "324 bytes"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = sh(std::string("orvkit lookup ") + row.query);
        EXPECT_EQ(outcome.status, 0) << row.query;
        EXPECT_TRUE(holds(outcome.out, row.found)) << row.query;
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(CommandTest, LookupPrintsJson) {
    const Outcome found = sh("orvkit lookup --json 0018,1620");
    EXPECT_EQ(found.status, 0);
    EXPECT_TRUE(holds(found.out, "\"tag\": \"00181620\""));
    EXPECT_TRUE(holds(found.out, "\"vr\": \"IS\""));
    const Outcome nothing = sh("orvkit lookup --json xyzzy");
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(nothing.out, "[]\n");
}

TEST_F(CommandTest, PhantomIsTheSameForTheSameSeed) {
    const char* same = "orvkit phantom %s --size 32 --images 3 --seed 7 >/dev/null; ";
    char script[512];
    std::string all;
    for (const char* name : {"a", "b"}) {
        std::snprintf(script, sizeof script, same, name);
        all += script;
    }
    ASSERT_EQ(sh(all + "orvkit phantom c --size 32 --images 3 --seed 8").status, 0);
    EXPECT_EQ(sh("diff -r a b").status, 0);
    EXPECT_NE(contentOf(dir / "a/SE000001/IM000001"), contentOf(dir / "c/SE000001/IM000001"));
    EXPECT_EQ(names("a"), (std::vector<std::string>{"SE000001", "SE000002"}));
    EXPECT_EQ(names("a/SE000002").size(), 3u);
}

TEST_F(CommandTest, PhantomShowsAHeadInAir) {
    ASSERT_EQ(sh("orvkit phantom p --size 64 --images 1 --series 1").status, 0);
    DcDirMetaInfo meta;
    DcElemList list;
    ASSERT_EQ(dirReadFile((dir / "p/SE000001/IM000001").c_str(), meta, list), 0);
    DcBuf pixels;
    ASSERT_EQ(list.getValue(T_7fe0_0010_pixelData, pixels), 0);
    ASSERT_EQ(pixels.getLen(), 64u * 64 * 2);
    const auto* values = static_cast<const unsigned short*>(pixels.getBuf());
    EXPECT_NEAR(values[0], 24, 30);               // air
    EXPECT_NEAR(values[32 * 64 + 32], 1062, 60);  // brain
    EXPECT_GT(values[3 * 64 + 32], 1500);         // skull
}

TEST_F(CommandTest, PhantomSaysWhereItCannotWrite) {
    const Outcome outcome = sh("touch file; orvkit phantom file/study");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "file/study"));
    EXPECT_EQ(outcome.out, "");
}

}  // namespace
}  // namespace tools_test
