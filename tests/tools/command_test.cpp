// Usage, exit statuses, standard output and standard error of the command as a whole; lookup; phantom.
#include "tests/tools/command.h"

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
        {"orvkit phantom ''", 2, false, true},
        {"orvkit dump --nonsense 2>&1 | grep nonsense", 0, true, false},
        {"orvkit dicomdir nonsense 2>&1 | grep nonsense", 0, true, false},
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

TEST_F(CommandTest, DumpEndsOnAStreamWithoutEnd) {
    const Outcome outcome = sh("ulimit -t 20; orvkit dump /dev/zero; yes | orvkit dump /dev/stdin");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "/dev/zero: "));
    EXPECT_TRUE(holds(outcome.err, "/dev/stdin: not a DICOM file"));
    EXPECT_LT(outcome.residentKb, 200000);
}

TEST_F(CommandTest, DumpTellsOfElementsThatComeAgain) {
    ASSERT_EQ(sh("orvkit phantom p --size 16 --images 1 --series 1").status, 0);
    std::string bytes = contentOf(dir / "p/SE000001/IM000001");
    bytes.replace(bytes.find(std::string("\x10\0\x20\0LO", 6)), 6, std::string("\x10\0\x10\0LO", 6));
    std::ofstream(dir / "twice", std::ios::binary) << bytes;
    const Outcome outcome = sh("orvkit dump twice");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "1 element comes again further on"));
}

TEST_F(CommandTest, ALimitOnFileSizesIsAFailureOfWriting) {
    const Outcome outcome = sh("ulimit -f 4; orvkit phantom p --size 64 --images 1 --series 1");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "IM000001"));
    EXPECT_TRUE(names("p/SE000001").empty());
}

TEST_F(CommandTest, LookupTakesEverySpelling) {
    const struct {
        const char* query;
        const char* found;
    } rows[] = {
        {"0008,0016", "T_0008_0016_sopClassUid"},
        {"00080016", "T_0008_0016_sopClassUid"},
        {"8,16", "T_0008_0016_sopClassUid"},
        {"T_0008_0016_sopClassUid", "T_0008_0016_sopClassUid"},
        {"SOPClassUID", "T_0008_0016_sopClassUid"},
        {"PatientName", "T_0010_0010_patientsName"},
        {"patient name", "T_0010_0010_patientsName"},
        {"50xx,0005", "T_50xx_0005_curveDimension"},
        {"5002,0005", "(5002,0005)"},
        {"1.2.840.10008.1.2.2", "Big Endian Explicit"},
        {"PN", "324 bytes"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = sh(std::string("orvkit lookup ") + row.query);
        EXPECT_EQ(outcome.status, 0) << row.query;
        EXPECT_TRUE(holds(outcome.out, row.found)) << row.query;
        EXPECT_EQ(outcome.err, "");
    }
}

TEST_F(CommandTest, PhantomIsTheSameForTheSameSeed) {
    const Outcome outcome =
        sh("for p in a b; do orvkit phantom $p --size 32 --images 3 --seed 7; done; "
           "orvkit phantom c --size 32 --images 3 --seed 8; diff -r a b && ! diff -rq a c");
    EXPECT_EQ(outcome.status, 0) << outcome.out;
    EXPECT_EQ(names("a"), (std::vector<std::string>{"SE000001", "SE000002"}));
    EXPECT_EQ(names("a/SE000002").size(), 3u);
}

}  // namespace
}  // namespace tools_test
