// Reading values: the index rules, conversions, and texts that do not fit.
#include <gtest/gtest.h>

#include <cstring>

#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

std::unique_ptr<DcElem> holding(DICT_VR vr, const char* text) {
    auto e = elemOf(vr);
    EXPECT_EQ(e->addValue(text), 0) << text;
    return e;
}

}  // namespace

TEST(GetValue, NextVisitsEveryValueAndThenIndexZeroFollows) {
    CaptureLog log;
    const auto e = holding(VR_IS, "1\\2\\3");
    int v = 0;
    for (int expected : {1, 2, 3}) {
        EXPECT_EQ(e->getValue(v, ELEM_INDEX_NEXT), 0);
        EXPECT_EQ(v, expected);
    }
    EXPECT_EQ(e->getValue(v, ELEM_INDEX_NEXT), ELEM_NO_MORE_VALUES);
    EXPECT_EQ(e->getValue(v, 0), ELEM_NO_MORE_VALUES);
    EXPECT_EQ(e->getValue(v, 1), 0);  // other indexes do not follow
    EXPECT_EQ(v, 2);
    e->resetValueCounter();
    EXPECT_EQ(e->getValue(v), 0);
    EXPECT_EQ(v, 1);
    EXPECT_EQ(log.take(), LogLines{});
    for (int index : {4, -1}) {
        EXPECT_EQ(e->getValue(v, index), ELEM_INVALID_INDEX);
        log.expect(LOG_VALIDATION, "DcElem::getValue",
                   anyElement + "index (=" + std::to_string(index) + ") out of range, value count = 3");
    }
}

TEST(GetValue, TextsAreCutToldAndTrimmed) {
    CaptureLog log;
    const auto e = holding(VR_LO, "ABCDEF\\GH");
    char buffer[8];
    EXPECT_EQ(e->getValue(buffer, 4, ELEM_INDEX_NEXT), ELEM_TRUNCATED);
    EXPECT_STREQ(buffer, "ABCD");
    log.expect(LOG_VALIDATION, "DcElem::getValue", anyElement + "buffer too short, value truncated");
    for (const char* next : {"ABCDEF", "GH"}) {  // the refused read left the counter
        EXPECT_EQ(e->getValue(buffer, 6, ELEM_INDEX_NEXT), 0);
        EXPECT_STREQ(buffer, next);
    }
    // The last byte of the buffer is written whatever stands in front of it, and none behind.
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(e->getValue(buffer, 6, 1), 0);
    EXPECT_EQ(std::string(buffer, 3) + buffer[6] + buffer[7], std::string("GH\0\0x", 5));
}

TEST(GetValue, NumbersAsTextNeedTheirRoom) {
    struct Row {
        DICT_VR vr;
        const char* text;
        int needed;
        const char* shown;
    };
    const Row rows[] = {
        {VR_FD, "-1234567.5", 16, "-1.23457e+06"},

        {VR_SL, "-2147483648", 12, "-2147483648"},
        {VR_XS, "-5", 12, "-5"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        CaptureLog log;
        const auto e = holding(row.vr, row.text);
        char buffer[20];
        EXPECT_EQ(e->getValue(buffer, row.needed - 1, ELEM_INDEX_NEXT), ELEM_TRUNCATED);
        EXPECT_EQ(e->getValue(buffer, row.needed, ELEM_INDEX_NEXT), 0);
        EXPECT_STREQ(buffer, row.shown);
        EXPECT_EQ(log.take(), LogLines{});
    }
}

TEST(GetValue, RawBuffersFollowTheCounter) {
    const auto e = elemOf(VR_OB);
    EXPECT_EQ(e->addValue("ab", 2, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(e->addValue("cde", 3, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    DcBuf b;
    EXPECT_EQ(e->getValue(b, 1), 0);  // the index does not pick
    EXPECT_EQ(b.getLen(), 2u);
    EXPECT_EQ(e->getValue(b, ELEM_INDEX_NEXT), 0);
    EXPECT_EQ(e->getValue(b, ELEM_INDEX_NEXT), 0);
    EXPECT_EQ(b.getLen(), 3u);
    EXPECT_EQ(e->getValue(b, ELEM_INDEX_NEXT), ELEM_NO_MORE_VALUES);
}
