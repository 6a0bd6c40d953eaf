// Text to UTF-8 and back: whatever the bytes and the terms, the result is UTF-8 and bounded, what is lost is
// counted, and what went over without a loss is the same when it comes back.
#include "orvkit/charset.h"

#include <algorithm>

#include "fuzz/target.h"
#include "orvkit/result.h"
#include "orvkit/util.h"

namespace {

using fuzz::require;

// clang-format off
constexpr const char* kTerms[] = {
    "", "ISO_IR 13", "ISO_IR 100", "ISO_IR 101", "ISO_IR 109", "ISO_IR 110", "ISO_IR 126", "ISO_IR 127",
    "ISO_IR 138", "ISO_IR 144", "ISO_IR 148", "ISO_IR 166", "ISO_IR 203", "ISO_IR 192", "GB18030", "GBK",
    "\\ISO 2022 IR 58", "\\ISO 2022 IR 87", "\\ISO 2022 IR 149", "\\ISO 2022 IR 159",
    "ISO 2022 IR 13\\ISO 2022 IR 87\\ISO 2022 IR 159", "ISO 2022 IR 100\\ISO 2022 IR 126\\ISO 2022 IR 144",
    "ISO 2022 IR 6\\ISO 2022 IR 127\\ISO 2022 IR 58\\ISO 2022 IR 87", "ISO 2022 IR 149\\ISO 2022 IR 13\\ISO 2022 IR 166"};
// clang-format on
constexpr DICT_VR kVrs[] = {VR_PN, VR_LO, VR_UT, VR_CS};

// The most that a byte can become: a character of three bytes in UTF-8; and one for which a set is chosen and
// left again.
constexpr std::size_t kMostUtf8 = 3;
constexpr std::size_t kMostCoded = 16;
constexpr std::ptrdiff_t kMostText = 500;  // of an input, so that there is time for many

struct Converted {
    int result;
    std::string text;
    unsigned int lost;
};

template <typename Function>
Converted convert(Function function, const std::string& terms, DICT_VR vr, const std::string& text,
                  std::size_t most) {
    char* made = nullptr;
    unsigned int length = 0;
    DcTextLoss loss;
    const auto given = static_cast<unsigned int>(text.size());
    const int result = function(terms.c_str(), vr, text.data(), given, made, length, &loss);
    require(result == RESULT_OK || result == ELEM_CHARSET_LOSS || result == ELEM_CHARSET);
    require((made != nullptr) == (result != ELEM_CHARSET));
    require((loss.count != 0) == (result == ELEM_CHARSET_LOSS));
    require(loss.count <= given && (loss.count == 0 || loss.first < given));
    require(length <= most * given + most);
    Converted converted{result, made != nullptr ? std::string(made, length) : "", loss.count};
    utilDelete(made);
    return converted;
}

// UTF-8 to the sets of the terms: without a loss it is the same text that comes back.
void toCodesAndBack(const std::string& terms, DICT_VR vr, const std::string& utf8) {
    const Converted coded = convert(textFromUtf8, terms, vr, utf8, kMostCoded);
    if (coded.result == ELEM_CHARSET) {
        require(textCheckCharset(terms.c_str()) == ELEM_CHARSET);
        return;
    }
    const Converted back = convert(textToUtf8, terms, vr, coded.text, kMostUtf8);
    require(back.lost == 0);
    if (coded.lost == 0) require(back.text == utf8);
}

}  // namespace

// The first byte picks the VR; 4 takes the terms from the input, too, up to a NUL.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const std::vector<unsigned char> bytes = fuzz::content(data, size);
    const DICT_VR vr = kVrs[data[0] % 4];
    std::string terms = kTerms[bytes[0] % std::size(kTerms)];
    auto text = bytes.begin() + 1;
    if ((data[0] & 4) != 0) {
        text = std::find(bytes.begin(), bytes.end(), 0);
        terms.assign(bytes.begin(), text);
        if (text != bytes.end()) ++text;
    }
    const std::string given(text, text + std::min(kMostText, bytes.end() - text));

    const Converted utf8 = convert(textToUtf8, terms, vr, given, kMostUtf8);
    require(utf8.result != ELEM_CHARSET);
    require(convert(textToUtf8, "ISO_IR 192", VR_UT, utf8.text, 1).text == utf8.text);
    toCodesAndBack(terms, vr, utf8.text);
    toCodesAndBack(terms, vr, given);
    return 0;
}
