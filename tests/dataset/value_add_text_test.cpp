// Adding texts: what is stored, refused and told.
#include <gtest/gtest.h>

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
    int calls = 0;

    static int call(void* context, unsigned int, DICT_VR, char*, char** replacement) {
        auto& self = *static_cast<Callback*>(context);
        ++self.calls;
        if (self.replacement != nullptr) *replacement = const_cast<char*>(self.replacement);
        return self.result;
    }
};

}  // namespace

// clang-format off
TEST(AddText, IsTrimmedAndSplitAtBackslashes) {
    expectAll({
        {VR_IS, "1\\2\\3", 0, "[1][2][3]"},
        {VR_CS, " \t A \\ B\n\\", 0, "[A][B]"},
        {VR_LO, "\x0e" "a\x0e", 0, "[ a ]", {{"DcElem::verifyValueLO", "- illegal character '\x0e' (0xe) in string '\x0e" "a\x0e'"}}},
        {VR_LT, "  a\\b \n", 0, "[  a\\b]"},
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
        {VR_DS, long20, 0, "[" + long20.substr(4) + "]",
         {{"DcElem::verifyValueDS", "- string too long"}, {strg, "- input string truncated from 20 to 16 chars"}}},
    });
}

TEST(AddText, OnBinaryVrsIsConverted) {
    expectAll({
        {VR_FD, "-1.5e3\\.5\\1.5.5\\--1", 0, "[-1500][0.5][1.5][0]"},
        {VR_SL, "99999999999\\-99999999999", 0, "[2147483647][-2147483648]"},
        {VR_SS, "70000\\-1", 0, "[4464][-1]"},
        {VR_SL, "0x10", ELEM_ILLEGAL_CHAR, "", {{"DcElem::verifyValueXL", "- illegal character 'x' (0x78) in string '0x10'"}}},
    });
}

TEST(AddText, IsNeitherCheckedNorCutAtLevelZero) {
    const ExceptionLevel level(0);
    expectAll({
        {VR_IS, "xyz", 0, "[xyz]"},
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
    }
}
// clang-format on
