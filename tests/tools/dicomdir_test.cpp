// orvkit dicomdir and orvkit media: folders of files become file sets that say what is in them.
#include <map>
#include <nlohmann/json.hpp>

#include "orvkit/dicomdir.h"
#include "orvkit/edition.h"
#include "orvkit/sequence.h"
#include "tests/media/sample_files.h"
#include "tests/tools/command.h"

namespace tools_test {
namespace {

using nlohmann::json;

class DicomdirTest : public CommandTest {
  protected:
    using Keys = std::map<unsigned int, std::string>;

    // What every composite instance has.
    static Keys composite(const std::string& instance) {
        return {{T_0008_0018_sopInstanceUid, "1.2.3." + instance},
                {T_0008_0020_studyDate, "20240115"},
                {T_0008_0030_studyTime, "101500"},
                {T_0008_0060_modality, "OT"},
                {T_0010_0010_patientsName, "Doe^Jane"},
                {T_0010_0020_patientId, "JANE"},
                {T_0020_000d_studyInstanceUid, "1.2.3"},
                {T_0020_000e_seriesInstanceUid, "1.2.4"},
                {T_0020_0010_studyId, "1"},
                {T_0020_0011_seriesNumber, "1"},
                {T_0020_0013_instanceNumber, "1"}};
    }
    // Writes a file; an empty text leaves the element out.
    void make(const fs::path& name, const Keys& keys, DcElemList& list,
              DICT_UID sopClass = UID_SC_IMAGE_STORAGE) const {
        list.add(new DcElem(T_0008_0016_sopClassUid, sopClass));
        for (const auto& [tag, text] : keys) {
            if (!text.empty()) list.add(new DcElem(tag, text.c_str()));
        }
        fs::create_directories((dir / name).parent_path());
        writeFile(dir / name, list, UID_LITTLE_ENDIAN_EXPLICIT, false);
    }
    void make(const fs::path& name, const Keys& keys, DICT_UID sopClass = UID_SC_IMAGE_STORAGE) const {
        DcElemList list;
        make(name, keys, list, sopClass);
    }
    Outcome phantom(const char* more = "") const {
        return sh(std::string("orvkit phantom set --size 32 --images 2 ") + more +
                  " && orvkit dicomdir make set");
    }
    json list(const char* set = "set") const {
        return json::parse(sh(std::string("orvkit dicomdir list --json ") + set).out);
    }
};

void countTypes(const json& records, std::map<std::string, int>& counts) {
    for (const json& record : records) {
        ++counts[record["type"]];
        if (record.contains("children")) countTypes(record["children"], counts);
    }
}

TEST_F(DicomdirTest, TheFolderOfANewSetIsMade) {
    must("orvkit phantom study --size 16 --images 1; orvkit dicomdir make deep/set --copy-from study");
    must("orvkit dicomdir check deep/set");
    EXPECT_EQ(sh("touch file; orvkit dicomdir make file").status, 1);
    EXPECT_EQ(sh("orvkit dicomdir update missing").status, 2) << "only a new set has no folder";
}

TEST_F(DicomdirTest, APhantomStudyIsListedAndFoundWhole) {
    EXPECT_TRUE(holds(phantom().out, "patients 1, studies 1, series 2, files 4\n"));
    const Outcome listed = sh("orvkit dicomdir list set");
    EXPECT_EQ(listed.out,
              "PATIENT  Phantom^Head  PHANTOM-1\n"
              "  STUDY  20240115  101500  Synthetic head CT  1\n"
              "    SERIES  CT  1\n"
              "      IMAGE  1  SE000001\\IM000001\n"
              "      IMAGE  2  SE000001\\IM000002\n"
              "    SERIES  CT  2\n"
              "      IMAGE  1  SE000002\\IM000001\n"
              "      IMAGE  2  SE000002\\IM000002\n");
    const Outcome checked = must("orvkit dicomdir check set");
    EXPECT_TRUE(holds(checked.out, "records 8, files 4, no findings"));
    EXPECT_EQ(names("set"), (std::vector<std::string>{"DICOMDIR", "SE000001", "SE000002"}));
}

// Every class of the registry that is stored below patients, with what no record is made up from.
TEST_F(DicomdirTest, EveryStorageClassHasItsRecord) {
    std::map<std::string, int> counts, expected{{"PATIENT", 1}, {"STUDY", 1}, {"SERIES", 1}};
    DcDictUidEntry entry;
    for (std::size_t i = 0; dictGetUidEntryAt(i, entry) == 0; ++i) {
        if (entry.value > 210 || entry.storage != DICT_STORAGE_PATIENT) continue;
        Keys keys = composite(std::to_string(i + 10));
        for (const unsigned int tag :
             {0x00080008u, 0x00280008u, 0x00280010u, 0x00280011u, 0x00289001u, 0x00289002u, 0x0040A491u,
              0x0040A493u, 0x00420012u, 0x00700080u, 0x3004000Au, 0x30060002u, 0x300A0002u})
            keys[tag] = "1";
        keys[T_0070_0082_presentationCreationDate] = "20240115";
        keys[T_0070_0083_presentationCreationTime] = "101500";
        DcElemList list;
        auto* name = new DcElemSq(T_0040_a043_conceptNameCodeSequence);
        list + &(*name + &(*new DcElemSqItem + new DcElem(T_0008_0100_codeValue, "1")));
        make("set/F" + std::to_string(i), keys, list, entry.value);
        ++expected[entry.directoryRecord];
    }
    must("orvkit dicomdir make set; orvkit dicomdir check set");
    countTypes(list()["records"], counts);
    EXPECT_EQ(counts, expected);
}

TEST_F(DicomdirTest, KeysThatMustBeThereAreMadeUpOrTheFileIsLeftOut) {
    Keys keys = composite("1");
    keys[T_0010_0020_patientId] = keys[T_0008_0020_studyDate] = keys[T_0020_0013_instanceNumber] = "";
    keys[T_0008_0021_seriesDate] = "20230708";
    make("set/A", keys);
    keys[T_0008_0018_sopInstanceUid] = "1.2.3.2";
    make("set/B", keys);
    keys[T_0008_0018_sopInstanceUid] = "1.2.3.3";
    keys[T_0020_000d_studyInstanceUid] = "";
    make("set/C", keys);
    make("set/D", composite("1"));
    keys = composite("4");
    keys[T_0008_0060_modality] = "";
    make("set/E", keys);
    std::ofstream(dir / "set/README.txt") << "no DICOM file";
    const Outcome made = sh("orvkit dicomdir make set");
    EXPECT_EQ(made.status, 1);
    EXPECT_TRUE(holds(made.err, "set/A: made up for it: patientId (0010,0020) ORV"));
    EXPECT_TRUE(holds(made.err, "studyDate (0008,0020) 20230708, instanceNumber (0020,0013) 1\n"));
    EXPECT_TRUE(holds(made.err, "set/C: there is no studyInstanceUid (0020,000D)"));
    EXPECT_TRUE(holds(made.err, "set/E: there is no modality (0008,0060)"));
    EXPECT_TRUE(holds(made.err, "set/D: SOP instance 1.2.3.1 is in the file set already"));
    EXPECT_TRUE(
        holds(made.out, "patients 1, studies 1, series 1, files 2; DICOM files left out: 3; other files: 1"));
    const json first = list();
    ASSERT_EQ(sh("orvkit dicomdir make set").status, 1);
    EXPECT_EQ(list(), first) << "made up differently";
    must("rm set/C set/D set/E; orvkit dicomdir check set");
}

TEST_F(DicomdirTest, UpdatesAndRemovals) {
    phantom();
    must(
        "mv set/SE000001 kept && orvkit dicomdir update set --prune && mv kept set/SE000003 && "
        "orvkit dicomdir update set && orvkit dicomdir check set");
    const Outcome unknown = sh("orvkit dicomdir remove set SE000002/IM000001 NONE");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_TRUE(holds(unknown.err, "NONE: no record references it; nothing was changed"));
    must("orvkit dicomdir remove set SE000002/IM000001 'SE000002\\IM000002' --delete");
    EXPECT_EQ(names("set/SE000002"), std::vector<std::string>());
    EXPECT_EQ(list()["records"][0]["children"][0]["children"].size(), 1U) << "the empty series stayed";
}

TEST_F(DicomdirTest, ChecksFindWhatIsWrong) {
    struct Case {
        const char* change;  // a script
        const char* finding;
    };
    const Case cases[] = {
        {"rm set/SE000001/IM000002", "SE000001\\IM000002: there is no such file"},
        {"cp set/SE000001/IM000001 set/SE000001/IM000002",
         "SOP instance is 1.3.6.1.4.1.70707.9.1.1.1.1.1, in its"},
        {"cp set/SE000001/IM000001 set/NEW", "NEW: is a DICOM file that no record references"},
        {"mv set/SE000002/IM000001 x; ln -s ../../x set/SE000002/IM000001", "leads out of the file set"},
        {"sed -i 's/SE000001.IM000001/..\\\\SET001\\\\IM00001/' set/DICOMDIR", "leads out of the file set"},
        {"sed -i 's/SE000001.IM000001/SE000001\\\\IM000002/' set/DICOMDIR",
         "referenced by more than one record"},
        {"truncate -s 1500 set/DICOMDIR", "findings"}};
    for (const Case& c : cases) {
        must("rm -rf set x");
        phantom();
        ASSERT_EQ(sh(c.change).status, 0) << c.change;
        const Outcome checked = sh("orvkit dicomdir check set");
        EXPECT_EQ(checked.status, 1) << c.change;
        EXPECT_TRUE(holds(checked.out, c.finding)) << c.change;
    }
    EXPECT_EQ(sh("mkdir empty; orvkit dicomdir check empty").status, 1);
}

TEST_F(DicomdirTest, ADirectoryInImplicitVrIsReadAndTold) {
    if (samplesDirectory() == nullptr) GTEST_SKIP() << "no samples";
    phantom();
    fs::copy_file(samplePath("dicomdir/variants/dicomdir_implicit"), dir / "set/DICOMDIR",
                  fs::copy_options::overwrite_existing);
    const char* const told = "=orvkit: set/DICOMDIR: directory in implicit VR\n";
    expectSaid(
        {{"orvkit dump --keywords set/DICOMDIR | grep -c DirectoryRecordType", 0, "52\n", told},
         {"orvkit dicomdir list set | wc -l", 0, "52\n", told},
         {"orvkit dicomdir check set", 1, "records 52, files 31, findings 36", told},
         {"orvkit dicomdir update set >update && orvkit dicomdir list set 2>&1 | wc -l", 0, "60\n", told}});
    EXPECT_TRUE(holds(contentOf((dir / "set/DICOMDIR").string()), "1.2.840.10008.1.2.1"));
}

// A DICOMDIR from elsewhere may name any file.
TEST_F(DicomdirTest, NothingOutsideTheRootIsTouched) {
    phantom();
    const char* const script =
        "mkdir SET001; cp set/SE000001/IM000001 SET001/IM00001; sed -i "
        "'s/SE000001.IM000001/..\\\\SET001\\\\IM00001/' set/DICOMDIR";
    must(script);
    EXPECT_TRUE(holds(sh("orvkit dicomdir remove set '..\\SET001\\IM00001' --delete").err, "is not deleted"));
    EXPECT_EQ(sh("orvkit media write set ../SET001/NEW set/SE000001/IM000001").status, 1);
    EXPECT_EQ(names("SET001"), std::vector<std::string>{"IM00001"});
}

TEST_F(DicomdirTest, TheOldDicomdirStaysWhenTheNewOneCannotBeWritten) {
    phantom();
    const std::string old = contentOf(dir / "set/DICOMDIR");
    must("orvkit phantom set --size 32 --images 9");
    const Outcome failed = sh("ulimit -f 1; orvkit dicomdir update set");
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(holds(failed.err, "it is as it was before"));
    EXPECT_EQ(contentOf(dir / "set/DICOMDIR"), old);
    EXPECT_EQ(names("set").size(), 3U) << "a part of the new one was left";
}

TEST_F(DicomdirTest, FilesInTheMakingAreNobodysAndGoWithTheirMaker) {
    phantom();
    const auto leave = [this](const char* name) {
        fs::copy_file(dir / "set/SE000001/IM000001", dir / "set" / name);
    };
    leave(".orvkit-1-1.part");
    leave("SE000001/.orvkit-1-2.part");
    leave(".orvkit-received");  // what a server has noted is no such file
    must("orvkit dicomdir check set");
    EXPECT_FALSE(holds(sh("orvkit dump set/SE000001").out, ".part"));
    EXPECT_TRUE(holds(sh("mkdir other; orvkit dicomdir make --copy-from set other").out, "files 4\n"));
    must("exec 9<set/.orvkit-1-1.part; flock 9; orvkit dicomdir update set");
    EXPECT_EQ(names("set"), (std::vector<std::string>{".orvkit-1-1.part", ".orvkit-received", "DICOMDIR",
                                                      "SE000001", "SE000002"}));
    must("orvkit dicomdir remove set SE000001/IM000002");
    EXPECT_EQ(names("set").size(), 4U);
    EXPECT_EQ(names("set/SE000001").size(), 2U);
}

TEST_F(DicomdirTest, AFileSetHasOneWriterAtATime) {
    phantom();
    must("cp set/SE000001/IM000001 new");
    const std::string old = contentOf(dir / "set/DICOMDIR");
    for (const char* const command :
         {"dicomdir make set", "dicomdir update set --id OTHER", "dicomdir remove set SE000001/IM000001",
          "media write set NEW new", "media delete set SE000001/IM000001"}) {
        const Outcome second = sh("exec 9<set; flock 9; orvkit " + std::string(command));
        EXPECT_EQ(second.status, 1) << command;
        EXPECT_TRUE(holds(second.err, "set: another program is at work in this file set")) << command;
        EXPECT_EQ(contentOf(dir / "set/DICOMDIR"), old) << command;
    }
    must("exec 9<set; flock 9; orvkit dicomdir list set && orvkit dicomdir check set");
}

TEST_F(DicomdirTest, MediaServicesFollowTheRole) {
    phantom();
    must("orvkit phantom more --size 32 --seed 2 --images 1 --series 1; mv more/*/* new");
    must("orvkit media --role reader read set SE000001/IM000001 out && cmp out set/SE000001/IM000001");
    const Outcome refused = sh("orvkit media --role reader write set NEW new");
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(holds(refused.err, "does not have M-WRITE permission"));
    EXPECT_FALSE(fs::exists(dir / "set/NEW"));
    must("orvkit media --role creator write set NEW new && cmp set/NEW new && orvkit dicomdir check set");
    EXPECT_TRUE(holds(sh("orvkit media inquire-file set NEW").out, "modified  20"));
    must("orvkit media delete set NEW && orvkit dicomdir check set && test ! -e set/NEW");
}

}  // namespace
}  // namespace tools_test
