// How what cannot go on ends inside this library: it is thrown, and becomes a result where the library is
// called.
#ifndef ORVKIT_INDEX_TROUBLE_H
#define ORVKIT_INDEX_TROUBLE_H

#include <string>
#include <utility>

namespace orvkit::index {

// What helps, if anything: to do the transaction again, since another's has come between; or the same over a
// new connection.
enum class Remedy { none, again, reconnect };

struct Trouble {
    int result;
    std::string text;
    Remedy remedy = Remedy::none;
};

[[noreturn]] inline void fail(int result, std::string text, Remedy remedy = Remedy::none) {
    throw Trouble{result, std::move(text), remedy};
}

}  // namespace orvkit::index

#endif
