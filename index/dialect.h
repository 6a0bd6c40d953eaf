// All in which the statements of the engines differ: a word in braces stands for what each has there.
#ifndef ORVKIT_INDEX_DIALECT_H
#define ORVKIT_INDEX_DIALECT_H

#include <string>
#include <string_view>

namespace orvkit::index {

enum class Dialect { sqlite, postgresql };

std::string inDialect(Dialect dialect, std::string_view sql);

}  // namespace orvkit::index

#endif
