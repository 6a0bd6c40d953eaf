// Every sample file cut and with flipped bytes: a code, no crash, and memory in proportion to the file.
//
// ORVKIT_TEST_SCALE (a number, 1 by default) scales how many cuts and flips are tried, for slow builds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>

#include "media/allocation_meter.h"
#include "media/part10.h"
#include "media/sample_files.h"
#include "orvkit/log.h"
#include "orvkit/scan.h"

namespace {

// What reading from memory may hold at most: so many bytes for each byte of input, and so many besides. The
// input itself is not counted. Measured are 17 for elements without a value (8 bytes of a stream each), 19
// for empty items and 21 for sequences of one empty item.
constexpr std::size_t kMemoryFactor = 24;
constexpr std::size_t kMemoryFree = 65536;

double scale() {
    const char* text = std::getenv("ORVKIT_TEST_SCALE");
    return text != nullptr ? std::atof(text) : 1.0;
}

// Reads a damaged file in all ways; only that nothing goes wrong is asked.
void survive(std::vector<unsigned char>& bytes, const std::string& what) {
    const auto size = static_cast<unsigned int>(bytes.size());
    AllocationMeter meter;
    int result;
    DICT_UID xferSyn;
    unsigned int end = 0;
    {
        DcDirMetaInfo meta;
        DcElemList dataset;
        result = dirReadFile(bytes.data(), size, meta, dataset);
        xferSyn = meta.transferSyntax;
        if (dirReadFileMetaInfo(bytes.data(), size, meta, end) != RESULT_OK) end = 0;
    }
    ASSERT_LE(meter.peak(), kMemoryFactor * size + kMemoryFree) << what;
    EXPECT_EQ(meter.live(), 0u) << what << " leaks";
    EXPECT_TRUE(result == RESULT_OK || (result > 5000 && result < 24000)) << what << ": " << result;
    DcElemOffsetInfo info;
    info.tag = 0x7FE00010;
    if (xferSyn == UID_NONE) xferSyn = kImplicit;
    (void)utilGetElemOffsetInfo(bytes.data() + end, size - end, xferSyn, info);
}

class Quiet {
  public:
    Quiet() { set(LOG_OFF); }
    ~Quiet() { set(LOG_ON); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

  private:
    static void set(LOG_ACTIVE active) {
        for (const LOG_MSG level : {LOG_NOTICE, LOG_VALIDATION, LOG_ERROR}) logActivate(level, active);
    }
};

}  // namespace

class SamplesDamaged : public testing::Test {
  protected:
    void SetUp() override {
        if (samplesDirectory() == nullptr) GTEST_SKIP() << "no sample files (see ORVKIT_SAMPLES)";
    }
    Quiet quiet_;
    const int times_ = std::max(1, static_cast<int>(200 * scale()));
};

TEST_F(SamplesDamaged, CutAnywhereAndWithFlippedBytesTheyGiveACode) {
    for (const Sample& sample : allSamples()) {
        auto bytes = readBytes(samplePath(sample.path));
        survive(bytes, sample.path);
        std::mt19937 random(4810);  // the same bytes in every run
        for (int i = 0; i < times_ && !HasFatalFailure(); ++i) {
            // Half of the cuts and most flips within the header, the others all over.
            const std::size_t head = std::min<std::size_t>(bytes.size(), 4096);
            const std::size_t cut = (i % 2 == 0 ? head : bytes.size()) * static_cast<std::size_t>(i) /
                                    static_cast<std::size_t>(times_);
            std::vector<unsigned char> part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
            part.shrink_to_fit();  // a sanitizer sees reads beyond
            survive(part, sample.path + " cut at " + std::to_string(cut));
            const std::size_t flip = random() % (i % 4 != 0 ? head : bytes.size());
            const unsigned char before = bytes[flip];
            constexpr unsigned char kTelling[] = {0xFF, 0xFE, 0x00, 0x80};
            bytes[flip] = i % 3 == 0 ? kTelling[random() % 4] : static_cast<unsigned char>(random());
            survive(bytes, sample.path + " changed at " + std::to_string(flip));
            bytes[flip] = before;
        }
        if (HasFatalFailure()) return;
    }
}

// Inputs that announce much, or that become as many objects as their bytes can.
TEST_F(SamplesDamaged, MemoryFollowsTheBytesThatAreThere) {
    constexpr unsigned int n = 100000;
    Stream elements(kImplicit), items(kImplicit), sequences(kImplicit);
    items.header(0x00081140, "SQ", Stream::undefined);
    for (unsigned int i = 0; i < n; ++i) {
        const unsigned int tag =
            (0x0009 + 2 * (i / 0xE000)) << 16 | (0x1000 + i % 0xE000);  // private, ascending
        elements.elem(tag, "", "");
        items.item(0);
        sequences.header(tag, "", 8).item(0);
    }
    struct {
        const char* what;
        Stream bytes;
    } inputs[] = {
        {"many elements", part10(kImplicit, elements)},
        {"many items", part10(kImplicit, items)},
        {"many sequences", part10(kImplicit, sequences)},
        {"4 GByte announced", part10(kExplicit, Stream().header(0x7FE00010, "OW", 0xFFFFFFFE))},
        {"no end announced", part10(UID_JPEG_BASELINE, Stream().header(0x7FE00010, "OB", Stream::undefined))},
    };
    for (auto& input : inputs) {
        AllocationMeter meter;
        {
            DcDirMetaInfo meta;
            DcElemList dataset;
            (void)dirReadFile(input.bytes.data(), input.bytes.size(), meta, dataset);
        }
        const std::size_t peak = meter.peak();
        EXPECT_EQ(meter.live(), 0u) << input.what;
        EXPECT_LE(peak, kMemoryFactor * input.bytes.size() + 4096) << input.what;
        RecordProperty(input.what,
                       std::to_string(static_cast<double>(peak) / static_cast<double>(input.bytes.size())));
    }
}
