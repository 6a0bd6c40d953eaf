// What an answer to a query has of an object.
#ifndef ORVKIT_INDEX_ANSWER_H
#define ORVKIT_INDEX_ANSWER_H

#include <optional>
#include <string_view>
#include <vector>

#include "index/attributes.h"
#include "index/match.h"

namespace orvkit::index {

// Adds what is asked for of an attribute, which is null where there is none.
void addAnswer(Bytes& bytes, const Key& key, const std::optional<Attribute>& attribute);
// What is asked for, of all attributes of an object or an item.
Bytes projected(const std::vector<Key>& keys, std::string_view attributes);
// Makes the data set of an answer: in that character set, or in UTF-8 where its texts are not in it.
void giveAnswer(std::string_view bytes, std::string_view charset, DcElemList& dataset);

}  // namespace orvkit::index

#endif
