// What somebody may have meant by a misspelt word.
#ifndef ORVKIT_SERVICES_NEAREST_H
#define ORVKIT_SERVICES_NEAREST_H

#include <string>
#include <string_view>
#include <vector>

namespace services {

// The candidate that fewest letters left out, put in, changed or swapped with the next turn into the word,
// case aside; the first of several. "" when none is near: one letter in three, at least one.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

// "; did you mean CANDIDATE?", or "" without one.
std::string didYouMean(const std::string& candidate);

}  // namespace services

#endif
