// Adding texts to elements: trimmed, split, checked, converted, cut.
#include <charconv>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "dataset/char_class.h"
#include "dataset/elem_add.h"
#include "dataset/elem_verify.h"
#include "dataset/value_text.h"
#include "foundation/exception_level.h"
#include "foundation/fail.h"
#include "orvkit/elem.h"
#include "orvkit/log.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

constexpr const char* textReporter = "DcElem::addValueStrg";

int failMemory(const char* from, std::size_t size) {
    const auto shownSize = static_cast<unsigned int>(size);
    return fail(ELEM_NO_MEMORY, LOG_ERROR, from, "unable to allocated 0x%x (%d) bytes of memory", shownSize,
                static_cast<int>(shownSize));
}

// A text that is written to: a copy with a NUL at its end.
class TextCopy {
  public:
    explicit TextCopy(std::string_view text) noexcept {
        if (text.size() >= sizeof local_) heap_.reset(new (std::nothrow) char[text.size() + 1]);
        at_ = text.size() >= sizeof local_ ? heap_.get() : local_;
        if (at_ == nullptr) return;
        if (!text.empty()) std::memcpy(at_, text.data(), text.size());
        at_[text.size()] = '\0';
    }
    char* data() noexcept { return at_; }  // null without memory

  private:
    char local_[128];
    std::unique_ptr<char[]> heap_;
    char* at_;
};

// A text on a 64-bit VR: the whole of it is one number within the range.
int addWideText(DcElem& e, const VrRow& rule, std::string_view text, int index) {
    const auto parse = [&](auto value) {
        if (text.starts_with('+')) text.remove_prefix(1);
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
        const bool whole = error == std::errc() && end == text.data() + text.size();
        return whole ? storeBinary(e, value, index) : ELEM_VALUE_REFUSED;
    };
    return rule.held == Held::i64 ? parse(0ll) : parse(0ull);
}

// A text on a binary VR. A short takes the low half of a number beyond its range.
int addNumberText(DcElem& e, const VrRow& rule, std::string_view text, int index) {
    const int code = verifyTrimmed(rule.check, text, ElemAccess::tag(e));
    if (code != RESULT_OK) return code;
    if (rule.check == Verify::XV) return addWideText(e, rule, text, index);
    // Of a choice of VRs the one that is written decides; the low half of XS is the same either way.
    switch (vrRow(rule.written).held) {
        case Held::f32:
        case Held::f64:
            return storeNumber(e, rule, toDouble(text), index);
        case Held::i16:
        case Held::i32:
            return storeNumber(e, rule, toInt(text, 0), index);
        default:
            return storeNumber(e, rule, toUInt(text, 0), index);
    }
}

template <typename Value>
int tryParse(std::string_view text, unsigned int tag) {
    Value value;
    return parseText(text, value, tag);
}

int checkText(const VrRow& rule, std::string_view text, unsigned int tag) {
    switch (rule.take) {
        case Take::check:
        case Take::soften:
            return verifyTrimmed(rule.check, text, tag);
        case Take::parse:
            break;
        default:
            return RESULT_OK;
    }
    switch (rule.vr) {
        case VR_AS:
            return tryParse<DcElemValueAS>(text, tag);
        case VR_DA:
            return tryParse<DcElemValueDA>(text, tag);
        case VR_DT:
            return tryParse<DcElemValueDT>(text, tag);
        default:
            return tryParse<DcElemValueTM>(text, tag);
    }
}

// Lets the callback decide about a text; `accept` gets what it leaves.
template <typename Accept>
int askCallback(DcElem& e, DICT_VR vr, std::string_view given, Accept accept) {
    TextCopy copy(given);
    if (copy.data() == nullptr) return failMemory(textReporter, given.size());
    char* replacement = copy.data();
    const auto callback = ElemAccess::exceptionCB(e);
    if (callback(ElemAccess::exceptionContext(e), ElemAccess::tag(e), vr, copy.data(), &replacement) != 0) {
        return ELEM_REFUSED;
    }
    return accept(std::string_view(replacement != nullptr ? replacement : copy.data()));
}

// Line feeds of LO and SH become "|" and other control characters blanks, unless the text has escape
// sequences.
int storeSoftened(DcElem& e, std::string_view text, int index) {
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' '; };
    if (text.find(escape) != std::string_view::npos) return storeText(e, text, index);
    TextCopy copy(text);
    if (copy.data() == nullptr) return failMemory(textReporter, text.size());
    for (char* c = copy.data(); c != copy.data() + text.size(); ++c) {
        if (isControl(*c)) *c = *c == '\n' ? '|' : ' ';
    }
    return storeText(e, {copy.data(), text.size()}, index);
}

int addTagText(DcElem& e, const VrRow& rule, std::string_view given, std::string_view text, int index) {
    const unsigned int tag = ElemAccess::tag(e);
    const auto store = [&](const DcElemValueAT& v) {
        return storeBinary(e, static_cast<unsigned int>(v.group) << 16 | v.element, index);
    };
    DcElemValueAT value;
    const int code = parseText(text, value, tag);
    if (code == RESULT_OK) return store(value);
    if (ElemAccess::exceptionCB(e) == nullptr) return code;
    return askCallback(e, rule.vr, given, [&](std::string_view replacement) {
        if (replacement == given) return code;  // what is no tag cannot be stored as one
        const int again = parseText(trim(replacement), value, tag);
        return again == RESULT_OK ? store(value) : again;
    });
}

std::size_t mostOf(const VrRow& rule) {
    return rule.isUnlimited() ? std::string_view::npos : static_cast<std::size_t>(rule.facts.length);
}

// A text that failed its check or is too long.
int addDoubtful(DcElem& e, const VrRow& rule, std::string_view given, std::string_view text, int code,
                int index) {
    if (ElemAccess::exceptionCB(e) != nullptr) {
        return askCallback(e, rule.vr, given,
                           [&](std::string_view replacement) { return storeText(e, replacement, index); });
    }
    if (code != RESULT_OK) return code;
    const std::size_t most = mostOf(rule);
    if (text.size() > most && valueExceptionLevel() != 0) {
        const unsigned int tag = ElemAccess::tag(e);
        (void)fail(RESULT_OK, LOG_VALIDATION, textReporter,
                   "Element (%04x,%04x) - input string truncated from %d to %d chars", tag >> 16,
                   tag & 0xFFFF, static_cast<int>(text.size()), static_cast<int>(most));
        text = text.substr(0, most);
    }
    return rule.take == Take::soften ? storeSoftened(e, text, index) : storeText(e, text, index);
}

// The end of the value that starts at `begin`. Between two escapes a backslash is part of a two-byte
// character (PS3.5 6.1.2.4).
std::size_t endOfPiece(std::string_view text, std::size_t begin, bool escapes) noexcept {
    if (!escapes) return text.find('\\', begin);
    bool inside = false;
    for (std::size_t i = begin; i < text.size(); ++i) {
        if (text[i] == escape) inside = !inside;
        if (text[i] == '\\' && !inside) return i;
    }
    return std::string_view::npos;
}

}  // namespace

int storeText(DcElem& e, std::string_view text, int index) {
    if (text.size() > std::numeric_limits<unsigned int>::max()) return failMemory(textReporter, text.size());
    return ElemAccess::addValueFmtBuf(e, text.data(), static_cast<unsigned int>(text.size()), index, false);
}

int addOneText(DcElem& e, const VrRow& rule, std::string_view given, int index) {
    const std::string_view text = rule.indents() ? trimBack(given) : trim(given);
    if (rule.take == Take::refuse || rule.take == Take::buffer) {
        return refuseAdding(e, ElemAccess::vr(e), "string", textReporter);
    }
    if (text.empty()) return rule.held == Held::text ? storeText(e, text, index) : RESULT_OK;
    if (rule.take == Take::number) return addNumberText(e, rule, text, index);
    if (rule.take == Take::tag) return addTagText(e, rule, given, text, index);

    int code = checkText(rule, text, ElemAccess::tag(e));
    bool soften = false;
    if (rule.take == Take::soften && (code == ELEM_ILLEGAL_CHAR || valueExceptionLevel() == 0)) {
        code = RESULT_OK;
        soften = true;
    }
    if (code != RESULT_OK || text.size() > mostOf(rule)) {
        return addDoubtful(e, rule, given, text, code, index);
    }
    return soften ? storeSoftened(e, text, index) : storeText(e, text, index);
}

namespace {

int addPieces(DcElem& e, const VrRow& rule, std::string_view text, int index) {
    text = rule.indents() ? trimBack(text) : trim(text);
    if (text.ends_with('\\')) text.remove_suffix(1);
    const bool escapes = rule.split == Split::notInEscapes && text.find(escape) != std::string_view::npos;
    for (std::size_t begin = 0;;) {
        const std::size_t end = endOfPiece(text, begin, escapes);
        const int code = addOneText(e, rule, text.substr(begin, end - begin), index);
        if (code != RESULT_OK || end == std::string_view::npos) return code;
        begin = end + 1;
    }
}

int addWhole(DcElem& e, std::string_view text, int index) {
    const VrRow& rule = vrRow(ElemAccess::vr(e));
    if (rule.take == Take::buffer) {  // never split, and always the only value
        if (text.size() > std::numeric_limits<unsigned int>::max()) return failMemory(kAddValue, text.size());
        return e.addValue(static_cast<const void*>(text.data()), static_cast<unsigned int>(text.size()),
                          UID_LITTLE_ENDIAN_EXPLICIT);
    }
    const bool many = rule.split != Split::no && text.find('\\') != std::string_view::npos;
    return many ? addPieces(e, rule, text, index) : addOneText(e, rule, text, index);
}

}  // namespace

int ElemAccess::addText(DcElem& e, std::string_view text, int index) {
    return addWhole(e, text.substr(0, text.find('\0')), index);
}

}  // namespace orvkit

using namespace orvkit;

int DcElem::addValueStrg(const char* text, unsigned int length, int index) {
    return addOneText(*this, vrRow(ElemAccess::vr(*this)), {text, length}, index);
}

int DcElem::addValue(const char* value, int index) {
    if (value == nullptr) return failNull(ELEM_NULL_ARGUMENT, kAddValue, LOG_NOTICE);
    return addWhole(*this, value, index);
}
