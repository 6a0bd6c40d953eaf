// Memory follows the bytes that are there, not what a file announces.
#include <gtest/gtest.h>

#include "media/allocation_meter.h"
#include "media/part10.h"
#include "orvkit/log.h"

namespace {

// What reading from memory may hold at most: so many bytes for each byte of input. The input itself is not
// counted. Measured are 17 for elements without a value (8 bytes of a stream each), 18 for empty items and 20
// for sequences of one empty item.
constexpr std::size_t kMemoryFactor = 24;

}  // namespace

// Inputs that announce much, or that become as many objects as their bytes can.
TEST(ReadMemory, FollowsTheBytesThatAreThere) {
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
        for (const LOG_MSG level : {LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_OFF);
        AllocationMeter meter;
        {
            DcDirMetaInfo meta;
            DcElemList dataset;
            (void)dirReadFile(input.bytes.data(), input.bytes.size(), meta, dataset);
        }
        for (const LOG_MSG level : {LOG_VALIDATION, LOG_ERROR}) logActivate(level, LOG_ON);
        EXPECT_EQ(meter.live(), 0u) << input.what;
        EXPECT_LE(meter.peak(), kMemoryFactor * input.bytes.size() + 4096) << input.what;
    }
}
