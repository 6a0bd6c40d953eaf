// Texts with the differences taken out that a search does not care for.
#ifndef ORVKIT_INDEX_FOLD_H
#define ORVKIT_INDEX_FOLD_H

#include <string>
#include <string_view>

namespace orvkit::index {

struct Fold {
    bool cases = true;  // a capital is its small letter: Latin, Greek, Cyrillic, Armenian, full width
    bool accents =
        true;  // a letter is without marks, a ligature two letters, a full-width one of the usual width
};

// Letter by letter, so that what begins a text begins it folded, too. Bytes that are no UTF-8 stay.
std::string folded(std::string_view utf8, const Fold& fold);

// One character of UTF-8 at the front, which is taken off; a byte that begins none is itself.
char32_t takeCharacter(std::string_view& utf8);
void appendCharacter(std::string& utf8, char32_t c);

// The least text behind all that begin with this one, which is not empty.
std::string behindAll(std::string_view utf8);

}  // namespace orvkit::index

#endif
