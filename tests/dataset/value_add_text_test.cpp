// Adding texts: what is stored, refused and told.
#include <gtest/gtest.h>

#include <chrono>

#include "orvkit/result.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

const std::string esc = "\x1b";
const std::string strg = "DcElem::addValueStrg";

// A text added to an empty element, and the lines logged: reporter, and text behind the element's name.
struct TextRow {
    DICT_VR vr;
    std::string text;
    int code;
    std::string held;
    std::vector<std::pair<std::string, std::string>> lines = {};
};

void expectAll(const std::vector<TextRow>& rows) {
    for (const TextRow& row : rows) {
        SCOPED_TRACE(std::string(DcDict::vrName(row.vr)) + " '" + row.text.substr(0, 80) + "'");
        CaptureLog log;
        const auto e = elemOf(row.vr);
        EXPECT_EQ(e->addValue(row.text.c_str()), row.code);
        EXPECT_EQ(stored(*e), row.held);
        LogLines expected;
        for (const auto& [reporter, text] : row.lines)
            expected.push_back({LOG_VALIDATION, reporter, anyElement + text});
        EXPECT_EQ(log.take(), expected);
    }
}

struct Callback {
    int result = 0;
    const char* replacement = nullptr;
    bool toNull = false;
    int calls = 0;
    DICT_VR vr = VR_UNKNOWN;

    static int call(void* context, unsigned int tag, DICT_VR vr, char* value, char** replacement) {
        auto& self = *static_cast<Callback*>(context);
        ++self.calls;
        self.vr = vr;
        EXPECT_EQ(tag, anyTag);
        EXPECT_EQ(*replacement, value);
        if (self.replacement != nullptr) *replacement = const_cast<char*>(self.replacement);
        if (self.toNull) *replacement = nullptr;
        return self.result;
    }
};

}  // namespace

// clang-format off
TEST(AddText, IsTrimmedAndSplitAtBackslashes) {
    expectAll({
        {VR_IS, "1\\2\\3", 0, "[1][2][3]"},
        {VR_CS, "A\\\\", 0, "[A][]"},
        {VR_CS, " \t A \\ B\n\\", 0, "[A][B]"},
        {VR_LO, "\x0e" "a\x0e", 0, "[ a ]", {{"DcElem::verifyValueLO", "- illegal character '\x0e' (0xe) in string '\x0e" "a\x0e'"}}},
        {VR_LT, "  a\\b \n", 0, "[  a\\b]"},
        {VR_UT, " a\\b ", 0, "[ a\\b ]"},
        {VR_DA, "20240101\\\\20240102", 0, "[20240101][][20240102]"},
        // The first failing piece stops; those before it stay.
        {VR_IS, "1\\x\\3", ELEM_ILLEGAL_CHAR, "[1]", {{"DcElem::verifyValueIS", "- illegal character 'x' (0x78) in string 'x'"}}},
        {VR_OB, " ", ELEM_VALUE_REFUSED, "", {{strg, "VR=OB, does not accept string"}}},
    });
}

TEST(AddText, KeepsBackslashesBetweenEscapes) {
    const std::string name = "A" + esc + "$B\\" + esc + "(B";
    for (const DICT_VR vr : {VR_CS, VR_LO, VR_PN, VR_SH}) {
        const auto e = elemOf(vr);
        EXPECT_EQ(e->addValue((name + "\\" + name + "\\C").c_str()), 0);
        EXPECT_EQ(stored(*e), "[" + name + "][" + name + "][C]");
    }
}

TEST(AddText, IsCheckedAndCutByItsVr) {
    const std::string long20(20, '1');
    expectAll({
        {VR_AE, std::string(20, 'a'), 0, "[" + std::string(16, 'a') + "]", {{strg, "- input string truncated from 20 to 16 chars"}}},
        {VR_LO, std::string(64, 'a') + "\n", 0, "[" + std::string(64, 'a') + "]"},
        {VR_LO, "a\nb\tc", 0, "[a|b c]", {{"DcElem::verifyValueLO", "- illegal character '\n' (0xa) in string 'a\nb\tc'"}}},
        {VR_DS, long20, 0, "[" + long20.substr(4) + "]",
         {{"DcElem::verifyValueDS", "- string too long"}, {strg, "- input string truncated from 20 to 16 chars"}}},
        {VR_PN, std::string(325, 'a'), 0, "[" + std::string(324, 'a') + "]", {{strg, "- input string truncated from 325 to 324 chars"}}},
    });
}

TEST(AddText, OnBinaryVrsIsConverted) {
    expectAll({
        {VR_FD, "-1.5e3\\.5\\1.5.5\\--1", 0, "[-1500][0.5][1.5][0]"},
        {VR_FL, "1e999\\-1e999\\1e-999\\0.1", 0, "[inf][-inf][0][0.1]"},
        {VR_SL, "010\\08\\-3\\+4", 0, "[8][0][-3][4]"},
        {VR_SL, "99999999999\\-99999999999", 0, "[2147483647][-2147483648]"},
        {VR_SS, "70000\\-1", 0, "[4464][-1]"},
        {VR_XS, "-5\\65531\\0", 0, "[-5][-5][0]"},
        {VR_SL, "0x10", ELEM_ILLEGAL_CHAR, "", {{"DcElem::verifyValueXL", "- illegal character 'x' (0x78) in string '0x10'"}}},
        {VR_US, " ", 0, ""},
    });
}

TEST(AddText, IsNeitherCheckedNorCutAtLevelZero) {
    const ExceptionLevel level(0);
    expectAll({
        {VR_IS, "xyz", 0, "[xyz]"},
        {VR_LO, "a\nb\x01", 0, "[a|b]"},
        {VR_SL, "0x1F\\-0x1f\\0x", 0, "[31][-31][0]"},
        {VR_FD, "0x1p3\\0x.8\\inf\\-nan\\what\\+-1", 0, "[8][0.5][inf][-nan][0][0]"},
        // Dates and times are parsed whatever the level.
        {VR_DA, "2024", UTIL_MALFORMED, "", {{"utilStrgToYMD", "- short string '2024', should be 8 digits"}}},
    });
}

TEST(AddText, CallbackDecidesAboutDoubtfulTexts) {
    struct Row {
        DICT_VR vr;
        const char* text;
        Callback answer;
        int code;
        const char* held;
        int calls;
    };
    const Row rows[] = {
        {VR_CS, " a-b ", {}, 0, "[ a-b ]", 1},  // the given text, unchanged
        {VR_CS, "a-b", {.result = 1}, ELEM_REFUSED, "", 1},
        {VR_CS, "a-b", {.replacement = "A text without any limit"}, 0, "[A text without any limit]", 1},
        {VR_AE, "12345678901234567", {.toNull = true}, 0, "[12345678901234567]", 1},
        {VR_DA, "today", {.replacement = "20240101"}, 0, "[20240101]", 1},
        {VR_AT, "7fe00010", {.replacement = "(7fe0,0010)"}, 0, "[(7fe0,0010)]", 1},
        {VR_LO, "a\nb", {.result = 1}, 0, "[a|b]", 0},
        {VR_SL, "x", {}, ELEM_ILLEGAL_CHAR, "", 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        CaptureLog log;
        Callback callback = row.answer;
        const auto e = elemOf(row.vr);
        e->registerValueExceptionCB(&callback, Callback::call);
        EXPECT_EQ(e->addValue(row.text), row.code);
        EXPECT_EQ(stored(*e), row.held);
        EXPECT_EQ(callback.calls, row.calls);
        EXPECT_EQ(callback.vr, row.calls != 0 ? row.vr : VR_UNKNOWN);
    }
}
// clang-format on

TEST(AddText, TakesLinearTimeForManyPiecesAndEscapes) {
    const auto seconds = [](const std::string& text) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(elemOf(VR_PN)->addValue(text.c_str()), 0);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    std::string names;
    for (int i = 0; i < 60'000; ++i) names += "a" + esc + "$B\\" + esc + "(B\\";
    EXPECT_LT(seconds(names), 5.0);
    EXPECT_LT(seconds(std::string(600'000, '\\')), 5.0);
}
