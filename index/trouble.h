// How what cannot go on ends inside this library: it is thrown, and becomes a result where the library is
// called.
#ifndef ORVKIT_INDEX_TROUBLE_H
#define ORVKIT_INDEX_TROUBLE_H

#include <string>
#include <utility>

namespace orvkit::index {

struct Trouble {
    int result;
    std::string text;
};

[[noreturn]] inline void fail(int result, std::string text) {
    throw Trouble{result, std::move(text)};
}

}  // namespace orvkit::index

#endif
