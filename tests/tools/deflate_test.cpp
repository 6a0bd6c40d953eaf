// The command on deflated files: what cannot be read to its end is shown as far as it goes, and told.
#include "tests/tools/command.h"

namespace tools_test {
namespace {

class DeflatedTest : public ServedTest {
  protected:
    void SetUp() override {
        CommandTest::SetUp();
        if (IsSkipped()) return;
        if (sh("orvkit convert --help | grep -q deflated").status != 0) GTEST_SKIP() << "built without zlib";
        must(
            "orvkit phantom p --size 48 --images 2 --series 1 && mv p/SE000001/IM000001 in && "
            "orvkit convert in deflated --to deflated");
        packed_ = contentOf(dir / "deflated");
        // Behind the meta information, whose length stands in its first element.
        for (std::size_t i = 4; i-- > 0;)
            begin_ = begin_ << 8 | static_cast<unsigned char>(packed_.at(std::size_t{140} + i));
        begin_ += 144;
    }
    void write(const char* name, const std::string& stream) const {
        std::ofstream(dir / name, std::ios::binary) << packed_.substr(0, begin_) << stream;
    }

    std::string packed_;
    std::size_t begin_ = 0;
};

TEST_F(DeflatedTest, DamageIsToldBehindWhatWasWhole) {
    const std::string stream = packed_.substr(begin_);
    write("cut", stream.substr(0, stream.size() / 2));
    write("garbage", stream.substr(0, 500) + std::string(200, '\xFF') + stream.substr(700));
    write("nothing", "\xFF\xFF no stream at all");
    for (const char* name : {"cut", "garbage", "nothing"}) {
        const std::string file(name);
        const Outcome shown = sh("orvkit dump " + file);
        EXPECT_EQ(shown.status, 1);
        EXPECT_TRUE(
            holds(shown.err, "orvkit: " + file + ": the compressed data set is cut or damaged behind"));
        EXPECT_TRUE(holds(shown.out, "T_0002_0010"));
        if (file != "nothing") {
            EXPECT_TRUE(holds(shown.out, "T_0008_0018"));
        }
        const Outcome refused = sh("orvkit convert " + file + " out --to explicit");
        EXPECT_EQ(refused.status, 1);
        EXPECT_TRUE(holds(refused.err, "the compressed data set is cut or damaged; nothing was written"));
        EXPECT_FALSE(fs::exists(dir / "out"));
    }
    must("orvkit dump deflated in > both && orvkit dump < deflated /dev/stdin > pipe");
    // A zlib header is read with a warning.
    write("wrapped", "\x78\x9C" + packed_.substr(begin_));
    const Outcome wrapped =
        must("orvkit dump wrapped >/dev/null && orvkit convert wrapped out --to explicit && cmp in out");
    const std::string told =
        "orvkit: wrapped: the deflated data set has a zlib header, which does not belong there\n";
    EXPECT_EQ(wrapped.err, told + told);
}

TEST_F(DeflatedTest, FileSetsHoldThem) {
    const Outcome outcome = must(
        "mkdir set && cp deflated set/IM1 && orvkit convert p/SE000001/IM000002 set/IM2 --to explicit && "
        "orvkit dicomdir make --icons set && orvkit dicomdir check set && orvkit dump set/DICOMDIR");
    EXPECT_TRUE(holds(outcome.out, "1.2.840.10008.1.2.1.99"));
    std::size_t icons = 0;
    for (std::size_t at = 0; (at = outcome.out.find("T_0088_0200", at)) != std::string::npos; ++at) ++icons;
    EXPECT_EQ(icons, 2u);
}

TEST_F(DeflatedTest, PeersGiveAndTakeThem) {
    must("into=got\n" + serving() + R"sh(
orvkit send $peer deflated || exit 1
stop
orvkit convert got/*.dcm back --to explicit && cmp <(tail -c 4000 in) <(tail -c 4000 back) || exit 1
cmp <(tail -c 2000 got/*.dcm) <(tail -c 2000 deflated) || exit 1
into=set; begin --file-set; orvkit send $peer deflated || exit 1
head -c 2000 deflated >cut; orvkit send $peer cut 2>refusal && exit 1
grep -q 0xC000 refusal || exit 1
stop
orvkit dicomdir check set)sh");
}

#ifndef ORVKIT_SANITIZED
TEST_F(DeflatedTest, MemoryHoldsAPieceAtATime) {
    must("orvkit phantom big --size 4096 --images 1 --series 1 && mv big/SE000001/IM000001 large");
    for (const char* job :
         {"convert large packed --to deflated", "convert packed plain --to explicit", "dump packed"}) {
        const Outcome outcome = must(std::string("exec '" ORVKIT_COMMAND "' ") + job);
        EXPECT_LT(outcome.residentKb, 24 << 10) << job;
    }
    must("cmp large plain");
}
#endif

}  // namespace
}  // namespace tools_test
