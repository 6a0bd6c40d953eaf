#include "tls/words.h"

#include <cstdio>

namespace orvkit::tls {

void Words::set(const char* format, ...) noexcept {
    va_list values;
    va_start(values, format);
    setList(format, values);
    va_end(values);
}

void Words::setList(const char* format, std::va_list values) noexcept {
    (void)std::vsnprintf(text_, sizeof text_, format, values);
}

}  // namespace orvkit::tls
