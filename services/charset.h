// Text of data sets as people read it.
#ifndef ORVKIT_SERVICES_CHARSET_H
#define ORVKIT_SERVICES_CHARSET_H

#include <string>
#include <string_view>

#include "orvkit/charset.h"

namespace services {

// A Specific Character Set, kept for the texts that follow.
class Charset {
  public:
    // The default repertoire, which is ASCII.
    Charset() = default;
    // From the value of (0008,0005), values separated by backslashes.
    explicit Charset(std::string_view terms) : terms_(terms) {}

    const std::string& terms() const { return terms_; }
    // Every term is one that can be converted.
    bool known() const { return textCheckCharset(terms_.c_str()) == 0; }
    // Valid UTF-8, whatever the bytes: what cannot be converted becomes U+FFFD. A backslash in the result
    // separates values.
    std::string toUtf8(std::string_view text, DICT_VR vr, DcTextLoss* loss = nullptr) const;

  private:
    std::string terms_;
};

// Whether text needs nothing done: printable ASCII only.
bool isPlainAscii(std::string_view text);
// With control characters (C0, DEL, C1) written as escapes: \n, \t, \x1b, \u0085.
std::string withEscapes(std::string_view utf8);
// The first `count` characters.
std::string_view firstCharacters(std::string_view utf8, std::size_t count);

}  // namespace services

#endif
