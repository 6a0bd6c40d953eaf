// Values as texts, numbers and records: what is stored, delivered, refused and told.

#include <functional>

#include "orvkit/util.h"
#include "support/capture_log.h"
#include "support/elem_values.h"

namespace {

const std::string esc = "\x1b";

// Of every line that was logged its reporter and what stands behind the element's name.
std::string told(CaptureLog& log) {
    std::string all;
    for (const LogLine& line : log.take()) {
        EXPECT_EQ(line.level, LOG_VALIDATION);
        EXPECT_TRUE(line.text.starts_with(anyElement)) << line.text;
        all += (all.empty() ? "" : "; ") + line.reporter + " " + line.text.substr(anyElement.size());
    }
    return all;
}

std::unique_ptr<DcElem> holding(DICT_VR vr, const char* text) {
    auto e = elemOf(vr);
    EXPECT_EQ(e->addValue(text), 0) << text;
    return e;
}

// A text added to an empty element.
struct TextRow {
    DICT_VR vr;
    std::string text;
    int code;
    std::string held, told = "";
};

void expectAll(const std::vector<TextRow>& rows) {
    for (const TextRow& row : rows) {
        SCOPED_TRACE(std::string(DcDict::vrName(row.vr)) + " '" + row.text.substr(0, 80) + "'");
        CaptureLog log;
        const auto e = elemOf(row.vr);
        EXPECT_EQ(e->addValue(row.text.c_str()), row.code);
        EXPECT_EQ(stored(*e), row.held);
        EXPECT_EQ(told(log), row.told);
    }
}

// A record added to an empty element: what is stored, or the message that refuses it.
template <typename Value>
std::string added(DICT_VR vr, Value v, CaptureLog& log) {
    const auto e = elemOf(vr);
    const int code = e->addValue(v);
    EXPECT_EQ(code, log.lines().empty() ? 0 : ELEM_VALUE_REFUSED);
    return code == 0 ? stored(*e) : told(log);
}
template <typename Value>
std::string made(DICT_VR vr, std::function<void(Value&)> change) {
    CaptureLog log;
    Value v;
    change(v);
    return added(vr, v, log);
}
// A text as a record, and that as a text again.
template <typename Value>
std::string thereAndBack(DICT_VR vr, const std::string& text) {
    CaptureLog log;
    Value v;
    EXPECT_EQ(holding(vr, text.c_str())->getValue(v), 0);
    log.clear();
    if constexpr (requires { v.text; }) v.text[0] = '\0';
    return added(vr, v, log);
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
TEST(AddText, IsTrimmedSplitCheckedAndCut) {
    const std::string long20(20, '1'), long34(34, '0');
    const std::string kanji = "A" + esc + "$B\\" + esc + "(B";  // a backslash in a two-byte character
    expectAll({
        {VR_IS, "1\\2\\3", 0, "[1][2][3]"},
        {VR_CS, " \t A \\ B\n\\", 0, "[A][B]"},
        {VR_LT, "  a\\b \n", 0, "[  a\\b]"},
        {VR_PN, kanji + "\\" + kanji + "\\C", 0, "[" + kanji + "][" + kanji + "][C]"},
        // The first failing piece stops; those before it stay.
        {VR_IS, "1\\x\\3", ELEM_ILLEGAL_CHAR, "[1]", "DcElem::verifyValueIS - illegal character 'x' (0x78) in string 'x'"},
        {VR_LO, "\x0e" "a\x0e", 0, "[ a ]", "DcElem::verifyValueLO - illegal character '\x0e' (0xe) in string '\x0e" "a\x0e'"},
        {VR_CS, esc + "(B-", 0, "[" + esc + "(B-]"},  // a text with escapes is not looked at
        {VR_OB, " ", ELEM_VALUE_REFUSED, "", "DcElem::addValueStrg VR=OB, does not accept string"},
        // Too long: cut, with what is cut unchecked, or told and cut, or refused.
        {VR_AE, std::string(16, 'a') + "\x7F", 0, "[" + std::string(16, 'a') + "]", "DcElem::addValueStrg - input string truncated from 17 to 16 chars"},
        {VR_DS, long20, 0, "[" + long20.substr(4) + "]", "DcElem::verifyValueDS - string too long; DcElem::addValueStrg - input string truncated from 20 to 16 chars"},
        {VR_IS, long20.substr(8), 0, "[" + long20.substr(8) + "]"},
        {VR_IS, long20.substr(7), ELEM_TOO_LONG, "", "DcElem::verifyValueIS - string too long"},
        // On binary VRs.
        {VR_FL, long20.substr(3), ELEM_TOO_LONG, "", "DcElem::verifyValueFX - string too long"},
        {VR_FD, "-1.5e3\\.5\\1.5.5\\--1", 0, "[-1500][0.5][1.5][0]"},
        {VR_SL, "99999999999\\-99999999999", 0, "[2147483647][-2147483648]"},
        {VR_SS, "70000\\-1", 0, "[4464][-1]"},
        {VR_SL, "0x10", ELEM_ILLEGAL_CHAR, "", "DcElem::verifyValueXL - illegal character 'x' (0x78) in string '0x10'"},
        // Those with a form of their own.
        {VR_DA, "19000229", 0, "[19000229]"},
        {VR_DA, "20230229", UTIL_MALFORMED, "", "utilStrgToYMD - invalid day 29 in string '20230229'"},
        {VR_DA, "2024.01.01.", UTIL_MALFORMED, "", "utilStrgToYMD - unexpected occurence of '.' in string '2024.01.01.'"},
        {VR_DA, "20240101-x", UTIL_MALFORMED, "", "utilStrgToYMD - short string 'x', should be 8 digits"},
        {VR_TM, "1:0:3:0", UTIL_MALFORMED, "", "utilStrgToHMS - unexpected occurence of ':' in string '1:0:3:0'"},
        {VR_TM, long34 + "123", UTIL_MALFORMED, "", "utilStrgToHMS - invalid HHMMSS part in string '" + long34 + "', should be 2, 4 or 6 chars"},
        {VR_TM, "09-24", UTIL_MALFORMED, "", "utilStrgToValue - invalid hour value in string '24'"},
        {VR_TM, "0960", UTIL_MALFORMED, "", "utilStrgToValue - invalid minute value in string '0960'"},
        {VR_AS, "45Y", UTIL_MALFORMED, "", "utilStrgToValue - '45Y' incorrect AS string length, must be 4 bytes"},
        {VR_AT, "(7FE0,00aF)", 0, "[(7fe0,00af)]"},
        {VR_AT, "(7fe0.0010)", UTIL_MALFORMED, "", "utilStrgToValue - invalid string '(7fe0.0010)', expecting (gggg,eeee)"},
        {VR_DT, "202401", UTIL_MALFORMED, "", "utilStrgToYMD - short string '202401', should be 8 digits"},
    });
    const ExceptionLevel level(0);
    expectAll({
        {VR_IS, "xyz", 0, "[xyz]"},
        {VR_FD, "0x1p3\\0x.8\\inf\\-nan\\what\\+-1", 0, "[8][0.5][inf][-nan][0][0]"},
        // Dates and times are parsed whatever the level.
        {VR_DA, "2024", UTIL_MALFORMED, "", "utilStrgToYMD - short string '2024', should be 8 digits"},
    });
}

TEST(AddText, CallbackDecidesAboutDoubtfulTexts) {
    const struct {
        DICT_VR vr;
        const char* text;
        Callback answer;
        int code;
        const char* held;
        int calls;
    } rows[] = {
        {VR_CS, " a-b ", {}, 0, "[ a-b ]", 1},  // the given text, unchanged
        {VR_CS, "a-b", {.result = 1}, ELEM_REFUSED, "", 1},
        {VR_CS, "a-b", {.replacement = "A text without any limit"}, 0, "[A text without any limit]", 1},
        {VR_SL, "x", {}, ELEM_ILLEGAL_CHAR, "", 0},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        const CaptureLog quiet;
        Callback callback = row.answer;
        const auto e = elemOf(row.vr);
        e->registerValueExceptionCB(&callback, Callback::call);
        EXPECT_EQ(e->addValue(row.text), row.code);
        EXPECT_EQ(stored(*e), row.held);
        EXPECT_EQ(callback.calls, row.calls);
    }
}

TEST(Records, LeadBackToTheirTexts) {
    const auto date = [](const char* text) { return thereAndBack<DcElemValueDA>(VR_DA, text); };
    const auto time = [](const char* text) { return thereAndBack<DcElemValueTM>(VR_TM, text); };
    const auto moment = [](const char* text) { return thereAndBack<DcElemValueDT>(VR_DT, text); };
    const auto name = [](const std::string& text) { return thereAndBack<DcElemValuePN>(VR_PN, text); };
    EXPECT_EQ(thereAndBack<DcElemValueAS>(VR_AS, "045Y"), "[045Y]");
    EXPECT_EQ(date("2024.02.29"), "[20240229]");
    EXPECT_EQ(date("20240101-20241231"), "[20240101-20241231]");
    EXPECT_EQ(date("20240101- "), "[20240101-]");  // as padded in a stream
    EXPECT_EQ(time("23:59"), "[2359]");
    EXPECT_EQ(time("10:30:15.25"), "[103015.250000]");
    EXPECT_EQ(time("0930-093015.5"), "[093000.000000-093015.500000]");
    EXPECT_EQ(moment("20240102103015.123456+05301"), "[20240102103015.123456+530]");
    EXPECT_EQ(name("  Doe^John^M^Dr^Jr^more^and^more"), "[Doe^John^M^Dr^Jr]");
    const std::string kanji = esc + "$B;3^=" + esc + "(B";  // "^" and "=" in two-byte characters
    EXPECT_EQ(name("Yamada^Tarou=" + kanji + "^" + kanji + "="), "[Yamada^Tarou=" + kanji + "^" + kanji + "]");
    EXPECT_EQ(name("a^" + std::string(70, 'n') + "^c"), "[a^" + std::string(64, 'n') + "^c]");
}

TEST(Records, AreRefusedBeyondTheirRanges) {
    using AS = DcElemValueAS; using DA = DcElemValueDA; using TM = DcElemValueTM; using DT = DcElemValueDT;
    EXPECT_EQ(made<AS>(VR_AS, [](AS& v) { v.age = 45, v.unit[0] = 'x'; }), "DcElem::addValue - invalid specifier 'X', should be D,W,M,Y");
    EXPECT_EQ(made<AS>(VR_AS, [](AS& v) { v.age = 1000, v.unit[0] = 'D'; }), "DcElem::addValue - age out of range 1000");
    EXPECT_EQ(made<DA>(VR_DA, [](DA& v) { v.year = -1, v.month = 2, v.day = 3; }), "DcElem::addValue - year out of range -1");
    EXPECT_EQ(made<DA>(VR_DA, [](DA& v) { v.startDate = 30001232, v.endDate = 1; }), "DcElem::addValue - invalid starting date 30001232");
    EXPECT_EQ(made<DA>(VR_DA, [](DA& v) { v.startDate = 30001231, v.endDate = 1; }), "[30001231-00000001]");
    EXPECT_EQ(made<TM>(VR_TM, [](TM& v) { v.endTime = 240000; }), "[-240000.000000]");
    EXPECT_EQ(made<TM>(VR_TM, [](TM& v) { v.hour = 24; }), "DcElem::addValue - hour out of range 24");
    EXPECT_EQ(made<TM>(VR_TM, [](TM& v) { v.second = 1e300; }), "DcElem::addValue - second out of range 2147483647");
    EXPECT_EQ(made<TM>(VR_TM, [](TM& v) { v.startTime = 240000.5; }), "DcElem::addValue - invalid starting time 240000");
    EXPECT_EQ(made<DT>(VR_DT, [](DT& v) { v.year = v.month = v.day = 1, v.offsetHour = 24; }), "DcElem::addValue - offsetHour out of range 24");
    EXPECT_EQ(made<DT>(VR_DT, [](DT& v) { std::strcpy(v.text, "2024"); }), "[2024]");
    EXPECT_EQ(made<DcElemValuePN>(VR_PN, [](auto& v) { std::memset(v.family, 'f', sizeof v.family); }), "[" + std::string(64, 'f') + "]") << "no NUL";
}
// clang-format on

TEST(Values, OfOtherTypesAreConvertedOrRefused) {
    CaptureLog log;
    const auto e = elemOf(VR_IS);
    EXPECT_EQ(e->addValue(static_cast<short>(-3)), 0);
    EXPECT_EQ(e->addValue("7"), 0);
    EXPECT_EQ(e->changeValue(33, 1), 0);
    for (const int index : {2, -1}) {
        EXPECT_EQ(e->changeValue(4, index), ELEM_INVALID_INDEX);
        log.expect(LOG_VALIDATION, "DcElem::changeValue", "Invalid index value");
    }
    EXPECT_EQ(stored(*e), "[-3][33]");
    double real = 0;
    EXPECT_EQ(e->getValue(real), 0);
    EXPECT_EQ(real, -3);
    int whole = 0;
    for (const auto& [text, value] : {std::pair("-2147483647", -2147483647), {"000000000012", 12}}) {
        EXPECT_EQ(holding(VR_IS, text)->getValue(whole), 0);
        EXPECT_EQ(whole, value);
    }
    EXPECT_EQ(holding(VR_DS, "0000000000001.25")->getValue(real), 0);
    EXPECT_EQ(real, 1.25);
    DICT_UID uid = UID_NONE;
    EXPECT_EQ(elemOf(VR_AE)->addValue(7), ELEM_VALUE_REFUSED);
    EXPECT_EQ(elemOf(VR_DA)->getValue(uid), ELEM_EMPTY_VALUE);  // before its VR is looked at
    EXPECT_EQ(holding(VR_SH, "7")->getValue(uid), ELEM_VR_SIZE);
    DcBuf buf;
    EXPECT_EQ(elemOf(VR_SH)->getValue(buf), ELEM_VR_SIZE);
    EXPECT_EQ(elemOf(VR_OW)->getValue(buf), ELEM_EMPTY_VALUE);
    EXPECT_EQ(told(log),
              "DcElem::addValue VR=AE, does not accept long; DcElem::getValue VR=SH, cannot get value as "
              "DICT_UID; DcElem::getValue VR=SH, cannot get value as raw buffer");
    EXPECT_EQ(holding(VR_UI, "1.2.840.10008.1.2")->getValue(uid), 0);
    EXPECT_EQ(uid, UID_LITTLE_ENDIAN_IMPLICIT);
}

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
    for (int index : {4, -1}) {
        EXPECT_EQ(e->getValue(v, index), ELEM_INVALID_INDEX);
        EXPECT_EQ(told(log),
                  "DcElem::getValue index (=" + std::to_string(index) + ") out of range, value count = 3");
    }
    const auto raw = elemOf(VR_OB);
    EXPECT_EQ(raw->addValue("ab", 2, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(raw->addValue("cde", 3, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    DcBuf b;
    EXPECT_EQ(raw->getValue(b, 1), 0);  // of raw buffers the index does not pick
    EXPECT_EQ(b.getLen(), 2u);
    EXPECT_EQ(raw->getValue(b, ELEM_INDEX_NEXT), 0);
    EXPECT_EQ(raw->getValue(b, ELEM_INDEX_NEXT), 0);
    EXPECT_EQ(b.getLen(), 3u);
    EXPECT_EQ(raw->getValue(b, ELEM_INDEX_NEXT), ELEM_NO_MORE_VALUES);
}

TEST(GetValue, TextsAreCutToldAndTrimmed) {
    CaptureLog log;
    const auto e = holding(VR_LO, "ABCDEF\\GH");
    char buffer[20];
    EXPECT_EQ(e->getValue(buffer, 4, ELEM_INDEX_NEXT), ELEM_TRUNCATED);
    EXPECT_STREQ(buffer, "ABCD");
    EXPECT_EQ(told(log), "DcElem::getValue buffer too short, value truncated");
    for (const char* next : {"ABCDEF", "GH"}) {  // the refused read left the counter
        EXPECT_EQ(e->getValue(buffer, 6, ELEM_INDEX_NEXT), 0);
        EXPECT_STREQ(buffer, next);
    }
    // The last byte of the buffer is written whatever stands in front of it, and none behind.
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(e->getValue(buffer, 6, 1), 0);
    EXPECT_EQ(std::string(buffer, 3) + buffer[6] + buffer[7], std::string("GH\0\0x", 5));
    EXPECT_EQ(holding(VR_FD, "-1234567.5")->getValue(buffer, 15), ELEM_TRUNCATED);
    EXPECT_EQ(holding(VR_FD, "-1234567.5")->getValue(buffer, 16), 0);
    EXPECT_STREQ(buffer, "-1.23457e+06");
    EXPECT_EQ(holding(VR_XS, "-5")->getValue(buffer, 11), ELEM_TRUNCATED);
    EXPECT_EQ(holding(VR_XS, "-5")->getValue(buffer, 12), 0);
    EXPECT_EQ(holding(VR_AT, "(7FE0,0010)")->getValue(buffer, 11), ELEM_TRUNCATED);
    EXPECT_EQ(holding(VR_AT, "(7FE0,0010)")->getValue(buffer, 12), 0);
    EXPECT_STREQ(buffer, "(7fe0,0010)");
    EXPECT_EQ(log.take(), LogLines{});
}
