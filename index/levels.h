// The levels of an archive (PS3.4 C.6): what attribute is whose, and what of it the index searches by.
#ifndef ORVKIT_INDEX_LEVELS_H
#define ORVKIT_INDEX_LEVELS_H

#include <array>
#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

#include "index/attributes.h"

namespace orvkit::index {

enum class Level : unsigned char { patient, study, series, image };
inline constexpr std::size_t kLevels = 4;
constexpr std::size_t numberOf(Level level) {
    return static_cast<std::size_t>(level);
}

// One row a level: its name in requests, its table with the letter that statements call it by, and its unique
// key.
struct LevelRow {
    std::string_view name;
    const char* table;
    const char* alias;
    unsigned int unique;
};
const LevelRow& rowOf(Level level);

// What is no attribute of a patient, study or series is one of an image.
Level levelOf(unsigned int tag);
// What the index tells by itself: unique keys, counts, and what is in a study.
bool isComputed(unsigned int tag);

// How a search by a key goes through the index: by a column of the level's own table, or by the words that
// stand beside it, of which there may be several.
enum class Search : unsigned char { uid, text, name, date, words, names };
struct SearchRow {
    unsigned int tag;
    unsigned int within;  // that attribute of the items of the sequence `tag`, or 0
    Level level;
    Search search;
    const char* column;  // null: words
    int kind;            // of words
};
std::span<const SearchRow> searches();
// Words for the fuzzy search of patients' names.
inline constexpr int kNameWord = 1;
inline constexpr int kModality = 2;

// The forms by which the attributes of a level are found beside its columns.
struct Word {
    int kind;
    std::string form;
    bool operator==(const Word&) const = default;
    auto operator<=>(const Word&) const = default;
};
std::vector<Word> wordsOf(Level level, std::string_view attributes);

}  // namespace orvkit::index

#endif
