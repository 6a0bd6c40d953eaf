// The checks of texts against their VR: limits, escapes, and every byte of every allowed set.
#include "dataset/elem_verify.h"

#include <gtest/gtest.h>

#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

using orvkit::Verify;

struct CheckRow {
    Verify check;
    const char* name;
    std::size_t limit;  // 0: none
    int beyond;         // result for a text one character too long
    bool told;          // ... and whether that is logged
    bool escapePasses;
    int empty;
    std::string allowed;
};

std::string range(int first, int last) {
    std::string all;
    for (int c = first; c <= last; ++c) all += static_cast<char>(c);
    return all;
}

const std::string digits = "0123456789";
const std::string codes = range('A', 'Z') + range('a', 'z') + digits + " _*";
const std::string line = range(32, '\\' - 1) + range('\\' + 1, 255);
const std::string lines = range(32, 255) + "\n\f\r";

const CheckRow rows[] = {
    {Verify::AE, "AE", 16, 0, false, false, 5642, range(0x20, 0x7E)},
    {Verify::CS, "CS", 16, 0, false, true, 0, codes},
    {Verify::DS, "DS", 16, 0, true, false, 5642, digits + "+-.Ee"},
    {Verify::FX, "FX", 16, 5643, true, false, 5642, digits + "+-.Ee"},
    {Verify::IS, "IS", 12, 5643, true, false, 5642, digits + "+-"},
    {Verify::XL, "XL", 12, 5643, true, false, 5642, digits + "+-"},
    {Verify::LO, "LO", 64, 0, false, true, 5642, line},
    {Verify::SH, "SH", 16, 0, false, true, 5642, line},
    {Verify::LT, "LT", 10240, 5643, true, false, 5642, lines},
    {Verify::UI, "UI", 64, 5643, true, false, 5642, digits + "."},
    {Verify::UT, "UT", 0, 0, false, false, 5642, lines},
};

std::string reporterOf(const CheckRow& row) {
    return std::string("DcElem::verifyValue") + row.name;
}

}  // namespace

TEST(Verify, EveryByteOfEverySet) {
    for (const CheckRow& row : rows) {
        for (int c = 1; c < 256; ++c) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(c));
            CaptureLog log;
            const std::string text = std::string("1") + static_cast<char>(c) + "1";
            const int code = orvkit::verifyTrimmed(row.check, text, anyTag);
            if (row.allowed.find(static_cast<char>(c)) != std::string::npos ||
                (c == 27 && row.escapePasses)) {
                EXPECT_EQ(code, 0);
                EXPECT_EQ(log.take(), LogLines{});
                continue;
            }
            EXPECT_EQ(code, ELEM_ILLEGAL_CHAR);
            char hex[16];
            std::snprintf(hex, sizeof hex, "0x%x", static_cast<unsigned int>(c));
            std::string message =
                anyElement + "- illegal character '" + static_cast<char>(c) + "' (" + hex + ") in string";
            if (row.check != Verify::LT && row.check != Verify::UT) message += " '" + text + "'";
            EXPECT_TRUE(log.tookOnly(LOG_VALIDATION, reporterOf(row), message));
        }
    }
}

TEST(Verify, LimitsEmptyTextsAndEscapes) {
    for (const CheckRow& row : rows) {
        SCOPED_TRACE(row.name);
        CaptureLog log;
        EXPECT_EQ(orvkit::verifyTrimmed(row.check, "", anyTag), row.empty);
        EXPECT_EQ(orvkit::verifyTrimmed(row.check, std::string(row.limit, '1'), anyTag),
                  row.limit == 0 ? row.empty : 0);
        EXPECT_EQ(log.take(), LogLines{});
        EXPECT_EQ(orvkit::verifyTrimmed(row.check, std::string(row.limit + 1, '1'), anyTag), row.beyond);
        EXPECT_EQ(log.take().size(), row.told ? 1u : 0u);
        // Beyond the limit an unchecked text may hold anything; DS is checked as a whole.
        const int tail = orvkit::verifyTrimmed(row.check, std::string(row.limit, '1') + '\x01', anyTag);
        EXPECT_EQ(tail, row.check == Verify::DS || row.limit == 0 ? ELEM_ILLEGAL_CHAR : row.beyond);
        if (row.escapePasses) {
            EXPECT_EQ(orvkit::verifyTrimmed(row.check, "\x01" + std::string(row.limit, '1') + "\x1b", anyTag),
                      0);
        }
    }
}

TEST(Verify, NothingIsCheckedAtLevelZero) {
    const ExceptionLevel level(0);
    CaptureLog log;
    for (const CheckRow& row : rows)
        EXPECT_EQ(orvkit::verifyTrimmed(row.check, std::string(20000, '\x01'), anyTag), 0);
    EXPECT_EQ(log.take(), LogLines{});
}
