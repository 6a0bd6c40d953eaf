#include "orvkit/charset.h"

#include <gtest/gtest.h>

#include <string>

#include "orvkit/result.h"
#include "orvkit/util.h"

namespace {

struct Converted {
    int result;
    std::string text;
    DcTextLoss loss;
};

template <typename Function>
Converted convert(Function function, const std::string& terms, DICT_VR vr, const std::string& text) {
    char* made = nullptr;
    unsigned int length = 0;
    DcTextLoss loss;
    const int result =
        function(terms.c_str(), vr, text.data(), static_cast<unsigned int>(text.size()), made, length, &loss);
    Converted converted{result, std::string(made != nullptr ? made : "", length), loss};
    utilDelete(made);
    return converted;
}
Converted toUtf8(const std::string& terms, DICT_VR vr, const std::string& text) {
    return convert(textToUtf8, terms, vr, text);
}
Converted fromUtf8(const std::string& terms, DICT_VR vr, const std::string& text) {
    return convert(textFromUtf8, terms, vr, text);
}

const char* const singleByteTerms[] = {"ISO_IR 100", "ISO_IR 101", "ISO_IR 109", "ISO_IR 110",
                                       "ISO_IR 126", "ISO_IR 127", "ISO_IR 138", "ISO_IR 144",
                                       "ISO_IR 148", "ISO_IR 166", "ISO_IR 203", "ISO_IR 13"};

TEST(CharsetTest, EveryCharacterOfEverySingleByteSetComesBack) {
    for (const char* terms : singleByteTerms) {
        int characters = 0;
        for (int code = 0xA0; code < 0x100; ++code) {
            const std::string byte(1, static_cast<char>(code));
            const Converted utf8 = toUtf8(terms, VR_LO, byte);
            if (utf8.result != 0) {
                EXPECT_EQ(utf8.text, "\xEF\xBF\xBD") << terms << ' ' << code;
                continue;
            }
            ++characters;
            const Converted back = fromUtf8(terms, VR_LO, utf8.text);
            EXPECT_EQ(back.result, 0) << terms << ' ' << code;
            EXPECT_EQ(back.text, byte) << terms << ' ' << code;
        }
        EXPECT_GE(characters, 45) << terms;
    }
}

// Names as PS3.5 annexes H to K print them, and what they mean; both ways.
TEST(CharsetTest, CodeExtensionsAreSwitchedWhereTheStandardWantsThem) {
    const struct {
        const char* terms;
        DICT_VR vr;
        std::string coded, utf8;
    } rows[] = {
        {"\\ISO 2022 IR 87", VR_PN,
         "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B=\x1B$B$d$^$@\x1B(B^\x1B$B$?$m$&\x1B(B",
         "Yamada^Tarou=山田^太郎=やまだ^たろう"},
        {"ISO 2022 IR 13\\ISO 2022 IR 87", VR_PN,
         "\xD4\xCF\xC0\xDE^\xC0\xDB\xB3=\x1B$B;3ED\x1B(J^\x1B$BB@O:\x1B(J=\x1B$B$d$^$@\x1B(J^\x1B$B$?$m$&"
         "\x1B(J",
         "ﾔﾏﾀﾞ^ﾀﾛｳ=山田^太郎=やまだ^たろう"},
        {"\\ISO 2022 IR 149", VR_PN,
         "Hong^Gildong=\x1B$)C\xFB\xF3^\x1B$)C\xD1\xCE\xD4\xD7=\x1B$)C\xC8\xAB^\x1B$)C\xB1\xE6\xB5\xBF",
         "Hong^Gildong=洪^吉洞=홍^길동"},
        {"\\ISO 2022 IR 58", VR_PN,
         "Zhang^XiaoDong=\x1B$)A\xD5\xC5^\x1B$)A\xD0\xA1\xB6\xAB=", "Zhang^XiaoDong=张^小东="},
        {"ISO_IR 192", VR_PN, "Wang^XiaoDong=王^小东=", "Wang^XiaoDong=王^小东="},
        {"GB18030", VR_PN, "Wang^XiaoDong=\xCD\xF5^\xD0\xA1\xB6\xAB=", "Wang^XiaoDong=王^小东="},
        {"GBK", VR_LO, "\x97\x5C\\a", "梊\\a"},  // a backslash that is half of a character
        {"\\ISO 2022 IR 159", VR_LO, "\x1B$(D0!\x1B(B a", "丂 a"},
        // The plain text falls back at ends of lines, not at signs that mean something elsewhere.
        {"\\ISO 2022 IR 87", VR_ST, "\x1B$B;3\x1B(B^\\\r\n\x1B$BED\x1B(B", "山^\\\r\n田"},
        {"\\ISO 2022 IR 149", VR_LT, "\x1B$)C\xFB\xF3^\xFB\xF3", "洪^洪"},
        {"ISO 2022 IR 100\\ISO 2022 IR 144", VR_LO, "\xE9\x1B-L\xD6\x1B-A\\\xE9", "éж\\é"},
        {"ISO 2022 IR 100\\ISO 2022 IR 126", VR_PN, "\x1B-F\xC4\x1B-A^\xC4", "Δ^Ä"},
        {"ISO_IR 13", VR_LO, "\x7E\xB1", "‾ｱ"},
        {"ISO 2022 IR 13\\ISO 2022 IR 6", VR_LO, "\xB1\x1B(B~\x1B(J", "ｱ~"},
        {"", VR_LO, "plain\\ASCII~", "plain\\ASCII~"},
        {"ISO_IR 192", VR_UI, "1.2", "1.2"}};
    for (const auto& row : rows) {
        const Converted utf8 = toUtf8(row.terms, row.vr, row.coded);
        EXPECT_EQ(utf8.result, 0) << row.utf8;
        EXPECT_EQ(utf8.text, row.utf8);
        const Converted coded = fromUtf8(row.terms, row.vr, row.utf8);
        EXPECT_EQ(coded.result, 0) << row.utf8;
        EXPECT_EQ(coded.text, row.coded) << row.utf8;
    }
}

TEST(CharsetTest, WhatCannotBeConvertedIsCountedAndPlaced) {
    const struct {
        bool toUtf8;
        const char* terms;
        DICT_VR vr;
        std::string given;
        int result;
        std::string made;
        unsigned int count, first;
    } rows[] = {
        {true, "", VR_LO, "ab\xE9", ELEM_CHARSET_LOSS, "ab\xEF\xBF\xBD", 1, 2},
        {true, "ISO_IR 192", VR_LO, "a\xC3(\xFF", ELEM_CHARSET_LOSS, "a\xEF\xBF\xBD(\xEF\xBF\xBD", 2, 1},
        {true, "ISO_IR 999", VR_LO, "a", 0, "a", 0, 0},  // as without
        {true, "ISO_IR 100", VR_CS, "\xE9", ELEM_CHARSET_LOSS, "\xEF\xBF\xBD", 1, 0},
        {true, "\\ISO 2022 IR 87", VR_LO, "x\x1B$B;3!", ELEM_CHARSET_LOSS, "x山\xEF\xBF\xBD", 1, 6},
        {true, "\\ISO 2022 IR 87", VR_LO, "\x1B$B;3\x7F;3", 0, "山\x7F山", 0, 0},
        // A pair that is no character takes nothing of the next ones.
        {true, "\\ISO 2022 IR 87", VR_LO, "\x1B$B)!;3", ELEM_CHARSET_LOSS, "\xEF\xBF\xBD\xEF\xBF\xBD山", 2,
         3},
#ifndef _WIN32  // where it is a character of private use
        {true, "\\ISO 2022 IR 159", VR_LO, "\x1B$(D~~0!", ELEM_CHARSET_LOSS, "\xEF\xBF\xBD\xEF\xBF\xBD丂", 2,
         4},
#endif
        {false, "ISO_IR 100", VR_LO, "a\x1B$B", ELEM_CHARSET_LOSS, "a?$B", 1, 1},
        {false, "ISO_IR 100", VR_LO, "é山é", ELEM_CHARSET_LOSS, "\xE9?\xE9", 1, 2},
        {false, "ISO_IR 100", VR_CS, "é", ELEM_CHARSET_LOSS, "?", 1, 0},
        {false, "\\ISO 2022 IR 87", VR_LO, "山é", ELEM_CHARSET_LOSS, "\x1B$B;3\x1B(B?", 1, 3},
        {false, "GBK", VR_LO, "\xF0\x9F\x98\x80", ELEM_CHARSET_LOSS, "?", 1, 0},
        {false, "ISO_IR 192", VR_LO, "\xF0\x90\x80\x80", 0, "\xF0\x90\x80\x80", 0,
         0},  // the first beyond 16 bits
        {false, "ISO_IR 192", VR_LO, "\xED\xA0\x80", ELEM_CHARSET_LOSS, "???", 3, 0},  // a surrogate
        {false, "ISO_IR 192", VR_LO, "\xC0\x80", ELEM_CHARSET_LOSS, "??", 2, 0},       // overlong
        {false, "ISO_IR 192", VR_LO, "a\xE5\xB1", ELEM_CHARSET_LOSS, "a??", 2, 1},     // cut
        {false, "ISO_IR 13", VR_LO, "~", ELEM_CHARSET_LOSS, "?", 1, 0},
        {false, "ISO_IR 100\\unknown", VR_LO, "a", ELEM_CHARSET, "", 0, 0}};
    for (const auto& row : rows) {
        const Converted made = (row.toUtf8 ? toUtf8 : fromUtf8)(row.terms, row.vr, row.given);
        EXPECT_EQ(made.result, row.result) << row.terms << ' ' << row.given;
        EXPECT_EQ(made.text, row.made) << row.terms << ' ' << row.given;
        EXPECT_EQ(made.loss.count, row.count) << row.terms << ' ' << row.given;
        EXPECT_EQ(made.loss.first, row.first) << row.terms << ' ' << row.given;
    }
    // However often a term is named, a character is looked up in its set once: this would take minutes.
    std::string terms;
    for (int i = 0; i < 1000; ++i) terms += "\\ISO 2022 IR 87\\ISO 2022 IR 149";
    const Converted many = fromUtf8(terms, VR_UT, [] {
        std::string text;
        while (text.size() < 300000) text += "\u2E3B";
        return text;
    }());
    EXPECT_EQ(many.loss.count, 100000U);
    char* made = nullptr;
    unsigned int length = 7;
    EXPECT_EQ(textToUtf8("", VR_LO, nullptr, 1, made, length), ELEM_NULL_ARGUMENT);
    EXPECT_EQ(made, nullptr);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(textCheckCharset("ISO 2022 IR 6\\ ISO 2022 IR 87 "), 0);
    EXPECT_EQ(textCheckCharset("ISO_IR 100\\ISO_IR 1000"), ELEM_CHARSET);
}

}  // namespace
