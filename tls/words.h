// One line for a person.
#ifndef ORVKIT_TLS_WORDS_H
#define ORVKIT_TLS_WORDS_H

#include <cstdarg>

#include "orvkit/security.h"

namespace orvkit::tls {

// Cut where it is longer.
class Words {
  public:
    [[gnu::format(printf, 2, 3)]] void set(const char* format, ...) noexcept;
    void setList(const char* format, std::va_list values) noexcept;
    bool isEmpty() const noexcept { return text_[0] == '\0'; }
    const char* text() const noexcept { return text_; }

  private:
    char text_[sizeof DcSecurityInfo::fault] = {};
};

}  // namespace orvkit::tls

#endif
