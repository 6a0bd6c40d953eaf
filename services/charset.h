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
    // None: toUtf8 then gives the bytes as they are.
    static Charset none() {
        Charset charset;
        charset.converts_ = false;
        return charset;
    }

    const std::string& terms() const { return terms_; }
    bool converts() const { return converts_; }
    // Every term is one that can be converted.
    bool known() const { return textCheckCharset(terms_.c_str()) == 0; }
    // Valid UTF-8, whatever the bytes: what cannot be converted becomes U+FFFD. A backslash in the result
    // separates values.
    std::string toUtf8(std::string_view text, DICT_VR vr, DcTextLoss* loss = nullptr) const;

  private:
    std::string terms_;
    bool converts_ = true;
};

// Whether text needs nothing done: printable ASCII only.
bool isPlainAscii(std::string_view text);
// With control characters (C0, DEL, and C1 of UTF-8) written as escapes: \n, \t, \x1b, \u0085.
std::string withEscapes(std::string_view text, bool isUtf8 = true);
// The first `count` characters.
std::string_view firstCharacters(std::string_view utf8, std::size_t count);

}  // namespace services

#endif
