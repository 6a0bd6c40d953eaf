// Every sample file cut and with flipped bytes: a code, no crash, and memory in proportion to the file.
//
// ORVKIT_TEST_SCALE (a number, 1 by default) scales how many cuts and flips are tried, for slow builds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>

#include "media/allocation_meter.h"
#include "media/sample_files.h"
#include "orvkit/file.h"
#include "orvkit/log.h"
#include "orvkit/result.h"
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
    if (xferSyn == UID_NONE) xferSyn = UID_LITTLE_ENDIAN_IMPLICIT;
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

TEST_F(SamplesDamaged, AsTheyAreAndCutAnywhereTheyGiveACode) {
    for (const Sample& sample : allSamples()) {
        const auto whole = readBytes(samplePath(sample.path));
        auto all = whole;
        survive(all, sample.path);
        if (HasFatalFailure()) return;
        for (int i = 0; i < times_; ++i) {
            // Half of the cuts within the header, the others all over.
            const std::size_t range = i % 2 == 0 ? std::min<std::size_t>(whole.size(), 4096) : whole.size();
            const auto cut = static_cast<std::ptrdiff_t>(range * static_cast<std::size_t>(i) /
                                                         static_cast<std::size_t>(times_));
            std::vector<unsigned char> part(whole.begin(), whole.begin() + cut);
            part.shrink_to_fit();  // a sanitizer sees reads beyond
            survive(part, sample.path + " cut at " + std::to_string(cut));
            if (HasFatalFailure()) return;
        }
    }
}

TEST_F(SamplesDamaged, WithFlippedBytesTheyGiveACode) {
    for (const Sample& sample : allSamples()) {
        auto bytes = readBytes(samplePath(sample.path));
        std::mt19937 random(4810);  // the same bytes in every run
        for (int i = 0; i < times_; ++i) {
            const std::size_t range = i % 4 != 0 ? std::min<std::size_t>(bytes.size(), 4096) : bytes.size();
            const std::size_t at = random() % range;
            const unsigned char before = bytes[at];
            constexpr unsigned char kTelling[] = {0xFF, 0xFE, 0x00, 0x80};
            bytes[at] = i % 3 == 0 ? kTelling[random() % 4] : static_cast<unsigned char>(random());
            survive(bytes, sample.path + " changed at " + std::to_string(at));
            if (HasFatalFailure()) return;
            bytes[at] = before;
        }
    }
}

// Inputs that announce much, or that become as many objects as their bytes can.
TEST_F(SamplesDamaged, MemoryFollowsTheBytesThatAreThere) {
    const auto file = [](const std::string& dataset, const char* xferSyn) {
        std::string f(128, '\0');
        f += "DICM";
        const std::string uid = std::string(xferSyn) + std::string(std::strlen(xferSyn) % 2, '\0');
        f += std::string("\x02\x00\x10\x00UI", 6) + static_cast<char>(uid.size()) + '\0' + uid + dataset;
        return std::vector<unsigned char>(f.begin(), f.end());
    };
    constexpr unsigned int n = 100000;
    std::string elements;
    std::string items("\x08\x00\x40\x11\xFF\xFF\xFF\xFF", 8);
    std::string sequences;
    for (unsigned int i = 0; i < n; ++i) {
        const unsigned int tag =
            (0x0009 + 2 * (i / 0xE000)) << 16 | (0x1000 + i % 0xE000);  // private, ascending
        std::string littleTag;
        for (const unsigned int shift : {16u, 24u, 0u, 8u}) littleTag += static_cast<char>(tag >> shift);
        elements += littleTag + std::string(4, '\0');
        items += std::string("\xFE\xFF\x00\xE0\0\0\0\0", 8);
        sequences += littleTag + std::string("\x08\0\0\0\xFE\xFF\x00\xE0\0\0\0\0", 12);
    }
    struct {
        const char* what;
        std::vector<unsigned char> bytes;
    } inputs[] = {
        {"many elements", file(elements, "1.2.840.10008.1.2")},
        {"many items", file(items, "1.2.840.10008.1.2")},
        {"many sequences", file(sequences, "1.2.840.10008.1.2")},
        {"4 GByte announced",
         file(std::string("\xE0\x7F\x10\x00OW\0\0\xFE\xFF\xFF\xFF", 12), "1.2.840.10008.1.2.1")},
        {"no end announced",
         file(std::string("\xE0\x7F\x10\x00OB\0\0\xFF\xFF\xFF\xFF", 12), "1.2.840.10008.1.2.4.50")},
    };
    for (auto& input : inputs) {
        AllocationMeter meter;
        {
            DcDirMetaInfo meta;
            DcElemList dataset;
            (void)dirReadFile(input.bytes.data(), static_cast<unsigned int>(input.bytes.size()), meta,
                              dataset);
        }
        const std::size_t peak = meter.peak();
        EXPECT_EQ(meter.live(), 0u) << input.what;
        EXPECT_LE(peak, kMemoryFactor * input.bytes.size() + 4096) << input.what;
        RecordProperty(input.what,
                       std::to_string(static_cast<double>(peak) / static_cast<double>(input.bytes.size())));
    }
}
