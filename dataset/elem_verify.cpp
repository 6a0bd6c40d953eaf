// The checks of text values against their VR (PS3.5 6.2): rules as rows, and the members that walk them.
#include "dataset/elem_verify.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "dataset/char_class.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

constexpr std::size_t unlimited = static_cast<std::size_t>(-1);

// What becomes of a text beyond the limit.
enum class Long : unsigned char {
    refused,
    warned,     // logged, and checked as a whole all the same
    unchecked,  // only the part within the limit is checked; storing cuts it later
};
enum class Escape : unsigned char { plain, passes };  // passes: a text with ISO 2022 escapes is not looked at
enum class Empty : unsigned char { refused, passes };

struct VerifyRule {
    Verify check;
    const char* reporter;
    std::size_t limit;
    Long tooLong;
    Escape escapes;
    Empty empty;
    CharClass allowed;
};

// The unevenness is meant: AE refuses bytes above 126 which LO and SH take, CS takes lower-case letters, DS
// only warns of its length, and an empty CS passes while every other empty text is told. Callers rely on it.
// clang-format off
constexpr VerifyRule rules[] = {
    // check      reporter                 limit      too long         escapes         empty           allowed
    {Verify::none, "",                     unlimited, Long::unchecked, Escape::plain,  Empty::passes,  CHAR_LINES},
    {Verify::AE,  "DcElem::verifyValueAE", 16,        Long::unchecked, Escape::plain,  Empty::refused, CHAR_AE},
    {Verify::CS,  "DcElem::verifyValueCS", 16,        Long::unchecked, Escape::passes, Empty::passes,  CHAR_CS},
    {Verify::DS,  "DcElem::verifyValueDS", 16,        Long::warned,    Escape::plain,  Empty::refused, CHAR_REAL},
    {Verify::FX,  "DcElem::verifyValueFX", 16,        Long::refused,   Escape::plain,  Empty::refused, CHAR_REAL},
    {Verify::IS,  "DcElem::verifyValueIS", 12,        Long::refused,   Escape::plain,  Empty::refused, CHAR_INTEGER},
    {Verify::LO,  "DcElem::verifyValueLO", 64,        Long::unchecked, Escape::passes, Empty::refused, CHAR_LINE},
    {Verify::LT,  "DcElem::verifyValueLT", 10240,     Long::refused,   Escape::plain,  Empty::refused, CHAR_LINES},
    {Verify::SH,  "DcElem::verifyValueSH", 16,        Long::unchecked, Escape::passes, Empty::refused, CHAR_LINE},
    {Verify::UI,  "DcElem::verifyValueUI", 64,        Long::refused,   Escape::plain,  Empty::refused, CHAR_UID},
    {Verify::UT,  "DcElem::verifyValueUT", unlimited, Long::refused,   Escape::plain,  Empty::refused, CHAR_LINES},
    {Verify::XL,  "DcElem::verifyValueXL", 12,        Long::refused,   Escape::plain,  Empty::refused, CHAR_INTEGER},
    {Verify::UC,  "DcElem::verifyValueUC", unlimited, Long::refused,   Escape::passes, Empty::refused, CHAR_LINE},
    {Verify::UR,  "DcElem::verifyValueUR", unlimited, Long::refused,   Escape::plain,  Empty::refused, CHAR_URI},
    {Verify::XV,  "DcElem::verifyValueXV", 20,        Long::refused,   Escape::plain,  Empty::refused, CHAR_INTEGER},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < std::size(rules); ++i) {
        if (static_cast<std::size_t>(rules[i].check) != i) return false;
    }
    return true;
}());

bool hasEscape(std::string_view text) noexcept {
    return text.find(escape) != std::string_view::npos;
}

int failTooLong(const VerifyRule& rule, unsigned int tag) {
    return fail(ELEM_TOO_LONG, LOG_VALIDATION, rule.reporter, "Element (%04x,%04x) - string too long",
                tag >> 16, tag & 0xFFFF);
}

int failIllegal(const VerifyRule& rule, char c, std::string_view text, unsigned int tag) {
    const unsigned int code = static_cast<unsigned char>(c);
    if (rule.allowed == CHAR_LINES) {  // such texts may be very long
        return fail(ELEM_ILLEGAL_CHAR, LOG_VALIDATION, rule.reporter,
                    "Element (%04x,%04x) - illegal character '%c' (0x%x) in string", tag >> 16, tag & 0xFFFF,
                    code, code);
    }
    return fail(ELEM_ILLEGAL_CHAR, LOG_VALIDATION, rule.reporter,
                "Element (%04x,%04x) - illegal character '%c' (0x%x) in string '%.*s'", tag >> 16,
                tag & 0xFFFF, code, code, shown(text), text.data());
}

}  // namespace

int verifyTrimmed(Verify check, std::string_view text, unsigned int tag) noexcept {
    if (valueExceptionLevel() == 0) return RESULT_OK;
    const VerifyRule& rule = rules[static_cast<std::size_t>(check)];
    if (text.empty()) return rule.empty == Empty::passes ? RESULT_OK : ELEM_EMPTY_VALUE;
    std::string_view looked = text;
    if (text.size() > rule.limit) {
        if (rule.tooLong == Long::refused) return failTooLong(rule, tag);
        if (rule.tooLong == Long::warned) failTooLong(rule, tag);
        if (rule.tooLong == Long::unchecked) looked = text.substr(0, rule.limit);
    }
    for (const char c : looked) {
        if (isOf(c, rule.allowed)) continue;
        // An escape is itself outside every set that lets it pass, so the rare search for one can wait.
        if (rule.escapes == Escape::passes && hasEscape(text)) return RESULT_OK;
        return failIllegal(rule, c, text, tag);
    }
    return RESULT_OK;
}

bool passesPlainly(Verify check, std::string_view text) noexcept {
    const VerifyRule& rule = rules[static_cast<std::size_t>(check)];
    if (text.size() > rule.limit) return false;
    return std::all_of(text.begin(), text.end(), [&rule](char c) { return isOf(c, rule.allowed); });
}

namespace {

int verifyText(Verify check, const char* text, unsigned int tag) {
    if (valueExceptionLevel() == 0) return RESULT_OK;
    if (text == nullptr) {
        return fail(ELEM_NULL_ARGUMENT, LOG_VALIDATION, rules[static_cast<std::size_t>(check)].reporter,
                    "Element (%04x,%04x) - Null argument passed", tag >> 16, tag & 0xFFFF);
    }
    return verifyTrimmed(check, trim(text), tag);
}

}  // namespace
}  // namespace orvkit

using namespace orvkit;

int DcElem::verifyValueAE(const char* text) const {
    return verifyText(Verify::AE, text, tag_);
}
int DcElem::verifyValueCS(const char* text) const {
    return verifyText(Verify::CS, text, tag_);
}
int DcElem::verifyValueDS(const char* text) const {
    return verifyText(Verify::DS, text, tag_);
}
int DcElem::verifyValueFX(const char* text) const {
    return verifyText(Verify::FX, text, tag_);
}
int DcElem::verifyValueIS(const char* text) const {
    return verifyText(Verify::IS, text, tag_);
}
int DcElem::verifyValueLO(const char* text) const {
    return verifyText(Verify::LO, text, tag_);
}
int DcElem::verifyValueLT(const char* text) const {
    return verifyText(Verify::LT, text, tag_);
}
int DcElem::verifyValueSH(const char* text) const {
    return verifyText(Verify::SH, text, tag_);
}
int DcElem::verifyValueUI(const char* text) const {
    return verifyText(Verify::UI, text, tag_);
}
int DcElem::verifyValueUT(const char* text) const {
    return verifyText(Verify::UT, text, tag_);
}
int DcElem::verifyValueXL(const char* text) const {
    return verifyText(Verify::XL, text, tag_);
}
// The short integers share the check and its reporter.
int DcElem::verifyValueXS(const char* text) const {
    return verifyText(Verify::XL, text, tag_);
}
