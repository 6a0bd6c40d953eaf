// `orvkit serve --archive`: what was received is found again, whatever asks for it.
#include "tests/tools/command.h"
#include "tests/tools/raw_peer.h"

namespace tools_test {
namespace {

constexpr const char* kFind = "1.2.840.10008.5.1.4.1.2.2.1";

class ServeArchiveTest : public ArchiveTest {
  protected:
    void SetUp() override {
        ArchiveTest::SetUp();
        if (IsSkipped()) return;
        must(
            "orvkit phantom set/a --size 32 --images 3 --seed 1; orvkit phantom set/b --size 32 "
            "--images 2 --seed 2");
    }
    static std::string serving(const std::string& options = "") {
        return "results() { orvkit find $peer --json \"$@\" | grep -c '\"00080054\"'; }\n" +
               ArchiveTest::serving("--archive " + options);
    }
};

TEST_F(ServeArchiveTest, WhatWasReceivedIsFoundAtEveryLevelAlsoByTheNextServer) {
    const Outcome run = must(serving() + R"(
orvkit send $peer set >/dev/null || exit 2
study=$(orvkit dump --tag StudyInstanceUID set/a/SE000001/IM000001 | grep -o '[0-9.]*[0-9]' | tail -1)
results --root patient --level patient -k PatientName='PHAN*'
results --level study
results --level series -k StudyInstanceUID=$study
results --root patient --level study -k PatientID=NOBODY
results --level study -k StudyDate=garbage
results --level study -k StudyDate=-99999999
results --level study -k StudyDate=-99991231
results --level image --relational
results -k AccessionNumber='""'; results -k AccessionNumber='""' --empty-values
orvkit send $peer set/a/SE000001/IM000001 >/dev/null || exit 3
grep -c 'stored nothing: it is there as' log
stop; begin
results --level image --relational -k SOPClassUID=1.2.840.10008.5.1.4.1.1.2
orvkit find $peer -k StudyDate -k InstanceAvailability -k RetrieveAETitle --json | tr -d ' \n' |
  grep -o '"0008005[46]":{[^}]*}' | sort | uniq -c
orvkit find $peer --level series
echo $?
orvkit index rebuild in; echo $?
stop
orvkit index check in
ls -d in/??/??/*.dcm | wc -l)");
    EXPECT_EQ(run.out,
              "2\n2\n2\n0\n0\n0\n2\n10\n0\n2\n1\n10\n"
              "      2 \"00080054\":{\"vr\":\"AE\",\"Value\":[\"ORVKIT\"]}\n"
              "      2 \"00080056\":{\"vr\":\"CS\",\"Value\":[\"ONLINE\"]}\n"
              "1\n1\n10 files in the index, 0 faults, 0 of them mended\n10\n");
    EXPECT_TRUE(holds(run.err, "0xA900"));
    EXPECT_TRUE(holds(run.err, "another program is at work in this archive"));
}

TEST_F(ServeArchiveTest, ResultsAreBoundedAndPeersNeedTheRight) {
    const Outcome run =
        sh("printf 'BOTH\\nBLIND may store,echo\\n' >peers\n" + serving("--peers peers --max-results 3") + R"(
orvkit send $peer --aet BLIND set >/dev/null || exit 2
results --aet BOTH --level image --relational
orvkit find $peer --aet BLIND --level study
stop
for options in '--archive --file-set' '--max-results 2' '--index sqlite:x'; do
  orvkit serve other --port 0 $options; echo $?
done)");
    EXPECT_EQ(run.out, "3\n2\n2\n2\n") << log();
    EXPECT_TRUE(holds(run.err, "0xA700"));
    EXPECT_TRUE(holds(run.err, "0x0124"));
    EXPECT_TRUE(holds(run.err, "--file-set"));
}

TEST_F(ServeArchiveTest, WhatWasReceivedIsFetchedAlsoInOtherSyntaxesAndToOthers) {
    const Outcome run = sh(
        "printf 'BOTH\\nBLIND may store,find\\n' >peers\n"
        "orvkit convert set/a/SE000001/IM000001 rle.dcm --to rle 2>/dev/null && mv rle.dcm "
        "set/a/SE000001/IM000001\n"
        "'" ORVKIT_COMMAND
        "' serve mov --port 0 --no-sync --any-class 2>mlog & other=$!\n"
        "until grep -q 'listening on port' mlog; do sleep .02; done\n"
        "to=$(grep -o 'port [0-9]*' mlog | head -1 | cut -c6-)\n"
        "echo \"MOV at 127.0.0.1:$to\" >>peers\n" +
        serving(
            "--any-class --peers peers --log-json events --metrics counts --destination GONE=127.0.0.1:1") +
        R"(
orvkit send $peer --aet BOTH set >/dev/null || exit 2
study=$(orvkit dump --tag StudyInstanceUID set/a/SE000001/IM000002 | grep -o '[0-9.]*[0-9]' | tail -1)
ask() { orvkit $1 $peer --aet ${who:-BOTH} "${@:2}" -k StudyInstanceUID=$study; echo $?; }
ask get got; ls got | wc -l
ask move --dest MOV; ls mov | wc -l
one="--root instance -k SOPInstanceUID=$study.1.1"
orvkit get $peer --aet BOTH single $one; ls single | wc -l
orvkit move $peer --aet BOTH --dest MOV $one
orvkit get $peer --aet BOTH bare --without-bulk-data $one
orvkit dump bare/*.dcm | grep -c 'Little Endian Explicit'; orvkit dump bare/*.dcm | grep -c '^T_7fe0'
orvkit get $peer --aet BOTH none --root instance --level series -k SeriesInstanceUID=1; echo $?
ask move --dest NOBODY
ask move --dest GONE
who=BLIND ask get got
rm $(find in -name "$study.1.2.dcm")
ask get again; ls again | wc -l
printf x >$(find in -name "$study.1.3.dcm")
ask move --dest MOV
study=1.2.3 ask get none
study=1.2.3 ask move --dest GONE
LC_ALL=C sed 's/1.2.840.10008.5.1.4.1.1.2\x00/1.2.826.0.1.99999.9.9.9.9\x00/g' set/b/SE000001/IM000001 >own
orvkit send $peer --aet BOTH own >/dev/null; stop; begin
orvkit move $peer --aet BOTH --dest MOV --root instance -k SOPInstanceUID=1.3.6.1.4.1.70707.9.1.2.1.1.1
stop; grep -h '^orvkit_retr\|^orvkit_objects_sent' counts; grep -c '110104.*"objects":6,' events
kill $other; wait $other
for word in MOV MOV=x =h:1 MOV=h:0; do orvkit serve other --port 0 --archive --destination $word; echo $?; done)");
    EXPECT_EQ(run.out,
              "6 completed, 0 with a warning, 0 failed\n0\n6\n"
              "6 completed, 0 with a warning, 0 failed\n0\n6\n"
              "1 completed, 0 with a warning, 0 failed\n1\n"
              "1 completed, 0 with a warning, 0 failed\n"
              "1 completed, 0 with a warning, 0 failed\n1\n0\n"
              "0 completed, 0 with a warning, 0 failed\n1\n"
              "0 completed, 0 with a warning, 0 failed\n1\n"
              "0 completed, 0 with a warning, 6 failed\n1\n"
              "0 completed, 0 with a warning, 0 failed\n1\n"
              "5 completed, 0 with a warning, 1 failed\n1\n5\n"
              "4 completed, 0 with a warning, 2 failed\n1\n"
              "0 completed, 0 with a warning, 0 failed\n0\n"
              "0 completed, 0 with a warning, 0 failed\n0\n"
              "1 completed, 0 with a warning, 0 failed\n"
              "orvkit_retrievals_total 1\norvkit_objects_sent_total 1\n2\n2\n2\n2\n2\n")
        << run.err << log();
    for (const char* const status : {"0xA801", "0xA702", "0x0124", "0xB000"})
        EXPECT_TRUE(holds(run.err, status));
}

TEST_F(ServeArchiveTest, OfTlsItReachesDestinationsOverTlsWhomItTrusts) {
    const Outcome run =
        sh("orvkit tls make site one,127.0.0.1 >/dev/null 2>&1 || exit 3\n"
           "orvkit tls make other two,127.0.0.1 >/dev/null 2>&1\n"
           "secured() { echo --tls --tls-cert $1.pem --tls-key $1.key --tls-ca site/ca.pem; }\n"
           "listen() { '" ORVKIT_COMMAND
           "' serve $1 --port 0 --no-sync $(secured $2) --tls-client none 2>$1.log & other=\"$other $!\"\n"
           "until grep -q 'listening on port' $1.log; do sleep .02; done\n"
           "echo \"$3 at 127.0.0.1:$(grep -o 'port [0-9]*' $1.log | head -1 | cut -c6-)\" >>peers; }\n"
           "listen known site/one KNOWN; listen strange other/two STRANGE; echo USER >>peers\n" +
           serving("--peers peers --tls-no-verify $(secured site/one)") + R"(
orvkit send $peer $(secured site/one) --aet USER set/b >/dev/null || exit 2
study=$(orvkit dump --tag StudyInstanceUID set/b/SE000001/IM000001 | grep -o '[0-9.]*[0-9]' | tail -1)
for dest in KNOWN STRANGE; do
  orvkit move $peer $(secured site/one) --aet USER --dest $dest -k StudyInstanceUID=$study
done
stop; kill $other; wait $other
orvkit serve in --port 0 --archive --tls --tls-cert site/one.pem --tls-key site/one.key --tls-client none --peers peers
echo $?)");
    if (run.status == 3) GTEST_SKIP() << "TLS is left out";
    EXPECT_EQ(run.out,
              "4 completed, 0 with a warning, 0 failed\n0 completed, 0 with a warning, 4 failed\n2\n")
        << run.err << log();
    EXPECT_TRUE(holds(run.err, "where peers listen over TLS needs --tls-ca or --tls-pin"));
}

// What is noted as arriving, in front of its rows: new, there already, no object, and not even a file.
TEST_F(ServeArchiveTest, WhatAServerHadUnderWayIsFinishedByTheNextOne) {
    const Outcome run = must(serving() + R"(
orvkit send $peer set/a >/dev/null || exit 2
stop
folder=$(printf 'x%.0s' $(seq 220)) at=in/.orvkit-arriving
note="0%1%$folder%n=25=3dw.dcm"
begins=$(echo $note | cut -c1-200) goes=$(echo $note | cut -c201-)
mkdir -p in/0/1/$folder $at/$begins
cp set/b/SE000001/IM000001 "in/0/1/$folder/n%=w.dcm"
: >$at/$begins/+$goes
cp set/a/SE000001/IM000001 in/0/1/there.dcm; echo x >in/0/1/none.dcm
for name in there none gone; do : >$at/0%1%$name.dcm; done
echo outside >keep; : >$at/..%keep
ln $at/0%1%there.dcm $at/.orvkit-1-1.part
begin; results --level image --relational; stop
grep -o 'a server that was killed.*' log
find in/0 $at -type f | grep -o '[^/]*$'; cat keep
orvkit index check in)");
    EXPECT_EQ(run.out,
              "7\na server that was killed 1 objects are in the index now, and 2 that were there already, or "
              "are none, are removed\nn%=w.dcm\n..%keep\noutside\n7 files in the index, 0 faults, 0 of them "
              "mended\n");
}

TEST_F(ServeArchiveTest, AnotherObjectOfAnInstanceGoesByWhatWasChosenAndTheSameOneIsASuccess) {
    const Outcome run = must(serving() + R"(
one=set/a/SE000001/IM000001
LC_ALL=C sed 's/Phantom^Head/Phantom^Hear/' $one >other
orvkit send $peer $one >/dev/null || exit 2
stop
for how in keep reject replace both; do
  begin --on-duplicate $how
  orvkit send $peer $one >/dev/null || exit 3
  orvkit send $peer other >/dev/null; echo $how $? $(results --level image --relational)
  grep -c 'dcm has another PatientName' log
  find in -name '*.dcm' -exec grep -l 'Phantom^Hear' {} + | wc -l
  stop
done
rm in/*/*/*-2.dcm; begin; orvkit send $peer other >/dev/null; grep -c ' was gone' log; stop
orvkit index check in
for ruin in 'mkfifo $it' 'head -c -9 other >$it'; do
  it=$(find in -name '*.dcm' -exec grep -l 'Phantom^Hear' {} +); rm $it; eval "$ruin"
  begin; orvkit send $peer other >/dev/null; grep -c ' was damaged' log; stop; rm $it
done
orvkit index check in; ls -A in/.orvkit-arriving)");
    EXPECT_EQ(run.out,
              "keep 0 1\n1\n0\nreject 1 1\n1\n0\nreplace 0 1\n1\n1\nboth 0 2\n1\n1\n1\n"
              "2 files in the index, 0 faults, 0 of them mended\n1\n1\n"
              "2 files in the index, 0 faults, 0 of them mended\n");
    EXPECT_TRUE(holds(run.err, "0x0111"));
}

// Names of attributes, whatever these hold; what cannot be a layout is refused before anything is made.
TEST_F(ServeArchiveTest, FilesLieByAttributesUnderNamesThatAreSafe) {
    static constexpr struct {
        const char* value;  // of 12 bytes, for sed
        const char* path;
    } rows[] = {{"../../../etc", "_._.._.._etc/1.dcm"}, {"con.dicom   ", "_con.dicom/1.dcm"},
                {"            ", "none/1.dcm"},         {"a%b=c?d|e<f>", "a%b=c_d_e_f_/1.dcm"},
                {"end of it...", "end of it.._/1.dcm"}, {"Files.dcm   ", "Files.dcm_/1.dcm"},
                {"\\x01.bell\\x07     ", "_bell/1.dcm"}};
    std::string script =
        serving("--on-duplicate both") + "\nstop; begin --layout '{PatientName}/{0020,0013}.dcm'\n";
    for (const auto& row : rows)
        script += std::string("LC_ALL=C sed 's#Phantom^Head#") + row.value +
                  "#' set/a/SE000001/IM000001 >one; orvkit send $peer one >/dev/null || exit 2\n";
    std::string expected;
    for (const auto& row : rows) {
        script += std::string("ls 'in/") + row.path + "'\n";
        expected += std::string("in/") + row.path + "\n";
    }
    const Outcome run = sh(script + R"(
stop; begin --layout '{Modality}'; orvkit send $peer set/b/SE000001 >/dev/null || exit 3; stop
find in -name 'CT*' | sort
orvkit index rebuild in 2>/dev/null
orvkit index delete in -k StudyInstanceUID=$(orvkit dump --tag StudyInstanceUID one | grep -o '[0-9.]*[0-9]' | tail -1) |
  grep -o '[0-9]* instances'
orvkit index delete in --undo 1; orvkit index check in
# Others under the names of what is in a grave.
orvkit index delete in -k StudyInstanceUID=$(orvkit dump --tag StudyInstanceUID set/b/SE000001/IM000001 | grep -o '[0-9.]*[0-9]' | tail -1) >/dev/null
begin --layout '{Modality}'; orvkit send $peer set/b/SE000002 >/dev/null || exit 4; stop
orvkit index check in
for layout in '{PatientID}/' '/{PatientID}' '{PatientIdd}' '{PixelData}' '{PatientID' 'a}' '{TransferSyntaxUID}'; do
  orvkit serve none --archive --layout "$layout"; echo $?; done
orvkit serve none --layout a; echo $?; ls none)");
    expected +=
        "in/CT-2.dcm\nin/CT.dcm\n9 files in the index, 6 of them duplicates, 0 contradict others; 0 could "
        "not be read; 0 are no DICOM files\n7 instances\n7 files are back\n9 files in the index, 0 faults, "
        "0 of them mended\n9 files in the index, 0 faults, 0 of them mended\n2\n2\n2\n2\n2\n2\n2\n2\n";
    EXPECT_EQ(run.out, expected) << run.err << log();
    for (const char* const fault :
         {"ends in '/'", "in front of a '/' is empty", "did you mean PatientID?", "{PixelData} has no value",
          "{ stands alone", "} stands alone", "is not in the data set", "belong to --archive"})
        EXPECT_TRUE(holds(run.err, fault)) << fault;
}

TEST_F(ServeArchiveTest, AFullDiskRefusesObjectsAndKeepsWhatItHas) {
    if (sh("mkdir in && mount -t tmpfs -o size=1500k none in && umount in").status != 0)
        GTEST_SKIP() << "no small file system can be mounted";
    const Outcome run = must("mount -t tmpfs -o size=1500k none in; trap 'umount in' EXIT\n" + serving() + R"(
orvkit phantom big --size 256 --images 10 --seed 3 >/dev/null
orvkit send $peer big >/dev/null && exit 2
stored=$(results --level image --relational); refused=$(grep -c 'status 0xA700' log)
[ $stored -gt 0 -a $refused -gt 0 ] && echo $((stored + refused))
stop; begin
[ $(results --level image --relational) = $stored ] && orvkit index check in >/dev/null && echo agree
mount -o remount,size=30m in
orvkit send $peer big >/dev/null; results --level image --relational
stop; orvkit index check in)");
    EXPECT_EQ(run.out, "20\nagree\n20\n20 files in the index, 0 faults, 0 of them mended\n");
}

class RawArchiveTest : public ServeArchiveTest {
  protected:
    void SetUp() override {
        ServeArchiveTest::SetUp();
        if (IsSkipped()) return;
        begin("--archive --destination GONE=127.0.0.1:1");
        must("orvkit send " + peer() + " set");
    }
    static Bytes level(const std::string& name) {
        return element(0x00080052, bytesOf(name + (name.size() % 2 != 0 ? " " : "")));
    }
};

TEST_F(RawArchiveTest, HostileIdentifiersAreAnsweredAndTheAssociationGoesOn) {
    RawPeer peer(port);
    ASSERT_TRUE(peer.associate(kFind));
    using Statuses = std::vector<unsigned int>;
    std::string uids = "1.2";
    for (int i = 0; i < 10000; ++i) uids += "\\1.2." + std::to_string(i);
    const std::string stars(64, '*');
    Bytes nested = element(0x00080060, bytesOf("CT"));
    for (int i = 0; i < 100; ++i) nested = element(0x00400275, element(0xFFFEE000, nested));
    const std::vector<Asked> cases = {
        {"no level", element(0x00100010, bytesOf("A*")), {0xA900}},
        {"a level of another model", level("PATIENT"), {0xA900}},
        {"a level that is none", level("'; DROP"), {0xA900}},
        {"no unique key above", level("SERIES"), {0xA900}},
        {"a key that is not known there",
         joined({level("STUDY"), element(0x00280010, {})}),
         {0xFF01, 0xFF01, 0}},
        {"wild cards", joined({level("STUDY"), element(0x00100010, bytesOf(stars + "x"))}), {0}},
        {"quotes", joined({level("STUDY"), element(0x00100020, bytesOf("x' OR '1'='1"))}), {0}},
        {"quotes that ask for nothing", joined({level("STUDY"), element(0x00080050, bytesOf("\"\""))}), {0}},
        {"a list of UIDs", joined({level("STUDY"), element(0x0020000D, uidValue(uids))}), {0}},
        {"no text", joined({level("STUDY"), element(0x00100010, Bytes(64, 0xFF))}), {0}},
        {"nested keys", joined({level("STUDY"), nested}), {0xA900}},
        {"all of it", level("STUDY"), {0xFF00, 0xFF00, 0}}};
    expectAnswers(peer, kFind, cases, "1.2.840.10008.5.1.4.1.2.1.1", level("STUDY"));
    // Cancelled too late, and what was not asked for.
    ASSERT_TRUE(peer.say(joined({cancel(), find(level("STUDY"), kFind), cancel(8)})));
    EXPECT_EQ(answers(peer), (Statuses{0xFF00, 0xFF00, 0}));
    // Something else while a request is answered.
    ASSERT_TRUE(peer.say(joined({find(level("STUDY"), kFind), find(level("STUDY"), kFind)})));
    Bytes last;
    for (Bytes heard = peer.hear(); !heard.empty(); heard = peer.hear()) last = heard;
    EXPECT_EQ(last.empty() ? 0 : last[0], PDU_TYPE_ABORT);
}

// The value of a count in a response; -1 without it.
int countIn(const Bytes& response, unsigned int tag) {
    const Bytes head = element(tag, {0, 0});
    const auto at = std::search(response.begin(), response.end(), head.begin(), head.end() - 2);
    return response.end() - at < 10 ? -1 : at[8] | at[9] << 8;
}

TEST_F(RawArchiveTest, AMoveAccountsForEachObjectAndEndsWhenItIsCancelled) {
    constexpr const char* kMove = "1.2.840.10008.5.1.4.1.2.1.2";  // patient root
    RawPeer peer(port);
    ASSERT_TRUE(peer.associate(kMove));
    const Bytes keys = joined({level("PATIENT"), element(0x00100020, bytesOf("PHANTOM-1 "))});
    const auto moved = [&](const Bytes& more) {
        const Bytes asked = command(request(0x0021, kMove).elem(0x00000600, "", "GONE"));
        EXPECT_TRUE(peer.say(joined({asked, inPieces(keys), more})));
        Bytes last;
        do last = peer.hear();
        while (!last.empty() && statusIn(last) == 0xFF00);
        return last;
    };
    const Bytes failed = moved({});
    EXPECT_EQ(statusIn(failed), 0xA702u);
    EXPECT_EQ(countIn(failed, 0x00001020), -1);
    EXPECT_EQ(countIn(failed, 0x00001021), 0);
    EXPECT_EQ(countIn(failed, 0x00001022), 6);
    EXPECT_EQ(countIn(failed, 0x00001023), 0);
    const Bytes list = statusIn(failed) == 0xA702 && countIn(failed, 0x00080058) < 0 ? peer.hear() : failed;
    const std::string text(list.begin(), list.end());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\\'), 5) << "of six UIDs";
    const Bytes cancelled = moved(cancel());
    EXPECT_EQ(statusIn(cancelled), 0xFE00u);
    EXPECT_EQ(countIn(cancelled, 0x00001020), 6);
}

TEST_F(RawArchiveTest, InstancesAreRetrievedWithoutTheirStudyWhereThatWasAgreedOn) {
    const Bytes keys =
        joined({level("IMAGE"), element(0x00080018, uidValue("1.3.6.1.4.1.70707.9.1.1.1.1.1"))});
    const std::pair<const char*, unsigned int> models[] = {{"1.2.840.10008.5.1.4.1.2.1.2", 0x0021},
                                                           {"1.2.840.10008.5.1.4.1.2.1.3", 0x0010},
                                                           {"1.2.840.10008.5.1.4.1.2.2.2", 0x0021},
                                                           {"1.2.840.10008.5.1.4.1.2.2.3", 0x0010}};
    for (const auto& [model, field] : models) {
        for (const unsigned char relational : Bytes{0, 1}) {
            RawPeer peer(port);
            const Bytes uid = bytesOf(model);
            const auto length = static_cast<unsigned char>(uid.size());
            ASSERT_TRUE(peer.associate(model, item(0x56, joined({{0, length}, uid, {relational}}))));
            Stream asked = request(field, model);
            if (field == 0x0021) asked.elem(0x00000600, "", "GONE");
            ASSERT_TRUE(peer.say(joined({command(asked), inPieces(keys)})));
            const Bytes answer = peer.hear();
            EXPECT_EQ(statusIn(answer), relational == 0 ? 0xA900u : 0xA702u) << model;
            EXPECT_EQ(countIn(answer, 0x00001022), relational) << model;
        }
    }
}

}  // namespace
}  // namespace tools_test
