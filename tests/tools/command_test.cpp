// Usage, exit statuses, standard output and standard error of the command as a whole; lookup; phantom.
#include "tests/tools/command.h"

namespace tools_test {
namespace {

TEST_F(CommandTest, ExitStatusTellsUsageFromFailure) {
    expectSaid({{"orvkit --version", 0, "orvkit", ""},
                {"orvkit --help", 0, "Options:", ""},
                {"orvkit", 2, "", "A subcommand is required"},
                {"orvkit nonsense", 2, "", "nonsense"},
                {"orvkit lookup --nonsense PN", 2, "", "nonsense"},
                {"orvkit convert in out --to gif", 2, "", "gif"},
                {"orvkit phantom p --size 0", 2, "", "size"},
                {"orvkit dump --nonsense 2>&1 | grep nonsense", 0, "nonsense", ""},
                {"orvkit convert missing out --to big", 1, "", "missing"},
                // What a terminal would obey is told as escapes.
                {"orvkit $'\\e[2Jx\\nY'", 2, "", "expected: \\x1b[2Jx\\nY\n"},
                {"orvkit $'dum\\ep'", 2, "", "dum\\x1bp; did you mean dump?"},
                {"orvkit dump $'no\\tfile\\e'", 1, "", "no\\tfile\\x1b"},
                {"orvkit lookup 0009,1234", 1, "", "0009,1234"},
                {"ORVKIT_EDITION=1999 orvkit lookup PN", 2, "", "1999"}});
    EXPECT_TRUE(names().empty());
}

TEST_F(CommandTest, AMisspeltWordIsToldWithTheNearestOne) {
    expectSaid({{"orvkit dmup x", 2, "", "dmup; did you mean dump?"},
                {"orvkit dicomdir udpate x", 2, "", "udpate; did you mean update?"},
                {"orvkit dump --Jsn x", 2, "", "--Jsn; did you mean --json?"},
                {"orvkit send h 1 f --conect-timeout=3", 2, "", "did you mean --connect-timeout?"},
                {"orvkit dump --tag PatentName x", 2, "", "; did you mean PatientName?"},
                {"orvkit lookup PatientNmae", 1, "", "; did you mean PatientName?"}});
    // Nothing is near these.
    for (const char* script : {"orvkit nonsense", "orvkit dump --nonsense x", "orvkit dump --tag zzz x",
                               "orvkit lookup 0010,001G", "orvkit lookup qqqqqqqq"})
        EXPECT_EQ(sh(script).err.find("did you mean"), std::string::npos) << script;
}

// What the help of a command lists, each name a line: its options, and its subcommands.
constexpr const char* listed = R"sh(
options() { orvkit "$@" --help | sed -n '/^Options:/,/^$/p' | grep -oE '^  -[^ ]+' | tr -d ' ' | tr , '\n'; }
subcommands() { orvkit "$@" --help | sed '1,/^Options:/d' | grep -oE '^  [a-z][-a-z]+ ' | tr -d ' '; }
all() { for c in $(subcommands); do echo "$c"; for s in $(subcommands "$c"); do echo "$c $s"; done; done; }
)sh";

TEST_F(CommandTest, ThePressOfATabOffersWhatTheHelpLists) {
    const Outcome outcome = must(std::string(listed) + R"sh(
offered() { COMP_WORDS=(orvkit "$@"); COMP_CWORD=$#; _orvkit; printf '%s\n' "${COMPREPLY[@]}"; }
script=$(orvkit completion bash) && eval "$script" || exit 1
compare() { diff <(sort <<<"$1") <(sort <<<"$2") || { echo "$3"; exit 1; }; }
compare "$(subcommands)" "$(offered '')" commands
compare "$(options)" "$(offered -)" options
all | { while read -ra c; do
  missing=$(comm -23 <(options "${c[@]}" | sort) <(offered "${c[@]}" - | sort))
  compare '' "$missing" "${c[*]}"
done; } || exit 1
compare "$(printf '%s\n' implicit explicit big lzw)" "$(offered convert --to '' | head -4)" values
compare "$(printf 'patient')" "$(offered find h 1 --root p)" value
compare '' "$(offered serve --port '')" 'a number'
mkdir folder; touch file
compare "$(printf '%s\n' file folder)" "$(offered dump f)" files
compare folder "$(offered dicomdir make folder --copy-from f)" folders
all | wc -l)sh");
    EXPECT_GE(std::atoi(outcome.out.c_str()), 23) << outcome.out;
}

TEST_F(CommandTest, DumpShowsTextInTheCharacterSetAskedFor) {
    char name[] = "A^\xC2\x85\xD0\x1B";  // NEL, were it UTF-8
    DcElemList list;
    list.add(new DcElem(T_0008_0005_specificCharacterSet, "ISO_IR 144"));
    list.add(
        new DcElem(T_0010_0010_patientsName, name, sizeof name - 1, UID_LITTLE_ENDIAN_EXPLICIT, VR_PN, 0));
    writeFile(dir / "file", list, UID_LITTLE_ENDIAN_EXPLICIT);
    expectSaid({{"", 0, " A^Т\\u0085а\\x1b\n", ""},
                {"--charset utf8 --flat", 0, " A^Т\\u0085а\\x1b\n", ""},
                {"--charset raw", 0, " A^\xC2\x85\xD0\\x1b\n", ""},
                {"--charset ISO_IR\\ 100", 0, " A^Â\\u0085Ð\\x1b\n", ""},
                {"--charset 'ISO 2022 IR 100\\ISO 2022 IR 87'", 0, " A^Â\\u0085Ð\\x1b\n", ""},
                {"--charset ISO_IR\\ 126 --json", 0, "\"A^Β\xC2\x85Π\\u001b\"", ""},
                {"--charset nonsense", 2, "", "nonsense"},
                {"--charset ''", 2, "", "charset"},
                {"--charset raw --json", 2, "", "charset"}},
               "orvkit dump file --tag PatientName ");
}

TEST_F(CommandTest, OutputThatCannotBeWrittenIsAFailure) {
    EXPECT_EQ(sh("orvkit lookup patient >/dev/full").status, 1);
    EXPECT_EQ(sh("orvkit lookup patient >&-").status, 1);
    EXPECT_EQ(sh("orvkit --help >/dev/full").status, 1);
}

TEST_F(CommandTest, MessagesNeverLandInAFileOfTheUsers) {
    must(
        "orvkit phantom p --size 16 --images 1 --series 1 >/dev/null; cp p/SE000001/IM000001 in; "
        "orvkit convert in a --to explicit; orvkit -v convert in b --to explicit <&- >&- 2>&-; cmp a b");
}

TEST_F(CommandTest, DumpEndsOnAStreamWithoutEnd) {
    const Outcome outcome = sh("ulimit -t 20; orvkit dump /dev/zero; yes | orvkit dump /dev/stdin");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "/dev/zero: "));
    EXPECT_TRUE(holds(outcome.err, "/dev/stdin: no DICOM file"));
    EXPECT_LT(outcome.residentKb, 200000);
}

// An image of 16 x 16, of `frames` fragments where it is encapsulated, and what stands behind it.
void makeImage(const fs::path& path, DICT_UID syntax, std::size_t pixelBytes) {
    DcElemList list;
    std::string pixels(pixelBytes, '\1');
    if (syntax == UID_JPEG_BASELINE) {
        const std::string delimitation("\xFE\xFF\xDD\xE0\0\0\0\0", 8);  // of no meaning in a fragment
        std::string items("\xFE\xFF\x00\xE0\0\0\0\0\xFE\xFF\x00\xE0", 12);
        for (int i = 0; i < 32; i += 8) items += static_cast<char>((pixelBytes + 8) >> i & 0xFF);
        pixels = items + delimitation + pixels;
    }
    list.add(new DcElem(T_7fe0_0010_pixelData, pixels.data(), static_cast<unsigned int>(pixels.size()),
                        syntax, syntax == UID_JPEG_BASELINE ? VR_OB : VR_OW, 0));
    list.add(new DcElem(0xE0290010, "behind"));
    writeFile(path, list, syntax);
}

TEST_F(CommandTest, DumpShowsWhatStandsBehindPixelData) {
    const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT,
                                 UID_BIG_ENDIAN_EXPLICIT, UID_JPEG_BASELINE};
    for (const DICT_UID syntax : syntaxes) {
        for (const std::size_t bytes : {100u, 70000u, 5000000u}) {  // within the first read, and not
            makeImage(dir / "image", syntax, bytes);
            const Outcome outcome = sh(
                "for form in '' --flat --json '--tag e029,0010'; do orvkit dump image $form | grep behind; "
                "done; cat image | orvkit dump /dev/stdin | grep behind; "
                "tail -c +$(($(orvkit dump --tag 0002,0000 image | grep -o '[0-9]*$') + 145)) image | "
                "orvkit dump /dev/stdin 2>told | grep behind");
            EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 6) << syntax << ' ' << bytes;
            EXPECT_EQ(outcome.err, "");
        }
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(ORVKIT_SANITIZED)
    fs::resize_file(dir / "image", 0);
    makeImage(dir / "image", UID_JPEG_BASELINE, 40 << 20);
    EXPECT_LT(sh("orvkit dump image").residentKb, 16 << 10);
#endif
}

TEST_F(CommandTest, DumpTellsWhatIsWrongWithPixelData) {
    makeImage(dir / "whole", UID_JPEG_BASELINE, 70000);
    const Outcome fragments = sh("head -c 60000 whole >cut; orvkit dump cut");
    EXPECT_EQ(fragments.status, 1);
    EXPECT_TRUE(holds(fragments.err, "(7fe0,0010) at byte "));
    EXPECT_TRUE(holds(fragments.err, ": fragments without their end\n"));
    EXPECT_TRUE(holds(fragments.out, "pixelData"));
    makeImage(dir / "whole", UID_LITTLE_ENDIAN_EXPLICIT, 70000);
    const Outcome words = sh("head -c 60000 whole >cut; orvkit dump cut");
    EXPECT_EQ(words.status, 1);
    EXPECT_TRUE(holds(words.err, ": a value of 70000 bytes, of which the file holds "));
}

TEST_F(CommandTest, DumpEndsQuietlyWhenNobodyReadsOn) {
    must("orvkit phantom p --size 16 --series 1 --images 300");
    EXPECT_EQ(sh("orvkit dump p --full --flat | head -1").err, "");
    // Also where the signal is ignored, as by some programs that start others.
    const Outcome outcome = sh("trap '' PIPE; (orvkit dump p --flat; echo $? >status) | head -1; cat status");
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(holds(outcome.out, "\n1\n"));
}

TEST_F(CommandTest, DumpOfManyFilesKeepsTheirOrderOnEveryNumberOfThreads) {
    must(
        "orvkit phantom p --size 16 --series 2 --images 60; mkdir p/sub p/none; ln -s .. p/sub/up; "
        "for i in 1 2 3 4; do head -c ${i}500 p/SE000001/IM00000$i >p/SE000001/cut$i; done; "
        "echo text >p/sub/text; cp p/SE000001/IM000009 p/sub.dcm; chmod 0 p/none");
    for (const char* form : {"", "--json", "--flat --tag PatientID,Rows"}) {
        const std::string script = "orvkit dump p missing p/SE000001/IM000001 p/SE000001/cut1 --jobs ";
        const Outcome one = sh(script + "1 2>&1 " + form);
        EXPECT_EQ(one.status, 1);
        EXPECT_TRUE(holds(one.out, "missing: No such file"));
        EXPECT_TRUE(sh(script + "7 2>&1 " + form).out == one.out) << form;
    }
    EXPECT_EQ(sh("orvkit dump p/sub --json | tr -d ' \\n'").out, "[]");
    must("orvkit dump p p/sub --json 2>/dev/null | python3 -m json.tool >/dev/null");
}

TEST_F(CommandTest, DumpTakesSeveralTagsAtOnce) {
    must("orvkit phantom p --size 16 --series 1 --images 1");
    const std::string image = "orvkit dump p/SE000001/IM000001 --tag ";
    const Outcome apart = sh(image + "PatientName --tag 0010,0020 --tag Rows");
    EXPECT_EQ(std::count(apart.out.begin(), apart.out.end(), '\n'), 3);
    for (const char* tags :
         {"PatientName,00100020,Rows", "'PatientName,(0010,0020),Rows'", "10,10,10,20,28,10"})
        EXPECT_EQ(sh(image + tags).out, apart.out) << tags;
    EXPECT_TRUE(holds(sh(image + "PatientName,Nonsense").err, "Nonsense"));
    EXPECT_EQ(sh(image + "PatientName,").status, 2);
}

TEST_F(CommandTest, ALimitOnFileSizesIsAFailureOfWriting) {
    const Outcome outcome = sh("ulimit -f 4; orvkit phantom p --size 64 --images 1 --series 1");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_TRUE(holds(outcome.err, "IM000001"));
    EXPECT_TRUE(names("p/SE000001").empty());
}

TEST_F(CommandTest, LookupTakesEverySpelling) {
    expectSaid(
        {{"0008,0016", 0, "T_0008_0016_sopClassUid", ""},
         {"8,16", 0, "T_0008_0016_sopClassUid", ""},
         {"PatientName", 0, "T_0010_0010_patientsName", ""},
         {"50xx,0005", 0, "T_50xx_0005_curveDimension", ""},
         {"1.2.840.10008.1.2.2", 0, "Big Endian Explicit", ""},
         {"PN", 0, "324 bytes", ""},
         {"OV", 0, "value representation", ""},
         {"patientsName", 0,
          "(0010,0010)  PN  1      T_0010_0010_patientsName  PatientName, Patient's Name\n", ""},
         {"0018,9430", 0, "FL  2 ", ""},
         {"0018,9430", 0, ", in 2008 US", ""},
         {"0028,0106", 0, "US|SS", ""},
         {"0014,3011", 0, ", DICONDE, not in 2008", ""},
         {"8,1", 0, ", retired", ""},
         {"0020,3105", 0, "(0020,3105)", ""},
         {"osimetricobj", 0, "DosimetricObjectiveSequence", ""},
         {"CTImageStorage", 0,
          "1.2.840.10008.5.1.4.1.1.2  SOP Class  CT Image Storage  CTImageStorage, record IMAGE\n", ""},
         {"1.2.840.10008.5.1.4.1.1.201.1", 0, ", record INVENTORY, not in 2008", ""},
         {"--json PatientName", 0, "\"keyword\": \"PatientName\"", ""}},
        "orvkit lookup ");
}

TEST_F(CommandTest, DumpNamesElementsByKeywordWhenAskedTo) {
    must("orvkit phantom p --size 16 --images 1 --series 1");
    const std::string dump = "orvkit dump p/SE000001/IM000001 --tag PatientName,sopInstanceUid,0002,0000";
    const Outcome tree = sh(dump + " --keywords");
    EXPECT_TRUE(holds(tree.out, "(0010,0010) PatientName                              (PN) "));
    EXPECT_TRUE(holds(tree.out, "(0008,0018) SOPInstanceUID "));
    EXPECT_TRUE(holds(tree.out, "(0002,0000) FileMetaInformationGroupLength"));
    EXPECT_TRUE(holds(sh(dump + " --flat --keywords").out, "(0010,0010)   PN(PN)   PatientName\n"));
    EXPECT_FALSE(holds(tree.out, "(0010,0010)  "));
    EXPECT_TRUE(holds(sh(dump).out, "T_0010_0010_patientsName"));
    EXPECT_TRUE(holds(sh("ORVKIT_EDITION=2008 orvkit lookup 7fe0,0001 2>&1").out, "nothing is known"));
}

}  // namespace
}  // namespace tools_test
