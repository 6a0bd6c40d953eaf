// From the Specific Character Set of a data set to UTF-8 (PS3.3 C.12.1.1.2, PS3.5 6.1).
#ifndef ORVKIT_SERVICES_CHARSET_H
#define ORVKIT_SERVICES_CHARSET_H

#include <string>
#include <string_view>

namespace services {

struct CharsetRow;

// Which characters, besides the ends of lines, bring the character set back to the first one
// (PS3.5 6.1.2.5.3).
enum class TextKind {
    plain,       // LT, ST, UT: none, one value
    values,      // SH, LO: the backslash between values
    personName,  // PN: the separators of components and groups, too
};

class Charset {
  public:
    // The default repertoire, which is ASCII.
    Charset();
    // From the value of (0008,0005), values separated by backslashes.
    explicit Charset(std::string_view terms);

    // Every term is one that can be converted.
    bool known() const { return known_; }
    // Valid UTF-8, whatever the bytes: what cannot be converted becomes U+FFFD. A backslash in the result
    // separates values.
    std::string toUtf8(std::string_view text, TextKind kind) const;

  private:
    const CharsetRow* g0_;
    const CharsetRow* g1_ = nullptr;
    const CharsetRow* whole_ = nullptr;  // not built of code elements: UTF-8, GB18030, GBK
    bool known_ = true;
};

// Whether text needs nothing done: printable ASCII only.
bool isPlainAscii(std::string_view text);
// With control characters (C0, DEL, C1) written as escapes: \n, \t, \x1b, \u0085.
std::string withEscapes(std::string_view utf8);
// The first `count` characters.
std::string_view firstCharacters(std::string_view utf8, std::size_t count);

}  // namespace services

#endif
