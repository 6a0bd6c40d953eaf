// The checks of texts against their VR: limits, escapes, and every byte of every allowed set.
#include "dataset/elem_verify.h"

#include <gtest/gtest.h>

#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

using orvkit::Verify;
using orvkit::verifyTrimmed;

struct CheckRow {
    Verify check;
    const char* name;
    std::size_t limit;
    int beyond;         // result for a text one character too long
    std::size_t lines;  // ... and what is logged of it
    bool escapePasses;
    std::string allowed;
};

std::string range(int first, int last) {
    std::string all;
    for (int c = first; c <= last; ++c) all += static_cast<char>(c);
    return all;
}

const std::string digits = "0123456789";
const std::string line = range(32, '\\' - 1) + range('\\' + 1, 255);
const std::string lines = range(32, 255) + "\n\f\r";

const CheckRow rows[] = {
    {Verify::AE, "AE", 16, 0, 0, false, range(0x20, 0x7E)},
    {Verify::CS, "CS", 16, 0, 0, true, range('A', 'Z') + range('a', 'z') + digits + " _*"},
    {Verify::DS, "DS", 16, 0, 1, false, digits + "+-.Ee"},
    {Verify::FX, "FX", 16, ELEM_TOO_LONG, 1, false, digits + "+-.Ee"},
    {Verify::IS, "IS", 12, ELEM_TOO_LONG, 1, false, digits + "+-"},
    {Verify::LO, "LO", 64, 0, 0, true, line},
    {Verify::LT, "LT", 10240, ELEM_TOO_LONG, 1, false, lines},
    {Verify::UI, "UI", 64, ELEM_TOO_LONG, 1, false, digits + "."},
    {Verify::UT, "UT", 20000, 0, 0, false, lines},  // without a limit
};

}  // namespace

TEST(Verify, EveryByteOfEverySet) {
    for (const CheckRow& row : rows) {
        const std::string allowed = row.allowed + (row.escapePasses ? "\x1b" : "");
        for (int c = 1; c < 256; ++c) {
            SCOPED_TRACE(std::string(row.name) + " " + std::to_string(c));
            CaptureLog log;
            const std::string text = std::string("1") + static_cast<char>(c) + "1";
            const bool passes = allowed.find(static_cast<char>(c)) != std::string::npos;
            EXPECT_EQ(verifyTrimmed(row.check, text, anyTag), passes ? 0 : ELEM_ILLEGAL_CHAR);
            LogLines told;
            if (!passes) {
                char hex[16];
                std::snprintf(hex, sizeof hex, "0x%x", static_cast<unsigned int>(c));
                std::string message =
                    anyElement + "- illegal character '" + static_cast<char>(c) + "' (" + hex + ") in string";
                if (row.check != Verify::LT && row.check != Verify::UT) message += " '" + text + "'";
                told = {{LOG_VALIDATION, std::string("DcElem::verifyValue") + row.name, message}};
            }
            EXPECT_EQ(log.take(), told);
        }
    }
}

TEST(Verify, LimitsEmptyTextsAndEscapes) {
    for (const CheckRow& row : rows) {
        SCOPED_TRACE(row.name);
        CaptureLog log;
        const std::string full(row.limit, '1');
        EXPECT_EQ(verifyTrimmed(row.check, "", anyTag), row.check == Verify::CS ? 0 : ELEM_EMPTY_VALUE);
        EXPECT_EQ(verifyTrimmed(row.check, full, anyTag), 0);
        EXPECT_EQ(log.take(), LogLines{});
        EXPECT_EQ(verifyTrimmed(row.check, full + "1", anyTag), row.beyond);
        EXPECT_EQ(log.take().size(), row.lines);
        // Beyond the limit an unchecked text may hold anything; DS and UT are checked as a whole.
        const bool whole = row.check == Verify::DS || row.check == Verify::UT;
        EXPECT_EQ(verifyTrimmed(row.check, full + "\x01", anyTag), whole ? ELEM_ILLEGAL_CHAR : row.beyond);
        EXPECT_EQ(verifyTrimmed(row.check, "\x01" + full + "\x1b", anyTag) == 0, row.escapePasses);
    }
}
