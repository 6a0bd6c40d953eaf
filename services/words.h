// Numbers that are told in words: tables of rows.
#ifndef ORVKIT_SERVICES_WORDS_H
#define ORVKIT_SERVICES_WORDS_H

#include <cstddef>

namespace services {

struct Word {
    int value;
    const char* text;
};

// Null where no row has it.
template <std::size_t N>
const char* find(const Word (&words)[N], int value) {
    for (const Word& w : words) {
        if (w.value == value) return w.text;
    }
    return nullptr;
}

}  // namespace services

#endif
