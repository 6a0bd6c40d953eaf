// The modality worklist of `orvkit serve --worklist`: its files, and hostile requests for it.
#include "tests/tools/command.h"
#include "tests/tools/raw_peer.h"

namespace tools_test {
namespace {

constexpr const char* kWorklist = "1.2.840.10008.5.1.4.31";

// A procedure step in the DICOM JSON model.
std::string step(const std::string& id, const std::string& more = "") {
    return R"({"00100020": {"vr": "LO", "Value": [")" + id + R"("]}, )" + more +
           R"("00400100": {"vr": "SQ", "Value": [{"00080060": {"vr": "CS", "Value": ["CT"]}}]}})";
}

class WorklistTest : public ServedTest {
  protected:
    void write(const std::string& name, const std::string& text) const {
        fs::create_directory(dir / "list");
        std::ofstream(dir / "list" / name, std::ios::binary) << text;
    }
};

TEST_F(WorklistTest, FilesThatCannotBeUsedAreToldByNameAndLeftOut) {
    write("good.json", step("1"));
    write("both.json", "[" + step("2") + ", " + step("3") + "]");
    const std::pair<const char*, std::string> bad[] = {
        {"empty", ""},
        {"words", "no DICOM"},
        {"cut", R"({"00100020": {"vr": "LO", "Val)"},
        {"none", R"({"00100020": {"vr": "LO"}})"},
        {"tag", step("4", R"("PatientName": {"vr": "PN"}, )")},
        {"vr", step("4", R"("00100010": {"vr": "P"}, )")},
        {"command", step("4", R"("00000100": {"vr": "SQ"}, )")},
        {"large", step("4", R"("00280010": {"vr": "US", "Value": [65536]}, )")},
        {"number", step("4", R"("00280010": {"vr": "US", "Value": ["x"]}, )")},
        {"text", step("4", R"("00100010": {"vr": "PN", "Value": [[]]}, )")},
        {"array", step("4", R"("00100010": {"vr": "PN", "Value": "A"}, )")},
        {"list", "[1]"}};
    for (const auto& [name, text] : bad) write(name, text);
    std::string deep = "{}";
    for (int i = 0; i < 2000; ++i) deep = R"({"00400275": {"vr": "SQ", "Value": [)" + deep + "]}}";
    write("deep", deep);
    // What steps share is held for each.
    std::string steps;
    for (int i = 0; i < 1000; ++i) steps += ", {}";
    write("shared", R"({"00104000": {"vr": "LT", "Value": [")" + std::string(70'000, 'x') +
                        R"("]}, "00400100": {"vr": "SQ", "Value": [{})" + steps + "]}}");
    begin("--worklist list");
    for (const auto& [name, text] : bad)
        EXPECT_TRUE(holds(log(), "worklist file " + std::string(name) + " is left out: "));
    EXPECT_TRUE(holds(log(), "worklist file deep is left out: "));
    EXPECT_TRUE(holds(log(), "worklist file shared is left out: "));
    EXPECT_TRUE(holds(log(), "has 3 procedure steps"));
    EXPECT_EQ(sh("orvkit serve other --port 0 --worklist none").status, 1);
}

TEST_F(WorklistTest, HostileKeysAreAnsweredResultsBoundedAndRequestsCancelled) {
    for (const char* const name : {"1", "2", "3"})
        write(name, step(name, R"("00100010": {"vr": "PN", "Value": ["A^B"]}, )"));
    begin("--worklist list --max-results 2");
    RawPeer peer(port);
    ASSERT_TRUE(peer.associate(kWorklist));
    const Bytes id = element(0x00100020, {});
    Bytes nested = element(0x00080060, bytesOf("CT"));
    for (int i = 0; i < 100; ++i) nested = element(0x00400100, element(0xFFFEE000, nested));
    const std::vector<Asked> cases = {
        {"more than are told", id, {0xFF00, 0xFF00, 0xA700}},
        {"one", element(0x00100020, bytesOf("2 ")), {0xFF00, 0}},
        {"a level",
         joined({element(0x00080052, bytesOf("STUDY ")), element(0x00100020, bytesOf("3 "))}),
         {0xFF00, 0}},
        {"no key", element(0x00080005, bytesOf("ISO_IR 192")), {0xA900}},
        {"wild cards", element(0x00100010, bytesOf(std::string(63, '*') + "x")), {0}},
        {"no text", element(0x00100010, Bytes(64, 0xFF)), {0}},
        {"nested keys", nested, {0xA900}},
        {"a sequence that is none", element(0x00400100, bytesOf("abcdefgh")), {0}}};
    expectAnswers(peer, kWorklist, cases, "1.2.840.10008.5.1.4.1.2.2.1", id);
}

}  // namespace
}  // namespace tools_test
