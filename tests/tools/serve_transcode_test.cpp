// `orvkit serve --transcode`, with codec libraries in children of the server.
#include "tests/tools/command.h"

namespace tools_test {
namespace {

class ServeTranscodeTest : public ServedTest {
  protected:
    Outcome served(const std::string& options, const std::string& script) const {
        return sh(serving(options) + kTold + script + "\nstop");
    }
    bool has(const std::string& codec) const {
        const auto run = sh("orvkit convert --to " + codec + " none out");
        EXPECT_TRUE(run.status == 1 || holds(run.err, codec + " was left out of this build: it needs "));
        return run.status == 1;
    }
    // The transfer syntax of a file, and the name of its instance.
    static constexpr const char* kTold =
        "syntax() { orvkit dump --tag TransferSyntaxUID \"$1\" | grep -o '1\\.2\\.840[.0-9]*'; }\n";
};

TEST_F(ServeTranscodeTest, ImagesAreStoredInOneSyntaxAndComeBackAsTheyWere) {
    if (!has("jpegls")) GTEST_SKIP() << "JPEG-LS is left out of this build";
    const Outcome run = served("--transcode jpegls", R"(
orvkit phantom p --size 64 --images 1 --series 1 >/dev/null
one=$(find p -name IM000001)
orvkit convert $one rle.dcm --to rle && orvkit convert $one plain.dcm --to explicit
orvkit send $peer rle.dcm >/dev/null || exit 2
for f in in/*; do syntax $f; orvkit convert $f back.dcm --to explicit; done
cmp <(tail -c 8192 plain.dcm) <(tail -c 8192 back.dcm) && echo same
# A child that is gone is replaced, and the server goes on.
kill -9 $(grep -l "^PPid:.$server\$" /proc/[0-9]*/status 2>/dev/null | tr -dc '0-9\n') && echo killed
rm in/*; orvkit send $peer rle.dcm >/dev/null || exit 3
for f in in/*; do syntax $f; done)");
    EXPECT_EQ(run.status, 0) << run.err << contentOf(dir / "log");
    EXPECT_EQ(run.out, "1.2.840.10008.1.2.4.80\nsame\nkilled\n1.2.840.10008.1.2.4.80\n");
    EXPECT_FALSE(holds(contentOf(dir / "log"), "kept as it came"));
}

TEST_F(ServeTranscodeTest, WhatCannotBeBroughtToItStaysAsItCameAndIsTold) {
    if (!has("jpegls")) GTEST_SKIP() << "JPEG-LS is left out of this build";
    const Outcome run = served("--transcode jpeg-lossless --file-set", R"(
orvkit phantom p --size 64 --images 2 --series 1 >/dev/null
orvkit convert $(find p -name IM000001) cut.dcm --to jpegls
# The stream ends in the middle, and the file with it as it should.
size=$(stat -c %s cut.dcm); dd if=/dev/zero of=cut.dcm bs=1 seek=$((size - 1500)) count=1400 conv=notrunc 2>/dev/null
cp cut.dcm sent.dcm
orvkit send $peer cut.dcm >/dev/null || exit 2
orvkit send $peer $(find p -name IM000002) >/dev/null || exit 3
for f in $(find in -name 'IM*' -o -name '*.dcm' | sort); do syntax $f; done | sort)");
    EXPECT_EQ(run.status, 0) << run.err << contentOf(dir / "log");
    EXPECT_EQ(run.out, "1.2.840.10008.1.2.4.70\n1.2.840.10008.1.2.4.80\n");
    EXPECT_TRUE(holds(contentOf(dir / "log"), "; kept as it came: frame 1: JPEG-LS: "));
}

TEST_F(ServeTranscodeTest, LossIsToBeAgreedToAndMakesAnotherInstance) {
    if (!has("jpegls-near")) GTEST_SKIP() << "JPEG-LS is left out of this build";
    const Outcome refused = sh("orvkit serve --port 0 --transcode jpegls-near in");
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(holds(refused.err, "--transcode-lossy"));
    const Outcome run = served("--transcode jpegls-near --transcode-lossy --no-isolate", R"sh(
orvkit phantom p --size 64 --images 1 --series 1 >/dev/null
orvkit send $peer $(find p -name IM000001) >/dev/null || exit 2
for f in in/*; do
  syntax $f
  orvkit dump --tag SOPInstanceUID $f | grep -q "$(basename $f .dcm)" && echo named
done
orvkit dump --tag SOPInstanceUID $(find p -name IM000001) | grep -q "$(basename $f .dcm)" || echo another)sh");
    EXPECT_EQ(run.status, 0) << run.err << contentOf(dir / "log");
    EXPECT_EQ(run.out, "1.2.840.10008.1.2.4.81\nnamed\nanother\n");
}

}  // namespace
}  // namespace tools_test
