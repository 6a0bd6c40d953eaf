// orvkit index: an archive's index is made of its files, agrees with them, and answers.
#include "tests/tools/command.h"

namespace tools_test {
namespace {

class IndexCommandTest : public CommandTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        if (IsSkipped()) return;
        if (holds(sh("orvkit index").err, "left out")) GTEST_SKIP() << "the index is left out";
        must(
            "orvkit phantom set --size 32 --images 3 --seed 1; orvkit phantom set/b --size 32 "
            "--images 2 --seed 2; echo text > set/notes.txt");
    }
    // Runs steps in order: what each exits with, and holds in either of its outputs.
    struct Step {
        const char* script;
        int status;
        const char* text;
    };
    void run(std::initializer_list<Step> steps) const {
        for (const Step& step : steps) {
            const Outcome outcome = sh(step.script);
            EXPECT_EQ(outcome.status, step.status) << step.script << "\n" << outcome.out << outcome.err;
            EXPECT_TRUE(holds(outcome.out + outcome.err, step.text)) << step.script;
        }
    }
};

TEST_F(IndexCommandTest, IsMadeOfFilesAndAgreesWithThem) {
    run({{"orvkit index find set", 1, "there is no index"},
         {"orvkit index rebuild set", 0, "10 files in the index, 0 of them duplicates"},
         {"orvkit index rebuild set", 0, "1 are no DICOM files"},
         {"orvkit index check set", 0, "10 files in the index, 0 faults"},
         {"orvkit index verify set --json", 0, "\"faults\": []"},
         {"orvkit index stats set", 0, "instances: 10"},
         {"orvkit index stats --json set", 0, "\"series\": 4"},
         {"orvkit index copy sqlite:set/.orvkit-index.sqlite sqlite:other", 0,
          "10 instances copied: 10 there, 10 here"},
         {"orvkit index copy sqlite:set/.orvkit-index.sqlite sqlite:other", 0,
          "0 instances copied: 10 there"},
         {"orvkit index find set --index sqlite:other", 0, "Phantom^Head"},
         {"orvkit index copy sqlite:none sqlite:fresh || test -e fresh", 1, "there is no index"},
         {"orvkit index copy sqlite:other sqlite:other", 2, "not copied into itself"},
         {"orvkit index find set", 0, "Phantom^Head"},
         {"orvkit index find set -k PatientName='PHAN*' --level series --json", 0, "\"Head, bone\""},
         {"orvkit index find set -k StudyDate=19990101", 0, ""},
         {"orvkit index find set --level image --max-results 3", 1, "--max-results"},
         // A file whose program ended before its rows were written, one that is gone, and one that was
         // changed.
         {"cp set/SE000001/IM000001 keep; orvkit index rebuild set; mkdir new; mv set/SE000001/IM000001 "
          "set/new.dcm; rm set/SE000001/IM000002; echo >>set/SE000001/IM000003; orvkit index check set",
          1, "new.dcm: it is not in the index"},
         {"orvkit index check set", 1, "SE000001/IM000002: the file of instance"},
         {"orvkit index check set", 1, "SE000001/IM000003: its size is"},
         {"orvkit index check set", 1, "4 faults, 0 of them mended"},
         {"orvkit index check set --repair", 0, "4 faults, 4 of them mended"},
         {"orvkit index check set", 0, "9 files in the index, 0 faults"},
         {"orvkit index verify set", 0, ""},
         {"cp keep set/again.dcm; orvkit index rebuild set", 0, "the same instance as"},
         // The second of two; a folder that cannot be looked at.
         {"echo >>set/again.dcm; orvkit index check set --repair && orvkit index check set", 0, " 0 faults"},
         {"mv set/SE000002 away; ln -s SE000002 set/SE000002; orvkit index check set --repair", 1,
          " 0 of them mended"},
         {"rm set/SE000002; mv away set/SE000002; orvkit index check set", 0, " 0 faults"}});
}

TEST_F(IndexCommandTest, WhatIsDeletedComesBackUntilItsGraveIsEmptied) {
    run({{"orvkit index rebuild set", 0, ""},
         {"orvkit index delete set -k SeriesInstanceUID=1.2.3", 1, "nothing is selected"},
         {"orvkit index find set --level series --json >before; uid=$(orvkit index find set --level series "
          "-k PatientID=PHANTOM-1 | awk 'NR == 2 {print $NF}'); orvkit index delete set --level series -k "
          "SeriesInstanceUID=$uid",
          0, "grave 1: 3 instances"},
         {"orvkit index stats set", 0, "instances: 7"},
         {"orvkit index copy sqlite:set/.orvkit-index.sqlite sqlite:other", 1,
          "1 deletions can still be undone"},
         {"orvkit index check set", 0, "7 files in the index, 0 faults"},
         {"orvkit index delete set", 0, "grave 1: 3 instances"},
         {"find set/.orvkit-grave -type f | wc -l", 0, "3"},
         {"orvkit index delete set --undo 2", 1, "there is no grave 2"},
         {"orvkit index delete set --undo 1 && orvkit index check set", 0, "10 files in the index, 0 faults"},
         {"orvkit index find set --level series --json | sort >after; sort before | cmp - after", 0, ""},
         {"orvkit index delete set -k PatientID=PHANTOM-1 --root patient --level patient", 0, "grave 2: "},
         // The program ends between rows and files: the next one brings it to its end.
         {"f=$(cd set/.orvkit-grave/2; find . -type f | head -1); mkdir -p set/$(dirname $f); mv "
          "set/.orvkit-grave/2/$f set/$f; orvkit index check set && ! test -e set/$f",
          0, " 0 faults"},
         {"orvkit index delete set --empty 2; orvkit index delete set --undo 2", 1, "there is no grave 2"},
         {"orvkit index rebuild set", 0, ""}});
}

TEST_F(IndexCommandTest, WhatCannotBeUsedIsToldByName) {
    run({{"orvkit index rebuild set --index sqlite:x.db && orvkit index stats set --index sqlite:x.db", 0,
          "instances"},
         {"orvkit index find set --index mysql:x", 1, "mysql:x: no such place for an index"},
         {"head -c 5000 /dev/zero | tr '\\0' x >x.db; orvkit index find set --index sqlite:x.db", 1,
          "orvkit index rebuild"},
         {"orvkit index find set -k NoSuchKey=1", 2, "NoSuchKey"},
         {"orvkit index check nowhere", 2, "nowhere"}});
}

}  // namespace
}  // namespace tools_test
