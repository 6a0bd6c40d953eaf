#include <cstring>
#include <exception>
#include <limits>
#include <memory>
#include <string>

#include "dictionary/vr_table.h"
#include "encoding/charset.h"
#include "foundation/spares.h"
#include "orvkit/result.h"
#include "orvkit/util.h"

namespace orvkit {

namespace {

// The last ones are kept: the texts of a data set have most often the same.
struct Known {
    std::string terms;
    Charset charset{terms};
};

Spares<Known>::Lent charsetFor(const char* terms, DICT_VR vr) {
    static Spares<Known> standard, others;
    const bool isStandard = terms == nullptr || *terms == '\0' || !vrRowOfAny(vr).charset;
    auto known = (isStandard ? standard : others).lend([] { return std::make_unique<Known>(); });
    if (!isStandard && known->terms != terms) *known = {terms};
    return known;
}

TextKind kindOf(DICT_VR vr) noexcept {
    if (vr == VR_PN) return TextKind::personName;
    return vrRowOfAny(vr).split == Split::no ? TextKind::plain : TextKind::values;
}

// As memory that the caller releases.
int handOver(const std::string& text, char*& converted, unsigned int& length) {
    if (text.size() >= static_cast<std::size_t>(std::numeric_limits<int>::max())) return ELEM_NO_MEMORY;
    converted = static_cast<char*>(utilNew(static_cast<int>(text.size() + 1)));
    if (converted == nullptr) return ELEM_NO_MEMORY;
    std::memcpy(converted, text.c_str(), text.size() + 1);
    length = static_cast<unsigned int>(text.size());
    return 0;
}

using Conversion = std::string (Charset::*)(std::string_view, TextKind, DcTextLoss&) const;

struct Wanted {
    Conversion conversion;
    bool everyTerm;  // terms that are not known are refused
};

int convert(const Wanted& wanted, const char* terms, DICT_VR vr, const char* text, unsigned int length,
            char*& converted, unsigned int& convertedLength, DcTextLoss* loss) try {
    converted = nullptr;
    convertedLength = 0;
    if (text == nullptr && length != 0) return ELEM_NULL_ARGUMENT;
    const auto known = charsetFor(terms, vr);
    const Charset& charset = known->charset;
    if (wanted.everyTerm && !charset.known()) return ELEM_CHARSET;
    DcTextLoss lost;
    const std::string made = (charset.*wanted.conversion)({text, length}, kindOf(vr), lost);
    if (loss != nullptr) *loss = lost;
    if (const int result = handOver(made, converted, convertedLength); result != 0) return result;
    return lost.count == 0 ? 0 : ELEM_CHARSET_LOSS;
} catch (const std::exception&) {
    return ELEM_NO_MEMORY;
}

}  // namespace

}  // namespace orvkit

using namespace orvkit;

int textCheckCharset(const char* terms) try {
    return terms == nullptr || Charset(terms).known() ? 0 : ELEM_CHARSET;
} catch (const std::exception&) {
    return ELEM_NO_MEMORY;
}

int textToUtf8(const char* terms, DICT_VR vr, const char* text, unsigned int length, char*& converted,
               unsigned int& convertedLength, DcTextLoss* loss) {
    return convert({&Charset::toUtf8, false}, terms, vr, text, length, converted, convertedLength, loss);
}

int textFromUtf8(const char* terms, DICT_VR vr, const char* utf8, unsigned int length, char*& converted,
                 unsigned int& convertedLength, DcTextLoss* loss) {
    return convert({&Charset::fromUtf8, true}, terms, vr, utf8, length, converted, convertedLength, loss);
}
