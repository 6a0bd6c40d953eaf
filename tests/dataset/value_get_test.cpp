// Reading values: the index rules, conversions, and texts that do not fit.
#include <gtest/gtest.h>

#include <cstring>

#include "orvkit/result.h"
#include "orvkit/util.h"
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
    EXPECT_EQ(e->getValue(v, 3), ELEM_NO_MORE_VALUES);
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
    const auto blanks = holding(VR_LT, "  ab cd");
    for (const int length : {7, 5, 0, -5}) {
        EXPECT_EQ(blanks->getValue(buffer, length), length == 7 ? 0 : ELEM_TRUNCATED);
        EXPECT_STREQ(buffer, length == 7 ? "ab cd" : length == 5 ? "ab" : "");
    }
    log.clear();
    EXPECT_EQ(e->getValue(nullptr, 7), ELEM_NULL_ARGUMENT);
    log.expect(LOG_NOTICE, "DcElem::getValue", "Null argument passed");
}

TEST(GetValue, NumbersAsTextNeedTheirRoom) {
    struct Row {
        DICT_VR vr;
        const char* text;
        int needed;
        const char* shown;
    };
    const Row rows[] = {
        {VR_AT, "(7FE0,0010)", 12, "(7fe0,0010)"}, {VR_FD, "-1234567.5", 16, "-1.23457e+06"},
        {VR_SL, "-2147483648", 12, "-2147483648"}, {VR_XS, "-5", 12, "-5"},
        {VR_UL, "4294967295", 12, "-1"},
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

TEST(GetValue, NumbersFollowTheLibrarysConversions) {
    short s = 0;
    unsigned int u = 0;
    double d = 0;
    EXPECT_EQ(holding(VR_IS, "70000")->getValue(s), 0);
    EXPECT_EQ(s, 4464);
    EXPECT_EQ(holding(VR_SS, "-1")->getValue(u), 0);
    EXPECT_EQ(u, 0xFFFFFFFFu);
    EXPECT_EQ(holding(VR_IS, "")->getValue(u), 0);
    EXPECT_EQ(u, 0u);
    EXPECT_EQ(holding(VR_UL, "4294967295")->getValue(d), 0);
    EXPECT_EQ(d, 4294967295.0);
}

TEST(GetValue, RecordsAreResetAndFilled) {
    DcElemValueDA date;
    date.year = 7;
    EXPECT_EQ(holding(VR_DA, "20240101-20241231")->getValue(date), 0);
    EXPECT_EQ(date.year, 0);
    EXPECT_EQ(date.startDate, 20240101);
    EXPECT_EQ(date.endDate, 20241231);
    EXPECT_EQ(holding(VR_DA, "")->getValue(date), ELEM_EMPTY_VALUE);
    EXPECT_EQ(date.startDate, -1);
    DcElemValueAT tag;
    EXPECT_EQ(holding(VR_AT, "(7fe0,0010)")->getValue(tag), 0);
    EXPECT_EQ(tag.group << 16 | tag.element, 0x7fe00010);
    DICT_UID uid = UID_NONE;
    EXPECT_EQ(holding(VR_UI, "1.2.3.4")->getValue(uid), ELEM_VALUE_REFUSED);
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
    const auto text = elemOf(VR_UT);
    char buffer[8] = "old";
    EXPECT_EQ(text->getValue(buffer, 7), ELEM_EMPTY_VALUE);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(text->addValue("abcdef"), 0);
    EXPECT_EQ(text->getValue(buffer, 3), 0);
    EXPECT_STREQ(buffer, "abc");
}
