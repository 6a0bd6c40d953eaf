// The Specific Character Set of a data set (PS3.3 C.12.1.1.2, PS3.5 6.1), from and to UTF-8.
#ifndef ORVKIT_ENCODING_CHARSET_H
#define ORVKIT_ENCODING_CHARSET_H

#include <string>
#include <string_view>
#include <vector>

#include "orvkit/charset.h"

namespace orvkit {

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
    // From the value of (0008,0005), values separated by backslashes.
    explicit Charset(std::string_view terms);

    // Every term is known.
    bool known() const { return known_; }
    std::string toUtf8(std::string_view text, TextKind kind, DcTextLoss& loss) const;
    std::string fromUtf8(std::string_view utf8, TextKind kind, DcTextLoss& loss) const;

  private:
    const CharsetRow* g0_;
    const CharsetRow* g1_ = nullptr;
    const CharsetRow* whole_ = nullptr;      // not built of code elements: UTF-8, GB18030, GBK
    std::vector<const CharsetRow*> others_;  // what escape sequences may bring, in the order of the terms
    bool known_ = true;
};

}  // namespace orvkit

#endif
