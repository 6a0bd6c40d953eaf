// Names of persons and their texts (PS3.5 6.2.1: PN), both ways.
#include <cstring>

#include "dataset/char_class.h"
#include "dataset/value_text.h"
#include "orvkit/result.h"

namespace orvkit {
namespace {

// Walks over the bytes of a name that belong to escape sequences of ISO 2022, or to two-byte characters of
// a set designated to G0 (PS3.5 6.1.2.5): none of them is a separator, whatever its value.
class NameScanner {
  public:
    explicit NameScanner(std::string_view text) noexcept : text_(text) {}

    // The position of the next of the separators, or no position.
    std::size_t next(std::string_view separators) noexcept {
        while (at_ < text_.size()) {
            const char c = text_[at_];
            if (c == escape) {
                skipEscape();
            } else if (!twoByte_ && separators.find(c) != std::string_view::npos) {
                return at_++;
            } else {
                ++at_;
            }
        }
        return std::string_view::npos;
    }

  private:
    // ESC, bytes of 0x20 to 0x2F, one final byte.
    void skipEscape() noexcept {
        const std::size_t begin = ++at_;
        while (at_ < text_.size() && text_[at_] >= 0x20 && text_[at_] <= 0x2F) ++at_;
        const std::string_view middle = text_.substr(begin, at_ - begin);
        if (middle == "$" || middle == "$(") {
            twoByte_ = true;
        } else if (middle.substr(0, 1) == "(") {
            twoByte_ = false;
        }
        if (at_ < text_.size()) ++at_;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    bool twoByte_ = false;
};

}  // namespace

// A text with "=" holds component groups, one in each member, and sets the flag; any other holds the
// components. Either way it is what formatText writes.
int parseText(std::string_view given, DcElemValuePN& value, unsigned int) noexcept {
    const std::string_view text = trimFront(given);
    if (text.empty()) return ELEM_EMPTY_VALUE;
    const bool grouped = NameScanner(text).next("=") != std::string_view::npos;
    const std::string_view separator = grouped ? "=" : "^";
    value.reset();
    value.group = grouped ? 1 : 0;
    NameScanner scan(text);
    std::size_t begin = 0;
    for (auto* to : {&value.family, &value.given, &value.middle, &value.prefix, &value.suffix}) {
        const std::size_t end = scan.next(separator);
        fillField(*to,
                  text.substr(begin, end == std::string_view::npos ? std::string_view::npos : end - begin));
        if (end == std::string_view::npos) break;
        begin = end + 1;
    }
    return RESULT_OK;
}

int formatText(const DcElemValuePN& value, TextOut& out, unsigned int) noexcept {
    constexpr std::size_t longest = 64;
    const char separator = value.group > 0 ? '=' : '^';
    bool first = true;
    for (const auto* component : {&value.family, &value.given, &value.middle, &value.prefix, &value.suffix}) {
        if (!first) out.put(separator);
        first = false;
        out.put(trim(fieldText(*component).substr(0, longest)));
    }
    while (out.endsWith(separator)) out.dropBack();
    return RESULT_OK;
}

}  // namespace orvkit
